#include "effects/OrvoParticleSystem.h"

#include <mutex>

#include "effects/OrvoHeartParticleEmitter.h"
#include "effects/OrvoRainParticleEmitter.h"
#include "effects/OrvoSakuraParticleEmitter.h"
#include "effects/OrvoWerewolfParticleEmitter.h"

namespace nudora {

std::shared_ptr<OrvoParticleSystem> OrvoParticleSystem::sharedInstance() {
  static std::once_flag once;
  static std::shared_ptr<OrvoParticleSystem> instance;
  std::call_once(once, [] { instance = std::make_shared<OrvoParticleSystem>(); });
  return instance;
}

std::shared_ptr<OrvoParticleEmitter> OrvoParticleSystem::emitterForLensFilter(
    int64_t n, OrvoParticleEmitter::RandomSource random) {
  switch (n) {
    case kHeartFilter: return std::make_shared<OrvoHeartParticleEmitter>(std::move(random));
    case kSakuraFilter: return std::make_shared<OrvoSakuraParticleEmitter>(std::move(random));
    case kRainFilter: return std::make_shared<OrvoRainParticleEmitter>(std::move(random));
    case kWerewolfFilter: return std::make_shared<OrvoWerewolfParticleEmitter>(std::move(random));
    default: return nullptr;
  }
}

void OrvoParticleSystem::setLensFilter(int64_t n) {
  if (n == lensFilter_) return;
  lensFilter_ = n;
  particleEmitter_ = emitterForLensFilter(n, random_);
}

void OrvoParticleSystem::updateParticles() {
  if (particleEmitter_) particleEmitter_->updateParticles();
}

Particle* OrvoParticleSystem::getParticlePosition() const {
  return particleEmitter_ ? particleEmitter_->particles() : nullptr;
}

std::string OrvoParticleSystem::getParticleImageName() const {
  return particleEmitter_ ? particleEmitter_->getParticleImageName() : std::string();
}

int64_t OrvoParticleSystem::aliveParticleNum() const {
  return particleEmitter_ ? particleEmitter_->aliveParticleNum() : 0;
}

}  // namespace nudora
