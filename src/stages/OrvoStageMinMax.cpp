#include "stages/OrvoStageMinMax.h"

#include "gpu/OrvoProcessHelpers.h"
#include "gpu/ShaderPieces.h"
#include "platform/Console.h"

namespace nudora {
namespace {

void runPass(GLuint program, GLuint source, GLuint target, int width, int height, float step) {
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, target, 0);
  glActiveTexture(GL_TEXTURE0);
  glBindTexture(GL_TEXTURE_2D, source);
  glViewport(0, 0, width, height);
  glUseProgram(program);
  glUniform2f(glGetUniformLocation(program, "imagestep"), step / static_cast<GLfloat>(width),
              step / static_cast<GLfloat>(height));
  OrvoProcessHelpers::renderWithSquareVertices(squareVertices, textureVertices);
}

}  // namespace

OrvoStageMinMax::~OrvoStageMinMax() {
  OrvoProcessHelpers::deleteProgram(&programMax_);
  OrvoProcessHelpers::deleteProgram(&programMin_);
}

bool OrvoStageMinMax::setupGL() {
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough_GLES1, fshMax_GLES1, &programMax_);
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough_GLES1, fshMin_GLES1, &programMin_);
  return programMax_ != 0 && programMin_ != 0;
}

bool OrvoStageMinMax::processFromTex(GLuint src, GLuint interMediaTex, GLuint toTex, int withWidth, int height,
                                     float step) {
  if (programMax_ == 0 || programMin_ == 0) {
    consoleLog("OrvoStageMinMax: no programs; setupGL has not succeeded");
    return false;
  }
  if (withWidth <= 0 || height <= 0) {
    consoleLog("OrvoStageMinMax: nothing to do for %dx%d", withWidth, height);
    return false;
  }
  // A texture read while it is the render target gives undefined results.
  if (interMediaTex == src || interMediaTex == toTex) {
    consoleLog("OrvoStageMinMax: the intermediate texture must differ from source and target");
    return false;
  }
  runPass(programMax_, src, interMediaTex, withWidth, height, step);
  runPass(programMin_, interMediaTex, toTex, withWidth, height, step);
  return true;
}

}  // namespace nudora
