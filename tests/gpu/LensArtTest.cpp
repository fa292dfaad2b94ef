// Artistic lenses on ES 3 and ES 2: thermal against a CPU palette, comics in
// few colours with black ink, neon lighting only an edge.
#include <algorithm>
#include <array>
#include <map>
#include <vector>

#include "GpuTestSupport.h"
#include "gpu/OrvoImageProcessor.h"
#include "platform/Image.h"
#include "platform/PixelBuffer.h"
#include "platform/Resources.h"

namespace nudora {
namespace {

constexpr int64_t kThermal = 8, kNeon = 15, kComics = 16;

// The thermal palette as a colourist would write it down: stops of heat
// (0..1) and their colours.
std::array<double, 3> thermalColour(double heat) {
  struct Stop {
    double at;
    std::array<double, 3> rgb;
  };
  const Stop stops[] = {{0.0, {0, 0, 0}},          {0.18, {0.10, 0.05, 0.55}}, {0.40, {0.70, 0.05, 0.65}},
                        {0.62, {1.0, 0.45, 0.05}}, {0.82, {1.0, 0.88, 0.10}},  {1.0, {1, 1, 1}}};
  for (int i = 1; i < 6; ++i) {
    if (heat <= stops[i].at) {
      const double f = (heat - stops[i - 1].at) / (stops[i].at - stops[i - 1].at);
      std::array<double, 3> out{};
      for (int c = 0; c < 3; ++c) out[c] = stops[i - 1].rgb[c] + (stops[i].rgb[c] - stops[i - 1].rgb[c]) * f;
      return out;
    }
  }
  return stops[5].rgb;
}

class LensArtTest : public test::StillProcessorTest {};

TEST_P(LensArtTest, ThermalMapsAGreyRampThroughItsPalette) {
  constexpr int kWidth = 256, kHeight = 4;
  auto ramp = PixelBuffer::create(kWidth, kHeight);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      uint8_t* p = ramp->row(y) + x * 4;
      p[0] = p[1] = p[2] = static_cast<uint8_t>(x);
      p[3] = 255;
    }
  }
  auto result = render(ramp, 0, kThermal);
  ASSERT_TRUE(result);
  const test::Picture got = test::pictureOf(*result);
  // Samples land on texel centres, so each pixel reads its own grey; one
  // level for the shader's arithmetic and the output rounding.
  test::comparePicture(got, [&](int x, int, int c) {
    if (c == 3) return static_cast<double>(NAN);
    return 255.0 * thermalColour(x / 255.0)[2 - c];
  }, 1.5, "thermal");
}

TEST_P(LensArtTest, ComicsPrintsInFewColoursWithBlackInk) {
  auto scene = test::naturalPicture(4);
  ASSERT_TRUE(scene);
  auto result = render(scene, 0, kComics);
  ASSERT_TRUE(result);
  // Share of the pixels that the 40 most common colours cover.
  auto coverOfCommonest = [](const PixelBuffer& frame, double* black) {
    std::map<uint32_t, int> counts;
    for (int y = 0; y < frame.height(); ++y) {
      for (int x = 0; x < frame.width(); ++x) {
        const uint8_t* p = frame.row(y) + x * 4;
        ++counts[p[0] | p[1] << 8 | p[2] << 16];
      }
    }
    std::vector<int> sizes;
    for (const auto& [colour, n] : counts) sizes.push_back(n);
    std::sort(sizes.rbegin(), sizes.rend());
    int covered = 0;
    for (size_t i = 0; i < std::min<size_t>(40, sizes.size()); ++i) covered += sizes[i];
    const double all = frame.width() * frame.height();
    if (black) *black = counts[0] / all;
    return covered / all;
  };
  double ink = 0;
  EXPECT_GE(coverOfCommonest(*result, &ink), 0.95);
  EXPECT_LT(coverOfCommonest(*scene, nullptr), 0.5) << "the scene itself should not pass for a comic";
  EXPECT_GT(ink, 0.005) << "no ink outlines";
  EXPECT_LT(ink, 0.25) << "ink floods the picture";
}

TEST_P(LensArtTest, NeonLeavesFlatAreasDarkAndLightsAnEdgeInTheColourBesideIt) {
  // Dark grey on the left, a strong red on the right.
  constexpr int kWidth = 96, kHeight = 64;
  auto picture = PixelBuffer::create(kWidth, kHeight);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      uint8_t* p = picture->row(y) + x * 4;
      const bool right = x >= kWidth / 2;
      p[0] = right ? 40 : 50;
      p[1] = right ? 30 : 50;
      p[2] = right ? 210 : 50;
      p[3] = 255;
    }
  }
  auto result = render(picture, 0, kNeon);
  ASSERT_TRUE(result);
  for (int y = 0; y < kHeight; ++y) {
    for (int x : {2, 20, kWidth / 2 - 8, kWidth / 2 + 7, kWidth - 3}) {
      const uint8_t* p = result->row(y) + x * 4;
      EXPECT_LE(std::max({p[0], p[1], p[2]}), 12) << "flat area lit at " << x << "," << y;
    }
    for (int x : {kWidth / 2 - 1, kWidth / 2}) {
      const uint8_t* p = result->row(y) + x * 4;
      EXPECT_GE(p[2], 150) << "edge dark at " << x << "," << y;
      EXPECT_GT(p[2], p[1] + 60) << "edge not red at " << x << "," << y;
      EXPECT_GT(p[2], p[0] + 60) << "edge not red at " << x << "," << y;
    }
  }
}

NUDORA_INSTANTIATE_FOR_BOTH_APIS(LensArtTest);

}  // namespace
}  // namespace nudora
