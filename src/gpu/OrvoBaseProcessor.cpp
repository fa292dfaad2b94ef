#include "gpu/OrvoBaseProcessor.h"

#include <algorithm>
#include <cmath>

#include "effects/OrvoEffectFlood.h"
#include "effects/OrvoEffectParticle.h"
#include "effects/OrvoEffectWaterPane.h"
#include "filters/CubeLookupTable.h"
#include "filters/LookupTableImage.h"
#include "filters/OrvoFilterDescriptor.h"
#include "gpu/OrvoProcessHelpers.h"
#include "pipeline/OrvoStageWatermark.h"
#include "platform/Console.h"
#include "platform/Image.h"
#include "platform/NotificationCenter.h"
#include "stages/OrvoStageGaussianBlur.h"
#include "stages/OrvoStageMinMax.h"

namespace nudora {
namespace {
const char kProcessorQueueKey = 0;
// The catalogue's plain table look (the table and nothing else): what an
// imported grade runs as when no style is chosen.
constexpr int64_t kPlainLookupTableStyle = 18;

GLint uniform(GLuint program, const char* name) { return glGetUniformLocation(program, name); }
}  // namespace

const void* const OrvoProcessorQueueContext = &kProcessorQueueKey;

OrvoBaseProcessor::OrvoBaseProcessor() : queue_(std::make_unique<SerialQueue>("ProcessingQueue")) {
  queue_->setSpecific(OrvoProcessorQueueContext, this);
  for (int64_t id = 1; id <= OrvoFilterDescriptor::kStyleIndexCount; ++id) {
    styleFilters_.push_back(OrvoFilter::filterWithType(OrvoFilter::kTypeStyle, id));
  }
  for (int64_t id = 1; id <= OrvoFilterDescriptor::kLensIndexCount; ++id) {
    lensFilters_.push_back(OrvoFilter::filterWithType(OrvoFilter::kTypeLens, id));
  }
  auto& center = NotificationCenter::defaultCenter();
  observerTokens_.push_back(center.addObserver(kApplicationDidBecomeActiveNotification,
                                               [this](const std::string&) { applicationDidBecomeActiveNotification(); }));
  observerTokens_.push_back(center.addObserver(kApplicationDidEnterBackgroundNotification,
                                               [this](const std::string&) { applicationDidEnterBackground(); }));
}

OrvoBaseProcessor::~OrvoBaseProcessor() {
  for (uint64_t token : observerTokens_) NotificationCenter::defaultCenter().removeObserver(token);
  // GL objects go with the context current on the queue; the stages free
  // theirs in their destructors, so they go there too.
  queue_->sync([this] {
    releaseAllResources();
    if (makeCurrent()) {
      stageGaussianBlur_.reset();
      stageMinMax_.reset();
      stageWatermark_.reset();
      effectParticle_.reset();
      effectFlood_.reset();
      effectWaterPane_.reset();
    }
    context_.reset();
  });
}

void OrvoBaseProcessor::applicationDidEnterBackground() { canProcess_ = false; }
void OrvoBaseProcessor::applicationDidBecomeActiveNotification() { canProcess_ = true; }

void OrvoBaseProcessor::runOnProcessingQueue(const std::function<void()>& block) {
  if (SerialQueue::getCurrentSpecific(OrvoProcessorQueueContext) != nullptr) {
    block();
  } else {
    queue_->sync(block);
  }
}

bool OrvoBaseProcessor::setupWithAPI(int api) {
  bool result = false;
  queue_->sync([&] {
    if (context_) return;
    releaseAllResources();
    context_ = EglContext::create(api);
    if (context_) result = createResources();
  });
  return result;
}

bool OrvoBaseProcessor::setupWithAvailableAPI() {
  // Asking for 3 where it is capped would only print a refusal.
  bool ready = EglContext::maxApi() >= 3 && setupWithAPI(3);
  // A context that was made but whose resources failed is not retried.
  if (!ready && !context_) ready = setupWithAPI(2);
  return ready;
}

bool OrvoBaseProcessor::isGLES3() const { return context_ && context_->api() == 3; }

bool OrvoBaseProcessor::createResources() {
  if (!context_) return false;
  makeCurrent();
  inputTexCache_ = TextureCache::create();
  if (!inputTexCache_) {
    consoleLog("Error at Creating input texture cache %d", kTextureCacheNoContext);
    releaseAllResources();
    return false;
  }
  outputTexCache_ = TextureCache::create();
  if (!outputTexCache_) {
    consoleLog("Error at Creating output texture cache %d", kTextureCacheNoContext);
    releaseAllResources();
    return false;
  }
  glGenFramebuffers(1, &framebuffer_);
  glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
  if (!stageGaussianBlur_) stageGaussianBlur_ = std::make_shared<OrvoStageGaussianBlur>();
  stageGaussianBlur_->setupGL();
  if (!stageMinMax_) stageMinMax_ = std::make_shared<OrvoStageMinMax>();
  stageMinMax_->setupGL();
  if (!effectParticle_) effectParticle_ = std::make_shared<OrvoEffectParticle>();
  effectParticle_->setupGL();
  if (isGLES3()) {
    if (!effectFlood_) effectFlood_ = std::make_shared<OrvoEffectFlood>();
    effectFlood_->setupGL();
    if (!effectWaterPane_) effectWaterPane_ = std::make_shared<OrvoEffectWaterPane>();
    effectWaterPane_->setupGL();
  }
  if (!stageWatermark_) stageWatermark_ = std::make_shared<OrvoStageWatermark>();
  stageWatermark_->setupGL();
  setWatermarkGreyness(1.0f);
  loadWatermark();
  trimmedTexVertices_ = {0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 1.0f, 1.0f, 1.0f};
  return true;
}

void OrvoBaseProcessor::releaseAllResources() {
  if (!context_) return;
  makeCurrent();
  for (int unit = 0; unit < 16; ++unit) {
    glActiveTexture(GL_TEXTURE0 + unit);
    glBindTexture(GL_TEXTURE_2D, 0);
  }
  glActiveTexture(GL_TEXTURE0);
  OrvoProcessHelpers::deleteTexture(&lensAuxilaryTexture_);
  OrvoProcessHelpers::deleteTexture(&styleAuxilaryTexture_);
  OrvoProcessHelpers::deleteTexture(&style3DLUTTexture_);
  OrvoProcessHelpers::deleteTexture(&swapTexture_);
  OrvoProcessHelpers::deleteProgram(&programPostProcess_);
  if (inputTexCache_) inputTexCache_->flush();
  if (outputTexCache_) outputTexCache_->flush();
  inputTexCache_.reset();
  outputTexCache_.reset();
  if (framebuffer_) glDeleteFramebuffers(1, &framebuffer_);
  framebuffer_ = 0;
}

// ---- Filter parameters ----

std::shared_ptr<OrvoFilter> OrvoBaseProcessor::findFilter(int64_t filter, int64_t filterType) const {
  const std::vector<std::shared_ptr<OrvoFilter>>* list = filterType == OrvoFilter::kTypeStyle ? &styleFilters_
                                                          : filterType == OrvoFilter::kTypeLens ? &lensFilters_
                                                                                                 : nullptr;
  if (!list) return nullptr;
  for (const auto& f : *list) {
    if (f->filterID() == filter) return f;
  }
  return nullptr;
}

void OrvoBaseProcessor::setAngle(float angle, int64_t forFilter, int64_t filterType) {
  if (auto f = findFilter(forFilter, filterType)) f->setAngle(angle);
}
void OrvoBaseProcessor::setRadius(float radius, int64_t forFilter, int64_t filterType) {
  if (auto f = findFilter(forFilter, filterType)) f->setRadius(radius);
}
void OrvoBaseProcessor::setCenter(OrvoPoint center, int64_t forFilter, int64_t filterType) {
  if (auto f = findFilter(forFilter, filterType)) f->setCenter(center);
}
void OrvoBaseProcessor::setValue1(float value, int64_t forFilter, int64_t filterType) {
  if (auto f = findFilter(forFilter, filterType)) f->setValue1(value);
}
void OrvoBaseProcessor::setValue2(float value, int64_t forFilter, int64_t filterType) {
  if (auto f = findFilter(forFilter, filterType)) f->setValue2(value);
}
void OrvoBaseProcessor::setValue3(float value, int64_t forFilter, int64_t filterType) {
  if (auto f = findFilter(forFilter, filterType)) f->setValue3(value);
}
float OrvoBaseProcessor::getAngleOfFilter(int64_t filter, int64_t filterType) const {
  auto f = findFilter(filter, filterType);
  return f ? f->angle() : 0.0f;
}
float OrvoBaseProcessor::getRadiusOfFilter(int64_t filter, int64_t filterType) const {
  auto f = findFilter(filter, filterType);
  return f ? f->radius() : 0.0f;
}
OrvoPoint OrvoBaseProcessor::getCenterOfFilter(int64_t filter, int64_t filterType) const {
  auto f = findFilter(filter, filterType);
  return f ? f->center() : OrvoPoint{0.0, 0.0};
}
float OrvoBaseProcessor::getValue1(int64_t filter, int64_t filterType) const {
  auto f = findFilter(filter, filterType);
  return f ? f->value1() : 0.0f;
}
float OrvoBaseProcessor::getValue2(int64_t filter, int64_t filterType) const {
  auto f = findFilter(filter, filterType);
  return f ? f->value2() : 0.0f;
}
float OrvoBaseProcessor::getValue3(int64_t filter, int64_t filterType) const {
  auto f = findFilter(filter, filterType);
  return f ? f->value3() : 0.0f;
}

float OrvoBaseProcessor::getInternalValue1(int64_t filter, int64_t filterType) const {
  float value = getValue1(filter, filterType);
  // Perspective (3), vignette (7) and elongating (20) take a signed strength,
  // swirl (44) a doubled one.
  if (filter == 3 || filter == 7 || filter == 20) return 2.0f * value - 1.0f;
  if (filter == 44) return 2.0f * value;
  return value;
}

void OrvoBaseProcessor::setBeautify(float v) {
  if (v == beautify_) return;
  beautify_ = std::clamp(v, 0.0f, 1.0f);
}

void OrvoBaseProcessor::setLocalToneMappingStrength(float v) { localToneMappingStrength_ = std::clamp(v, 0.0f, 1.0f); }

void OrvoBaseProcessor::setLocalToneMappingType(int64_t v) {
  // A stored negative type freezes the field: the test looks at the stored value.
  if (v == localToneMappingType_ || localToneMappingType_ < 0) return;
  localToneMappingType_ = v;
}

// ---- Watermark ----

void OrvoBaseProcessor::setWatermarkImage(const std::shared_ptr<Image>& image) {
  internalWatermarkImage_ = image;
  if (stageWatermark_) stageWatermark_->setWatermarkImage(image);
}

void OrvoBaseProcessor::setWatermarkDisplaySize(OrvoSize size, OrvoSize position) {
  if (!stageWatermark_) return;
  stageWatermark_->setDisplaySize({size.width, size.height});
  stageWatermark_->setDisplayPos({position.width, position.height});
}

void OrvoBaseProcessor::setWatermarkGreyness(float greyness) {
  watermarkGreyness_ = greyness;
  if (stageWatermark_) stageWatermark_->setDisplaryGrey(greyness);
}

void OrvoBaseProcessor::loadWatermark() {
  if (stageWatermark_) stageWatermark_->setWatermarkImage(internalWatermarkImage_);
}

// ---- Imported grade ----

bool OrvoBaseProcessor::loadCubeLookupTable(const std::string& path) {
  auto table = CubeLookupTable::load(path);
  if (!table) return false;  // the parser has named the file and line
  std::shared_ptr<Image> image = table->lookupTableImage();
  runOnProcessingQueue([&] {
    cubeLookupTableImage_ = image;
    cubeLookupTableChanged_ = true;
    cubeLookupTableInUse_ = true;
  });
  return true;
}

void OrvoBaseProcessor::clearCubeLookupTable() {
  runOnProcessingQueue([&] {
    if (!cubeLookupTableImage_) return;
    cubeLookupTableImage_.reset();
    cubeLookupTableChanged_ = true;
    cubeLookupTableInUse_ = false;
  });
}

// ---- Resources ----

void OrvoBaseProcessor::updateResourceWithWidth(int32_t width, int32_t height) {
  makeCurrent();
  if (swapTextureWidth_ == width && swapTextureHeight_ == height) return;
  if (stageGaussianBlur_) stageGaussianBlur_->resizewithWidth(width, height);
  OrvoProcessHelpers::generateTexture(&swapTexture_, width, height, GL_RGBA);
  swapTextureWidth_ = width;
  swapTextureHeight_ = height;
}

void OrvoBaseProcessor::updateStyleFilter(int64_t styleIndex) {
  makeCurrent();
  auto catalogue = OrvoFilterDescriptor::sharedInstance();
  auto lut = catalogue->getStyleFilter3DLUTImageName(styleIndex);
  if (cubeLookupTableImage_) {
    OrvoProcessHelpers::loadImage(cubeLookupTableImage_, &style3DLUTTexture_);
  } else if (lut && OrvoProcessHelpers::pathFromImage(*lut, "").empty()) {
    // A table that is not installed would sample as black and blank the
    // picture; the identity table keeps it as it is.
    consoleLog("Lookup table %s is missing; using the identity table", lut->c_str());
    OrvoProcessHelpers::loadImage(identityLookupTableImage(), &style3DLUTTexture_);
  } else if (lut) {
    OrvoProcessHelpers::loadImage(Image::imageNamed(*lut), &style3DLUTTexture_);
  }
  auto auxilary = catalogue->getStyleAuxilaryName(styleIndex);
  if (auxilary && !OrvoProcessHelpers::pathFromImage(*auxilary, "").empty()) {
    OrvoProcessHelpers::loadImage(Image::imageNamed(*auxilary), &styleAuxilaryTexture_);
  }
}

void OrvoBaseProcessor::updateLensFilter(int64_t lensIndex, int32_t width, int32_t height) {
  makeCurrent();
  auto catalogue = OrvoFilterDescriptor::sharedInstance();
  if (isGLES3()) {
    if (effectFlood_) {
      if (lensIndex == kFloodLens) {
        effectFlood_->enable();
      } else {
        effectFlood_->disable();
      }
    }
    if (effectWaterPane_) {
      if (lensIndex == kWaterPaneLens) {
        effectWaterPane_->enable();
      } else {
        effectWaterPane_->disable();
      }
    }
  }
  if (effectParticle_) {
    if (catalogue->getLensFilterType(lensIndex) == 1) {
      effectParticle_->enableFor(lensIndex);
    } else {
      effectParticle_->disable();
    }
  }
  auto auxilary = catalogue->getLensAuxilaryName(lensIndex);
  if (auxilary && !OrvoProcessHelpers::pathFromImage(*auxilary, "").empty()) {
    OrvoProcessHelpers::loadImage(Image::imageNamed(*auxilary), &lensAuxilaryTexture_);
    lensMinMaxWidth_ = 0;
    lensMinMaxheight_ = 0;
  }
  if (catalogue->doesFilterRequreMaxMin(lensIndex) && (lensMinMaxWidth_ != width || lensMinMaxheight_ != height)) {
    OrvoProcessHelpers::generateTexture(&lensAuxilaryTexture_, width, height, GL_RGBA);
    lensMinMaxWidth_ = width;
    lensMinMaxheight_ = height;
  }
}

void OrvoBaseProcessor::updateFilterProgramWithWidth(int32_t width, int32_t height) {
  makeCurrent();
  auto catalogue = OrvoFilterDescriptor::sharedInstance();
  const int64_t style = styleFilter_ == 0 && cubeLookupTableImage_ ? kPlainLookupTableStyle : styleFilter_;
  const int64_t lens = lensFilter_;
  if (lens != currentLensFilter_ ||
      (catalogue->doesFilterRequreMaxMin(lens) && (lensMinMaxWidth_ != width || lensMinMaxheight_ != height))) {
    updateLensFilter(lens, width, height);
  }
  if (style != currentStyleFilter_ || cubeLookupTableChanged_) updateStyleFilter(style);
  cubeLookupTableChanged_ = false;
  const bool beautifyOn = beautify_ > 0.0f;
  const bool toneMappingOn = localToneMappingType_ != 0;
  if (!(style == currentStyleFilter_ && lens == currentLensFilter_ && beautifyOn == currentBeautifyEnabled_ &&
        toneMappingOn == currentLocalToneMappingEnabled_ && programPostProcess_ != 0)) {
    OrvoProcessHelpers::deleteProgram(&programPostProcess_);
    programPostProcess_ =
        OrvoProcessHelpers::loadPostProcessShaderWithfilterIndex(style, lens, beautifyOn, toneMappingOn, isGLES3());
  }
  currentStyleFilter_ = style;
  currentLensFilter_ = lens;
  currentBeautifyEnabled_ = beautifyOn;
  currentLocalToneMappingEnabled_ = toneMappingOn;
}

int32_t OrvoBaseProcessor::calculateBlurLevelWithWidth(int32_t width, int32_t height) const {
  auto catalogue = OrvoFilterDescriptor::sharedInstance();
  const bool large = isLarge(width, height);
  int64_t level = catalogue->getFilterRequreBlur(currentLensFilter_);
  if (beautify_ > 0.0f) level = std::max<int64_t>(level, 2);
  if (localToneMappingType_ != 0 || catalogue->getStyleFilterForceHDR(currentStyleFilter_) != 0) {
    level = std::max<int64_t>(level, large ? 4 : 3);
  }
  if (effectWaterPane_ && effectWaterPane_->enabled()) level = std::max<int64_t>(level, 1);
  if (!large) level = std::min<int64_t>(level, 3);
  return static_cast<int32_t>(level);
}

bool OrvoBaseProcessor::needMoreEffect() const {
  return beautify_ > 0.0f || stretchFace_ || styleFilter_ != 0 || cubeLookupTableInUse_ || localToneMappingType_ != 0;
}

bool OrvoBaseProcessor::needEffectFilter() const {
  return beautify_ > 0.0f || stretchFace_ || styleFilter_ != 0 || cubeLookupTableInUse_ || lensFilter_ != 0 ||
         digitalZoom_ <= 0.9999f || digitalZoom_ > 1.0001f || localToneMappingType_ != 0;
}

void OrvoBaseProcessor::calTrimmedTexVerticesInputWidth(int32_t inputWidth, int32_t inputHeight, int32_t outputWidth,
                                                        int32_t outputHeight) {
  trimmedTexVertices_ = {0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 1.0f, 1.0f, 1.0f};
  const float a = static_cast<float>(inputWidth) / static_cast<float>(inputHeight);
  const float b = static_cast<float>(outputWidth) / static_cast<float>(outputHeight);
  if (a > b) {
    const float m = (1.0f - b / a) / 2.0f;
    trimmedTexVertices_[0] = m;
    trimmedTexVertices_[2] = 1.0f - m;
    trimmedTexVertices_[4] = m;
    trimmedTexVertices_[6] = 1.0f - m;
  } else if (a < b) {
    const float m = (1.0f - (static_cast<float>(outputHeight) / static_cast<float>(outputWidth)) /
                                (static_cast<float>(inputHeight) / static_cast<float>(inputWidth))) /
                    2.0f;
    trimmedTexVertices_[1] = m;
    trimmedTexVertices_[3] = m;
    trimmedTexVertices_[5] = 1.0f - m;
    trimmedTexVertices_[7] = 1.0f - m;
  }
}

std::array<float, 2> OrvoBaseProcessor::randomTilePair() {
  return {static_cast<float>(random_() & 3u), static_cast<float>(random_() & 3u)};
}

// ---- The passes ----

bool OrvoBaseProcessor::renderPixelBuffer(const std::shared_ptr<PixelBuffer>& input,
                                          const std::shared_ptr<PixelBuffer>& outPixelBuffer, bool mirror,
                                          bool mirrorResult, int64_t orientation) {
  if (!input || !outPixelBuffer) return false;
  bool result = false;
  runOnProcessingQueue([&] {
    if (!context_ || !canProcess_ || !inputTexCache_ || !outputTexCache_) return;
    const int32_t inW = input->width(), inH = input->height();
    const int32_t outW = outPixelBuffer->width(), outH = outPixelBuffer->height();
    makeCurrent();
    updateResourceWithWidth(inW, inH);
    std::shared_ptr<CacheTexture> inTexture, outTexture;
    int32_t status = cacheTexture(*inputTexCache_, input, &inTexture);
    if (status != kTextureCacheSuccess) {
      consoleLog("Cache input pixel buffer error: %d", status);
    } else if ((status = cacheTexture(*outputTexCache_, outPixelBuffer, &outTexture)) != kTextureCacheSuccess) {
      consoleLog("Cache output pixel buffer error: %d", status);
    } else {
      for (GLuint name : {inTexture->name(), outTexture->name()}) {
        glBindTexture(GL_TEXTURE_2D, name);
        OrvoProcessHelpers::set2DTextureParametersLinear();
      }
      result = effectFilterWithInputTexture(inTexture->name(), inW, inH, swapTexture_, outTexture->name(), outW, outH,
                                            orientation, mirror, false, false);
      bool watermarked = false;
      if (stageWatermark_ && stageWatermark_->enabled()) {
        stageWatermark_->processTex(outTexture->name(), outW, outH, orientation, mirror, mirrorResult);
        watermarked = true;
      }
      // Only a frame some pass drew goes back into the host's buffer.
      if (result || watermarked) outTexture->markRendered();
    }
    inTexture.reset();
    outTexture.reset();
    inputTexCache_->flush();
    outputTexCache_->flush();
  });
  return result;
}

bool OrvoBaseProcessor::effectFilterWithInputTexture(GLuint inputTexture, int32_t inputWidth, int32_t inputHeight,
                                                     GLuint swapTexture, GLuint outTexture, int32_t outputWidth,
                                                     int32_t outputHeight, int64_t orientation, bool mirror,
                                                     bool zoomed, bool isPostprocessing) {
  if (!context_ || !canProcess_) return false;
  makeCurrent();
  if (frameCount_ < 0 || frameCount_ > 12000) frameCount_ = 0;
  ++frameCount_;

  updateFilterProgramWithWidth(inputWidth, inputHeight);
  if (programPostProcess_ == 0) return false;
  auto catalogue = OrvoFilterDescriptor::sharedInstance();
  const bool large = isLarge(inputWidth, inputHeight);
  GLuint source = inputTexture;

  // The flood and the water pane draw straight into the output when nothing
  // else follows and the output has the input's size (any other size needs
  // the filter pass's scaling and aspect crop).
  int64_t direction = orientation;
  if (mirror && direction == 4) {
    direction = 3;
  } else if (mirror && direction == 3) {
    direction = 4;
  }
  const bool zoomPending = digitalZoom_ <= 0.9999f || digitalZoom_ > 1.0001f;
  const bool resized = outputWidth != inputWidth || outputHeight != inputHeight;
  if (effectFlood_ && effectFlood_->enabled()) {
    const bool more = needMoreEffect() || zoomPending || resized;
    effectFlood_->process(source, inputWidth, inputHeight, more ? swapTexture : outTexture, mirror, orientation);
    if (!more) {
      glFlush();
      return true;
    }
    source = swapTexture;
  }
  if (!canProcess_) return false;

  const int32_t blurLevel = calculateBlurLevelWithWidth(inputWidth, inputHeight);
  if (stageGaussianBlur_) stageGaussianBlur_->processLevel(blurLevel, source, inputWidth, inputHeight, digitalZoom_);
  if (!canProcess_) return false;

  if (catalogue->doesFilterRequreMaxMin(lensFilter_) && stageMinMax_) {
    if (large) {
      float step = std::min(static_cast<float>(inputWidth) * 8.0f / 4000.0f, 8.0f);
      stageMinMax_->processFromTex(source, swapTexture, lensAuxilaryTexture_, inputWidth, inputHeight, step);
      stageMinMax_->processFromTex(lensAuxilaryTexture_, swapTexture, lensAuxilaryTexture_, inputWidth, inputHeight,
                                   4.0f);
    } else {
      float step = std::min(static_cast<float>(inputWidth) * 4.0f / 2000.0f, 4.0f);
      stageMinMax_->processFromTex(source, swapTexture, lensAuxilaryTexture_, inputWidth, inputHeight, step);
    }
  }
  if (!canProcess_) return false;
  if (effectParticle_ && catalogue->getLensFilterType(currentLensFilter_) == 1) {
    effectParticle_->processTex(source, swapTexture, inputWidth, inputHeight, squareVertices, textureVertices);
    source = swapTexture;
  }
  if (!canProcess_) return false;
  if (effectWaterPane_ && effectWaterPane_->enabled()) {
    const bool more = needMoreEffect() || resized;
    effectWaterPane_->process(source, stageGaussianBlur_ ? stageGaussianBlur_->level1GaussianTexture() : 0, inputWidth,
                              inputHeight, more ? swapTexture : outTexture, mirror, orientation, digitalZoom_);
    zoomed = true;
    if (!more) {
      glFlush();
      return true;
    }
    source = swapTexture;
  }
  if (!canProcess_) return false;

  glViewport(0, 0, outputWidth, outputHeight);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, outTexture, 0);
  GLenum status = glCheckFramebufferStatus(GL_FRAMEBUFFER);
  if (status != GL_FRAMEBUFFER_COMPLETE) {
    consoleLog("Failed to make complete framebuffer object %x", status);
    return false;
  }
  glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT);

  const GLuint program = programPostProcess_;
  glUseProgram(program);
  const GLuint level1 = stageGaussianBlur_ ? stageGaussianBlur_->level1GaussianTexture() : 0;
  const GLuint level2 = stageGaussianBlur_ ? stageGaussianBlur_->level2GaussianTexture() : 0;
  const GLuint level3 = stageGaussianBlur_ ? stageGaussianBlur_->level3GaussianTexture() : 0;
  const GLuint level4 = stageGaussianBlur_ ? stageGaussianBlur_->level4GaussianTexture() : 0;
  const struct {
    const char* name;
    GLuint texture;
  } units[8] = {{"original", source},          {"gaussianLevel1", level1},           {"gaussianLevel2", level2},
                {"gaussianLevel3", level3},    {"gaussianLevel4", level4},           {"lut", style3DLUTTexture_},
                {"lens_auxilary", lensAuxilaryTexture_}, {"style_auxilary", styleAuxilaryTexture_}};
  for (int unit = 0; unit < 8; ++unit) {
    glUniform1i(uniform(program, units[unit].name), unit);
    glActiveTexture(GL_TEXTURE0 + unit);
    glBindTexture(GL_TEXTURE_2D, units[unit].texture);
  }
  glActiveTexture(GL_TEXTURE0);

  glUniform1i(uniform(program, "mirror"), mirror ? 1 : 0);
  glUniform1f(uniform(program, "beautify"), beautify_);
  glUniform1f(uniform(program, "localtonemappingstrength"), localToneMappingStrength_);
  glUniform1i(uniform(program, "stretchFace"), stretchFace_ ? 1 : 0);
  glUniform1i(uniform(program, "imageWidth"), inputWidth);
  glUniform1i(uniform(program, "blurlevel"), blurLevel);

  // An explicit user choice wins over the style's forced type.
  const int64_t forced = catalogue->getStyleFilterForceHDR(currentStyleFilter_);
  const int64_t toneMapping = forced == 0 ? localToneMappingType_ : (localToneMappingType_ != 0 ? localToneMappingType_ : forced);
  glUniform1i(uniform(program, "localtonemappingtype"), static_cast<GLint>(toneMapping));

  if (catalogue->getStyleFilterType(currentStyleFilter_) == 1) {
    for (const char* name : {"tex1Idx", "tex2Idx", "tex3Idx"}) {
      auto pair = randomTilePair();
      glUniform2f(uniform(program, name), pair[0], pair[1]);
    }
  }
  if (catalogue->getLensFilterType(currentLensFilter_) == 2) {
    auto pair = randomTilePair();
    glUniform2f(uniform(program, "lensTexIdx"), pair[0], pair[1]);
  }
  glUniform2f(uniform(program, "imagestep"), 1.0f / static_cast<float>(inputWidth),
              1.0f / static_cast<float>(inputHeight));
  glUniform2f(uniform(program, "wvh"), static_cast<float>(inputWidth) / static_cast<float>(inputHeight),
              static_cast<float>(inputHeight) / static_cast<float>(inputWidth));
  glUniform1f(uniform(program, "frameCount"), static_cast<float>(frameCount_));
  glUniform1i(uniform(program, "isPostprocessing"), isPostprocessing ? 1 : 0);

  glUniform1i(uniform(program, "direction"), static_cast<GLint>(direction));

  if (catalogue->doesFilterRequrePosition(lensFilter_)) {
    OrvoPoint center = getCenterOfFilter(currentLensFilter_, OrvoFilter::kTypeLens);
    glUniform2f(uniform(program, "offset"), static_cast<float>(center.x),
                static_cast<float>(mirror ? 1.0 - center.y : center.y));
    glUniform1f(uniform(program, "angle"), getAngleOfFilter(currentLensFilter_, OrvoFilter::kTypeLens));
    glUniform1f(uniform(program, "radius"), getRadiusOfFilter(currentLensFilter_, OrvoFilter::kTypeLens));
  }
  glUniform1f(uniform(program, "commonInput"), getInternalValue1(currentLensFilter_, OrvoFilter::kTypeLens));
  // The style's own three values (0.5 each unless the host moved them), for
  // the looks that take user settings (style 11, the adjustments).
  glUniform3f(uniform(program, "styleInput"), getValue1(currentStyleFilter_, OrvoFilter::kTypeStyle),
              getValue2(currentStyleFilter_, OrvoFilter::kTypeStyle),
              getValue3(currentStyleFilter_, OrvoFilter::kTypeStyle));
  const float zoom = zoomed ? 1.0f : digitalZoom_;
  glUniform1f(uniform(program, "invZoom"), 1.0f / zoom);
  if (!canProcess_) return false;

  calTrimmedTexVerticesInputWidth(inputWidth, inputHeight, outputWidth, outputHeight);
  OrvoProcessHelpers::renderWithSquareVertices(squareVertices, trimmedTexVertices_.data());
  glFlush();
  return true;
}

}  // namespace nudora
