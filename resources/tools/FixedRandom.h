#pragma once
// The random numbers of the image programs in resources/tools/: a fixed
// seed gives the same images on every machine and compiler.

#include <cstdint>
#include <random>

// std::mt19937 gives the same sequence everywhere; the distributions of the
// standard library need not, so the conversions are written out here.
class Random {
 public:
  explicit Random(uint32_t seed) : engine_(seed) {}
  // Uniform in [0, 1).
  double uniform() { return static_cast<double>(engine_() >> 8) / 16777216.0; }
  double between(double lo, double hi) { return lo + (hi - lo) * uniform(); }
  int below(int n) { return static_cast<int>(uniform() * n); }
  bool chance(double p) { return uniform() < p; }
  // Roughly normal with unit deviation: three uniforms add up to variance 1/4; twice that sum has variance 1.
  double bell() { return (uniform() + uniform() + uniform() - 1.5) * 2.0; }

 private:
  std::mt19937 engine_;
};
