#include "filters/OrvoFilter.h"

#include <algorithm>
#include <cmath>

#include "platform/Console.h"

namespace nudora {

namespace {

constexpr double kTwoPi = 6.283185307179586;

// Beyond this many turns the turn-by-turn loop would take long (and never end
// once 2 pi drops below half an ulp of the angle), so the whole turns are
// removed exactly with fmod first. Below it the loop alone runs, which keeps
// the rounding of everyday angles that of repeated adding or subtracting.
constexpr double kLoopLimit = 64.0 * kTwoPi;

double clampMinThenMax(double v, double lo, double hi) { return std::max(std::min(v, hi), lo); }

bool refuseNaN(double v, const char* what) {
  if (!std::isnan(v)) return false;
  consoleLogLevel(kConsoleError, "OrvoFilter: %s is not a number; kept the previous value", what);
  return true;
}

}  // namespace

std::shared_ptr<OrvoFilter> OrvoFilter::filterWithType(int64_t type, int64_t filterID) {
  return std::make_shared<OrvoFilter>(type, filterID);
}

OrvoFilter::OrvoFilter(int64_t type, int64_t filterID) : filterType_(type), filterID_(filterID) {}

void OrvoFilter::setAngle(double angle) {
  double a = angle;
  if (!std::isfinite(a)) {
    consoleLogLevel(kConsoleError, "OrvoFilter: angle %f is not finite; kept %f", a, static_cast<double>(angle_));
    return;
  }
  if (std::fabs(a) >= kLoopLimit) a = std::fmod(a, kTwoPi);
  while (a < 0.0) a += kTwoPi;
  while (a >= kTwoPi) a -= kTwoPi;
  angle_ = static_cast<float>(a);
}

void OrvoFilter::setRadius(float radius) {
  if (refuseNaN(radius, "radius")) return;
  radius_ = static_cast<float>(clampMinThenMax(radius, 0.125, 0.45));
}

void OrvoFilter::setCenter(OrvoPoint center) {
  if (refuseNaN(center.x, "center.x") || refuseNaN(center.y, "center.y")) return;
  center_ = {clampMinThenMax(center.x, 0.25, 0.75), clampMinThenMax(center.y, 0.25, 0.75)};
}

void OrvoFilter::setValue1(float value) {
  if (refuseNaN(value, "value1")) return;
  value1_ = static_cast<float>(clampMinThenMax(value, 0.0, 1.0));
}

void OrvoFilter::setValue2(float value) {
  if (refuseNaN(value, "value2")) return;
  value2_ = static_cast<float>(clampMinThenMax(value, 0.0, 1.0));
}

void OrvoFilter::setValue3(float value) {
  if (refuseNaN(value, "value3")) return;
  value3_ = static_cast<float>(clampMinThenMax(value, 0.0, 1.0));
}

}  // namespace nudora
