#include "stabilization/GyroVideoSync.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace nudora {
namespace {

// Hand shake on each log axis: sines of 0.5..6 Hz, with a closed-form angle independent of the library.
class Shake {
 public:
  // onlyAxis >= 0 moves that log axis only.
  explicit Shake(unsigned seed, int onlyAxis = -1) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> freq(0.5, 6.0), phase(0.0, 6.283185307), amp(0.2, 0.6);
    for (int axis = 0; axis < 3; ++axis)
      for (auto& w : waves_[axis])
        w = {onlyAxis < 0 || onlyAxis == axis ? amp(rng) : 0.0, 6.283185307 * freq(rng), phase(rng)};
  }
  double rate(int axis, double t) const {
    double s = 0.0;
    for (const auto& w : waves_[axis]) s += w.a * std::sin(w.w * t + w.p);
    return s;
  }
  double angle(int axis, double t0, double t1) const {
    double s = 0.0;
    for (const auto& w : waves_[axis]) s += w.a / w.w * (std::cos(w.w * t0 + w.p) - std::cos(w.w * t1 + w.p));
    return s;
  }
  // A 200 Hz log from t0 to t1, by default covering the whole clip.
  std::vector<GyroLog::Reading> log(double t0 = -1.0, double t1 = 11.5) const {
    std::vector<GyroLog::Reading> out;
    for (double t = t0; t <= t1; t += 0.005) out.push_back({t, rate(0, t), rate(1, t), rate(2, t)});
    return out;
  }

 private:
  struct Wave {
    double a, w, p;
  };
  Wave waves_[3][4];
};

struct Truth {
  const char* orientation;
  double offset, readout, focal;
  int height;
  bool focalKnown;
};

// 10 s at 30 fps as a tracker of the centred 80% of a 16:9 frame sees a turning pinhole camera, plus noise;
// each row is read at its own time, and a line fitted down the rows gives translation and skew.
std::vector<GyroVideoSync::FramePair> measure(const Shake& shake, const Truth& truth, unsigned seed) {
  GyroLog::Orientation o;
  EXPECT_TRUE(GyroLog::Orientation::parse(truth.orientation, &o));
  std::mt19937 rng(seed);
  std::normal_distribution<double> px(0.0, 0.05), rad(0.0, 1e-4);
  constexpr int kRows = 41;
  const double f = truth.focal, halfW = 0.4 * truth.height * 16.0 / 9.0;
  double acrossSq = 0.0;
  for (int j = 0; j < kRows; ++j) acrossSq += std::pow(halfW * (2.0 * j / (kRows - 1) - 1.0), 2.0) / kRows;
  std::vector<GyroVideoSync::FramePair> pairs;
  for (int k = 0; k < 300; ++k) {
    GyroVideoSync::FramePair p;
    p.t0 = 0.1 + k / 30.0;
    p.t1 = p.t0 + 1.0 / 30.0;
    double sumY = 0.0, sumYY = 0.0, tx[kRows], ty[kRows], ys[kRows], roll = 0.0;
    for (int i = 0; i < kRows; ++i) {
      const double y = 0.5 + 0.8 * (i / double(kRows - 1) - 0.5), v = (y - 0.5) * truth.height;
      const double t = truth.offset + truth.readout * y;
      const double log[3] = {shake.angle(0, p.t0 + t, p.t1 + t), shake.angle(1, p.t0 + t, p.t1 + t),
                             shake.angle(2, p.t0 + t, p.t1 + t)};
      double device[3];
      o.apply(log, device);
      const auto m = GyroVideoSync::imageMotion(device, f);
      tx[i] = m.dx * (1.0 + acrossSq / (f * f));
      ty[i] = m.dy * (1.0 + v * v / (f * f));
      roll += m.roll / kRows;
      ys[i] = y;
      sumY += y, sumYY += y * y;
    }
    const double meanY = sumY / kRows, spread = sumYY - kRows * meanY * meanY;
    double mx = 0.0, my = 0.0, sx = 0.0, sy = 0.0;
    for (int i = 0; i < kRows; ++i) {
      mx += tx[i] / kRows, my += ty[i] / kRows;
      sx += (ys[i] - meanY) * tx[i] / spread, sy += (ys[i] - meanY) * ty[i] / spread;
    }
    p.dx = mx + px(rng), p.dy = my + px(rng), p.roll = roll + rad(rng);
    p.skewX = sx + px(rng);
    p.skewY = k % 3 ? sy + px(rng) : NAN;  // not every tracker measures it
    pairs.push_back(p);
  }
  return pairs;
}

