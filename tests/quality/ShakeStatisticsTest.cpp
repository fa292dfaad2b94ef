// The shake figures of known camera paths against their closed forms.

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "quality/ShakeStatistics.h"

namespace nudora::quality {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kFps = 30.0;
constexpr double kSigma = 0.2;  // seconds

// Frame-to-frame steps of x(n) and y(n) as pair motions.
template <typename Fx, typename Fy>
std::vector<PairMotion> steps(int frames, Fx x, Fy y) {
  std::vector<PairMotion> pairs;
  for (int n = 1; n < frames; ++n) {
    PairMotion m;
    m.valid = true;
    m.dx = x(n) - x(n - 1);
    m.dy = y(n) - y(n - 1);
    pairs.push_back(m);
  }
  return pairs;
}

// RMS frame-to-frame step of the high-passed shake A sin(2 pi f t): the
// Gaussian passes exp(-2 pi^2 f^2 sigma^2) of it, and a sine's step has
// amplitude 2 sin(pi f / fps) times its own.
double closedForm(double amplitude, double hz) {
  double kept = 1.0 - std::exp(-2.0 * kPi * kPi * hz * hz * kSigma * kSigma);
  return std::sqrt(2.0) * amplitude * kept * std::sin(kPi * hz / kFps);
}

TEST(ShakeStatistics, SmoothPansHaveNoShake) {
  // A straight pan is followed exactly, ends included.
  auto straight = ShakeStatistics::summarize(steps(300, [](int n) { return 4.0 * n; }, [](int n) { return -1.5 * n; }),
                                            kFps, kSigma);
  EXPECT_NEAR(straight.hfRms, 0.0, 1e-9);
  // A slow swing (0.2 Hz, 40 px) leaves about 0.04 px; 1 px at 5 Hz scores 0.7.
  auto swingX = [](int n) { return 2.0 * n + 40.0 * std::sin(2.0 * kPi * 0.2 * n / kFps); };
  auto swingY = [](int n) { return 20.0 * std::cos(2.0 * kPi * 0.15 * n / kFps); };
  auto swing = ShakeStatistics::summarize(steps(450, swingX, swingY), kFps, kSigma);
  EXPECT_LT(swing.hfRms, 0.05);
  // The smoothed path keeps the swing (RMS of A sin about A / sqrt 2).
  EXPECT_GT(swing.lfRms, 40.0 / std::sqrt(2.0));
}

TEST(ShakeStatistics, SinusoidalShakeMatchesTheClosedForm) {
  struct Case {
    double ax, fx, ay, fy;
  };
  // 1.5 Hz is partly taken for a camera move; 4 and 7 Hz are all shake.
  const Case cases[] = {{5.0, 4.0, 2.0, 7.0}, {8.0, 1.5, 3.0, 4.0}};
  for (const Case& c : cases) {
    auto x = [&](int n) { return 3.0 * n + c.ax * std::sin(2.0 * kPi * c.fx * n / kFps + 0.3); };
    auto y = [&](int n) { return c.ay * std::sin(2.0 * kPi * c.fy * n / kFps + 1.1); };
    ShakeSummary s = ShakeStatistics::summarize(steps(600, x, y), kFps, kSigma);
    double wantX = closedForm(c.ax, c.fx);
    double wantY = closedForm(c.ay, c.fy);
    EXPECT_NEAR(s.hfRmsX, wantX, 0.15 * wantX) << c.fx << " Hz";
    EXPECT_NEAR(s.hfRmsY, wantY, 0.15 * wantY) << c.fy << " Hz";
    EXPECT_NEAR(s.hfRms, std::hypot(wantX, wantY), 0.15 * std::hypot(wantX, wantY));
    EXPECT_EQ(s.frames, 600);
  }
}

TEST(ShakeStatistics, UnmeasuredPairsAndSkewsAreAccounted) {
  std::vector<PairMotion> pairs(4);
  const double skews[4][2] = {{3.0, -1.0}, {-3.0, 1.0}, {NAN, NAN}, {3.0, 1.0}};
  for (int i = 0; i < 4; ++i) {
    pairs[i].valid = i != 1;
    pairs[i].dx = 7.0;  // ignored where not valid
    pairs[i].skewX = skews[i][0];
    pairs[i].skewY = skews[i][1];
  }
  ShakeSummary s = ShakeStatistics::summarize(pairs, kFps, kSigma);
  EXPECT_EQ(s.unmeasured, 1);
  EXPECT_DOUBLE_EQ(s.skewRmsX, 3.0);
  EXPECT_DOUBLE_EQ(s.skewRmsY, 1.0);
  EXPECT_DOUBLE_EQ(s.skewRms, std::sqrt(10.0));
}

}  // namespace
}  // namespace nudora::quality
