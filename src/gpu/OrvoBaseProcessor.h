#pragma once
// The common base of the GPU processors: it owns the OpenGL ES context, the
// serial processing queue, the input and output texture caches, the one
// framebuffer, the swap texture, the filter program with its lookup-table and
// auxiliary textures, and the stage objects. It keeps the user's filter
// choices and per-filter parameters, and renders the effect pass: optional
// effects, blur levels, min-max, then one filter pass applying style, lens,
// beautify, local tone mapping and digital zoom into the output, cropped to
// the output's aspect ratio.
//
// Thread rules: every GL call runs on queue() ("ProcessingQueue") with the
// context current. setupWithAPI and renderPixelBuffer may be called from any
// thread but the queue itself (renderPixelBuffer also runs in place when
// already on a processor queue). Filter parameters and plain properties are
// set from the host's thread without locking and read at the start of a
// pass. The processor must not be destroyed on its own queue.
//
// Ownership: pixel buffers stay the caller's; the processor keeps no frame.
// The particle effect is made on every context; the flood (lens 29) and
// water-pane (lens 30) effects only on ES 3, where those two lenses switch
// them on. On ES 2 the two lenses draw the plain filter pass.

#include <GLES3/gl3.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "filters/OrvoFilter.h"
#include "platform/EglContext.h"
#include "platform/Geometry.h"
#include "platform/PixelBuffer.h"
#include "platform/SerialQueue.h"
#include "platform/TextureCache.h"

namespace nudora {

class Image;
class OrvoEffectFlood;
class OrvoEffectParticle;
class OrvoEffectWaterPane;
class OrvoStageGaussianBlur;
class OrvoStageMinMax;
class OrvoStageWatermark;

// The queue-specific key every processor queue carries (value: the processor).
extern const void* const OrvoProcessorQueueContext;

class OrvoBaseProcessor {
 public:
  OrvoBaseProcessor();
  virtual ~OrvoBaseProcessor();
  OrvoBaseProcessor(const OrvoBaseProcessor&) = delete;
  OrvoBaseProcessor& operator=(const OrvoBaseProcessor&) = delete;

  // Lifecycle.
  bool setupWithAPI(int api);
  // setupWithAPI(3), else (2): the highest level the machine offers and
  // NUDORA_GLES_MAX_API allows. False when neither could be set up.
  bool setupWithAvailableAPI();
  bool isGLES3() const;
  virtual bool createResources();
  virtual void releaseAllResources();

  // The per-frame entries.
  bool renderPixelBuffer(const std::shared_ptr<PixelBuffer>& input, const std::shared_ptr<PixelBuffer>& outPixelBuffer,
                         bool mirror, bool mirrorResult, int64_t orientation);
  bool effectFilterWithInputTexture(GLuint inputTexture, int32_t inputWidth, int32_t inputHeight, GLuint swapTexture,
                                    GLuint outTexture, int32_t outputWidth, int32_t outputHeight, int64_t orientation,
                                    bool mirror, bool zoomed, bool isPostprocessing);

  // Program and resource upkeep, called by the pass.
  void updateFilterProgramWithWidth(int32_t width, int32_t height);
  int32_t calculateBlurLevelWithWidth(int32_t width, int32_t height) const;
  bool needMoreEffect() const;
  bool needEffectFilter() const;
  void calTrimmedTexVerticesInputWidth(int32_t inputWidth, int32_t inputHeight, int32_t outputWidth,
                                       int32_t outputHeight);
  void updateResourceWithWidth(int32_t width, int32_t height);
  void updateStyleFilter(int64_t styleIndex);
  void updateLensFilter(int64_t lensIndex, int32_t width, int32_t height);

  // Filter parameters: filterType 0 = style list, 1 = lens list; an unknown
  // type or index is ignored (getters answer 0).
  void setAngle(float angle, int64_t forFilter, int64_t filterType);
  void setRadius(float radius, int64_t forFilter, int64_t filterType);
  void setCenter(OrvoPoint center, int64_t forFilter, int64_t filterType);
  void setValue1(float value, int64_t forFilter, int64_t filterType);
  void setValue2(float value, int64_t forFilter, int64_t filterType);
  void setValue3(float value, int64_t forFilter, int64_t filterType);
  float getAngleOfFilter(int64_t filter, int64_t filterType) const;
  float getRadiusOfFilter(int64_t filter, int64_t filterType) const;
  OrvoPoint getCenterOfFilter(int64_t filter, int64_t filterType) const;
  float getValue1(int64_t filter, int64_t filterType) const;
  float getValue2(int64_t filter, int64_t filterType) const;
  float getValue3(int64_t filter, int64_t filterType) const;
  // value1 as the shader's commonInput wants it: signed for lenses 3, 7 and
  // 20, doubled for 44 (by index, whatever the type).
  float getInternalValue1(int64_t filter, int64_t filterType) const;

