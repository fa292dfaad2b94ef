#include "pipeline/OrvoRealTimeProcessor.h"

#include "gpu/OrvoProcessHelpers.h"
#include "pipeline/OrvoStageTrailer.h"
#include "pipeline/OrvoStageWatermark.h"
#include "platform/Console.h"
#include "stabilization/OrvoVideoStabilizer.h"

namespace nudora {

std::shared_ptr<OrvoRealTimeProcessor> OrvoRealTimeProcessor::sharedInstance() {
  static std::shared_ptr<OrvoRealTimeProcessor> processor = std::make_shared<OrvoRealTimeProcessor>();
  return processor;
}

OrvoRealTimeProcessor::~OrvoRealTimeProcessor() {
  // The trailer and the stabiliser free their GL objects in their
  // destructors: on the queue, with the context current. The stabiliser goes
  // in any case, since it also hands back its share of the gyro (it leaves
  // GL alone when the context cannot be made current). The base destructor
  // then releases the rest.
  queue_->sync([this] {
    const bool current = makeCurrent();
    if (current) stageTrailer_.reset();
    videoStabilizer_.reset();
    backgroundTexCache_.reset();
  });
}

bool OrvoRealTimeProcessor::createResources() {
  bool result = OrvoBaseProcessor::createResources();
  if (!context_) return result;
  makeCurrent();
  if (!stageTrailer_) stageTrailer_ = std::make_shared<OrvoStageTrailer>();
  stageTrailer_->setupGL();
  if (isGLES3()) {
    if (!videoStabilizer_) videoStabilizer_ = std::make_shared<OrvoVideoStabilizer>();
    videoStabilizer_->setupGL(context_.get());
  }
  // The denoiser and segmentor (ES 3 only) join here once they exist.
  backgroundTexCache_ = TextureCache::create();
  if (!backgroundTexCache_) {
    consoleLog("Error at Creating background texture cache %d", kTextureCacheNoContext);
    return false;
  }
  return result;
}

void OrvoRealTimeProcessor::releaseAllResources() {
  OrvoBaseProcessor::releaseAllResources();
  backgroundTexCache_.reset();
}

void OrvoRealTimeProcessor::effectPixelBuffer(const std::shared_ptr<SampleBuffer>& sample,
                                              const std::shared_ptr<PixelBuffer>& toPixelBuffer,
                                              const std::shared_ptr<PixelBuffer>& background, bool mirror,
                                              bool mirrorResult, int64_t orientation, double recordSec,
                                              double trailerAnimation) {
  queue_->sync([&] {
    if (blueScreenEnabled_) {
      processBlueScreenPixelBuffer(sample, toPixelBuffer, background, mirror, mirrorResult, orientation, recordSec,
                                   trailerAnimation);
    } else {
      processFilterEffectPixelBuffer(sample, toPixelBuffer, nullptr, mirror, mirrorResult, orientation, recordSec,
                                     trailerAnimation);
    }
  });
}

bool OrvoRealTimeProcessor::processBlueScreenPixelBuffer(const std::shared_ptr<SampleBuffer>&,
                                                         const std::shared_ptr<PixelBuffer>&,
                                                         const std::shared_ptr<PixelBuffer>&, bool, bool, int64_t,
                                                         double, double) {
  return false;
}

bool OrvoRealTimeProcessor::processFilterEffectPixelBuffer(const std::shared_ptr<SampleBuffer>& sample,
                                                           const std::shared_ptr<PixelBuffer>& toPixelBuffer,
                                                           const std::shared_ptr<PixelBuffer>&, bool mirror,
                                                           bool mirrorResult, int64_t orientation, double,
                                                           double trailerAnimation) {
  bool result = false;
  // Whether a pass drew into the output: only then does the frame go back
  // into the host's buffer, so a skipped frame leaves every byte as it was.
  bool outputDrawn = false;
  std::shared_ptr<CacheTexture> inTexture, outTexture;
  const std::shared_ptr<PixelBuffer> input = sample ? sample->imageBuffer() : nullptr;

  auto run = [&] {
    if (!canProcess_ || !context_ || !input || !toPixelBuffer || !inputTexCache_ || !outputTexCache_) return;
    const int32_t inW = input->width(), inH = input->height();
    const int32_t outW = toPixelBuffer->width(), outH = toPixelBuffer->height();
    makeCurrent();
    updateResourceWithWidth(inW, inH);
    if (!canProcess_) return;
    int32_t status = cacheTexture(*inputTexCache_, input, &inTexture);
    if (status != kTextureCacheSuccess) {
      consoleLog("Cache input pixel buffer error: %d", status);
      return;
    }
    status = cacheTexture(*outputTexCache_, toPixelBuffer, &outTexture);
    if (status != kTextureCacheSuccess) {
      consoleLog("Cache output pixel buffer error: %d", status);
      return;
    }
    const GLuint inTex = inTexture->name(), outTex = outTexture->name();
    for (GLuint name : {inTex, outTex}) {
      glBindTexture(GL_TEXTURE_2D, name);
      OrvoProcessHelpers::set2DTextureParametersLinear();
    }
    if (!canProcess_) return;
    GLuint srcTex = inTex, spareTex = swapTexture_;

    const bool watermarkOn = stageWatermark_ && stageWatermark_->enabled();
    const bool sameSize = inW == outW && inH == outH;
    // Stabilisation (ES 3 only; on ES 2 there is no stabiliser and the frame
    // goes on from the input). When it is the last pass that changes the
    // picture and the sizes match, it renders straight into the output and
    // the frame ends.
    if (!stabilization_) {
      if (videoStabilizer_ && videoStabilizer_->enabled()) videoStabilizer_->disable();
    } else {
      if (videoStabilizer_ && !videoStabilizer_->enabled()) videoStabilizer_->enable();
      const bool direct = !needEffectFilter() && trailerAnimation <= kDirectTrailerLimit && !denoise_ &&
                          !watermarkOn && sameSize;
      const GLuint target = direct ? outTex : spareTex;
      if (videoStabilizer_ && videoStabilizer_->process(sample, mirror, srcTex, target, lensZoom_)) {
        if (direct) {
          result = true;
          outputDrawn = true;
          return;
        }
        spareTex = inTex;
        srcTex = target;
      }
    }
    if (!canProcess_) return;
    if (denoise_) {
      // The denoiser (ES 3 only) is absent as on ES 2: it draws nothing, yet
      // it still ends the frame on the direct rule (leaving the output as it
      // was) and otherwise still exchanges the textures.
      const bool direct2 = !needEffectFilter() && trailerAnimation <= kDirectTrailerLimit && !watermarkOn && sameSize;
      const GLuint target = direct2 ? outTex : spareTex;
      if (direct2) {
        result = true;
        return;
      }
      spareTex = srcTex;
      srcTex = target;
    }
    if (!canProcess_) return;

    if (trailerAnimation <= 0.0) {
      result = effectFilterWithInputTexture(srcTex, inW, inH, spareTex, outTex, outW, outH, orientation, mirror, false,
                                            false);
      outputDrawn = result;
      if (watermarkOn) {
        outputDrawn |= stageWatermark_->processTex(outTex, outW, outH, orientation, mirror, mirrorResult);
      }
    } else if (!needEffectFilter()) {
      // result stays as it is: the caller ignores it.
      if (stageTrailer_) {
        outputDrawn = stageTrailer_->processFrom(srcTex, outTex, outW, outH, static_cast<float>(trailerAnimation),
                                                 mirror, mirrorResult, orientation, stageGaussianBlur_.get());
      }
    } else {
      // The effect renders into the spare texture with the output as its
      // scratch, then the trailer closes from there into the output.
      result = effectFilterWithInputTexture(srcTex, inW, inH, outTex, spareTex, outW, outH, orientation, mirror, false,
                                            false);
      outputDrawn = result;  // the output served as scratch
      if (canProcess_ && stageTrailer_) {
        outputDrawn |= stageTrailer_->processFrom(spareTex, outTex, outW, outH, static_cast<float>(trailerAnimation),
                                                  mirror, mirrorResult, orientation, stageGaussianBlur_.get());
      }
    }
  };
  run();

  if (outTexture && outputDrawn) outTexture->markRendered();
  inTexture.reset();
  outTexture.reset();
  if (inputTexCache_) inputTexCache_->flush();
  if (outputTexCache_) outputTexCache_->flush();
  return result;
}

void OrvoRealTimeProcessor::setBeauty(int64_t level) {
  static constexpr float kStrength[] = {0.0f, 0.3f, 0.5f, 0.8f, 0.8f};
  if (level < 0 || level > 4) return;
  OrvoBaseProcessor::setBeautify(kStrength[level]);
  setStretchFace(level == 4);
}

void OrvoRealTimeProcessor::setTrailerImage(const std::shared_ptr<Image>& image) {
  queue_->async([this, image] {
    if (!makeCurrent() || !stageTrailer_) return;
    stageTrailer_->loadImage(image);
  });
}

bool OrvoRealTimeProcessor::shouldEnableProcess() const {
  return needEffectFilter() || blueScreenEnabled_ || stabilization_ || denoise_ ||
         (stageWatermark_ && stageWatermark_->enabled());
}

}  // namespace nudora
