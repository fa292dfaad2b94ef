#include "synth/CameraPath.h"

#include <cmath>

#include "synth/SynthRandom.h"

namespace nudora::tool {
namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kDegree = kPi / 180.0;
// Shake fades in over this long after the rest, so the gyro sees no step.
constexpr double kShakeOnset = 0.5;
// Slow pans: yaw out and back over 7 s, a gentle tilt over 9 s.
constexpr double kPanYaw = 10.0 * kDegree;
constexpr double kPanYawPeriod = 7.0;
constexpr double kPanPitch = 3.0 * kDegree;
constexpr double kPanPitchPeriod = 9.0;

// Hand shake: most of it slow, less and less towards 10 Hz (degrees, Hz).
constexpr double kShakeXY[4][2] = {{0.8, 1.3}, {0.45, 2.8}, {0.25, 5.1}, {0.12, 8.6}};
constexpr double kShakeRoll[4][2] = {{0.4, 1.7}, {0.2, 3.6}, {0.1, 6.3}, {0.05, 9.4}};

double smoothstep(double u) {
  if (u <= 0.0) return 0.0;
  if (u >= 1.0) return 1.0;
  return u * u * (3.0 - 2.0 * u);
}

}  // namespace

Rotation Rotation::axisAngle(double ax, double ay, double az, double angle) {
  const double s = std::sin(angle * 0.5);
  return {std::cos(angle * 0.5), ax * s, ay * s, az * s};
}

Rotation Rotation::fromVector(const std::array<double, 3>& v) {
  const double angle = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
  if (angle < 1e-300) return {};
  return axisAngle(v[0] / angle, v[1] / angle, v[2] / angle, angle);
}

Rotation Rotation::operator*(const Rotation& b) const {
  return {w * b.w - x * b.x - y * b.y - z * b.z, w * b.x + x * b.w + y * b.z - z * b.y,
          w * b.y + y * b.w + z * b.x - x * b.z, w * b.z + z * b.w + x * b.y - y * b.x};
}

Rotation Rotation::normalized() const {
  const double n = std::sqrt(w * w + x * x + y * y + z * z);
  return {w / n, x / n, y / n, z / n};
}

std::array<double, 3> Rotation::rotate(const std::array<double, 3>& v) const {
  const Rotation p = *this * Rotation{0.0, v[0], v[1], v[2]} * conjugate();
  return {p.x, p.y, p.z};
}

std::array<double, 3> Rotation::toVector() const {
  Rotation q = *this;
  if (q.w < 0.0) q = {-q.w, -q.x, -q.y, -q.z};
  const double s = std::sqrt(q.x * q.x + q.y * q.y + q.z * q.z);
  if (s < 1e-300) return {0.0, 0.0, 0.0};
  const double scale = 2.0 * std::atan2(s, q.w) / s;
  return {q.x * scale, q.y * scale, q.z * scale};
}

CameraPath::CameraPath(uint64_t seed, double restSeconds) : CameraPath(seed, restSeconds, 1.0, true) {}

CameraPath::CameraPath(uint64_t seed, double restSeconds, double shakeScale, bool pans)
    : rest_(restSeconds), pans_(pans) {
  SynthRandom random(seed ^ 0x5DEECE66Dull);
  for (int axis = 0; axis < 3; ++axis) {
    const auto& table = axis == 2 ? kShakeRoll : kShakeXY;
    for (int k = 0; k < kWaves; ++k) {
      shake_[axis][k] = {shakeScale * table[k][0] * kDegree * random.uniform(0.8, 1.2),
                         table[k][1] * random.uniform(0.9, 1.1), random.uniform(0.0, 2.0 * kPi)};
    }
  }
  panPhase_ = random.uniform(-0.5, 0.5);
}

std::array<double, 3> CameraPath::angles(double t) const {
  const double u = t - rest_;
  if (u <= 0.0) return {0.0, 0.0, 0.0};
  const double envelope = smoothstep(u / kShakeOnset);
  std::array<double, 3> a{};
  for (int axis = 0; axis < 3; ++axis) {
    double sum = 0.0;
    // Each wave is offset so that it starts at 0: the path leaves the rest
    // without a jump in angle.
    for (const Wave& w : shake_[axis]) {
      sum += w.amplitude * (std::sin(2.0 * kPi * w.frequency * u + w.phase) - std::sin(w.phase));
    }
    a[axis] = envelope * sum;
  }
  if (!pans_) return a;
  a[0] += kPanYaw * (1.0 + panPhase_) * 0.5 * (1.0 - std::cos(2.0 * kPi * u / kPanYawPeriod));
  a[1] += kPanPitch * 0.5 * (1.0 - std::cos(2.0 * kPi * u / kPanPitchPeriod));
  return a;
}

Rotation CameraPath::orientation(double t) const {
  const auto a = angles(t);
  return (Rotation::axisAngle(0, 1, 0, a[0]) * Rotation::axisAngle(1, 0, 0, a[1]) * Rotation::axisAngle(0, 0, 1, a[2]))
      .normalized();
}

std::array<double, 3> CameraPath::bodyRate(double t) const {
  constexpr double h = 1e-4;
  const auto v = (orientation(t - h).conjugate() * orientation(t + h)).toVector();
  return {v[0] / (2.0 * h), v[1] / (2.0 * h), v[2] / (2.0 * h)};
}

}  // namespace nudora::tool
