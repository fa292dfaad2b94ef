#include "effects/OrvoHeartParticleEmitter.h"

#include "gpu/ShaderPieces.h"

namespace nudora {

OrvoHeartParticleEmitter::OrvoHeartParticleEmitter(RandomSource random) : OrvoParticleEmitter(std::move(random)) {
  adopt(store_.data(), kParticleCount, fshParticles, "light.png");
  initParicles();
}

void OrvoHeartParticleEmitter::initParicles() {
  for (Particle& p : store_) spawn(p);
}

void OrvoHeartParticleEmitter::spawn(Particle& p) {
  p.position.x = frameX(draw());
  p.position.y = frameY(draw());
  p.size = static_cast<float>((30.0 + draw() % 70) / 1080.0);
  p.alpha = static_cast<float>(0.3 + draw() % 70 * 0.01);
  p.life = static_cast<float>(1.0 + draw() % 100 * 0.01);
}

void OrvoHeartParticleEmitter::updateParticles() {
  for (int64_t i = 0; i < aliveParticleNum_; ++i) {
    Particle& p = particles_[i];
    p.life = static_cast<float>(p.life - 0.01);
    p.size = static_cast<float>(p.size - 0.0003);
    p.alpha = static_cast<float>(p.alpha - 0.002);
    if (p.life <= 0.0f || p.size <= 0.0f) spawn(p);
  }
}

}  // namespace nudora
