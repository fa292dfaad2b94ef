#include "gpu/CopyPass.h"

#include "gpu/OrvoProcessHelpers.h"
#include "gpu/ShaderPieces.h"
#include "platform/Console.h"
#include "platform/TextureCache.h"

namespace nudora {

std::unique_ptr<CopyPass> CopyPass::create(int api) {
  GLuint program = api >= 3 ? OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshPassThrough)
                            : OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough_GLES1,
                                                                                     fshPassThrough_GLES1);
  if (!program) return nullptr;  // the loader has said why
  std::unique_ptr<CopyPass> pass(new CopyPass());
  pass->program_ = program;
  pass->textureUniform_ = glGetUniformLocation(program, "original");
  glGenFramebuffers(1, &pass->framebuffer_);
  return pass;
}

CopyPass::~CopyPass() {
  if (framebuffer_) glDeleteFramebuffers(1, &framebuffer_);
  OrvoProcessHelpers::deleteProgram(&program_);
}

bool CopyPass::draw(GLuint source, GLuint target, int width, int height) {
  while (glGetError() != GL_NO_ERROR) {
  }
  GLint previous = 0;
  glGetIntegerv(GL_FRAMEBUFFER_BINDING, &previous);
  glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, target, 0);
  GLenum status = glCheckFramebufferStatus(GL_FRAMEBUFFER);
  bool ok = status == GL_FRAMEBUFFER_COMPLETE;
  if (!ok) {
    consoleLogLevel(kConsoleError, "CopyPass: framebuffer incomplete (status 0x%x)", status);
  } else {
    glViewport(0, 0, width, height);
    glUseProgram(program_);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, source);
    glUniform1i(textureUniform_, 0);
    OrvoProcessHelpers::renderWithSquareVertices(squareVertices, textureVertices);
    glBindTexture(GL_TEXTURE_2D, 0);
    TextureCache::noteRenderTarget(target);
  }
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, 0, 0);
  glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(previous));
  if (GLenum err = glGetError(); err != GL_NO_ERROR) {
    consoleLogLevel(kConsoleError, "CopyPass: draw failed (GL error 0x%x)", err);
    ok = false;
  }
  return ok;
}

}  // namespace nudora
