#include "pipeline/OrvoStageWatermark.h"

#include <algorithm>
#include <cstring>

#include "gpu/OrvoProcessHelpers.h"
#include "gpu/ShaderPieces.h"
#include "platform/Console.h"
#include "platform/Image.h"

namespace nudora {

OrvoStageWatermark::~OrvoStageWatermark() {
  OrvoProcessHelpers::deleteProgram(&programWatermark_);
  OrvoProcessHelpers::deleteTexture(&watermarkTexture_);
}

bool OrvoStageWatermark::setupGL() {
  enabled_ = true;
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough_GLES1, fshWatermark_GLES1, &programWatermark_);
  return programWatermark_ != 0;
}

void OrvoStageWatermark::setWatermarkImage(const std::shared_ptr<Image>& image) {
  if (!image) {
    texImage_ = nullptr;
    return;
  }
  if (image->width() <= 0 || image->height() <= 0) {
    consoleLog("OrvoStageWatermark: the watermark picture is empty; keeping the previous one");
    return;
  }
  texImage_ = generateTextureImage(image);
  originSize_ = {static_cast<double>(image->width()), static_cast<double>(image->height())};
  texSize_ = {static_cast<double>(texImage_->width()), static_cast<double>(texImage_->height())};
  needUpdateTexture_ = true;
}

OrvoSize OrvoStageWatermark::renderSizeOfSize(OrvoSize size) {
  auto roundUp = [](int64_t side, int64_t minimum) {
    return side < minimum ? minimum : (side + 31) / 32 * 32;
  };
  return {static_cast<double>(roundUp(static_cast<int64_t>(size.width), 256)),
          static_cast<double>(roundUp(static_cast<int64_t>(size.height), 128))};
}

std::shared_ptr<Image> OrvoStageWatermark::generateTextureImage(const std::shared_ptr<Image>& image) {
  if (!image) return nullptr;
  const OrvoSize render = renderSizeOfSize({static_cast<double>(image->width()), static_cast<double>(image->height())});
  const int width = static_cast<int>(render.width), height = static_cast<int>(render.height);
  if (width == image->width() && height == image->height()) return image;
  auto padded = std::make_shared<Image>(width, height);
  for (int y = 0; y < image->height(); ++y) {
    std::memcpy(padded->pixel(0, y), image->pixel(0, y), static_cast<size_t>(image->width()) * 4);
  }
  return padded;
}

double OrvoStageWatermark::scaleForOutput(int32_t width, int32_t height) {
  const double byHeight = height / 1080.0;
  const double byWidth = static_cast<double>(width / 1920);
  return byHeight > byWidth ? byHeight : byWidth;
}

double OrvoStageWatermark::marginForOutput(int32_t width, int32_t height) {
  return std::max(width, height) * 0.05;
}

std::optional<OrvoStageWatermark::Vertices> OrvoStageWatermark::cornersForRect(double x0, double y0, double x1,
                                                                               double y1, int32_t width,
                                                                               int32_t height, int64_t orientation,
                                                                               bool mirror, bool mirrorResult) {
  if (orientation < 1 || orientation > 4) return std::nullopt;
  const bool mirrorBoth = mirror && mirrorResult;
  if (mirrorBoth) {
    const double top = height - y0;
    y0 = height - y1;
    y1 = top;
  }
  const GLfloat l = static_cast<GLfloat>(x0 / width), r = static_cast<GLfloat>(x1 / width);
  const GLfloat b = static_cast<GLfloat>(y0 / height), t = static_cast<GLfloat>(y1 / height);
  Vertices v;
  switch (orientation) {
    case 1: v = {l, t, r, t, l, b, r, b}; break;
    case 2: v = {r, b, l, b, r, t, l, t}; break;
    case 3: v = {l, b, r, b, l, t, r, t}; break;
    default: v = {r, t, l, t, r, b, l, b}; break;
  }
  if (mirrorBoth) {
    // Corners 1 and 2 trade places with corners 3 and 4, as pairs.
    std::swap_ranges(v.begin(), v.begin() + 4, v.begin() + 4);
  } else if (mirror && (orientation == 3 || orientation == 4)) {
    for (GLfloat& c : v) c = 1.0f - c;
  }
  for (GLfloat& c : v) c = 2.0f * c - 1.0f;
  return v;
}

OrvoStageWatermark::Vertices OrvoStageWatermark::textureVerticesFor(int64_t orientation, OrvoSize originSize,
                                                                    OrvoSize texSize) {
  const GLfloat* table = orientation == 1 || orientation == 2 ? transposedTextureVertices : textureVertices;
  const GLfloat su = texSize.width > 0.0 ? static_cast<GLfloat>(originSize.width / texSize.width) : 1.0f;
  const GLfloat sv = texSize.height > 0.0 ? static_cast<GLfloat>(originSize.height / texSize.height) : 1.0f;
  Vertices v;
  for (size_t i = 0; i < v.size(); i += 2) {
    v[i] = table[i] * su;
    v[i + 1] = table[i + 1] * sv;
  }
  return v;
}

void OrvoStageWatermark::updateSizewithOutputWidth(int32_t width, int32_t height, int64_t orientation, bool mirror,
                                                   bool mirrorResult) {
  const double x0 = displayPos_.x, y0 = displayPos_.y;
  auto corners = cornersForRect(x0, y0, x0 + displaySize_.width, y0 + displaySize_.height, width, height,
                                orientation, mirror, mirrorResult);
  if (corners) watermarkSquareVertices_ = *corners;
}

bool OrvoStageWatermark::processTex(GLuint tex, int32_t withWidth, int32_t height, int64_t orientation, bool mirror,
                                    bool mirrorResult) {
  if (!enabled()) return false;
  if (programWatermark_ == 0) {
    consoleLog("OrvoStageWatermark: no program; setupGL has not succeeded");
    return false;
  }
  if (withWidth <= 0 || height <= 0) {
    consoleLog("OrvoStageWatermark: cannot draw on a %dx%d output", withWidth, height);
    return false;
  }

  const double s = scaleForOutput(withWidth, height);
  displaySize_ = {originSize_.width * s * 1.5, originSize_.height * s * 1.5};
  const double margin = marginForOutput(withWidth, height);
  displayPos_ = {margin, margin};
  updateSizewithOutputWidth(withWidth, height, orientation, mirror, mirrorResult);

  if (needUpdateTexture_) {
    OrvoProcessHelpers::loadImage(texImage_, &watermarkTexture_);
    needUpdateTexture_ = false;
  }
  if (watermarkTexture_ == 0) {
    consoleLog("OrvoStageWatermark: the watermark picture could not be uploaded");
    return false;
  }

  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, tex, 0);
  glViewport(0, 0, withWidth, height);
  glEnable(GL_BLEND);
  glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);

  glUseProgram(programWatermark_);
  glUniform1i(glGetUniformLocation(programWatermark_, "watermark"), 0);
  glUniform1f(glGetUniformLocation(programWatermark_, "grey"), displaryGrey_);
  glUniform1f(glGetUniformLocation(programWatermark_, "alpha"), 1.0f);
  glActiveTexture(GL_TEXTURE0);
  glBindTexture(GL_TEXTURE_2D, watermarkTexture_);

  originalTextureVertices_ = textureVerticesFor(orientation, originSize_, texSize_);
  OrvoProcessHelpers::renderWithSquareVertices(watermarkSquareVertices_.data(), originalTextureVertices_.data());
  glDisable(GL_BLEND);
  return true;
}

}  // namespace nudora
