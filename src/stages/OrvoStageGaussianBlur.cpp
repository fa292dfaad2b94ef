#include "stages/OrvoStageGaussianBlur.h"

#include <algorithm>
#include <cmath>

#include "gpu/OrvoProcessHelpers.h"
#include "gpu/ShaderPieces.h"
#include "platform/Console.h"

namespace nudora {

OrvoStageGaussianBlur::~OrvoStageGaussianBlur() {
  OrvoProcessHelpers::deleteProgram(&programGaussianX_);
  OrvoProcessHelpers::deleteProgram(&programGaussianY_);
  freeTextures();
}

OrvoBlurLevelSize OrvoStageGaussianBlur::levelSize(int level, int width, int height) {
  // Each level's horizontal pass already has the level's width but keeps the
  // previous level's height, which the vertical pass then reduces.
  switch (level) {
    case 1: return {width / 4, height, width / 4, height / 4, 2.0f};
    case 2: return {width / 6, height / 4, width / 6, height / 6, 6.0f};
    case 3: return {width / 8, height / 6, width / 8, height / 8, 14.0f};
    case 4: return {width / 8, height / 8, width / 8, height / 8, 32.0f};
    default: return {};
  }
}

bool OrvoStageGaussianBlur::setupGL() {
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough_GLES1, fshBlurX_GLES1, &programGaussianX_);
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough_GLES1, fshBlurY_GLES1, &programGaussianY_);
  return programGaussianX_ != 0 && programGaussianY_ != 0;
}

void OrvoStageGaussianBlur::resizewithWidth(int width, int andHeight) {
  if (width <= 0 || andHeight <= 0) {
    consoleLog("OrvoStageGaussianBlur: cannot size the blur levels for %dx%d", width, andHeight);
    return;
  }
  for (int k = 1; k <= kLevelCount; ++k) {
    const OrvoBlurLevelSize size = levelSize(k, width, andHeight);
    OrvoProcessHelpers::generateTexture(&levelXTextures_[k - 1], size.xWidth, size.xHeight, GL_RGBA);
    OrvoProcessHelpers::generateTexture(&levelTextures_[k - 1], size.width, size.height, GL_RGBA);
  }
}

void OrvoStageGaussianBlur::processLevel(int level, GLuint from, int width, int height, float zoom) {
  const int levels = std::min(level, kLevelCount);
  if (levels <= 0) return;
  if (programGaussianX_ == 0 || programGaussianY_ == 0) {
    consoleLog("OrvoStageGaussianBlur: no programs; setupGL has not succeeded");
    return;
  }
  if (!std::isfinite(zoom) || zoom <= 0.0f) {
    consoleLog("OrvoStageGaussianBlur: zoom %g is not a positive number; using 1", static_cast<double>(zoom));
    zoom = 1.0f;
  }
  for (int k = 1; k <= levels; ++k) {
    const OrvoBlurLevelSize size = levelSize(k, width, height);
    if (size.width == 0 || size.height == 0) {
      consoleLog("OrvoStageGaussianBlur: %dx%d is too small for blur level %d", width, height, k);
      return;
    }
    if (levelXTextures_[k - 1] == 0 || levelTextures_[k - 1] == 0) {
      consoleLog("OrvoStageGaussianBlur: level %d has no textures; resizewithWidth has not run", k);
      return;
    }
  }

  glActiveTexture(GL_TEXTURE0);
  for (int k = 1; k <= levels; ++k) {
    const OrvoBlurLevelSize size = levelSize(k, width, height);
    const GLfloat stepX = size.stepPixels / static_cast<GLfloat>(width);
    const GLfloat stepY = size.stepPixels / static_cast<GLfloat>(height);
    // Later levels read the already zoomed level before them.
    const GLfloat invZoom = k == 1 ? 1.0f / zoom : 1.0f;

    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, levelXTextures_[k - 1], 0);
    glBindTexture(GL_TEXTURE_2D, k == 1 ? from : levelTextures_[k - 2]);
    glViewport(0, 0, size.xWidth, size.xHeight);
    glUseProgram(programGaussianX_);
    glUniform2f(glGetUniformLocation(programGaussianX_, "imagestep"), stepX, stepY);
    glUniform1f(glGetUniformLocation(programGaussianX_, "invZoom"), invZoom);
    OrvoProcessHelpers::renderWithSquareVertices(squareVertices, textureVertices);

    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, levelTextures_[k - 1], 0);
    glBindTexture(GL_TEXTURE_2D, levelXTextures_[k - 1]);
    glViewport(0, 0, size.width, size.height);
    glUseProgram(programGaussianY_);
    glUniform2f(glGetUniformLocation(programGaussianY_, "imagestep"), stepX, stepY);
    OrvoProcessHelpers::renderWithSquareVertices(squareVertices, textureVertices);
  }
}

void OrvoStageGaussianBlur::freeTextures() {
  for (GLuint& texture : levelTextures_) OrvoProcessHelpers::deleteTexture(&texture);
  for (GLuint& texture : levelXTextures_) OrvoProcessHelpers::deleteTexture(&texture);
}

}  // namespace nudora
