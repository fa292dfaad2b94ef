#include "pipeline/OrvoStageRotateResize.h"

#include <algorithm>

#include "gpu/OrvoProcessHelpers.h"
#include "gpu/ShaderPieces.h"
#include "platform/Console.h"

namespace nudora {

OrvoStageRotateResize::~OrvoStageRotateResize() {
  OrvoProcessHelpers::deleteProgram(&programRotate_);
  OrvoProcessHelpers::deleteProgram(&programRotateResize_);
}

bool OrvoStageRotateResize::setupGL() {
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough_GLES1, fshRotate, &programRotate_);
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough_GLES1, fshRotateResize,
                                                         &programRotateResize_);
  return programRotate_ != 0 && programRotateResize_ != 0;
}

OrvoRotateResizeUniforms OrvoStageRotateResize::uniformsFor(int32_t destWidth, int32_t destHeight, int32_t outWidth,
                                                             int32_t outHeight, float qa, float qb, float qc,
                                                             float qd) {
  OrvoRotateResizeUniforms u;
  const double a = qa, b = qb, c = qc, d = qd;
  u.caseA = (qc > 0.0f && qb > 0.0f) || (qc < 0.0f && qb < 0.0f);
  double mx = 0.0, my = 0.0;
  if (u.caseA) {
    u.ac = {-qa, qc};
    u.bd = {qb, -qd};
    mx = std::min({0.0, -a, c, c - a});
    my = std::min({0.0, b, d, b - d});
  } else {
    u.ac = {qa, -qc};
    u.bd = {-qb, qd};
    mx = std::min({0.0, a, -c, a - c});
    my = std::min({0.0, -b, d, d - b});
  }
  u.t = {static_cast<float>(-mx), static_cast<float>(-my)};

  u.resize = destWidth != outWidth || destHeight != outHeight;
  if (!u.resize || destWidth <= 0 || destHeight <= 0) return u;
  const double W = outWidth, H = outHeight, w = destWidth, h = destHeight;
  u.zoomfit = {static_cast<float>(W / w), static_cast<float>(H / h)};
  u.fitTrans = {static_cast<float>(-(W - w) / w * 0.5), static_cast<float>(-(H - h) / h * 0.5)};
  const double r = std::max(W / w, H / h);
  const float f = static_cast<float>(1.0 / r);
  u.zoomfill = {static_cast<float>(W / w * f), static_cast<float>(H / h * f)};
  const double wf = w / f, hf = h / f;
  u.fillTrans = {static_cast<float>(-(W - wf) / wf * 0.5), static_cast<float>(-(H - hf) / hf * 0.5)};
  return u;
}

void OrvoStageRotateResize::processFromTex(GLuint from, GLuint blurTex, GLuint toTex, int32_t destWidth,
                                           int32_t destHeight, int32_t outWidth, int32_t outHeight, float qa,
                                           float qb, float qc, float qd) {
  if (destWidth <= 0 || destHeight <= 0 || outWidth <= 0 || outHeight <= 0) {
    consoleLog("OrvoStageRotateResize: cannot draw a %dx%d picture on a %dx%d output", destWidth, destHeight,
               outWidth, outHeight);
    return;
  }
  const OrvoRotateResizeUniforms u = uniformsFor(destWidth, destHeight, outWidth, outHeight, qa, qb, qc, qd);
  const GLuint program = u.resize ? programRotateResize_ : programRotate_;
  if (program == 0) {
    consoleLog("OrvoStageRotateResize: no program; setupGL has not succeeded");
    return;
  }

  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, toTex, 0);
  glViewport(0, 0, outWidth, outHeight);
  glActiveTexture(GL_TEXTURE1);
  glBindTexture(GL_TEXTURE_2D, blurTex);
  glActiveTexture(GL_TEXTURE0);
  glBindTexture(GL_TEXTURE_2D, from);

  glUseProgram(program);
  glUniform1i(glGetUniformLocation(program, "original"), 0);
  glUniform1i(glGetUniformLocation(program, "blur"), 1);
  glUniform2f(glGetUniformLocation(program, "ac"), u.ac.x, u.ac.y);
  glUniform2f(glGetUniformLocation(program, "bd"), u.bd.x, u.bd.y);
  glUniform2f(glGetUniformLocation(program, "t"), u.t.x, u.t.y);
  if (u.resize) {
    glUniform2f(glGetUniformLocation(program, "zoomfit"), u.zoomfit.x, u.zoomfit.y);
    glUniform2f(glGetUniformLocation(program, "fitTrans"), u.fitTrans.x, u.fitTrans.y);
    glUniform2f(glGetUniformLocation(program, "zoomfill"), u.zoomfill.x, u.zoomfill.y);
    glUniform2f(glGetUniformLocation(program, "fillTrans"), u.fillTrans.x, u.fillTrans.y);
  }
  OrvoProcessHelpers::renderWithSquareVertices(squareVertices, textureVertices);
}

}  // namespace nudora
