#include "pipeline/OrvoRealTimeProcessor.h"

#include <algorithm>

#include "filters/OrvoFilterDescriptor.h"
#include "gpu/OrvoProcessHelpers.h"
#include "multiframe/OrvoTimeDomainDenoising.h"
#include "pipeline/OrvoStageTrailer.h"
#include "pipeline/OrvoStageWatermark.h"
#include "platform/Console.h"
#include "segmentation/OrvoSegmentor.h"
#include "stages/OrvoStageGaussianBlur.h"
#include "stabilization/OrvoCameraMotionEstimator.h"
#include "stabilization/OrvoVideoStabilizer.h"

namespace nudora {

std::shared_ptr<OrvoRealTimeProcessor> OrvoRealTimeProcessor::sharedInstance() {
  static std::shared_ptr<OrvoRealTimeProcessor> processor = std::make_shared<OrvoRealTimeProcessor>();
  return processor;
}

OrvoRealTimeProcessor::~OrvoRealTimeProcessor() {
  // The trailer, the stabiliser and the denoiser free their GL objects in
  // their destructors: on the queue, with the context current. The
  // stabiliser and the denoiser go in any case, since they also hand back
  // their share of the gyro (they leave GL alone when the context cannot be
  // made current). The base destructor then releases the rest.
  queue_->sync([this] {
    const bool current = makeCurrent();
    if (current) stageTrailer_.reset();
    if (current) segmentor_.reset();
    if (current) OrvoProcessHelpers::deleteProgram(&programBlueScreen_);
    videoStabilizer_.reset();
    tdDenoising_.reset();
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
    if (!tdDenoising_) tdDenoising_ = std::make_shared<OrvoTimeDomainDenoising>();
    tdDenoising_->setupGL();
    if (!segmentor_) segmentor_ = std::make_shared<OrvoSegmentor>();
    segmentor_->setupGL();
  }
  backgroundTexCache_ = TextureCache::create();
  if (!backgroundTexCache_) {
    consoleLog("Error at Creating background texture cache %d", kTextureCacheNoContext);
    return false;
  }
  return result;
}

void OrvoRealTimeProcessor::releaseAllResources() {
  OrvoBaseProcessor::releaseAllResources();
  // The base has made the context current (when there is one).
  if (context_) OrvoProcessHelpers::deleteProgram(&programBlueScreen_);
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

float OrvoRealTimeProcessor::blueScreenSegmentThreshold(int64_t type, float threshold) {
  const double t = static_cast<double>(threshold);
  if (type == 0) return static_cast<float>(t * 0.53 + 0.02);
  if (type == 1 || type == 2) return static_cast<float>(t * 0.28 + 0.02);
  return 0.0f;
}

int64_t OrvoRealTimeProcessor::blueScreenDirection(int64_t orientation, bool mirror) {
  if (mirror && orientation == 4) return 3;
  if (mirror && orientation == 3) return 4;
  return orientation;
}

float OrvoRealTimeProcessor::backgroundAspect(int32_t bgW, int32_t bgH, int32_t inW, int32_t inH) {
  return (static_cast<float>(bgW) / static_cast<float>(inW)) / (static_cast<float>(bgH) / static_cast<float>(inH));
}

void OrvoRealTimeProcessor::updateBlueScreenProgram() {
  const int64_t style = styleFilter_;
  const int64_t type = blueScreenType_;
  const bool beautifyOn = beautify_ > 0.00001f;
  const bool ltmOn = localToneMappingType_ != 0;
  if (currentStyleFilter_ != style) updateStyleFilter(style);
  if (!(programBlueScreen_ != 0 && currentStyleFilter_ == style && currentBlueScreenType_ == type &&
        blueBeautifyEnabled_ == beautifyOn && blueLocalToneMappingEnabled_ == ltmOn)) {
    OrvoProcessHelpers::deleteProgram(&programBlueScreen_);
    programBlueScreen_ = OrvoProcessHelpers::loadPostProcessShaderWithfilterIndex(style, type, beautifyOn, ltmOn);
  }
  currentStyleFilter_ = style;
  currentBlueScreenType_ = type;
  blueBeautifyEnabled_ = beautifyOn;
  blueLocalToneMappingEnabled_ = ltmOn;
}

uint32_t OrvoRealTimeProcessor::calculateBlueScreenBlurLevelWithWidth(int32_t width, int32_t height) const {
  const bool large = isLarge(width, height);
  uint32_t level = beautify_ > 0.00001f ? 2 : 0;
  if (OrvoFilterDescriptor::sharedInstance()->getStyleFilterForceHDR(currentStyleFilter_) != 0) {
    level = std::max<uint32_t>(level, large ? 4 : 3);
  }
  if (!large) level = std::min<uint32_t>(level, 3);
  return level;
}

bool OrvoRealTimeProcessor::processBlueScreenPixelBuffer(const std::shared_ptr<SampleBuffer>& sample,
                                                         const std::shared_ptr<PixelBuffer>& toPixelBuffer,
                                                         const std::shared_ptr<PixelBuffer>& background, bool mirror,
                                                         bool mirrorResult, int64_t orientation, double,
                                                         double trailerAnimation) {
  bool result = false;
  std::shared_ptr<CacheTexture> inTexture, bgTexture, outTexture;
  const std::shared_ptr<PixelBuffer> input = sample ? sample->imageBuffer() : nullptr;

  auto run = [&] {
    if (!canProcess_ || !context_ || !input || !toPixelBuffer || !inputTexCache_ || !outputTexCache_) return;
    const int32_t inW = input->width(), inH = input->height();
    const int32_t outW = toPixelBuffer->width(), outH = toPixelBuffer->height();
    makeCurrent();
    updateResourceWithWidth(inW, inH);
    updateBlueScreenProgram();
    if (programBlueScreen_ == 0) return;
    int32_t status = cacheTexture(*inputTexCache_, input, &inTexture);
    if (status != kTextureCacheSuccess) {
      consoleLog("Cache input pixel buffer error: %d", status);
      return;
    }
    const int64_t type = blueScreenType_;
    int32_t bgW = 0, bgH = 0;
    GLuint bgTex = 0;
    if (type == 0) {
      if (!background) {
        consoleLog("Background pixel buffer empty");
        return;
      }
      bgW = background->width();
      bgH = background->height();
      status = backgroundTexCache_ ? cacheTexture(*backgroundTexCache_, background, &bgTexture)
                                   : static_cast<int32_t>(kTextureCacheNoContext);
      if (status != kTextureCacheSuccess) {
        consoleLog("Cache background pixel buffer error: %d", status);
        return;
      }
      bgTex = bgTexture->name();
    }
    status = cacheTexture(*outputTexCache_, toPixelBuffer, &outTexture);
    if (status != kTextureCacheSuccess) {
      consoleLog("Cache output pixel buffer error: %d", status);
      return;
    }
    const GLuint inTex = inTexture->name(), outTex = outTexture->name();

    if (!canProcess_) return;
    for (GLuint name : {inTex, bgTex, outTex}) {
      glBindTexture(GL_TEXTURE_2D, name);
      OrvoProcessHelpers::set2DTextureParametersLinear();
    }

    if (!canProcess_) return;
    const uint32_t blurLevel = calculateBlueScreenBlurLevelWithWidth(inW, inH);
    if (stageGaussianBlur_) {
      stageGaussianBlur_->processLevel(static_cast<int>(blurLevel), inTex, inW, inH, digitalZoom_);
    }

    if (!canProcess_) return;
    if (segmentor_) {
      segmentor_->enable(inW, inH);
      const float threshold = blueScreenSegmentThreshold(type, blueScreenThreshold_);
      if (type == 0) {
        segmentor_->segmentSimple(inTex, screenColor_, threshold);
      } else if (type == 1 || type == 2) {
        segmentor_->segmentHue(inTex, screenColor_, threshold);
      }
    }

    if (!canProcess_) return;
    glViewport(0, 0, outW, outH);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, outTex, 0);
    const GLenum fbStatus = glCheckFramebufferStatus(GL_FRAMEBUFFER);
    if (fbStatus != GL_FRAMEBUFFER_COMPLETE) {
      consoleLog("Failed to make complete framebuffer object %x", fbStatus);
      return;
    }

    glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    const GLuint program = programBlueScreen_;
    glUseProgram(program);
    const GLuint segmentTex = segmentor_ ? segmentor_->segResultTexture() : 0;
    const struct {
      const char* name;
      GLuint texture;
    } units[8] = {{"original", inTex},
                  {"gaussianLevel1", stageGaussianBlur_ ? stageGaussianBlur_->level1GaussianTexture() : 0},
                  {"gaussianLevel2", stageGaussianBlur_ ? stageGaussianBlur_->level2GaussianTexture() : 0},
                  {"gaussianLevel3", stageGaussianBlur_ ? stageGaussianBlur_->level3GaussianTexture() : 0},
                  {"backgroundTex", bgTex},
                  {"lut", style3DLUTTexture_},
                  {"segmentTex", segmentTex},
                  {"style_auxilary", styleAuxilaryTexture_}};
    for (int unit = 0; unit < 8; ++unit) {
      glActiveTexture(GL_TEXTURE0 + unit);
      glBindTexture(GL_TEXTURE_2D, units[unit].texture);
      glUniform1i(glGetUniformLocation(program, units[unit].name), unit);
    }
    glActiveTexture(GL_TEXTURE0);

    auto uniform = [program](const char* name) { return glGetUniformLocation(program, name); };
    auto catalogue = OrvoFilterDescriptor::sharedInstance();
    if (type == 0) {
      glUniform1i(uniform("bgEnabled"), 1);
      int32_t maxIndex = 0, minIndex = 0;
      OrvoSegmentor::backdropChannels(screenColor_.red, screenColor_.green, screenColor_.blue,
                                      OrvoSegmentor::kColorPassLimit, &maxIndex, &minIndex);
      glUniform1i(uniform("bgMaxIndex"), maxIndex);
      glUniform1i(uniform("bgMinIndex"), minIndex);
      glUniform1f(uniform("bgWvH"), backgroundAspect(bgW, bgH, inW, inH));
    } else if (type == 2) {
      glUniform1f(uniform("replaceHue"), blueScreenReplaceHue_);
    }
    glUniform1i(uniform("mirror"), mirror ? 1 : 0);
    glUniform1f(uniform("beautify"), beautify_);
    glUniform1i(uniform("stretchFace"), stretchFace_ ? 1 : 0);
    glUniform1i(uniform("imageWidth"), inW);
    glUniform1i(uniform("blurlevel"), static_cast<GLint>(blurLevel));
    const int64_t forced = catalogue->getStyleFilterForceHDR(currentStyleFilter_);
    const int64_t toneMapping = forced == 0 ? localToneMappingType_
                                : !blueLocalToneMappingEnabled_ ? forced
                                                                : localToneMappingType_;
    glUniform1i(uniform("localtonemappingtype"), static_cast<GLint>(toneMapping));
    glUniform2f(uniform("imagestep"), 1.0f / static_cast<float>(inW), 1.0f / static_cast<float>(inH));
    glUniform2f(uniform("wvh"), static_cast<float>(inW) / static_cast<float>(inH),
                static_cast<float>(inH) / static_cast<float>(inW));
    glUniform1f(uniform("frameCount"), static_cast<float>(frameCount_));
    if (catalogue->getStyleFilterType(currentStyleFilter_) == 1) {
      for (const char* name : {"tex1Idx", "tex2Idx", "tex3Idx"}) {
        auto pair = randomTilePair();
        glUniform2f(uniform(name), pair[0], pair[1]);
      }
    }
    const int64_t direction = blueScreenDirection(orientation, mirror);
    glUniform1f(uniform("commonInput"), 0.0f);
    glUniform1i(uniform("direction"), static_cast<GLint>(direction));
    glUniform1f(uniform("invZoom"), 1.0f / digitalZoom_);

    if (!canProcess_) return;
    OrvoProcessHelpers::renderWithSquareVertices(squareVertices, textureVertices);
    outTexture->markRendered();
    if (stageWatermark_ && stageWatermark_->enabled()) {
      stageWatermark_->processTex(outTex, outW, outH, direction, mirror, mirrorResult);
    }
    // Drawn from the output into the output on purpose, after the watermark.
    if (trailerAnimation > 0.0 && stageTrailer_) {
      stageTrailer_->processFrom(outTex, outTex, outW, outH, static_cast<float>(trailerAnimation), mirror,
                                 mirrorResult, direction, stageGaussianBlur_.get());
    }
    result = true;
  };
  run();

  inTexture.reset();
  bgTexture.reset();
  if (backgroundTexCache_) backgroundTexCache_->flush();
  outTexture.reset();
  if (inputTexCache_) inputTexCache_->flush();
  if (outputTexCache_) outputTexCache_->flush();
  return result;
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
    // Denoising (ES 3 only). Like stabilisation it ends the frame when it is
    // the last pass that changes the picture. Its own result is not looked
    // at: without a denoiser (ES 2) or before it could start (no gyro yet)
    // it draws nothing, the direct rule then leaves the output as it was,
    // and otherwise the effect pass reads the scratch texture unwritten.
    if (!denoise_) {
      if (tdDenoising_ && tdDenoising_->enabled()) tdDenoising_->disable();
    } else {
      if (tdDenoising_ && !tdDenoising_->enabled()) tdDenoising_->enable();
      const bool direct2 = !needEffectFilter() && trailerAnimation <= kDirectTrailerLimit && !watermarkOn && sameSize;
      const GLuint target = direct2 ? outTex : spareTex;
      bool drawn = false;
      if (tdDenoising_) {
        if (videoStabilizer_ && videoStabilizer_->enabled()) {
          // The stabilised frames differ by what the smoothing let through.
          // They show the central `cropping` of the field of view over the
          // whole frame, so a turn moves them 1 / cropping further than it
          // moves the camera picture: the shift is taken at that zoom.
          const auto& estimator = videoStabilizer_->cameraMotionEstimator();
          tdDenoising_->setMotion(estimator ? estimator->rotationDeducted() : quaternionIdentity(),
                                  lensZoom_ / videoStabilizer_->cropping());
        } else {
          tdDenoising_->estimateMotion(sample, srcTex, mirror, lensZoom_);
        }
        drawn = tdDenoising_->process(srcTex, inW, inH, target);
      }
      if (direct2) {
        result = true;
        outputDrawn = drawn;
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
