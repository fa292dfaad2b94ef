// Geometry and blur lenses on ES 3 and ES 2 against CPU mappings and factors,
// where bokeh and tilt-shift keep sharp, and the denoise lens keeping an edge.
#include <array>
#include <cmath>
#include <functional>
#include <numbers>

#include "GpuTestSupport.h"
#include "filters/OrvoFilter.h"
#include "platform/Geometry.h"

namespace nudora {
namespace {

double smoothstep(double e0, double e1, double x) {
  const double t = std::clamp((x - e0) / (e1 - e0), 0.0, 1.0);
  return t * t * (3.0 - 2.0 * t);
}

// Where a lens takes the colour of output point (u, v) from, and the factor
// it then applies; (u, v) and the answer in texture coordinates of a w x h frame.
struct LensReference {
  int64_t lens;
  float value1;
  std::function<std::array<double, 2>(double u, double v, double w, double h)> source;
  std::function<double(double u, double v, double w, double h)> factor;
};

// Scale from texture coordinates to units of the frame's shorter side.
std::array<double, 2> toShortSide(double w, double h) { return {std::max(w / h, 1.0), std::max(h / w, 1.0)}; }

double unscaled(double, double, double, double) { return 1.0; }

std::array<double, 2> swirlSource(double u, double v, double w, double h, double strength) {
  const auto s = toShortSide(w, h);
  const double px = (u - 0.5) * s[0], py = (v - 0.5) * s[1];
  const double fall = std::max(0.0, 1.0 - std::hypot(px, py) / 0.6);
  const double turn = strength * 3.0 * fall * fall;
  return {0.5 + (std::cos(turn) * px - std::sin(turn) * py) / s[0],
          0.5 + (std::sin(turn) * px + std::cos(turn) * py) / s[1]};
}

std::array<double, 2> fishEyeSource(double u, double v, double w, double h) {
  const auto s = toShortSide(w, h);
  const double px = (u - 0.5) * s[0] / 0.5, py = (v - 0.5) * s[1] / 0.5, r = std::hypot(px, py);
  if (r >= 1.0) return {u, v};
  const double k = 0.5 + 0.5 * r * r;
  return {0.5 + px * k * 0.5 / s[0], 0.5 + py * k * 0.5 / s[1]};
}

double fishEyeFactor(double u, double v, double w, double h) {
  const auto s = toShortSide(w, h);
  const double r = std::hypot((u - 0.5) * s[0], (v - 0.5) * s[1]) / 0.5;
  const double rim = 2.0 * std::max(1.0 / w, 1.0 / h) / 0.5;
  const double inside = 1.0 - smoothstep(1.0 - rim, 1.0, r);
  return 0.12 + (1.0 - 0.25 * r * r - 0.12) * inside;
}

std::array<double, 2> perspectiveSource(double u, double v, double strength) {
  const double k = 0.3 + 0.5 * std::abs(strength);
  const bool top = strength >= 0.0;
  const double y = top ? 1.0 - v : v, d = 1.0 + k * y, ySource = (1.0 + k) * y / d;
  return {0.5 + (u - 0.5) / d, top ? 1.0 - ySource : ySource};
}

std::array<double, 2> elongatingSource(double u, double v, double strength) {
  const double a = 0.45 + 0.4 * std::abs(strength), tau = 2.0 * std::numbers::pi;
  if (strength >= 0.0) return {u, v + a * std::sin(tau * v) / tau};
  return {u + a * std::sin(tau * u) / tau, v};
}

// The vignette's effect on a channel value c (0..1) at (u, v).
double vignette(double c, double u, double v, double w, double h, double strength) {
  const auto s = toShortSide(w, h);
  const double r = std::hypot((u - 0.5) * s[0], (v - 0.5) * s[1]) / (0.5 * std::hypot(s[0], s[1]));
  const double edge = smoothstep(0.3, 1.0, r);
  const double amount = strength >= 0.0 ? 0.4 + 0.5 * strength : 0.4 + 1.2 * strength;
  c *= 1.0 - std::max(amount, 0.0) * edge;
  return c + (1.0 - c) * std::max(-amount, 0.0) * edge;
}

class LensGeometryTest : public test::StillProcessorTest {
 protected:
  void setValue1(int64_t lens, float value) { processor_->setValue1(value, lens, OrvoFilter::kTypeLens); }
  void setPosition(int64_t lens, OrvoPoint center, float radius, float angle) {
    processor_->setCenter(center, lens, OrvoFilter::kTypeLens);
    processor_->setRadius(radius, lens, OrvoFilter::kTypeLens);
    processor_->setAngle(angle, lens, OrvoFilter::kTypeLens);
  }
};

TEST_P(LensGeometryTest, CoordinateLensesSampleWhereTheCpuMappingSays) {
  // value1 is the user's 0..1 setting; the signed lenses (3, 20) and the
  // swirl (44) see it remapped, the references take the remapped strength.
  const std::vector<LensReference> cases = {
      {21, 0.5f, [](double u, double v, double, double) { return std::array{0.5 - std::abs(u - 0.5), v}; }, unscaled},
      {22, 0.5f, [](double u, double v, double, double) { return std::array{0.5 + std::abs(u - 0.5), v}; }, unscaled},
      {44, 1.0f, [](double u, double v, double w, double h) { return swirlSource(u, v, w, h, 2.0); }, unscaled},
      {5, 0.5f, fishEyeSource, fishEyeFactor},
      {3, 0.5f, [](double u, double v, double, double) { return perspectiveSource(u, v, 0.0); }, unscaled},
      {3, 0.1f, [](double u, double v, double, double) { return perspectiveSource(u, v, -0.8); }, unscaled},
      {20, 0.5f, [](double u, double v, double, double) { return elongatingSource(u, v, 0.0); }, unscaled},
      {20, 0.2f, [](double u, double v, double, double) { return elongatingSource(u, v, -0.6); }, unscaled},
  };
  // Both frame shapes: the round lenses must stay round on either.
  for (auto [w, h] : {std::pair{96, 64}, std::pair{48, 80}}) {
    auto input = test::smoothFrame(w, h);
    const test::Picture in = test::pictureOf(*input);
    for (const auto& lens : cases) {
      setValue1(lens.lens, lens.value1);
      auto result = render(input, 0, lens.lens);
      ASSERT_TRUE(result) << "lens " << lens.lens;
      const test::Picture out = test::pictureOf(*result);
      test::comparePicture(out, [&](int x, int y, int c) {
        if (c == 3) return static_cast<double>(NAN);
        const double u = (x + 0.5) / w, v = (y + 0.5) / h;
        const auto at = lens.source(u, v, w, h);
        return in.sample(at[0], at[1], c) * lens.factor(u, v, w, h);
      }, 2.0, "lens " + std::to_string(lens.lens) + " value " + std::to_string(lens.value1) + " on " +
                   std::to_string(w) + "x" + std::to_string(h));
      // Matching the reference means little if the picture hardly moved.
      int changed = 0;
      for (size_t i = 0; i < out.rgba.size(); ++i) changed += std::abs(out.rgba[i] - in.rgba[i]) > 8;
      EXPECT_GT(changed, w * h / 4) << "lens " << lens.lens << " value " << lens.value1 << " barely moves the picture";
    }
  }
}

TEST_P(LensGeometryTest, VignetteAndSpotlightScaleEachPixelByTheCpuFactor) {
  auto input = test::randomFrame(80, 48, 3);
  const test::Picture in = test::pictureOf(*input);
  // Default (0: a standard darkening), strongest darkening, and lightening.
  for (auto [value, strength] : {std::pair{0.5f, 0.0}, std::pair{1.0f, 1.0}, std::pair{0.0f, -1.0}}) {
    setValue1(7, value);
    auto result = render(input, 0, 7);
    ASSERT_TRUE(result);
    test::comparePicture(test::pictureOf(*result), [&](int x, int y, int c) {
      if (c == 3) return static_cast<double>(NAN);
      return 255.0 * vignette(in.at(x, y, c) / 255.0, (x + 0.5) / 80, (y + 0.5) / 48, 80, 48, strength);
    }, 1.5, "vignette strength " + std::to_string(strength));
  }
  // The spotlight's pool of light sits where the centre and radius say
  // (radius in units of the shorter side); warmer inside, a quarter outside.
  setPosition(11, {0.3, 0.6}, 0.2f, 0.0f);
  auto result = render(input, 0, 11);
  ASSERT_TRUE(result);
  const double warm[3] = {1.0, 1.08, 1.12};  // B, G, R
  test::comparePicture(test::pictureOf(*result), [&](int x, int y, int c) {
    if (c == 3) return static_cast<double>(NAN);
    const double d = std::hypot(((x + 0.5) / 80 - 0.3) * 80 / 48, (y + 0.5) / 48 - 0.6);
    const double lit = 1.0 - smoothstep(0.85 * 0.2, 1.15 * 0.2, d);
    return std::min(255.0, in.at(x, y, c) * (0.25 + (warm[c] - 0.25) * lit));
  }, 1.5, "spotlight");
}

// Mean gradient of a window of the result over that of the input, both
// around the point (u, v): about 1 where the picture stays sharp, small
// where a random picture has been blurred.
double sharpness(const test::Picture& out, const test::Picture& in, double u, double v) {
  const int cx = static_cast<int>(u * in.width), cy = static_cast<int>(v * in.height);
  double a = 0, b = 0;
  for (int y = cy - 4; y <= cy + 4; ++y) {
    for (int x = cx - 4; x <= cx + 4; ++x) {
      for (int c = 0; c < 3; ++c) {
        a += std::abs(out.at(x + 1, y, c) - out.at(x, y, c)) + std::abs(out.at(x, y + 1, c) - out.at(x, y, c));
        b += std::abs(in.at(x + 1, y, c) - in.at(x, y, c)) + std::abs(in.at(x, y + 1, c) - in.at(x, y, c));
      }
    }
  }
  return a / b;
}

TEST_P(LensGeometryTest, BokehAndTiltShiftKeepSharpWhereCentreRadiusAndAngleSay) {
  auto input = test::randomFrame(192, 108, 11);
  const test::Picture in = test::pictureOf(*input);
  struct Case {
    int64_t lens;
    OrvoPoint center;
    float radius, angle;
    OrvoPoint sharp, blurred;
  };
  const double quarterTurn = std::numbers::pi / 2;
  const std::vector<Case> cases = {
      // Bokeh: the sharp circle follows the centre, and a point 0.35 of the
      // height below it is inside the widest circle but not the smallest.
      {1, {0.3, 0.5}, 0.25f, 0.0f, {0.3, 0.5}, {0.75, 0.5}},
      {1, {0.5, 0.4}, 0.45f, 0.0f, {0.5, 0.75}, {0.05, 0.1}},
      {1, {0.5, 0.4}, 0.125f, 0.0f, {0.5, 0.4}, {0.5, 0.75}},
      // Tilt-shift: a horizontal band through the centre, moved up and down;
      // a quarter turn makes it vertical; the half-width follows the radius.
      {2, {0.5, 0.3}, 0.25f, 0.0f, {0.1, 0.3}, {0.5, 0.75}},
      {2, {0.3, 0.5}, 0.25f, static_cast<float>(quarterTurn), {0.3, 0.15}, {0.7, 0.5}},
      {2, {0.5, 0.5}, 0.45f, 0.0f, {0.5, 0.68}, {0.5, 0.05}},
      {2, {0.5, 0.5}, 0.125f, 0.0f, {0.5, 0.5}, {0.5, 0.68}},
  };
  for (const auto& k : cases) {
    setPosition(k.lens, k.center, k.radius, k.angle);
    auto result = render(input, 0, k.lens);
    ASSERT_TRUE(result) << "lens " << k.lens;
    const test::Picture out = test::pictureOf(*result);
    const std::string what = "case " + std::to_string(&k - cases.data());
    EXPECT_GT(sharpness(out, in, k.sharp.x, k.sharp.y), 0.85) << what << ": blurred where it should be sharp";
    EXPECT_LT(sharpness(out, in, k.blurred.x, k.blurred.y), 0.45) << what << ": sharp where it should be blurred";
  }
}

TEST_P(LensGeometryTest, DenoiseSmoothsNoiseButKeepsAnEdge) {
  // Dark left half, light right half, each with +-12 levels of noise.
  constexpr int kWidth = 64, kHeight = 32;
  auto noisy = PixelBuffer::create(kWidth, kHeight);
  std::mt19937 rng(5);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      for (int c = 0; c < 4; ++c) {
        noisy->row(y)[x * 4 + c] = c == 3 ? 255 : static_cast<uint8_t>((x < kWidth / 2 ? 60 : 190) + rng() % 25 - 12);
      }
    }
  }
  auto result = render(noisy, 0, 43);
  ASSERT_TRUE(result);
  // Mean absolute deviation from the side's level, away from the edge, and
  // the side's mean right next to the edge.
  auto measure = [&](const PixelBuffer& p, int x0, int x1, double level, double* nearEdge, int edgeX) {
    double deviation = 0, edge = 0;
    for (int y = 2; y < kHeight - 2; ++y) {
      for (int x = x0; x < x1; ++x) deviation += std::abs(p.row(y)[x * 4 + 1] - level);
      edge += p.row(y)[edgeX * 4 + 1];
    }
    *nearEdge = edge / (kHeight - 4);
    return deviation / ((kHeight - 4) * (x1 - x0));
  };
  double inDark, outDark, inLight, outLight;
  const double noiseDark = measure(*noisy, 4, 26, 60, &inDark, 31);
  const double noiseLight = measure(*noisy, 38, 60, 190, &inLight, 32);
  EXPECT_LT(measure(*result, 4, 26, 60, &outDark, 31), 0.6 * noiseDark);
  EXPECT_LT(measure(*result, 38, 60, 190, &outLight, 32), 0.6 * noiseLight);
  // The columns at the step stay on their own side (a blur would meet at 125).
  EXPECT_NEAR(outDark, 60, 15);
  EXPECT_NEAR(outLight, 190, 15);
}

NUDORA_INSTANTIATE_FOR_BOTH_APIS(LensGeometryTest);

}  // namespace
}  // namespace nudora
