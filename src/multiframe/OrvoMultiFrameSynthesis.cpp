#include "multiframe/OrvoMultiFrameSynthesis.h"

#include <mutex>

#include "gpu/OrvoProcessHelpers.h"
#include "gpu/ShaderPieces.h"
#include "platform/Console.h"
#include "platform/EglContext.h"
#include "platform/PixelBuffer.h"
#include "platform/SampleBuffer.h"
#include "platform/TextureCache.h"
#include "stabilization/OrvoFrameAligner.h"

namespace nudora {
namespace {

// The phone's status for a pixel buffer that could not be allocated.
constexpr int32_t kPixelBufferAllocationFailed = -6662;

GLint uniform(GLuint program, const char* name) { return glGetUniformLocation(program, name); }

void bindUnit(GLint unit, GLuint texture) {
  glActiveTexture(GL_TEXTURE0 + unit);
  glBindTexture(GL_TEXTURE_2D, texture);
}

void drawInto(GLuint texture, int width, int height) {
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
  glViewport(0, 0, width, height);
  OrvoProcessHelpers::renderWithSquareVertices(squareVertices, textureVertices);
}

// A 16-bit sum texture, cleared to zero. Integer textures must be sampled
// nearest (a linear filter makes them incomplete, and they read as zero),
// so the filter is set here rather than through the helpers, whose
// "nearest" is linear on purpose.
void makeSumTexture(GLuint* texture, int width, int height) {
  if (*texture != 0) glDeleteTextures(1, texture);
  glGenTextures(1, texture);
  glBindTexture(GL_TEXTURE_2D, *texture);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_R16I, width, height, 0, GL_RED_INTEGER, GL_SHORT, nullptr);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, *texture, 0);
  const GLint zero[4] = {0, 0, 0, 0};
  glClearBufferiv(GL_COLOR, 0, zero);
}

void deleteTexture(GLuint* texture) {
  if (*texture != 0) glDeleteTextures(1, texture);
  *texture = 0;
}

}  // namespace

// ---- CPU arithmetic ----

std::pair<int, int> OrvoMultiFrameSynthesis::previewSize(int width, int height, float ratio) {
  return {static_cast<int>(static_cast<float>(width) * ratio), static_cast<int>(static_cast<float>(height) * ratio)};
}

float OrvoMultiFrameSynthesis::invThreshold2() { return 1.0f / (kOutlierThreshold * kOutlierThreshold); }

// ---- Lifecycle ----

std::shared_ptr<OrvoMultiFrameSynthesis> OrvoMultiFrameSynthesis::sharedInstance() {
  static std::once_flag once;
  static std::shared_ptr<OrvoMultiFrameSynthesis> instance;
  std::call_once(once, [] { instance = std::make_shared<OrvoMultiFrameSynthesis>(); });
  return instance;
}

OrvoMultiFrameSynthesis::OrvoMultiFrameSynthesis() : frameAligner_(std::make_shared<OrvoFrameAligner>()) {}

OrvoMultiFrameSynthesis::OrvoMultiFrameSynthesis(std::shared_ptr<OrvoFrameAligner> frameAligner)
    : frameAligner_(std::move(frameAligner)) {}

OrvoMultiFrameSynthesis::~OrvoMultiFrameSynthesis() {
  if (!context_ || !context_->makeCurrent()) return;
  deleteBurstTextures(true);
  for (GLuint* p : {&programPassThrough_, &programImageDenoisingSC_, &programPassThroughI16_, &programConvertSCToRGB_}) {
    OrvoProcessHelpers::deleteProgram(p);
  }
  if (framebuffer_ != 0) glDeleteFramebuffers(1, &framebuffer_);
  // The caches free their textures with this context current.
  inputTextureCache_.reset();
  resultTextureCache_.reset();
}

bool OrvoMultiFrameSynthesis::setupGL(EglContext* context) {
  context_ = context;
  if (!context_ || !context_->makeCurrent()) {
    consoleLogLevel(kConsoleError, "OrvoMultiFrameSynthesis: setupGL without a usable context");
    return false;
  }
  if (context_->api() < 3) {
    consoleLogLevel(kConsoleError, "OrvoMultiFrameSynthesis: needs OpenGL ES 3 (integer textures), this is ES %d",
                    context_->api());
    return false;
  }
  const bool aligner = frameAligner_ && frameAligner_->setupGL(context_);
  context_->makeCurrent();
  if (framebuffer_ == 0) glGenFramebuffers(1, &framebuffer_);
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshPassThrough, &programPassThrough_);
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshImageDenoisingSC,
                                                         &programImageDenoisingSC_);
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshImageCopyI16, &programPassThroughI16_);
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshConvertSCToRGB, &programConvertSCToRGB_);
  for (std::shared_ptr<TextureCache>* cache : {&inputTextureCache_, &resultTextureCache_}) {
    *cache = TextureCache::create();
    if (!*cache) consoleLog("Error at CVOpenGLESTextureCacheCreate %d", static_cast<int>(kTextureCacheNoContext));
  }
  return aligner && programPassThrough_ && programImageDenoisingSC_ && programPassThroughI16_ &&
         programConvertSCToRGB_;
}

