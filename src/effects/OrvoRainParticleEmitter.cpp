#include "effects/OrvoRainParticleEmitter.h"

#include "gpu/ShaderPieces.h"

namespace nudora {

OrvoRainParticleEmitter::OrvoRainParticleEmitter(RandomSource random) : OrvoParticleEmitter(std::move(random)) {
  adopt(store_.data(), kParticleCount, fshParticlesMultiTex, "rain.png");
  initParicles();
}

void OrvoRainParticleEmitter::setSize(Particle& p, uint32_t r) {
  p.size = static_cast<float>((100.0 + r % 100) / 1080.0);
  p.alpha = static_cast<float>(0.3 + p.size * 0.0025);
}

void OrvoRainParticleEmitter::initParicles() {
  for (Particle& p : store_) {
    p.position.x = frameX(draw());
    p.position.y = frameY(draw());
    setSize(p, draw());
    p.style = static_cast<float>(draw() & 15);
  }
}

void OrvoRainParticleEmitter::updateParticles() {
  for (int64_t i = 0; i < aliveParticleNum_; ++i) {
    Particle& p = particles_[i];
    p.position.y = static_cast<float>(p.position.y + 0.08);
    if (p.position.y < 1.2f) continue;
    p.position.x = frameX(draw());
    p.position.y = aboveFrameY(draw());
    setSize(p, draw());
    p.style = static_cast<float>(draw() & 15);
  }
}

}  // namespace nudora