GyroVideoSync::Options optionsFor(const Truth& truth) {
  GyroVideoSync::Options options;
  options.frameWidth = truth.height * 16 / 9;
  options.frameHeight = truth.height;
  if (truth.focalKnown) options.focalPx = truth.focal;
  return options;
}

// The camera model against a turned pinhole (device axes: x up the picture, y to its left, z out of the back).
TEST(GyroVideoSync, CameraModelMatchesARotatedPinhole) {
  const double f = 1000.0, depth = 10.0;
  auto project = [&](const double p[3], double* u, double* v) {
    *u = f * -p[1] / -p[2];
    *v = f * -p[0] / -p[2];
  };
  for (int axis = 0; axis < 3; ++axis) {
    for (double turn : {0.002, -0.003}) {
      double angle[3] = {0.0, 0.0, 0.0};
      angle[axis] = turn;
      // A world point seen after the camera turns by R has camera coordinates R^T p.
      const double c = std::cos(turn), s = std::sin(turn);
      auto seen = [&](const double p[3], double* u, double* v) {
        const int i = (axis + 1) % 3, j = (axis + 2) % 3;
        double q[3] = {p[0], p[1], p[2]};
        q[i] = c * p[i] + s * p[j];
        q[j] = -s * p[i] + c * p[j];
        project(q, u, v);
      };
      const double centre[3] = {0.0, 0.0, -depth}, above[3] = {0.2 * depth, 0.0, -depth};
      double u0, v0, u1, v1, ua, va;
      seen(centre, &u1, &v1);
      project(above, &u0, &v0);
      seen(above, &ua, &va);
      const auto m = GyroVideoSync::imageMotion(angle, f);
      SCOPED_TRACE(testing::Message() << "axis " << axis << " turn " << turn);
      EXPECT_NEAR(m.dx, u1, 0.01 * std::abs(f * turn));
      EXPECT_NEAR(m.dy, v1, 0.01 * std::abs(f * turn));
      // The point above the centre moves right under a clockwise turn.
      const double clockwise = std::atan2(ua - u1, -(va - v1)) - std::atan2(u0, -v0);
      EXPECT_NEAR(m.roll, clockwise, 0.02 * std::abs(turn));
    }
  }
}

TEST(GyroVideoSync, RecoversOrientationOffsetReadoutAndFocal) {
  const Truth truths[] = {
      {"XYZ", 0.020, 0.016, 1000, 1080, true},   {"yXz", -0.050, 0.033, 1500, 1080, false},
      {"ZxY", 0.050, 0.010, 500, 720, false},    {"xzy", -0.013, 0.025, 800, 720, true},
      {"zYX", 0.037, 0.020, 1200, 1080, false},  {"YZx", -0.031, 0.012, 650, 720, false},
  };
  unsigned seed = 1;
  for (const Truth& truth : truths) {
    const Shake shake(seed);
    const auto r = GyroVideoSync::fit(measure(shake, truth, seed++ + 100), shake.log(), optionsFor(truth));
    SCOPED_TRACE(truth.orientation);
    EXPECT_EQ(r.status, GyroVideoSync::Status::kOk) << r.message;
    EXPECT_EQ(r.orientation.text(), truth.orientation);
    EXPECT_NEAR(r.offset, truth.offset, 0.001);
    EXPECT_NEAR(r.readout / truth.readout, 1.0, 0.1);
    EXPECT_NEAR(r.focalPx / truth.focal, 1.0, truth.focalKnown ? 1e-9 : 0.02);
    EXPECT_GT(r.margin, 0.1);
  }
}