bool OrvoMultiFrameSynthesis::begin() {
  if (!context_ || !context_->makeCurrent()) return false;
  glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
  return true;
}

void OrvoMultiFrameSynthesis::start() {
  if (!begin()) return;
  isRunning_ = true;
  frameCount_ = 0;
  if (mode_ == 0 && frameAligner_) frameAligner_->enable();
}

// ---- Burst ----

std::shared_ptr<CacheTexture> OrvoMultiFrameSynthesis::inputTexture(const std::shared_ptr<SampleBuffer>& frame) {
  std::shared_ptr<CacheTexture> texture;
  const int32_t status = inputTextureCache_ ? cacheTexture(*inputTextureCache_, frame->imageBuffer(), &texture)
                                            : static_cast<int32_t>(kTextureCacheNoContext);
  if (status != kTextureCacheSuccess || !texture) {
    consoleLog("Create texture from image for input texture (error: %d)", status);
    return nullptr;
  }
  return texture;
}

void OrvoMultiFrameSynthesis::makeBurstTextures() {
  for (GLuint* t : {&alignedFrameTex_, &firstTex_}) {
    OrvoProcessHelpers::generateTexture(t, width_, height_, GL_RGBA);
  }
  for (GLuint& t : denoiseTexs_) makeSumTexture(&t, width_, height_);
  makeSumTexture(&denoiseTmpTex_, width_, height_);
  glBindTexture(GL_TEXTURE_2D, 0);
}

void OrvoMultiFrameSynthesis::deleteBurstTextures(bool sums) {
  deleteTexture(&alignedFrameTex_);
  deleteTexture(&firstTex_);
  deleteTexture(&denoiseTmpTex_);
  if (sums) {
    for (GLuint& t : denoiseTexs_) deleteTexture(&t);
  }
}

void OrvoMultiFrameSynthesis::accumulate(int at) {
  const GLuint source = at != 0 ? alignedFrameTex_ : firstTex_;
  for (int c = 0; c < 3; ++c) {
    glUseProgram(programImageDenoisingSC_);
    glUniform1i(uniform(programImageDenoisingSC_, "original"), 0);
    glUniform1i(uniform(programImageDenoisingSC_, "ref"), 1);
    glUniform1i(uniform(programImageDenoisingSC_, "srcImage"), 2);
    glUniform1i(uniform(programImageDenoisingSC_, "rgbSel"), c);
    glUniform1f(uniform(programImageDenoisingSC_, "inv_threshold2"), invThreshold2());
    bindUnit(0, denoiseTexs_[c]);
    bindUnit(1, firstTex_);
    bindUnit(2, source);
    drawInto(denoiseTmpTex_, width_, height_);

    glUseProgram(programPassThroughI16_);
    glUniform1i(uniform(programPassThroughI16_, "original"), 0);
    bindUnit(0, denoiseTmpTex_);
    drawInto(denoiseTexs_[c], width_, height_);
  }
  for (int unit : {2, 1, 0}) bindUnit(unit, 0);
}

void OrvoMultiFrameSynthesis::process(const std::shared_ptr<SampleBuffer>& frame, int at, bool mirror,
                                      float lensZoom) {
  if (!frame || !frame->imageBuffer()) {
    consoleLog("OrvoMultiFrameSynthesis: frame %d has no picture; skipped", at);
    return;
  }
  if (!begin()) return;
  const int w = frame->imageBuffer()->width(), h = frame->imageBuffer()->height();
  if (at != 0 && firstTex_ == 0) {
    consoleLog("OrvoMultiFrameSynthesis: frame %d came before the burst's first frame; skipped", at);
    return;
  }
  if (at != 0 && (w != width_ || h != height_)) {
    consoleLog("OrvoMultiFrameSynthesis: frame %d is %dx%d but the burst's first frame is %dx%d; skipped", at, w, h,
               width_, height_);
    return;
  }
  if (frameCount_ >= kMaxFrames) {
    consoleLog("OrvoMultiFrameSynthesis: a burst holds at most %d frames; frame %d skipped", kMaxFrames, at);
    return;
  }
  if (at == 0) {
    mirror_ = mirror;
    width_ = w;
    height_ = h;
    makeBurstTextures();
  }
  std::shared_ptr<CacheTexture> input = inputTexture(frame);
  if (!input) return;

  if (mode_ == 0) {
    if (at != 0) {
      frameAligner_->process(frame, mirror_, input->name(), alignedFrameTex_, lensZoom);
    } else {
      frameAligner_->process(frame, mirror_, input->name(), 0, lensZoom);
      frameAligner_->updateReference(input->name());
      glUseProgram(programPassThrough_);
      glUniform1i(uniform(programPassThrough_, "original"), 0);
      bindUnit(0, input->name());
      drawInto(firstTex_, width_, height_);
    }
    accumulate(at);
  }
  input.reset();
  ++frameCount_;
}

