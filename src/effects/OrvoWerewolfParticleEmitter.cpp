#include "effects/OrvoWerewolfParticleEmitter.h"

#include "gpu/ShaderPieces.h"

namespace nudora {

OrvoWerewolfParticleEmitter::OrvoWerewolfParticleEmitter(RandomSource random)
    : OrvoParticleEmitter(std::move(random)) {
  adopt(store_.data(), kParticleCount, fshParticlesMultiTex, "wolfclaws.png");
  initParicles();
}

void OrvoWerewolfParticleEmitter::place(Particle& p) {
  p.position.x = static_cast<float>(draw() % 1920 * 0.00052083333333 * 1.6 - 0.8);
  p.position.y = static_cast<float>(draw() % 1080 * 0.00092592592593 - 0.5);
  p.size = 0.1f;
  p.alpha = 1.0f;
}

void OrvoWerewolfParticleEmitter::initParicles() {
  for (Particle& p : store_) {
    place(p);
    p.style = static_cast<float>(draw() & 7);
    p.life = static_cast<float>(80.0 + draw() % 50);
  }
}

void OrvoWerewolfParticleEmitter::updateParticles() {
  for (int64_t i = 0; i < aliveParticleNum_; ++i) {
    Particle& p = particles_[i];
    p.life = static_cast<float>(p.life - 1.0);
    if (p.life > 30.0f) {
      p.alpha = 1.0f;
    } else if (p.life < 5.0f) {
      p.alpha = 0.0f;
    } else {
      p.alpha = static_cast<float>(p.life * 0.05);
    }
    if (p.size < 2.0f) p.size = static_cast<float>(p.size * 3.0);
    if (p.life <= 0.0f) {
      place(p);
      p.life = static_cast<float>(80.0 + draw() % 50);
      p.style = static_cast<float>(draw() & 7);
    }
  }
}

}  // namespace nudora
