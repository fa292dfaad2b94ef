#pragma once
// The effect-pass options nudora still and nudora process share beyond the
// filter numbers: the lens's parameters (centre, angle, radius, three
// values), local tone mapping and face stretching. Checked before any GL
// work; handed to the processor once it is set up.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace nudora {
class OrvoBaseProcessor;
}

namespace nudora::tool {

struct EffectOptions {
  std::vector<double> lensCenter;  // x, y in 0..1 of the picture, when given
  std::optional<double> lensAngleDegrees;
  std::optional<double> lensRadius;
  std::array<std::optional<double>, 3> lensValues;
  int64_t toneMapping = 0;
  bool stretchFace = false;
};

// Registers --lens-center, --lens-angle, --lens-radius, --lens-value1..3,
// --tone-mapping and --stretch-face on the command.
void addEffectOptions(CLI::App& command, EffectOptions& options);

// Empty when every given value is usable, else one sentence naming the
// first bad one. Values inside their type but outside a filter's range are
// fine: the filter clamps them (a centre to 0.25..0.75, a radius to
// 0.125..0.45, values to 0..1).
std::string effectOptionProblem(const EffectOptions& options);

// Sets the given lens parameters on the lens, and tone mapping and face
// stretching, on a processor that is set up.
void applyEffectOptions(OrvoBaseProcessor& processor, const EffectOptions& options, int64_t lens);

}  // namespace nudora::tool
