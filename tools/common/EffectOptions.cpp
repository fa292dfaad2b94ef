#include "common/EffectOptions.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>

#include "filters/OrvoFilter.h"
#include "gpu/OrvoBaseProcessor.h"

namespace nudora::tool {
namespace {

std::string plain(double value) {
  char text[64];
  std::snprintf(text, sizeof(text), "%g", value);
  return text;
}

}  // namespace

void addEffectOptions(CLI::App& command, EffectOptions& options) {
  command.add_option("--lens-center", options.lensCenter, "lens centre X,Y in 0..1 of the picture (kept within 0.25..0.75)")
      ->delimiter(',')
      ->expected(2);
  command.add_option("--lens-angle", options.lensAngleDegrees, "lens angle in degrees (tilt-shift band)");
  command.add_option("--lens-radius", options.lensRadius, "lens radius, 0.125 to 0.45 of the picture");
  for (int i = 0; i < 3; ++i) {
    command.add_option("--lens-value" + std::to_string(i + 1), options.lensValues[i],
                       i == 0 ? "the lens's first value, 0 to 1 (its strength; 0.5 is the default)"
                              : "the lens's value " + std::to_string(i + 1) + ", 0 to 1");
  }
  command.add_option("--tone-mapping", options.toneMapping, "local tone mapping type, 0 (off) to 3");
  command.add_flag("--stretch-face", options.stretchFace, "slim the centre of the picture, as for a face");
}

std::string effectOptionProblem(const EffectOptions& o) {
  for (double c : o.lensCenter) {
    if (!std::isfinite(c)) return "lens centre " + plain(c) + " must be a number";
  }
  if (o.lensAngleDegrees && !std::isfinite(*o.lensAngleDegrees)) {
    return "lens angle " + plain(*o.lensAngleDegrees) + " must be a number";
  }
  if (o.lensRadius && !std::isfinite(*o.lensRadius)) return "lens radius " + plain(*o.lensRadius) + " must be a number";
  for (int i = 0; i < 3; ++i) {
    if (o.lensValues[i] && !std::isfinite(*o.lensValues[i])) {
      return "lens value" + std::to_string(i + 1) + " " + plain(*o.lensValues[i]) + " must be a number";
    }
  }
  if (o.toneMapping < 0 || o.toneMapping > 3) {
    return "tone mapping type " + std::to_string(o.toneMapping) + " is out of range (0 to 3)";
  }
  return {};
}

void applyEffectOptions(OrvoBaseProcessor& processor, const EffectOptions& o, int64_t lens) {
  const int64_t type = OrvoFilter::kTypeLens;
  if (o.lensCenter.size() == 2) processor.setCenter({o.lensCenter[0], o.lensCenter[1]}, lens, type);
  if (o.lensAngleDegrees) processor.setAngle(static_cast<float>(*o.lensAngleDegrees * M_PI / 180.0), lens, type);
  if (o.lensRadius) processor.setRadius(static_cast<float>(*o.lensRadius), lens, type);
  if (o.lensValues[0]) processor.setValue1(static_cast<float>(*o.lensValues[0]), lens, type);
  if (o.lensValues[1]) processor.setValue2(static_cast<float>(*o.lensValues[1]), lens, type);
  if (o.lensValues[2]) processor.setValue3(static_cast<float>(*o.lensValues[2]), lens, type);
  processor.setLocalToneMappingType(o.toneMapping);
  processor.setStretchFace(o.stretchFace);
}

}  // namespace nudora::tool
