#pragma once
// The known camera path of the synthetic shaky clip: a rest for the gyro's
// zero-drift calibration, then slow pans with hand shake of 1 to 10 Hz.
// A held still (a burst) has no pans and a fraction of the walking shake.
//
// Axes and sense follow the stabiliser's conventions: the camera's own axes
// are the image axes (x right along a row, y up, z out of the picture, the
// camera looking along -z); orientation(t) maps a camera-frame vector to the
// reference frame (the camera at rest), and the body rate is the omega of
// dR/dt = R * (0, omega / 2), so that integrating it by right-multiplication
// gives the orientation back. All arithmetic is double precision.

#include <array>
#include <cstdint>

namespace nudora::tool {

// A rotation quaternion, w the scalar part; products are Hamilton products
// in written order (b acts first on a vector).
struct Rotation {
  double w = 1.0, x = 0.0, y = 0.0, z = 0.0;

  static Rotation axisAngle(double ax, double ay, double az, double angle);
  // exp of a rotation vector (axis times angle, radians).
  static Rotation fromVector(const std::array<double, 3>& v);
  Rotation operator*(const Rotation& b) const;
  Rotation conjugate() const { return {w, -x, -y, -z}; }
  Rotation normalized() const;
  std::array<double, 3> rotate(const std::array<double, 3>& v) const;
  // The rotation vector (axis times angle), angle in [0, pi].
  std::array<double, 3> toVector() const;
};

class CameraPath {
 public:
  // seed varies the shake's phases and frequencies; restSeconds of stillness
  // come first; the motion ends smoothly at no particular time (it goes on).
  CameraPath(uint64_t seed, double restSeconds);
  // Without pans and with every shake amplitude times shakeScale.
  CameraPath(uint64_t seed, double restSeconds, double shakeScale, bool pans);

  Rotation orientation(double t) const;
  // Body rate in image axes, rad/s (central difference of orientation).
  std::array<double, 3> bodyRate(double t) const;
  double restSeconds() const { return rest_; }

 private:
  struct Wave {
    double amplitude;  // radians
    double frequency;  // Hz
    double phase;      // radians
  };
  static constexpr int kWaves = 4;
  // Yaw (about the reference's up axis), pitch (about the camera's x) and
  // roll (about its viewing axis), radians.
  std::array<double, 3> angles(double t) const;

  double rest_;
  std::array<std::array<Wave, kWaves>, 3> shake_{};
  double panPhase_ = 0.0;
  bool pans_ = true;
};

}  // namespace nudora::tool
