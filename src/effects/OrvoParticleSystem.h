#pragma once
// The process-wide holder of the running particle emitter, chosen by the
// lens-filter number: 31 floating lights, 32 cherry blossoms, 33 rain,
// 39 claw marks; any other number means no particles.
//
// Thread rules: not locked. The shared instance is made once (thread-safe),
// after that it is used on the GL thread that draws the particle effect.
// Choosing the running filter again keeps its animation; another filter
// starts from a fresh emitter.

#include <cstdint>
#include <memory>
#include <string>

#include "effects/OrvoParticleEmitter.h"

namespace nudora {

class OrvoParticleSystem {
 public:
  static constexpr int64_t kHeartFilter = 31;
  static constexpr int64_t kSakuraFilter = 32;
  static constexpr int64_t kRainFilter = 33;
  static constexpr int64_t kWerewolfFilter = 39;

  static std::shared_ptr<OrvoParticleSystem> sharedInstance();

  int64_t lensFilter() const { return lensFilter_; }
  // Same number as now: nothing changes. Otherwise the emitter for n (or
  // none) replaces the running one.
  void setLensFilter(int64_t n);

  const std::shared_ptr<OrvoParticleEmitter>& particleEmitter() const { return particleEmitter_; }
  void setParticleEmitter(std::shared_ptr<OrvoParticleEmitter> emitter) { particleEmitter_ = std::move(emitter); }

  // Where emitters made by setLensFilter draw their random numbers;
  // nullptr (the default) is the process-wide generator.
  void setRandomSource(OrvoParticleEmitter::RandomSource random) { random_ = std::move(random); }

  // A new emitter for a lens-filter number, nullptr when it has none.
  static std::shared_ptr<OrvoParticleEmitter> emitterForLensFilter(int64_t n,
                                                                   OrvoParticleEmitter::RandomSource random = nullptr);

  // One step of the running emitter; nothing without one.
  void updateParticles();
  // The running emitter's particle array, nullptr without one.
  Particle* getParticlePosition() const;
  // The running emitter's sprite image name, empty without one.
  std::string getParticleImageName() const;
  // The running emitter's particle count, 0 without one.
  int64_t aliveParticleNum() const;

 private:
  int64_t lensFilter_ = 0;
  std::shared_ptr<OrvoParticleEmitter> particleEmitter_;
  OrvoParticleEmitter::RandomSource random_;
};

}  // namespace nudora
