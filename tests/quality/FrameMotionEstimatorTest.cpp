// The motion measurements against pictures moved by known amounts: a scene of
// plane waves is evaluated at exactly moved coordinates, so every row's true
// motion is known, then quantised to 8 bits with sensor-like noise.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include "stabilization/FrameMotionEstimator.h"
#include "stabilization/VideoMotionMeasurer.h"

namespace nudora::quality {
namespace {

constexpr double kPi = 3.14159265358979323846;

class Scene {
 public:
  explicit Scene(unsigned seed) : noise_(seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    for (int i = 0; i < 16; ++i) {
      double wavelength = 8.0 * std::pow(10.0, unit(rng));  // 8 .. 80 px
      double angle = 2.0 * kPi * unit(rng);
      waves_.push_back({2.0 * kPi / wavelength * std::cos(angle), 2.0 * kPi / wavelength * std::sin(angle),
                        2.0 * kPi * unit(rng), 10.0 + 20.0 * unit(rng)});
    }
  }
  double value(double x, double y) const {
    double v = 128.0;
    for (const Wave& w : waves_) v += w.amplitude / 2.0 * std::sin(w.kx * x + w.ky * y + w.phase);
    return v;
  }
  // A noisy 8-bit frame whose pixel (x, y) shows the scene at source(x, y).
  template <class Source>
  std::vector<uint8_t> render(int w, int h, Source source) {
    std::normal_distribution<double> noise(0.0, 2.0);
    std::vector<uint8_t> bytes(static_cast<size_t>(w) * h);
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        const auto [sx, sy] = source(x, y);
        bytes[static_cast<size_t>(y) * w + x] =
            static_cast<uint8_t>(std::clamp(std::round(value(sx, sy) + noise(noise_)), 0.0, 255.0));
      }
    }
    return bytes;
  }
  // Content at row r moved by shift(r).
  std::vector<uint8_t> frameBytes(int w, int h, const std::function<std::pair<double, double>(int)>& shift) {
    return render(w, h, [&](int x, int r) {
      const auto [sx, sy] = shift(r);
      return std::make_pair(x - sx, r - sy);
    });
  }
  GrayImage frame(int w, int h, const std::function<std::pair<double, double>(int)>& shift) {
    return image(frameBytes(w, h, shift), w, h);
  }
  GrayImage shifted(int w, int h, double dx, double dy) {
    return frame(w, h, [=](int) { return std::make_pair(dx, dy); });
  }
  static GrayImage image(const std::vector<uint8_t>& bytes, int w, int h) {
    return GrayImage::fromBytes(bytes.data(), w, h, w);
  }

 private:
  struct Wave {
    double kx, ky, phase, amplitude;
  };
  std::vector<Wave> waves_;
  std::mt19937 noise_;
};

constexpr int kW = 480;
constexpr int kH = 360;

TEST(FrameMotionEstimator, MeasuresSubPixelTranslationsWithinATenthOfAPixel) {
  Scene scene(7);
  FrameMotionEstimator estimator;
  GrayImage reference = scene.shifted(kW, kH, 0.0, 0.0);
  const double shifts[][2] = {{0.25, -0.4}, {1.7, 0.55}, {-3.3, 6.15}, {12.6, -8.45}, {-31.2, 17.8}, {0.0, 0.0}};
  for (const auto& s : shifts) {
    SCOPED_TRACE(testing::Message() << "shift " << s[0] << ", " << s[1]);
    PairMotion m = estimator.measure(reference, scene.shifted(kW, kH, s[0], s[1]));
    ASSERT_TRUE(m.valid);
    EXPECT_NEAR(m.dx, s[0], 0.1);
    EXPECT_NEAR(m.dy, s[1], 0.1);
  }
  // Working on a downscaled copy still answers in video pixels.
  FrameMotionEstimator::Options coarse;
  coarse.maxWorkWidth = 200;
  FrameMotionEstimator downscaling(coarse);
  PairMotion m = downscaling.measure(reference, scene.shifted(kW, kH, 5.3, -2.6));
  EXPECT_EQ(downscaling.downscale(), 2);
  EXPECT_NEAR(m.dx, 5.3, 0.15);
  EXPECT_NEAR(m.dy, -2.6, 0.15);
}