TEST(GyroVideoSync, RefusesWhatCannotBeDecided) {
  const Truth truth{"yXz", 0.010, 0.020, 1000, 1080, false};
  const Shake shake(7);
  const auto pairs = measure(shake, truth, 8);
  const auto options = optionsFor(truth);
  auto status = [&](const std::vector<GyroVideoSync::FramePair>& p, double logEnd = 11.5) {
    return GyroVideoSync::fit(p, shake.log(-1.0, logEnd), options).status;
  };

  auto still = pairs;  // nothing moves in the picture; the tracker sees noise only
  std::mt19937 rng(3);
  std::normal_distribution<double> px(0.0, 0.05);
  for (auto& p : still) p.dx = px(rng), p.dy = px(rng), p.roll = 0.0, p.skewX = px(rng);
  EXPECT_EQ(status(still), GyroVideoSync::Status::kTooLittleMotion);

  // A log that stops part-way is fitted on the part it covers; one covering too few frames is refused.
  const auto partial = GyroVideoSync::fit(pairs, shake.log(-1.0, 6.0), options);
  EXPECT_EQ(partial.status, GyroVideoSync::Status::kOk) << partial.message;
  EXPECT_EQ(partial.orientation.text(), "yXz");
  EXPECT_NEAR(partial.offset, truth.offset, 0.001);
  EXPECT_EQ(status(pairs, 0.8), GyroVideoSync::Status::kLogNotCovering);

  auto few = pairs;
  for (size_t k = 10; k < few.size(); ++k) few[k].valid = false;
  EXPECT_EQ(status(few), GyroVideoSync::Status::kTooFewPairs);

  auto broken = pairs;
  broken[5].dx = NAN;
  EXPECT_EQ(status(broken), GyroVideoSync::Status::kBadInput);
  broken[5].valid = false;  // an unmeasured pair is simply left out
  EXPECT_EQ(status(broken), GyroVideoSync::Status::kOk);

  // Turning about one axis leaves the other two axes open; told the orientation, the fit still finds the clock.
  const Shake pan(9, 1);
  const auto panPairs = measure(pan, truth, 10);
  EXPECT_EQ(GyroVideoSync::fit(panPairs, pan.log(), options).status, GyroVideoSync::Status::kAmbiguous);
  auto told = options;
  told.orientationGiven.emplace();
  ASSERT_TRUE(GyroLog::Orientation::parse(truth.orientation, &*told.orientationGiven));
  const auto panFit = GyroVideoSync::fit(panPairs, pan.log(), told);
  EXPECT_EQ(panFit.status, GyroVideoSync::Status::kOk) << panFit.message;
  EXPECT_EQ(panFit.orientation.text(), truth.orientation);
  EXPECT_NEAR(panFit.offset + panFit.readout / 2, truth.offset + truth.readout / 2, 0.001);
}

TEST(GyroVideoSync, ALogOfAnotherClipIsAPoorFitNeverAConfidentAnswer) {
  for (unsigned seed = 20; seed < 24; ++seed) {
    const Truth truth{"ZyX", 0.0, 0.020, 1000, 1080, false};
    const auto pairs = measure(Shake(seed), truth, seed);
    const auto r = GyroVideoSync::fit(pairs, Shake(seed + 50).log(), optionsFor(truth));
    EXPECT_EQ(r.status, GyroVideoSync::Status::kPoorFit) << seed << ": quality " << r.quality << " margin " << r.margin;
  }
}

}  // namespace
}  // namespace nudora
