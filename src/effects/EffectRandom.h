#pragma once
// The random numbers of the procedural effects (water pane, flood).
//
// The effects were tuned against the C library's rand() as it behaved on
// their first platform: the program seeded a different generator (srandom)
// and never rand() itself, so rand() always started from its default seed
// and every run built the same height maps. We keep that: each effect owns
// one of these, a generator with the interface of an unseeded rand()
// (values 0 .. kRandMax, the same sequence on every run and machine), and
// never touches the process-wide rand(), which a host may seed or draw from.
//
// The sequence is the Lehmer "minimal standard" generator (multiplier 16807
// modulo 2^31 - 1) started at 1. Its values lie in 1 .. 2^31 - 2.
//
// Thread rules: none; each instance belongs to one effect.

#include <cstdint>
#include <functional>

namespace nudora {

class EffectRandom {
 public:
  // Where the effects draw their numbers: this class, or a test's sequence.
  using Source = std::function<int()>;
  static constexpr int kRandMax = 2147483647;

  // A seed of 0 (which would stick at 0) starts at 1 instead.
  explicit EffectRandom(uint32_t seed = 1);

  int next();
  int operator()() { return next(); }

 private:
  uint64_t state_;
};

}  // namespace nudora
