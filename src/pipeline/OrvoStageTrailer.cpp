#include "pipeline/OrvoStageTrailer.h"

#include <algorithm>
#include <cstring>

#include "gpu/OrvoProcessHelpers.h"
#include "gpu/ShaderPieces.h"
#include "platform/Console.h"
#include "platform/Image.h"
#include "stages/OrvoStageGaussianBlur.h"

namespace nudora {

namespace {

// The curve's numbers; fshTrailer_GLES1 holds the same constants.
constexpr float kBlurSeconds = 1.0f;
constexpr float kTrailerStart = 1.0f;
constexpr float kTrailerSeconds = 1.5f;
constexpr float kStartScale = 0.85f;
constexpr float kDim = 0.35f;

// GLSL's smoothstep(0, 1, x).
float smooth01(float x) {
  x = std::clamp(x, 0.0f, 1.0f);
  return x * x * (3.0f - 2.0f * x);
}

}  // namespace

OrvoStageTrailer::~OrvoStageTrailer() {
  OrvoProcessHelpers::deleteProgram(&programTrailer_);
  freeTextures();
}

OrvoTrailerWeights OrvoStageTrailer::weightsAt(float stopSec) {
  const float melt = smooth01(stopSec / kBlurSeconds);
  const float fade = smooth01((stopSec - kTrailerStart) / kTrailerSeconds);
  OrvoTrailerWeights w;
  w.picture = 1.0f - melt;
  w.blurred = melt;
  w.trailer = fade;
  w.shade = 1.0f - kDim * fade;
  w.scale = kStartScale + (1.0f - kStartScale) * fade;
  return w;
}

std::shared_ptr<Image> OrvoStageTrailer::cardImage(const std::shared_ptr<Image>& image) {
  if (!image || image->width() <= 0 || image->height() <= 0) return nullptr;
  // The rim keeps the card's edge soft under linear filtering and makes a
  // picture of any shape fill the square card at its own aspect.
  const int side = std::max(image->width(), image->height()) + 2;
  auto card = std::make_shared<Image>(side, side);
  const int x0 = (side - image->width()) / 2, y0 = (side - image->height()) / 2;
  for (int y = 0; y < image->height(); ++y) {
    std::memcpy(card->pixel(x0, y0 + y), image->pixel(0, y), static_cast<size_t>(image->width()) * 4);
  }
  return card;
}

bool OrvoStageTrailer::setupGL() {
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough_GLES1, fshTrailer_GLES1, &programTrailer_);
  return programTrailer_ != 0;
}

void OrvoStageTrailer::loadImage(const std::shared_ptr<Image>& image) {
  auto card = cardImage(image);
  if (!card) {
    consoleLog("OrvoStageTrailer: the trailer picture is missing or empty; keeping the previous one");
    return;
  }
  OrvoProcessHelpers::loadImage(card, &trailerTexture_);
}

void OrvoStageTrailer::freeTextures() { OrvoProcessHelpers::deleteTexture(&trailerTexture_); }

bool OrvoStageTrailer::processFrom(GLuint from, GLuint to, int32_t width, int32_t height, float stopSec, bool mirror,
                                   bool mirrorResult, int64_t orientation,
                                   OrvoStageGaussianBlur* gaussianBlurStage) {
  if (!(stopSec > 0.0f)) return false;
  // True with nothing drawn: a trailer is due, so the pipeline counts this
  // stage as run and does not draw the frame another way.
  if (programTrailer_ == 0) return true;
  if (width <= 0 || height <= 0) {
    consoleLog("OrvoStageTrailer: cannot draw on a %dx%d output", width, height);
    return false;
  }

  GLuint blurredTex = from;
  if (gaussianBlurStage) {
    gaussianBlurStage->processLevel(3, from, width, height, 1.0f);
    if (gaussianBlurStage->level3GaussianTexture() != 0) blurredTex = gaussianBlurStage->level3GaussianTexture();
  } else {
    consoleLog("OrvoStageTrailer: no blur stage; the picture stands in for its blurred copy");
  }

  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, to, 0);
  const GLenum status = glCheckFramebufferStatus(GL_FRAMEBUFFER);
  if (status != GL_FRAMEBUFFER_COMPLETE) {
    consoleLog("Failed to make complete framebuffer object %x", status);
    return true;
  }
  glViewport(0, 0, width, height);
  glUseProgram(programTrailer_);

  glActiveTexture(GL_TEXTURE0);
  glBindTexture(GL_TEXTURE_2D, from);
  glUniform1i(glGetUniformLocation(programTrailer_, "original"), 0);
  glActiveTexture(GL_TEXTURE1);
  glBindTexture(GL_TEXTURE_2D, blurredTex);
  glUniform1i(glGetUniformLocation(programTrailer_, "blurred"), 1);
  glActiveTexture(GL_TEXTURE2);
  glBindTexture(GL_TEXTURE_2D, trailerTexture_);
  glUniform1i(glGetUniformLocation(programTrailer_, "trailer"), 2);
  glActiveTexture(GL_TEXTURE0);

  glUniform1i(glGetUniformLocation(programTrailer_, "mirror"), mirror ? 1 : 0);
  glUniform1i(glGetUniformLocation(programTrailer_, "mirrorResult"), mirrorResult ? 1 : 0);
  glUniform2f(glGetUniformLocation(programTrailer_, "wvh"), static_cast<GLfloat>(width) / static_cast<GLfloat>(height),
              static_cast<GLfloat>(height) / static_cast<GLfloat>(width));
  glUniform1f(glGetUniformLocation(programTrailer_, "stopSec"), stopSec);
  glUniform1i(glGetUniformLocation(programTrailer_, "direction"), static_cast<GLint>(orientation));

  glDisable(GL_BLEND);
  OrvoProcessHelpers::renderWithSquareVertices(squareVertices, textureVertices);
  return true;
}

}  // namespace nudora
