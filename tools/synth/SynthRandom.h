#pragma once
// The synthetic clip's random numbers: SplitMix64, so that a seed gives the
// same clip with every compiler and standard library.

#include <cmath>
#include <cstdint>

namespace nudora::tool {

class SynthRandom {
 public:
  explicit SynthRandom(uint64_t seed) : state_(seed) {}

  uint64_t next() {
    uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  // Uniform in [0, 1).
  double uniform() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }
  double uniform(double lo, double hi) { return lo + (hi - lo) * uniform(); }
  // Standard normal (Box-Muller; one of the pair is dropped for simplicity).
  double gaussian() {
    const double u = 1.0 - uniform();  // (0, 1]: the logarithm stays finite
    return std::sqrt(-2.0 * std::log(u)) * std::cos(6.283185307179586 * uniform());
  }

  // A stateless hash of three integers and a seed, for procedural texture.
  static uint64_t hash(int64_t a, int64_t b, uint64_t c) {
    SynthRandom r(static_cast<uint64_t>(a) * 0x9E3779B97F4A7C15ull ^ static_cast<uint64_t>(b) * 0xC2B2AE3D27D4EB4Full ^
                  c * 0x165667B19E3779F9ull);
    return r.next();
  }

 private:
  uint64_t state_;
};

}  // namespace nudora::tool
