#pragma once
// Floating lights: 40 warm bokeh lights scattered over the frame that stay
// in place, shrink and fade, and come back somewhere else when gone.

#include <array>

#include "effects/OrvoParticleEmitter.h"

namespace nudora {

class OrvoHeartParticleEmitter final : public OrvoParticleEmitter {
 public:
  static constexpr int64_t kParticleCount = 40;

  explicit OrvoHeartParticleEmitter(RandomSource random = nullptr);

  void initParicles() override;
  // Per particle: life -0.01, size -0.0003, alpha -0.002; a light whose life
  // or size reaches 0 is replaced in the same step.
  void updateParticles() override;

 private:
  // Draws, in order: x, y, size (30 .. 99 of 1080), alpha (0.3 .. 0.99), life (1 .. 1.99).
  void spawn(Particle& p);

  std::array<Particle, kParticleCount> store_{};
};

}  // namespace nudora
