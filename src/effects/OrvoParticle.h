#pragma once
// One particle as the particle program reads it: ten floats, uploaded to the
// GPU as they lie in memory (stride 40 bytes). The field order and offsets
// are what the vertex attribute pointers of OrvoEffectParticle rely on.

#include <cstddef>

namespace nudora {

struct ParticleVector2 {
  float x = 0.0f;
  float y = 0.0f;
};

struct ParticleVector3 {
  float r = 0.0f;
  float g = 0.0f;
  float b = 0.0f;
};

struct Particle {
  // Clip-space position of the point on the square particle layer; y grows
  // towards the bottom of the picture, and -1 .. 1 is on the layer.
  ParticleVector2 position;
  // Point size as a fraction of the layer's side.
  float size = 0.0f;
  // Kept for the record layout; no emitter turns its sprites.
  float theta = 0.0f;
  float alpha = 0.0f;
  // Remaining life, in the unit of the emitter that owns the particle.
  float life = 0.0f;
  // Sprite index within a sprite sheet.
  float style = 0.0f;
  // Kept for the record layout; no emitter tints its sprites.
  ParticleVector3 color;
};

static_assert(sizeof(Particle) == 40, "the particle program reads 40-byte records");
static_assert(offsetof(Particle, position) == 0);
static_assert(offsetof(Particle, size) == 8);
static_assert(offsetof(Particle, theta) == 12);
static_assert(offsetof(Particle, alpha) == 16);
static_assert(offsetof(Particle, life) == 20);
static_assert(offsetof(Particle, style) == 24);
static_assert(offsetof(Particle, color) == 28);

}  // namespace nudora
