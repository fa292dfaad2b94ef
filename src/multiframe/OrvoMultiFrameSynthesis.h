#pragma once
// One low-noise still picture from a burst of camera frames.
//
// Every frame is aligned to the burst's first frame by the frame aligner and
// added, channel by channel, into three 16-bit integer sums (red, green,
// blue), in 8-bit levels: a channel value that differs from the first
// frame's by more than 0.2 (of the 0..1 range) is replaced by the first
// frame's, so that what moved does not ghost. end() divides the sums by the
// frame count into a new BGRA pixel buffer and hands it to the completion.
// The sums bound a burst to kMaxFrames frames; later frames are refused.
// Between bursts downscaleForPreview scales a camera frame for a preview.
//
// Per burst: start, process with indices 0, 1, 2, ..., end. Index 0 makes
// the burst's textures at the frame's size, sets the mirror flag and the
// aligner's reference. mode 0 aligns and merges; any other mode only counts
// the frames, draws nothing, and end then calls no completion and keeps the
// sums allocated (callers of other modes must not wait for it).
//
// Needs OpenGL ES 3 (integer textures). setupGL fails on an ES 2 context.
//
// Thread rules: no locks. Every entry makes the context current on the
// calling thread and binds the synthesis's own framebuffer, so any one
// thread at a time may call it, never two at once. The context is not owned
// and must outlive the object. The object owns its programs, textures,
// framebuffer and texture caches, and frees them in its destructor with
// the context current. Result pixel buffers are the caller's once handed
// out; the preview buffer is reused by the next preview of the same size.

#include <GLES3/gl3.h>

#include <array>
#include <functional>
#include <memory>
#include <utility>

namespace nudora {

class CacheTexture;
class EglContext;
class OrvoFrameAligner;
class PixelBuffer;
class SampleBuffer;
class TextureCache;

class OrvoMultiFrameSynthesis {
 public:
  // The sums are signed 16-bit, 255 per frame and channel.
  static constexpr int kMaxFrames = 32767 / 255;
  // A channel of an aligned frame this far (0..1 units) from the first
  // frame's is taken as an outlier.
  static constexpr float kOutlierThreshold = 0.2f;

  using Completion = std::function<void(const std::shared_ptr<PixelBuffer>& result)>;

  static std::shared_ptr<OrvoMultiFrameSynthesis> sharedInstance();

  // Creates the frame aligner on the process-wide estimator.
  OrvoMultiFrameSynthesis();
  // With the caller's aligner (tests, hosts with their own estimator).
  explicit OrvoMultiFrameSynthesis(std::shared_ptr<OrvoFrameAligner> frameAligner);
  ~OrvoMultiFrameSynthesis();
  OrvoMultiFrameSynthesis(const OrvoMultiFrameSynthesis&) = delete;
  OrvoMultiFrameSynthesis& operator=(const OrvoMultiFrameSynthesis&) = delete;

  // Stores the context, sets up the aligner, builds the four programs and
  // the two texture caches. False when the context is missing or not ES 3,
  // or a program failed (the loader has said why); cache failures are
  // logged and set-up goes on.
  bool setupGL(EglContext* context);

  // Begins a burst: running, no frames yet; in mode 0 enables the aligner.
  void start();
  // One frame of the burst, at index `at` (0 for the first). Frames that
  // cannot be taken (no texture, another size than the first, past
  // kMaxFrames, no first frame yet) are logged and not counted.
  void process(const std::shared_ptr<SampleBuffer>& frame, int at, bool mirror, float lensZoom);
  // Ends the burst; in mode 0 calls block with the merged picture (nullptr
  // when no frame was taken or no buffer could be made). The buffer is the
  // caller's from then on.
  void end(const Completion& block);

  // The frame scaled by ratio (sizes truncated) with the frame's time, or
  // nullptr (logged). The returned buffer is drawn into again by the next
  // preview of the same size.
  std::shared_ptr<SampleBuffer> downscaleForPreview(std::shared_ptr<SampleBuffer> frame, float ratio);
  // A new BGRA buffer; records its size as the result buffer's. nullptr,
  // logged, when it cannot be made.
  std::shared_ptr<PixelBuffer> alloctePixelBufferWithWidth(int width, int height);

  // ---- CPU arithmetic, usable without a GPU ----

  // Preview size for a ratio: each side times ratio in single precision,
  // truncated toward zero.
  static std::pair<int, int> previewSize(int width, int height, float ratio);
  // The uniform inv_threshold2: 1 / (0.2 x 0.2), in single precision.
  static float invThreshold2();

  // ---- Properties ----
  EglContext* context() const { return context_; }
  const std::shared_ptr<OrvoFrameAligner>& frameAligner() const { return frameAligner_; }
  void setFrameAligner(std::shared_ptr<OrvoFrameAligner> v) { frameAligner_ = std::move(v); }
  int mode() const { return mode_; }
  void setMode(int v) { mode_ = v; }
  bool isRunning() const { return isRunning_; }
  void setIsRunning(bool v) { isRunning_ = v; }
  bool mirror() const { return mirror_; }
  void setMirror(bool v) { mirror_ = v; }
  int width() const { return width_; }
  void setWidth(int v) { width_ = v; }
  int height() const { return height_; }
  void setHeight(int v) { height_ = v; }

  // State, for diagnostics and tests.
  int frameCount() const { return frameCount_; }
  int allocWidth() const { return allocWidth_; }
  int allocHeight() const { return allocHeight_; }
  const std::array<GLuint, 3>& denoiseTexs() const { return denoiseTexs_; }
  GLuint alignedFrameTex() const { return alignedFrameTex_; }
  GLuint firstTex() const { return firstTex_; }

 private:
  bool begin();  // makes the context current and binds the framebuffer
  std::shared_ptr<CacheTexture> inputTexture(const std::shared_ptr<SampleBuffer>& frame);
  void makeBurstTextures();
  void accumulate(int at);
  void deleteBurstTextures(bool sums);

  GLuint programPassThrough_ = 0;
  GLuint programImageDenoisingSC_ = 0;
  GLuint programPassThroughI16_ = 0;
  GLuint programConvertSCToRGB_ = 0;
  GLuint framebuffer_ = 0;
  GLuint alignedFrameTex_ = 0;
  GLuint firstTex_ = 0;
  std::array<GLuint, 3> denoiseTexs_{};
  GLuint denoiseTmpTex_ = 0;
  std::shared_ptr<TextureCache> inputTextureCache_;
  std::shared_ptr<TextureCache> resultTextureCache_;
  std::shared_ptr<PixelBuffer> resultPixelBuffer_;
  int allocWidth_ = 0;
  int allocHeight_ = 0;
  int frameCount_ = 0;

  EglContext* context_ = nullptr;
  std::shared_ptr<OrvoFrameAligner> frameAligner_;
  int mode_ = 0;
  bool isRunning_ = false;
  bool mirror_ = false;
  int width_ = 0;
  int height_ = 0;
};

}  // namespace nudora