TEST(FrameMotionEstimator, FlatFramesAreReportedUnmeasurable) {
  GrayImage grey(kW, kH, 90.0f);
  PairMotion m = FrameMotionEstimator().measure(grey, grey);
  EXPECT_FALSE(m.valid);
  EXPECT_EQ(m.dx, 0.0);
}

// A rigid move of the whole picture (translation, turn, zoom) is no skew,
// although a turn shears the rows and a zoom stretches them.
TEST(FrameMotionEstimator, RigidMotionsHaveNoSkew) {
  Scene scene(11);
  FrameMotionEstimator estimator;
  GrayImage reference = scene.shifted(kW, kH, 0.0, 0.0);
  const double cx = 0.5 * (kW - 1), cy = 0.5 * (kH - 1);
  // Content at p moves to c.p + (-s.py, s.px) + t about the centre; each pixel shows the inverse map's point.
  auto warped = [&](double turn, double zoom, double tx, double ty) {
    const double c = std::cos(turn) * (1.0 + zoom), s = std::sin(turn) * (1.0 + zoom), det = c * c + s * s;
    return Scene::image(scene.render(kW, kH,
                                     [&](int x, int y) {
                                       const double u = x - cx - tx, v = y - cy - ty;
                                       return std::make_pair((c * u + s * v) / det + cx, (-s * u + c * v) / det + cy);
                                     }),
                        kW, kH);
  };
  struct Case {
    const char* name;
    GrayImage frame;
    double turn;
  };
  const double turn = 0.6 * kPi / 180.0;  // sheared naively: 3.8 px over the frame
  Case cases[] = {{"translation", scene.shifted(kW, kH, 4.4, -2.7), 0.0},
                  {"turn", warped(turn, 0.0, 1.0, 0.5), turn},
                  {"zoom", warped(0.0, 0.012, -0.5, 2.0), 0.0}};
  for (const Case& c : cases) {
    PairMotion m = estimator.measure(reference, c.frame);
    ASSERT_TRUE(m.valid) << c.name;
    EXPECT_EQ(m.measuredStrips, 8) << c.name;
    EXPECT_NEAR(m.skewX, 0.0, 0.3) << c.name;
    EXPECT_NEAR(m.skewY, 0.0, 0.3) << c.name;
    EXPECT_NEAR(m.roll, c.turn, 0.05 * turn) << c.name;
  }
}

// Rolling shutter: row r of frame n is displaced by k_n.(r - H/2) beyond the frame's
// translation, or stretched vertically by m_n; the pair's skew is the change of that shear.
TEST(FrameMotionEstimator, MeasuresRollingShutterSkewWithinTenPercent) {
  Scene scene(23);
  const double shear[] = {0.0, 0.03, -0.02, 0.015, 0.045};
  const double half = 0.5 * kH;
  FrameMotionEstimator horizontal, vertical;
  for (int n = 0; n < 5; ++n) {
    const double k = shear[n], t = 2.5 * n, m = 0.6 * k;
    auto h =
        horizontal.addFrame(scene.frame(kW, kH, [=](int r) { return std::make_pair(t + k * (r - half), -0.7 * t); }));
    auto v = vertical.addFrame(scene.frame(kW, kH, [=](int r) { return std::make_pair(0.4 * t, t + m * (r - half)); }));
    if (n == 0) continue;
    ASSERT_TRUE(h && v);
    const double expectX = (k - shear[n - 1]) * kH, expectY = ((1.0 - 0.6 * shear[n - 1]) / (1.0 - m) - 1.0) * kH;
    // The centre row's content moved by the change of translation, over the later frame's stretch.
    EXPECT_NEAR(h->dx, 2.5, 0.1) << "pair " << n;
    EXPECT_NEAR(v->dy, 2.5 / (1.0 - m), 0.1) << "pair " << n;
    EXPECT_NEAR(h->skewX, expectX, 0.1 * std::abs(expectX)) << "pair " << n;
    EXPECT_NEAR(h->skewY, 0.0, 0.05 * std::abs(expectX)) << "pair " << n;
    EXPECT_NEAR(v->skewY, expectY, 0.1 * std::abs(expectY)) << "pair " << n;
    EXPECT_NEAR(v->skewX, 0.0, 0.05 * std::abs(expectY)) << "pair " << n;
  }
}

