#pragma once
// Turns one camera frame into one output frame: gyro stabilisation,
// time-domain denoising, the effect pass, then the watermark or, while a
// recording closes, the trailer. With blue screen on, the frame takes the
// blue-screen compositing path instead.
//
// Thread rules: effectPixelBuffer runs the frame synchronously on the
// processing queue, so it blocks its caller until the output buffer holds
// the frame, and must not be called from that queue (it then logs and
// returns without a frame). Property setters are plain stores from the
// host's thread; a frame reads each flag when its stage comes.
//
// The video stabiliser and the time-domain denoiser exist only on ES 3
// contexts; on ES 2 the stabilisation flag changes nothing, and the denoise
// flag routes the frame as if the denoiser had drawn (see
// processFilterEffectPixelBuffer). The segmentor of the blue-screen path is
// ES 3 only too; on ES 2 that path draws nothing.

#include <memory>

#include "gpu/OrvoBaseProcessor.h"
#include "platform/SampleBuffer.h"

namespace nudora {

class OrvoStageTrailer;
class OrvoTimeDomainDenoising;
class OrvoSegmentor;
class OrvoVideoStabilizer;

class OrvoRealTimeProcessor : public OrvoBaseProcessor {
 public:
  static std::shared_ptr<OrvoRealTimeProcessor> sharedInstance();

  OrvoRealTimeProcessor() = default;
  ~OrvoRealTimeProcessor() override;

  bool createResources() override;
  void releaseAllResources() override;

  // The per-frame entry. background is used only by the blue-screen path;
  // recordSec is accepted and unused; trailerAnimation is seconds into the
  // closing trailer (0 = none).
  void effectPixelBuffer(const std::shared_ptr<SampleBuffer>& sample, const std::shared_ptr<PixelBuffer>& toPixelBuffer,
                         const std::shared_ptr<PixelBuffer>& background, bool mirror, bool mirrorResult,
                         int64_t orientation, double recordSec, double trailerAnimation);
  bool processFilterEffectPixelBuffer(const std::shared_ptr<SampleBuffer>& sample,
                                      const std::shared_ptr<PixelBuffer>& toPixelBuffer,
                                      const std::shared_ptr<PixelBuffer>& background, bool mirror, bool mirrorResult,
                                      int64_t orientation, double recordSec, double trailerAnimation);
  // Blue-screen compositing: the segmentor's mask against screenColor, then
  // one pass that keys the frame over the background (type 0, which needs
  // it), or keeps (type 1) or recolours (type 2) the key hue, with style,
  // beautify and tone mapping; then watermark and trailer. True when the
  // composed frame was drawn. ES 3 only (there is no segmentor on ES 2).
  bool processBlueScreenPixelBuffer(const std::shared_ptr<SampleBuffer>& sample,
                                    const std::shared_ptr<PixelBuffer>& toPixelBuffer,
                                    const std::shared_ptr<PixelBuffer>& background, bool mirror, bool mirrorResult,
                                    int64_t orientation, double recordSec, double trailerAnimation);
  // (Re)builds the blue-screen program when style, type, beautify or tone
  // mapping changed since it was built.
  void updateBlueScreenProgram();
  // Blur levels the blue-screen pass needs: 0, 2, 3 or 4.
  uint32_t calculateBlueScreenBlurLevelWithWidth(int32_t width, int32_t height) const;
  // The segmentation threshold of a blue-screen type for the user's
  // threshold (0 for types without segmentation), in double precision.
  static float blueScreenSegmentThreshold(int64_t type, float threshold);
  // The orientation passed on as `direction`: 3 and 4 exchange when mirrored.
  static int64_t blueScreenDirection(int64_t orientation, bool mirror);
  // The compositing pass's aspect of the background over the frame's.
  static float backgroundAspect(int32_t bgW, int32_t bgH, int32_t inW, int32_t inH);

  // Beauty level 0..4 to beautify strength and face stretching; other levels are ignored.
  void setBeauty(int64_t level);
  // Loads the trailer picture on the processing queue; the caller does not wait.
  void setTrailerImage(const std::shared_ptr<Image>& image);
  // Whether any stage would change a frame (the host may skip the pipeline when not).
  bool shouldEnableProcess() const;

  bool stabilization() const { return stabilization_; }
  void setStabilization(bool v) { stabilization_ = v; }
  bool denoise() const { return denoise_; }
  void setDenoise(bool v) { denoise_ = v; }
  float lensZoom() const { return lensZoom_; }
  void setLensZoom(float v) { lensZoom_ = v; }
  bool blueScreenEnabled() const { return blueScreenEnabled_; }
  void setBlueScreenEnabled(bool v) { blueScreenEnabled_ = v; }
  float blueScreenThreshold() const { return blueScreenThreshold_; }
  void setBlueScreenThreshold(float v) { blueScreenThreshold_ = v; }
  float blueScreenReplaceHue() const { return blueScreenReplaceHue_; }
  void setBlueScreenReplaceHue(float v) { blueScreenReplaceHue_ = v; }
  OrvoColor screenColor() const { return screenColor_; }
  void setScreenColor(OrvoColor v) { screenColor_ = v; }
  int64_t blueScreenType() const { return blueScreenType_; }
  void setBlueScreenType(int64_t v) { blueScreenType_ = v; }
  const std::shared_ptr<OrvoStageTrailer>& stageTrailer() const { return stageTrailer_; }
  // Null on ES 2. Its settings (cropping, digital adjustment) may be changed
  // between frames; its GL work runs on the processing queue only.
  const std::shared_ptr<OrvoVideoStabilizer>& videoStabilizer() const { return videoStabilizer_; }
  // Null on ES 2. Fed with the stabiliser's deducted rotation while the
  // stabiliser runs, else it asks the estimator itself; its settings
  // (autoDegrade, estimator) may be changed between frames.
  const std::shared_ptr<OrvoTimeDomainDenoising>& tdDenoising() const { return tdDenoising_; }
  const std::shared_ptr<TextureCache>& backgroundTexCache() const { return backgroundTexCache_; }
  // Null on ES 2. Owned here; its GL work runs on the processing queue only.
  const std::shared_ptr<OrvoSegmentor>& segmentor() const { return segmentor_; }
  GLuint programBlueScreen() const { return programBlueScreen_; }

  // The frame-ending threshold of the direct shortcuts: the single-precision
  // 1e-5 widened to double (a trailer time between 0 and this takes the
  // trailer branch yet still allows the shortcut, as designed).
  static constexpr double kDirectTrailerLimit = static_cast<double>(1e-5f);

 private:
  bool stabilization_ = false;
  bool denoise_ = false;
  float lensZoom_ = 1.0f;
  bool blueScreenEnabled_ = false;
  float blueScreenThreshold_ = 0.5f;
  float blueScreenReplaceHue_ = 0.5f;
  OrvoColor screenColor_{0.0f, 0.0f, 1.0f};
  int64_t blueScreenType_ = 0;
  std::shared_ptr<TextureCache> backgroundTexCache_;
  std::shared_ptr<OrvoStageTrailer> stageTrailer_;
  std::shared_ptr<OrvoVideoStabilizer> videoStabilizer_;
  std::shared_ptr<OrvoTimeDomainDenoising> tdDenoising_;
  std::shared_ptr<OrvoSegmentor> segmentor_;
  // The blue-screen program and what it was built for.
  GLuint programBlueScreen_ = 0;
  int64_t currentBlueScreenType_ = 0;
  bool blueBeautifyEnabled_ = false;
  bool blueLocalToneMappingEnabled_ = false;
};

}  // namespace nudora
