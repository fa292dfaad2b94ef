#include "gpu/CopyPass.h"

#include <string>
#include <vector>

#include "platform/Console.h"
#include "platform/TextureCache.h"

namespace nudora {
namespace {

// The quad covers clip space; texture coordinates follow from position so
// that texture row 0 lands on framebuffer row 0 and a copy keeps rows in place.
const char* kVertex3 =
    "#version 300 es\n"
    "in vec2 position;\n"
    "out vec2 uv;\n"
    "void main() { uv = position * 0.5 + 0.5; gl_Position = vec4(position, 0.0, 1.0); }\n";
const char* kFragment3 =
    "#version 300 es\n"
    "precision mediump float;\n"
    "in vec2 uv;\n"
    "uniform sampler2D source;\n"
    "out vec4 color;\n"
    "void main() { color = texture(source, uv); }\n";
const char* kVertex2 =
    "#version 100\n"
    "attribute vec2 position;\n"
    "varying vec2 uv;\n"
    "void main() { uv = position * 0.5 + 0.5; gl_Position = vec4(position, 0.0, 1.0); }\n";
const char* kFragment2 =
    "#version 100\n"
    "precision mediump float;\n"
    "varying vec2 uv;\n"
    "uniform sampler2D source;\n"
    "void main() { gl_FragColor = texture2D(source, uv); }\n";

GLuint compile(GLenum type, const char* text) {
  GLuint shader = glCreateShader(type);
  glShaderSource(shader, 1, &text, nullptr);
  glCompileShader(shader);
  GLint ok = 0;
  glGetShaderiv(shader, GL_COMPILE_STATUS, &ok);
  if (!ok) {
    GLint length = 0;
    glGetShaderiv(shader, GL_INFO_LOG_LENGTH, &length);
    std::vector<char> log(static_cast<size_t>(length > 1 ? length : 1), '\0');
    glGetShaderInfoLog(shader, static_cast<GLsizei>(log.size()), nullptr, log.data());
    consoleLogLevel(kConsoleError, "CopyPass: shader does not compile: %s", log.data());
    glDeleteShader(shader);
    return 0;
  }
  return shader;
}

}  // namespace

std::unique_ptr<CopyPass> CopyPass::create(int api) {
  GLuint vs = compile(GL_VERTEX_SHADER, api >= 3 ? kVertex3 : kVertex2);
  GLuint fs = compile(GL_FRAGMENT_SHADER, api >= 3 ? kFragment3 : kFragment2);
  if (!vs || !fs) {
    if (vs) glDeleteShader(vs);
    if (fs) glDeleteShader(fs);
    return nullptr;
  }
  std::unique_ptr<CopyPass> pass(new CopyPass());
  pass->program_ = glCreateProgram();
  glAttachShader(pass->program_, vs);
  glAttachShader(pass->program_, fs);
  glBindAttribLocation(pass->program_, 0, "position");
  glLinkProgram(pass->program_);
  glDeleteShader(vs);
  glDeleteShader(fs);
  GLint ok = 0;
  glGetProgramiv(pass->program_, GL_LINK_STATUS, &ok);
  if (!ok) {
    consoleLogLevel(kConsoleError, "CopyPass: program does not link");
    return nullptr;  // the destructor frees the program
  }
  pass->positionAttribute_ = 0;
  pass->textureUniform_ = glGetUniformLocation(pass->program_, "source");
  glGenFramebuffers(1, &pass->framebuffer_);
  return pass;
}

CopyPass::~CopyPass() {
  if (framebuffer_) glDeleteFramebuffers(1, &framebuffer_);
  if (program_) glDeleteProgram(program_);
}

bool CopyPass::draw(GLuint source, GLuint target, int width, int height) {
  static const GLfloat quad[] = {-1.f, -1.f, 1.f, -1.f, -1.f, 1.f, 1.f, 1.f};
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
    glVertexAttribPointer(static_cast<GLuint>(positionAttribute_), 2, GL_FLOAT, GL_FALSE, 0, quad);
    glEnableVertexAttribArray(static_cast<GLuint>(positionAttribute_));
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    glDisableVertexAttribArray(static_cast<GLuint>(positionAttribute_));
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
