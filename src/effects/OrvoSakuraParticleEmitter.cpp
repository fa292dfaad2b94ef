#include "effects/OrvoSakuraParticleEmitter.h"

#include "gpu/ShaderPieces.h"

namespace nudora {

namespace {

float blossomSize(uint32_t r) { return static_cast<float>((30.0 + r % 70) / 1080.0); }
float blossomAlpha(uint32_t r) { return static_cast<float>(0.3 + r % 70 * 0.01); }

}  // namespace

OrvoSakuraParticleEmitter::OrvoSakuraParticleEmitter(RandomSource random) : OrvoParticleEmitter(std::move(random)) {
  adopt(store_.data(), kParticleCount, fshParticlesMultiTex, "sakura.png");
  initParicles();
}

void OrvoSakuraParticleEmitter::initParicles() {
  for (Particle& p : store_) {
    p.position.x = frameX(draw());
    p.position.y = frameY(draw());
    p.size = blossomSize(draw());
    p.alpha = blossomAlpha(draw());
    p.style = static_cast<float>(draw() & 15);
  }
}

void OrvoSakuraParticleEmitter::updateParticles() {
  for (int64_t i = 0; i < aliveParticleNum_; ++i) {
    Particle& p = particles_[i];
    p.position.y = static_cast<float>(p.position.y + 0.015);
    if (p.position.y < 1.2f) continue;
    p.position.x = frameX(draw());
    p.position.y = aboveFrameY(draw());
    p.size = blossomSize(draw());
    p.alpha = blossomAlpha(draw());
    p.life = static_cast<float>(1.0 + draw() % 100 * 0.01);
    p.style = static_cast<float>(draw() & 15);
  }
}

}  // namespace nudora
