#include "effects/OrvoEffectParticle.h"

#include <cstddef>

#include "gpu/OrvoProcessHelpers.h"
#include "gpu/ShaderPieces.h"
#include "platform/Console.h"
#include "platform/Image.h"

namespace nudora {

namespace {

// One float attribute of the particle records; skipped when the program
// optimised it away (location -1).
void particleAttribute(GLuint program, const char* name, GLint components, size_t offset) {
  const GLint location = glGetAttribLocation(program, name);
  if (location < 0) return;
  glVertexAttribPointer(static_cast<GLuint>(location), components, GL_FLOAT, GL_FALSE, sizeof(Particle),
                        reinterpret_cast<const void*>(offset));
  glEnableVertexAttribArray(static_cast<GLuint>(location));
}

void disableAttribute(GLuint program, const char* name) {
  const GLint location = glGetAttribLocation(program, name);
  if (location >= 0) glDisableVertexAttribArray(static_cast<GLuint>(location));
}

}  // namespace

OrvoEffectParticle::OrvoEffectParticle(std::shared_ptr<OrvoParticleSystem> system) : system_(std::move(system)) {}

OrvoEffectParticle::~OrvoEffectParticle() {
  OrvoProcessHelpers::deleteProgram(&programCompose_);
  OrvoProcessHelpers::deleteProgram(&programParticle_);
  if (particleBuffer_ != 0) {
    glDeleteBuffers(1, &particleBuffer_);
    particleBuffer_ = 0;
  }
  freeTextures();
}

bool OrvoEffectParticle::setupGL() {
  if (particleBuffer_ == 0) glGenBuffers(1, &particleBuffer_);
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough_GLES1, fshCompose, &programCompose_);
  OrvoProcessHelpers::generateTexture(&particleTargetTexture_, kTargetSide, kTargetSide, GL_RGBA);
  return programCompose_ != 0;
}

bool OrvoEffectParticle::enableFor(int64_t n) {
  system_->setLensFilter(n);
  const auto& emitter = system_->particleEmitter();
  OrvoProcessHelpers::deleteProgram(&programParticle_);
  if (!emitter) return false;

  const std::string name = system_->getParticleImageName();
  const std::string path = OrvoProcessHelpers::pathFromImage(name, "");
  auto image = path.empty() ? nullptr : Image::load(path);
  if (!image) {
    consoleLog("OrvoEffectParticle: particle image \"%s\" not found in the resources", name.c_str());
    return false;
  }
  OrvoProcessHelpers::loadImage(image, &particleTexture_);
  programParticle_ = OrvoProcessHelpers::loadParticleShadersWithPathForEncryptedVsh(emitter->vsh(), emitter->fsh());
  return programParticle_ != 0 && particleTexture_ != 0;
}

void OrvoEffectParticle::disable() { system_->setLensFilter(0); }

void OrvoEffectParticle::genParticleTarget() {
  if (particleTargetTexture_ == 0) {
    consoleLog("OrvoEffectParticle: no particle layer; call setupGL first");
    return;
  }
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, particleTargetTexture_, 0);
  glViewport(0, 0, kTargetSide, kTargetSide);
  glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
  glClear(GL_COLOR_BUFFER_BIT);

  // Particles move once per generated layer, drawn or not, so their speed
  // follows the frame rate alone.
  system_->updateParticles();
  const int64_t count = system_->aliveParticleNum();
  const Particle* particles = system_->getParticlePosition();
  if (programParticle_ == 0 || count <= 0 || particles == nullptr || particleTexture_ == 0) return;

  // The layer and the sprites are premultiplied.
  glEnable(GL_BLEND);
  glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
  glUseProgram(programParticle_);
  glActiveTexture(GL_TEXTURE0);
  glBindTexture(GL_TEXTURE_2D, particleTexture_);
  glUniform1i(glGetUniformLocation(programParticle_, "uTexture"), 0);
  glUniform1f(glGetUniformLocation(programParticle_, "imageWidth"), static_cast<GLfloat>(kTargetSide));

  glBindBuffer(GL_ARRAY_BUFFER, particleBuffer_);
  glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(count * sizeof(Particle)), particles, GL_STATIC_DRAW);
  particleAttribute(programParticle_, "particlePosition", 2, offsetof(Particle, position));
  particleAttribute(programParticle_, "particleSize", 1, offsetof(Particle, size));
  particleAttribute(programParticle_, "particleAlpha", 1, offsetof(Particle, alpha));
  particleAttribute(programParticle_, "particleStyle", 1, offsetof(Particle, style));

  glDrawArrays(GL_POINTS, 0, static_cast<GLsizei>(count));

  for (const char* name : {"particlePosition", "particleSize", "particleAlpha", "particleStyle"}) {
    disableAttribute(programParticle_, name);
  }
  // The quad that follows is drawn from client-side arrays.
  glBindBuffer(GL_ARRAY_BUFFER, 0);
  glDisable(GL_BLEND);
}

bool OrvoEffectParticle::processTex(GLuint inTex, GLuint outTex, int32_t withWidth, int32_t Height,
                                    const GLfloat* quad, const GLfloat* quadTexCoords) {
  if (programCompose_ == 0 || particleTargetTexture_ == 0) {
    consoleLog("OrvoEffectParticle: not set up; call setupGL first");
    return false;
  }
  if (inTex == 0 || outTex == 0 || inTex == outTex) {
    consoleLog("OrvoEffectParticle: needs two different textures, got %u and %u", inTex, outTex);
    return false;
  }
  if (withWidth <= 0 || Height <= 0 || quad == nullptr || quadTexCoords == nullptr) {
    consoleLog("OrvoEffectParticle: cannot draw a %dx%d output", withWidth, Height);
    return false;
  }
  GLint framebuffer = 0;
  glGetIntegerv(GL_FRAMEBUFFER_BINDING, &framebuffer);
  if (framebuffer == 0) {
    consoleLog("OrvoEffectParticle: no framebuffer bound");
    return false;
  }

  genParticleTarget();

  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, outTex, 0);
  const GLenum status = glCheckFramebufferStatus(GL_FRAMEBUFFER);
  if (status != GL_FRAMEBUFFER_COMPLETE) {
    consoleLog("Failed to make complete framebuffer object %x", status);
    return false;
  }
  glViewport(0, 0, withWidth, Height);
  glUseProgram(programCompose_);
  glActiveTexture(GL_TEXTURE0);
  glBindTexture(GL_TEXTURE_2D, inTex);
  glUniform1i(glGetUniformLocation(programCompose_, "target"), 0);
  glActiveTexture(GL_TEXTURE1);
  glBindTexture(GL_TEXTURE_2D, particleTargetTexture_);
  glUniform1i(glGetUniformLocation(programCompose_, "source"), 1);
  glUniform1f(glGetUniformLocation(programCompose_, "hvw"), static_cast<GLfloat>(Height) / withWidth);
  OrvoProcessHelpers::renderWithSquareVertices(quad, quadTexCoords);
  glActiveTexture(GL_TEXTURE0);
  return true;
}

void OrvoEffectParticle::freeTextures() {
  OrvoProcessHelpers::deleteTexture(&particleTargetTexture_);
  OrvoProcessHelpers::deleteTexture(&particleTexture_);
}

}  // namespace nudora
