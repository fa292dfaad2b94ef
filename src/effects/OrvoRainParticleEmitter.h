#pragma once
// Rain: 200 streaks from a 16-sprite sheet falling 0.08 of the half-frame
// per step, re-entering above the frame once they are well below it.

#include <array>

#include "effects/OrvoParticleEmitter.h"

namespace nudora {

class OrvoRainParticleEmitter final : public OrvoParticleEmitter {
 public:
  static constexpr int64_t kParticleCount = 200;

  explicit OrvoRainParticleEmitter(RandomSource random = nullptr);

  // Draws per particle, in order: x, y, size, style. The alpha is
  // 0.3 + size x 0.0025 with size in frame units, so it stays just above 0.3.
  void initParicles() override;
  // y += 0.08; at y >= 1.2 the streak re-enters at y -1.5 .. -1 with draws
  // x, y, size, style.
  void updateParticles() override;

 private:
  // size (100 .. 199 of 1080) and the alpha that goes with it.
  void setSize(Particle& p, uint32_t r);

  std::array<Particle, kParticleCount> store_{};
};

}  // namespace nudora
