#pragma once
// Claw marks: 4 marks from an 8-sprite sheet that slam in (size 0.1, 0.3,
// 0.9, 2.7 over the first steps), hold, fade out over their last frames and
// strike again elsewhere.

#include <array>

#include "effects/OrvoParticleEmitter.h"

namespace nudora {

class OrvoWerewolfParticleEmitter final : public OrvoParticleEmitter {
 public:
  static constexpr int64_t kParticleCount = 4;

  explicit OrvoWerewolfParticleEmitter(RandomSource random = nullptr);

  // Draws per particle, in order: x, y, style, life.
  void initParicles() override;
  // life -= 1; alpha 1 above life 30, life x 0.05 from 30 down to 5 (1.5 at
  // 30: the mark flashes brighter than opaque as it starts to fade; the
  // shader clamps the colour), 0 below 5; size x 3 while under 2; a mark
  // whose life reaches 0 strikes again with draws x, y, life, style.
  void updateParticles() override;

 private:
  // x -0.8 .. 0.8, y -0.5 .. 0.5, size 0.1, alpha 1.
  void place(Particle& p);

  std::array<Particle, kParticleCount> store_{};
};

}  // namespace nudora