void OrvoMultiFrameSynthesis::end(const Completion& block) {
  if (!begin()) return;
  deleteBurstTextures(false);
  if (allocWidth_ != width_ || allocHeight_ != height_) {
    resultPixelBuffer_.reset();
    resultPixelBuffer_ = alloctePixelBufferWithWidth(width_, height_);
  }
  std::shared_ptr<CacheTexture> result;
  if (resultPixelBuffer_) {
    const int32_t status = resultTextureCache_ ? cacheTexture(*resultTextureCache_, resultPixelBuffer_, &result)
                                               : static_cast<int32_t>(kTextureCacheNoContext);
    if (status != kTextureCacheSuccess) consoleLog("Error at CVOpenGLESTextureCacheCreateTextureFromImage %d", status);
  }

  if (mode_ == 0) {
    if (frameAligner_) frameAligner_->disable();
    const bool draw = result && frameCount_ > 0;
    if (frameCount_ == 0) consoleLog("OrvoMultiFrameSynthesis: the burst ended without a frame; no picture");
    if (draw) {
      glUseProgram(programConvertSCToRGB_);
      glUniform1i(uniform(programConvertSCToRGB_, "tex_r"), 0);
      glUniform1i(uniform(programConvertSCToRGB_, "tex_g"), 1);
      glUniform1i(uniform(programConvertSCToRGB_, "tex_b"), 2);
      glUniform1f(uniform(programConvertSCToRGB_, "ratio"), 1.0f / static_cast<float>(frameCount_));
      for (int c = 0; c < 3; ++c) bindUnit(c, denoiseTexs_[c]);
      drawInto(result->name(), width_, height_);
      for (int unit : {2, 1, 0}) bindUnit(unit, 0);
      result->markRendered();
    }
    for (GLuint& t : denoiseTexs_) deleteTexture(&t);
    // This cache writes the texture back into the buffer when the texture
    // is released, so the buffer holds the picture only after that.
    result.reset();
    std::shared_ptr<PixelBuffer> picture = draw ? resultPixelBuffer_ : nullptr;
    if (block) block(picture);
  }
  result.reset();
  resultPixelBuffer_.reset();
  allocWidth_ = allocHeight_ = 0;
  isRunning_ = false;
}

// ---- Previews and buffers ----

std::shared_ptr<SampleBuffer> OrvoMultiFrameSynthesis::downscaleForPreview(std::shared_ptr<SampleBuffer> frame,
                                                                           float ratio) {
  if (!frame || !frame->imageBuffer()) {
    consoleLog("OrvoMultiFrameSynthesis: no frame to scale for a preview");
    return nullptr;
  }
  if (!begin()) return nullptr;
  std::shared_ptr<CacheTexture> input = inputTexture(frame);
  if (!input) return nullptr;
  glBindTexture(GL_TEXTURE_2D, input->name());
  OrvoProcessHelpers::set2DTextureParametersLinear();
  const auto [dw, dh] = previewSize(frame->imageBuffer()->width(), frame->imageBuffer()->height(), ratio);
  if (dw <= 0 || dh <= 0) {
    consoleLog("OrvoMultiFrameSynthesis: a preview ratio of %g leaves no picture", static_cast<double>(ratio));
    return nullptr;
  }
  if (allocWidth_ != dw || allocHeight_ != dh) {
    resultPixelBuffer_.reset();
    resultPixelBuffer_ = alloctePixelBufferWithWidth(dw, dh);
  }
  std::shared_ptr<CacheTexture> result;
  const int32_t status = !resultPixelBuffer_      ? static_cast<int32_t>(kPixelBufferAllocationFailed)
                         : resultTextureCache_ ? cacheTexture(*resultTextureCache_, resultPixelBuffer_, &result)
                                               : static_cast<int32_t>(kTextureCacheNoContext);
  if (status != kTextureCacheSuccess || !result) {
    consoleLog("Error at CVOpenGLESTextureCacheCreateTextureFromImage %d", status);
    return nullptr;
  }
  glBindTexture(GL_TEXTURE_2D, result->name());
  OrvoProcessHelpers::set2DTextureParametersLinear();
  glUseProgram(programPassThrough_);
  glUniform1i(uniform(programPassThrough_, "original"), 0);
  bindUnit(0, input->name());
  drawInto(result->name(), dw, dh);
  bindUnit(0, 0);
  result->markRendered();
  result.reset();
  input.reset();
  return SampleBuffer::create(resultPixelBuffer_, frame->presentationSeconds());
}

std::shared_ptr<PixelBuffer> OrvoMultiFrameSynthesis::alloctePixelBufferWithWidth(int width, int height) {
  std::shared_ptr<PixelBuffer> buffer = PixelBuffer::create(width, height);
  if (!buffer) {
    consoleLog("%s: %d", "-[OrvoMultiFrameSynthesis alloctePixelBufferWithWidth:height:]",
               kPixelBufferAllocationFailed);
  }
  allocWidth_ = width;
  allocHeight_ = height;
  return buffer;
}

}  // namespace nudora