  // An imported .cube grade as the style lookup table (the format is
  // described in filters/CubeLookupTable.h). A good file becomes the table in
  // use from the next frame on: it takes the place of the chosen style's own
  // table (a style that applies no table keeps its look), and with no style
  // chosen (style 0) the pass applies it alone, as the plain table style 18.
  // It stays through style changes until cleared or replaced. A file that
  // cannot be read or parsed answers false after one console line naming the
  // file and line, and leaves everything as it was: the previous grade, or
  // the style's own table, stays in use. The file is read and baked into the
  // 64-level table image on the calling thread; any thread may call both.
  bool loadCubeLookupTable(const std::string& path);
  // Back to the catalogue's tables from the next frame on.
  void clearCubeLookupTable();
  bool hasCubeLookupTable() const { return cubeLookupTableInUse_.load(); }

  // Watermark, forwarded to the watermark stage.
  void setWatermarkImage(const std::shared_ptr<Image>& image);
  void setWatermarkDisplaySize(OrvoSize size, OrvoSize position);
  void setWatermarkGreyness(float greyness);
  void loadWatermark();

  // Properties.
  EglContext* context() const { return context_.get(); }
  SerialQueue& queue() { return *queue_; }
  bool canProcess() const { return canProcess_.load(); }
  int64_t styleFilter() const { return styleFilter_; }
  void setStyleFilter(int64_t v) { styleFilter_ = v; }
  int64_t lensFilter() const { return lensFilter_; }
  void setLensFilter(int64_t v) { lensFilter_ = v; }
  float beautify() const { return beautify_; }
  void setBeautify(float v);
  bool stretchFace() const { return stretchFace_; }
  void setStretchFace(bool v) { stretchFace_ = v; }
  int64_t localToneMappingType() const { return localToneMappingType_; }
  void setLocalToneMappingType(int64_t v);
  float localToneMappingStrength() const { return localToneMappingStrength_; }
  void setLocalToneMappingStrength(float v);
  float digitalZoom() const { return digitalZoom_; }
  void setDigitalZoom(float v) { digitalZoom_ = v; }
  float watermarkGreyness() const { return watermarkGreyness_; }
  int32_t frameCount() const { return frameCount_; }
  void setFrameCount(int32_t v) { frameCount_ = v; }
  int64_t currentStyleFilter() const { return currentStyleFilter_; }
  int64_t currentLensFilter() const { return currentLensFilter_; }
  bool currentBeautifyEnabled() const { return currentBeautifyEnabled_; }
  bool currentLocalToneMappingEnabled() const { return currentLocalToneMappingEnabled_; }
  GLuint programPostProcess() const { return programPostProcess_; }
  GLuint swapTexture() const { return swapTexture_; }
  GLuint style3DLUTTexture() const { return style3DLUTTexture_; }
  GLuint styleAuxilaryTexture() const { return styleAuxilaryTexture_; }
  GLuint lensAuxilaryTexture() const { return lensAuxilaryTexture_; }
  GLuint framebuffer() const { return framebuffer_; }
  const std::array<GLfloat, 8>& trimmedTexVertices() const { return trimmedTexVertices_; }
  const std::vector<std::shared_ptr<OrvoFilter>>& styleFilters() const { return styleFilters_; }
  const std::vector<std::shared_ptr<OrvoFilter>>& lensFilters() const { return lensFilters_; }
  const std::shared_ptr<OrvoStageGaussianBlur>& stageGaussianBlur() const { return stageGaussianBlur_; }
  const std::shared_ptr<OrvoStageMinMax>& stageMinMax() const { return stageMinMax_; }
  const std::shared_ptr<OrvoStageWatermark>& stageWatermark() const { return stageWatermark_; }
  const std::shared_ptr<OrvoEffectParticle>& effectParticle() const { return effectParticle_; }
  // Null on an ES 2 context.
  const std::shared_ptr<OrvoEffectFlood>& effectFlood() const { return effectFlood_; }
  const std::shared_ptr<OrvoEffectWaterPane>& effectWaterPane() const { return effectWaterPane_; }
  const std::shared_ptr<TextureCache>& inputTexCache() const { return inputTexCache_; }
  const std::shared_ptr<TextureCache>& outputTexCache() const { return outputTexCache_; }

