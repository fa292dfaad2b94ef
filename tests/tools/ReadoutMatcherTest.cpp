#include "common/ReadoutMatcher.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "synth/SyntheticScene.h"

namespace nudora::tool {
namespace {

// A camera at rest until kStart, then turning at a constant rate, in image axes (rad/s).
constexpr double kRate[3] = {0.4, -0.25, 0.6};
constexpr double kStart = 0.4;
constexpr double kReadout = 0.03;
constexpr double kFocal = 220.0;

// The turn about the constant image-axis rate over `seconds`.
Rotation turnOver(double seconds) {
  return Rotation::fromVector({kRate[0] * seconds, kRate[1] * seconds, kRate[2] * seconds});
}

// That motion as a plain-CSV log in device axes (device x = image y, device y = -image x), 200 Hz over 0..1 s.
std::shared_ptr<GyroLog> turningLog() {
  std::ostringstream text;
  for (int k = 0; k <= 200; ++k) {
    const double on = k * 0.005 >= kStart ? 1.0 : 0.0;
    text << k * 0.005 << "," << on * kRate[1] << "," << -on * kRate[0] << "," << on * kRate[2] << "\n";
  }
  auto log = std::make_shared<GyroLog>();
  EXPECT_TRUE(log->parse(text.str(), "turning.csv"));
  return log;
}

// Row r of the picture seen from orientation(r); the scene plane covers far more than the camera sees.
std::shared_ptr<PixelBuffer> render(const SyntheticScene& scene, int w, int h,
                                    const std::function<Rotation(int)>& orientation) {
  auto frame = PixelBuffer::create(w, h);
  scene.render(*frame, kFocal, orientation);
  return frame;
}

double meanAbsDifference(const PixelBuffer& a, const PixelBuffer& b, int border) {
  double sum = 0.0;
  int n = 0;
  for (int y = border; y < a.height() - border; ++y) {
    for (int x = border; x < a.width() - border; ++x) {
      for (int c = 0; c < 3; ++c, ++n) sum += std::abs(a.row(y)[x * 4 + c] - b.row(y)[x * 4 + c]);
    }
  }
  return sum / n;
}

TEST(ReadoutMatcher, RowTurnsFollowTheLogInImageAxes) {
  const ReadoutMatcher matcher(turningLog(), kReadout, 0.0, kFocal);
  const auto turns = matcher.rowTurns(0.6, 120);
  ASSERT_EQ(turns.size(), 120u);
  for (int r : {0, 1, 60, 119}) {
    const Rotation want = turnOver(kReadout * r / 120);
    const glm::dquat& got = turns[static_cast<size_t>(r)];
    EXPECT_NEAR(std::fabs(got.w * want.w + got.x * want.x + got.y * want.y + got.z * want.z), 1.0, 1e-12) << r;
  }
  // The frame time is shifted by the delay onto the log's clock: at rest there.
  EXPECT_EQ(ReadoutMatcher(turningLog(), kReadout, -0.4, kFocal).rowTurns(0.6, 120)[119], glm::dquat(1, 0, 0, 0));
}

// A frame read while the camera turns, matched to a reference read at rest, must look as though its every
// row had been read at its first row's orientation; unmatched it does not.
TEST(ReadoutMatcher, GivesAFrameTheReferenceFramesBend) {
  const int w = 200, h = 150;
  SyntheticScene scene(3, -1.2, 1.2, -1.0, 1.0, kFocal);
  scene.blur(0.6);
  const double t0 = 0.2, t = 0.5;
  const ReadoutMatcher matcher(turningLog(), kReadout, 0.0, kFocal);
  auto shaken = render(scene, w, h, [&](int row) { return turnOver(t - kStart + kReadout * row / h); });
  auto global = render(scene, w, h, [&](int) { return turnOver(t - kStart); });

  auto matched = matcher.match(*shaken, t, t0);
  ASSERT_TRUE(matched);
  const double before = meanAbsDifference(*shaken, *global, 12);
  const double after = meanAbsDifference(*matched, *global, 12);
  // What is left is the resampling of a frame whose edges are about a pixel wide.
  EXPECT_LT(after, 2.5) << "before matching " << before;
  EXPECT_GT(before, 6.0 * after);
  // Matched to its own time a frame keeps its bend: it comes back as it was.
  EXPECT_LT(meanAbsDifference(*matcher.match(*shaken, t, t), *shaken, 0), 0.01);

  EXPECT_FALSE(matcher.match(*shaken, 0.99, t0)) << "a readout past the log's end";
  EXPECT_FALSE(matcher.match(*shaken, t, -0.1)) << "a reference before its start";
}

// Without a log: a frame read during a pan leans; undoing the lean measured between its top and bottom rows
// must give the frame as read all at once at its centre row's time.
TEST(ReadoutMatcher, UndoesAShearAboutTheCentreRow) {
  const int w = 200, h = 150;
  SyntheticScene scene(5, -1.2, 1.2, -1.0, 1.0, kFocal);
  scene.blur(0.6);
  const Rotation pan = Rotation::fromVector({0.0, 0.5 * kReadout, 0.0});  // turned over the whole readout
  auto rowTurn = [&](double row) {
    const auto v = pan.toVector();
    const double f = (row + 0.5) / h - 0.5;
    return Rotation::fromVector({v[0] * f, v[1] * f, v[2] * f});
  };
  auto shaken = render(scene, w, h, [&](int row) { return rowTurn(row); });
  auto global = render(scene, w, h, [&](int) { return Rotation{}; });
  // Where the point straight ahead shows in the top and the bottom row's cameras.
  auto column = [&](double row) {
    const auto c = rowTurn(row).conjugate().rotate({0.0, 0.0, -1.0});
    return kFocal * c[0] / -c[2];
  };
  const double shear = column(h - 1) - column(0);
  ASSERT_GT(std::fabs(shear), 2.0);
  auto unbent = ReadoutMatcher::matchShear(*shaken, shear * h / (h - 1), 0.0);
  ASSERT_TRUE(unbent);
  const double before = meanAbsDifference(*shaken, *global, 12);
  const double after = meanAbsDifference(*unbent, *global, 12);
  // A pan shifts the picture's sides more than its middle, which a shear leaves; the wrong sense, or a lean
  // anchored at another row (a whole-frame shift of up to half the lean), would leave more than before.
  EXPECT_LT(after, 0.35 * before);
}

}  // namespace
}  // namespace nudora::tool