// Pairs stamped with the host's own (uneven) frame times; a bad frame is refused without breaking the sequence.
TEST(VideoMotionMeasurer, KeepsUnevenFrameTimesAndRefusesBadFrames) {
  Scene scene(41);
  VideoMotionMeasurer measurer;
  const double times[] = {0.0, 0.040, 0.071, 0.120};
  for (int n = 0; n < 4; ++n) {
    const auto bytes = scene.frameBytes(kW, kH, [n](int) { return std::make_pair(2.0 * n, -1.0 * n); });
    ASSERT_TRUE(measurer.addFrame(bytes.data(), kW, kH, kW, times[n]));
    if (n == 1) {
      EXPECT_FALSE(measurer.addFrame(nullptr, kW, kH, kW, 0.05));
      EXPECT_FALSE(measurer.addFrame(bytes.data(), kW, kH, kW - 1, 0.05));
      EXPECT_FALSE(measurer.addFrame(bytes.data(), kW, kH, kW, times[n]));  // not after the last frame
    }
  }
  ASSERT_EQ(measurer.pairs().size(), 3u);
  for (int k = 0; k < 3; ++k) {
    const auto& p = measurer.pairs()[k];
    EXPECT_TRUE(p.valid);
    EXPECT_DOUBLE_EQ(p.t0, times[k]);
    EXPECT_DOUBLE_EQ(p.t1, times[k + 1]);
    EXPECT_NEAR(p.dx, 2.0, 0.1);
    EXPECT_NEAR(p.dy, -1.0, 0.1);
  }
  // Frames handed as padded bytes measure as the same frames handed as pictures.
  FrameMotionEstimator fromPictures, fromBytes;
  for (int n = 0; n < 2; ++n) {
    auto shear = [n](int row) { return std::make_pair(1.3 * n + 0.004 * n * row, -0.7 * n); };
    const auto bytes = scene.frameBytes(kW, kH, shear);
    std::vector<uint8_t> padded(static_cast<size_t>(kW + 16) * kH, 0);
    for (int r = 0; r < kH; ++r) std::copy_n(&bytes[static_cast<size_t>(r) * kW], kW, &padded[r * size_t(kW + 16)]);
    const auto a = fromPictures.addFrame(Scene::image(bytes, kW, kH));
    const auto b = fromBytes.addFrame(padded.data(), kW, kH, kW + 16);
    ASSERT_EQ(a.has_value(), b.has_value());
    if (!a) continue;
    EXPECT_NEAR(a->dx, b->dx, 1e-4);
    EXPECT_NEAR(a->dy, b->dy, 1e-4);
    EXPECT_NEAR(a->skewX, b->skewX, 1e-4);
    EXPECT_GT(std::fabs(b->skewX), 1.0);
  }
  // Another size starts a new sequence: no pair across the change.
  const auto small = scene.frameBytes(kW / 2, kH / 2, [](int) { return std::make_pair(0.0, 0.0); });
  ASSERT_TRUE(measurer.addFrame(small.data(), kW / 2, kH / 2, kW / 2, 0.2));
  EXPECT_EQ(measurer.pairs().size(), 3u);
  const auto options = measurer.syncOptions();
  EXPECT_EQ(options.frameWidth, kW / 2);
  EXPECT_EQ(options.frameHeight, kH / 2);
  EXPECT_DOUBLE_EQ(options.trackedHeight, 0.8);
}

}  // namespace
}  // namespace nudora::quality
