#pragma once
// The particle lens effect: draws the running emitter's particles as point
// sprites into a square 1024 x 1024 layer, then lays that layer over the
// frame into an output texture.
//
// How the layer meets the frame: the square layer covers the frame as an
// "aspect fill". On a landscape frame it spans the frame's width and the
// frame sees its middle band (height / width of it); on a portrait frame it
// spans the height and the frame sees its middle column. One layer pixel is
// therefore as wide as it is tall on the frame, and round sprites stay round
// on 16:9, 4:3 or 9:16 alike. Particle y grows towards the bottom of the
// picture (row 0 of a frame is its top), as the emitters expect.
//
// Usage (on the GL thread, context current):
//   OrvoEffectParticle effect;          // or with a particle system of one's own
//   effect.setupGL();                   // buffer, compose program, 1024 x 1024 layer
//   effect.enableFor(lensFilter);       // emitter, sprite image, particle program
//   // with the caller's framebuffer bound to GL_FRAMEBUFFER:
//   effect.processTex(inTex, outTex, width, height, squareVertices, textureVertices);
// processTex attaches the layer and then the output texture to whatever
// framebuffer is bound (colour attachment 0) and leaves the output attached,
// blending off, texture unit 0 active and no array buffer bound. Each call
// advances the particles one step.
//
// Ownership: the effect owns its program pair, the particle buffer, the
// layer texture and the sprite texture, and frees them in its destructor,
// which must run with the same context current. Works on OpenGL ES 3 and 2
// contexts (all its shaders are written for ES 2).

#include <GLES3/gl3.h>

#include <cstdint>
#include <memory>

#include "effects/OrvoParticleSystem.h"

namespace nudora {

class OrvoEffectParticle {
 public:
  static constexpr int kTargetSide = 1024;

  // Uses the process-wide particle system unless given one.
  explicit OrvoEffectParticle(std::shared_ptr<OrvoParticleSystem> system = OrvoParticleSystem::sharedInstance());
  ~OrvoEffectParticle();
  OrvoEffectParticle(const OrvoEffectParticle&) = delete;
  OrvoEffectParticle& operator=(const OrvoEffectParticle&) = delete;

  // Makes the particle buffer, the compose program and the layer texture;
  // false when the compose program does not build (the loader said why).
  bool setupGL();
  // Chooses the particles of a lens filter and loads their sprite image and
  // program. False when the filter has no particles (then nothing is drawn)
  // or when the image or program cannot be loaded (with a console line).
  bool enableFor(int64_t n);
  // Drops the emitter: later frames get an empty layer.
  void disable();
  // Advances the particles one step and draws them into the layer, on the
  // bound framebuffer. The layer is cleared even when nothing is drawn.
  void genParticleTarget();
  // The frame inTex with the particles over it, into outTex (withWidth x
  // Height), drawn with the given quad and texture coordinates (8 floats
  // each, strip order). A framebuffer must be bound. False, with a console
  // line, on bad arguments or before setupGL.
  bool processTex(GLuint inTex, GLuint outTex, int32_t withWidth, int32_t Height, const GLfloat* squareVertices,
                  const GLfloat* textureVertices);
  // Frees the layer and the sprite texture (setupGL makes the layer again).
  void freeTextures();

  const std::shared_ptr<OrvoParticleSystem>& particleSystem() const { return system_; }
  GLuint particleBuffer() const { return particleBuffer_; }
  GLuint particleTargetTexture() const { return particleTargetTexture_; }
  GLuint particleTexture() const { return particleTexture_; }
  GLuint programCompose() const { return programCompose_; }
  GLuint programParticle() const { return programParticle_; }

 private:
  std::shared_ptr<OrvoParticleSystem> system_;
  GLuint particleBuffer_ = 0;
  GLuint particleTargetTexture_ = 0;
  GLuint particleTexture_ = 0;
  GLuint programCompose_ = 0;
  GLuint programParticle_ = 0;
};

}  // namespace nudora
