#include "effects/OrvoParticleEmitter.h"

#include <mutex>
#include <random>

#include "gpu/ShaderPieces.h"
#include "platform/Console.h"

namespace nudora {

OrvoParticleEmitter::OrvoParticleEmitter(RandomSource random)
    : vsh_(vshParticles), fsh_(fshParticles), random_(random ? std::move(random) : RandomSource(defaultRandom)) {}

uint32_t OrvoParticleEmitter::defaultRandom() {
  static std::mutex mutex;
  static std::mt19937 engine{std::random_device{}()};
  std::lock_guard<std::mutex> lock(mutex);
  return static_cast<uint32_t>(engine());
}

bool OrvoParticleEmitter::setAliveParticleNum(int64_t count) {
  if (count < 0 || count > capacity_) {
    consoleLog("OrvoParticleEmitter: %lld particles asked for, the emitter holds %lld",
               static_cast<long long>(count), static_cast<long long>(capacity_));
    return false;
  }
  aliveParticleNum_ = count;
  return true;
}

void OrvoParticleEmitter::adopt(Particle* array, int64_t count, const char* fragmentPiece, std::string texture) {
  particles_ = array;
  capacity_ = count;
  aliveParticleNum_ = count;
  vsh_ = vshParticles;
  fsh_ = fragmentPiece;
  textureName_ = std::move(texture);
}

}  // namespace nudora
