// The flood's height field on the CPU: fractal start, wave step, upload bytes, switch-on.
#include <gtest/gtest.h>

#include <algorithm>

#include "TestSupport.h"
#include "effects/OrvoEffectFlood.h"

namespace nudora {
namespace {

constexpr int kSide = OrvoEffectFlood::kFieldSide;
size_t idx(int y, int x) { return static_cast<size_t>(y) * kSide + x; }

TEST(FloodField, StartsWithinZeroToOneAtRestWithOneDrawPerCellVisit) {
  for (float roughness : {0.5f, 0.0f, 2.0f}) {
    for (uint32_t seed : {1u, 5u, 31337u}) {
      OrvoEffectFlood flood;
      EffectRandom random(seed);
      int draws = 0;
      flood.initHeightImage(roughness, [&] {
        ++draws;
        return random.next();
      });
      // Five cells per square, 4^s squares on levels s = 0 .. 7.
      EXPECT_EQ(draws, 5 * (65536 - 1) / 3);
      const auto [lo, hi] = std::minmax_element(flood.heightImage().begin(), flood.heightImage().end());
      EXPECT_TRUE(*lo >= 0.0f && *hi <= 1.0f && *hi - *lo > 0.05f)
          << "roughness " << roughness << " seed " << seed << ": " << *lo << " .. " << *hi;
      for (float v : flood.velImage()) ASSERT_EQ(v, 0.0f);
    }
  }
  // The largest and smallest draws push the noise to its ends: the clamp holds.
  for (int extreme : {0, EffectRandom::kRandMax}) {
    OrvoEffectFlood flood;
    flood.initHeightImage(0.0f, [extreme] { return extreme; });
    for (float v : flood.heightImage()) ASSERT_TRUE(v >= 0.0f && v <= 1.0f) << v;
  }
}

TEST(FloodField, FlatStaysFlatAndARaisedCellSpreadsToItsFourNeighbours) {
  OrvoEffectFlood flood;
  const std::vector<float> flat(OrvoEffectFlood::kFieldCells, 0.3f);
  ASSERT_TRUE(flood.setHeightImage(flat));  // at rest since init
  for (int step = 0; step < 10; ++step) flood.updateHeightImage();
  EXPECT_EQ(flood.heightImage(), flat);
  EXPECT_EQ(flood.velImage(), std::vector<float>(OrvoEffectFlood::kFieldCells, 0.0f));

  // A unit bump on the corner: velocity -4 x 0.2 there, +0.2 at the wrapping
  // neighbours; heights move by 0.2 of that.
  std::vector<float> bump(OrvoEffectFlood::kFieldCells, 0.0f);
  bump[idx(0, 0)] = 1.0f;
  ASSERT_TRUE(flood.setHeightImage(bump));
  flood.updateHeightImage();
  const auto& h = flood.heightImage();
  EXPECT_FLOAT_EQ(h[idx(0, 0)], 0.84f);
  for (size_t n : {idx(0, 1), idx(0, 255), idx(1, 0), idx(255, 0)}) EXPECT_FLOAT_EQ(h[n], 0.04f) << "cell " << n;
  EXPECT_EQ(std::count_if(h.begin(), h.end(), [](float v) { return v != 0.0f; }), 5) << "only those five move";
  EXPECT_FLOAT_EQ(flood.velImage()[idx(255, 0)], 0.2f);

  EXPECT_FALSE(flood.setHeightImage(std::vector<float>(3, 0.0f)));
}

TEST(FloodField, UploadBytesClampAndSwitchingOnStartsAFreshFieldOnlyFromOff) {
  std::vector<uint8_t> bytes;  // scaled by half of 255
  OrvoEffectFlood::heightBytes({-1.0f, 0.0f, 0.5f, 1.0f, 1.5f, -2.0f, 40.0f}, bytes);
  EXPECT_EQ(bytes, (std::vector<uint8_t>{0, 127, 191, 255, 255, 0, 255}));

  OrvoEffectFlood flood;
  const std::vector<float> still(OrvoEffectFlood::kFieldCells, 0.3f);
  ASSERT_TRUE(flood.setHeightImage(still));
  EXPECT_TRUE(flood.enable());
  EXPECT_TRUE(flood.enabled());
  EXPECT_NE(flood.heightImage(), still);
  const std::vector<float> first = flood.heightImage();
  ASSERT_TRUE(flood.setHeightImage(still));
  EXPECT_TRUE(flood.enable());
  EXPECT_EQ(flood.heightImage(), still) << "already on: the field carries on";
  flood.disable();
  EXPECT_FALSE(flood.enabled());
  flood.enable();
  EXPECT_NE(flood.heightImage(), first) << "the generator moves on between switch-ons";
}

TEST(FloodGeometry, WaterLineAndMirroredDirections) {
  // Rays through upright y = 1 - 2 t meet the floor 6 below before a wall 50 ahead while y < -6 x 2 / 50.
  EXPECT_FLOAT_EQ(OrvoEffectFlood::waterLineFor(-6.0f, 50.0f), 0.5f * (1.0f + 12.0f / 50.0f));
  EXPECT_FLOAT_EQ(OrvoEffectFlood::waterLineFor(-25.0f, 50.0f), 1.0f) << "the floor just reaches the frame's foot";
  EXPECT_GE(OrvoEffectFlood::waterLineFor(2.0f, 50.0f), 1.0f) << "water above the eye is not in view";
  // Mirroring swaps directions 3 and 4 only.
  auto mirror = OrvoEffectFlood::directionForMirror;
  EXPECT_EQ(std::vector<int64_t>({mirror(3, true), mirror(4, true), mirror(1, true), mirror(3, false)}),
            std::vector<int64_t>({4, 3, 1, 3}));
}

}  // namespace
}  // namespace nudora