  // Notification handlers (background / active).
  void applicationDidEnterBackground();
  void applicationDidBecomeActiveNotification();

  // An input above this size on either side counts as large.
  static constexpr int32_t kLargeSide = 2400;
  static bool isLarge(int32_t width, int32_t height) { return width > kLargeSide || height > kLargeSide; }
  // Orientation codes: 3 shows the frame upright as stored (a phone held in
  // landscape), 4 half a turn, 1 and 2 are the portrait codes, under which
  // the frame's rows run along the screen's x. Hosts and files whose frames
  // are already upright pass kOrientationUpright.
  static constexpr int64_t kOrientationUpright = 3;
  // The lenses drawn by effects of their own rather than by a catalogue row.
  static constexpr int64_t kFloodLens = 29;
  static constexpr int64_t kWaterPaneLens = 30;

 protected:
  // Runs block on the queue and waits, or in place when already on a processor queue.
  void runOnProcessingQueue(const std::function<void()>& block);
  bool makeCurrent() const { return context_ && context_->makeCurrent(); }
  // The random pair (r1 mod 4, r2 mod 4) that picks a noise tile.
  std::array<float, 2> randomTilePair();

  std::unique_ptr<SerialQueue> queue_;
  std::unique_ptr<EglContext> context_;
  std::atomic<bool> canProcess_{true};

  int64_t styleFilter_ = 0;
  int64_t lensFilter_ = 0;
  float beautify_ = 0.0f;
  bool stretchFace_ = false;
  int64_t localToneMappingType_ = 0;
  float localToneMappingStrength_ = 1.0f;
  float digitalZoom_ = 1.0f;
  float watermarkGreyness_ = 1.0f;
  int32_t frameCount_ = 0;

  int64_t currentStyleFilter_ = 0;
  int64_t currentLensFilter_ = 0;
  bool currentBeautifyEnabled_ = false;
  bool currentLocalToneMappingEnabled_ = false;

  GLuint programPostProcess_ = 0;
  GLuint swapTexture_ = 0;
  int32_t swapTextureWidth_ = 0;
  int32_t swapTextureHeight_ = 0;
  GLuint style3DLUTTexture_ = 0;
  GLuint styleAuxilaryTexture_ = 0;
  GLuint lensAuxilaryTexture_ = 0;
  int32_t lensMinMaxWidth_ = 0;
  int32_t lensMinMaxheight_ = 0;
  GLuint framebuffer_ = 0;
  std::shared_ptr<TextureCache> inputTexCache_;
  std::shared_ptr<TextureCache> outputTexCache_;
  std::array<GLfloat, 8> trimmedTexVertices_{};

  std::vector<std::shared_ptr<OrvoFilter>> styleFilters_;
  std::vector<std::shared_ptr<OrvoFilter>> lensFilters_;
  std::shared_ptr<OrvoStageGaussianBlur> stageGaussianBlur_;
  std::shared_ptr<OrvoStageMinMax> stageMinMax_;
  std::shared_ptr<OrvoStageWatermark> stageWatermark_;
  std::shared_ptr<OrvoEffectParticle> effectParticle_;
  std::shared_ptr<OrvoEffectFlood> effectFlood_;
  std::shared_ptr<OrvoEffectWaterPane> effectWaterPane_;
  std::shared_ptr<Image> internalWatermarkImage_;
  // The imported grade's table image, and whether style3DLUTTexture_ must
  // be filled again before the next pass (both on the queue only).
  std::shared_ptr<Image> cubeLookupTableImage_;
  bool cubeLookupTableChanged_ = false;
  std::atomic<bool> cubeLookupTableInUse_{false};

 private:
  std::shared_ptr<OrvoFilter> findFilter(int64_t filter, int64_t filterType) const;

  std::vector<uint64_t> observerTokens_;
  std::mt19937 random_{std::random_device{}()};
};

}  // namespace nudora
