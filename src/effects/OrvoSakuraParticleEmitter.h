#pragma once
// Falling cherry blossoms: 40 petals and flowers from a 16-sprite sheet that
// fall 0.015 of the half-frame per step and re-enter above the frame once
// they are well below it.

#include <array>

#include "effects/OrvoParticleEmitter.h"

namespace nudora {

class OrvoSakuraParticleEmitter final : public OrvoParticleEmitter {
 public:
  static constexpr int64_t kParticleCount = 40;

  explicit OrvoSakuraParticleEmitter(RandomSource random = nullptr);

  // Draws per particle, in order: x, y, size, alpha, style. Life stays 0
  // until the first re-entry.
  void initParicles() override;
  // y += 0.015; at y >= 1.2 the blossom re-enters at y -1.5 .. -1 with
  // draws x, y, size, alpha, life, style.
  void updateParticles() override;

 private:
  std::array<Particle, kParticleCount> store_{};
};

}  // namespace nudora
