#include "effects/EffectRandom.h"

namespace nudora {

namespace {
constexpr uint64_t kModulus = 2147483647;  // 2^31 - 1, a prime
constexpr uint64_t kMultiplier = 16807;    // 7^5, a primitive root of the modulus
}  // namespace

EffectRandom::EffectRandom(uint32_t seed) : state_(seed % kModulus) {
  if (state_ == 0) state_ = 1;
}

int EffectRandom::next() {
  // 64-bit products keep the step exact without Schrage's decomposition.
  state_ = state_ * kMultiplier % kModulus;
  return static_cast<int>(state_);
}

}  // namespace nudora
