// The water pane's height map on the CPU: trail and drop rules on scripted
// random draws, the filters, and the map the effect builds by itself.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <deque>

#include "TestSupport.h"
#include "effects/OrvoEffectWaterPane.h"

namespace nudora {
namespace {

using Map = std::vector<float>;
constexpr int kSide = OrvoEffectWaterPane::kMapSide;

float at(const Map& m, int y, int x) { return m[static_cast<size_t>(y) * kSide + x]; }
float& at(Map& m, int y, int x) { return m[static_cast<size_t>(y) * kSide + x]; }
Map flatMap() { return Map(OrvoEffectWaterPane::kMapCells, 128.0f); }

// Hands out the listed draws in order, then `rest` forever; counts the draws.
struct Script {
  std::deque<int> draws;
  int rest = 0;
  int used = 0;
  EffectRandom::Source source() {
    return [this] {
      ++used;
      if (draws.empty()) return rest;
      const int v = draws.front();
      draws.pop_front();
      return v;
    };
  }
};

// One trail's draws: its start column, 511 steps of `step` (-2 .. 2) and w.
void scriptTrail(Script& s, int column, int step, int w) {
  s.draws.push_back(column);
  for (int j = 1; j < 512; ++j) s.draws.push_back(step + 2);
  s.draws.push_back(w);
}

// One scripted trail (bound 1, then 0) on map; answers how many were laid.
int layOneTrail(Map& map, int column, int step, int w) {
  Script s;
  s.draws = {1};
  scriptTrail(s, column, step, w);
  return OrvoEffectWaterPane::addTrails(map, 0.0f, s.source());
}

TEST(WaterPaneTrails, AmountZeroLaysAtMostThreeTrailsAndNoDrops) {
  for (uint32_t seed : {1u, 7u, 99u, 12345u}) {
    EffectRandom random(seed);
    Map map = flatMap();
    EXPECT_LE(OrvoEffectWaterPane::addTrails(map, 0.0f, random), 3) << "seed " << seed;
    const Map trailed = map;
    EXPECT_EQ(OrvoEffectWaterPane::addDrops(map, 0.0f, random), 0);
    EXPECT_EQ(map, trailed) << "no drop may be added at amount 0";
  }
  // The bound is drawn before each trail: 3, 3, 3 then 2 stops after three.
  Script s;
  for (int t = 0; t < 3; ++t) {
    s.draws.push_back(3);
    scriptTrail(s, 100 + 300 * t, 0, 0);
  }
  s.draws.push_back(2);
  Map map = flatMap();
  EXPECT_EQ(OrvoEffectWaterPane::addTrails(map, 0.0f, s.source()), 3);
  EXPECT_TRUE(s.draws.empty()) << "the last bound is drawn too";
  EXPECT_EQ(at(map, 0, 100), 127.0f);
  EXPECT_EQ(at(map, 1023, 700), 127.0f);

  // The whole construction: without drops nothing rises above dry glass.
  OrvoEffectWaterPane pane;
  pane.setAmount(0.0f);
  pane.initHeightImage();
  int lowered = 0;
  for (uint8_t b : pane.heightByte()) {
    ASSERT_LE(b, 128);
    lowered += b < 128;
  }
  EXPECT_LT(lowered, OrvoEffectWaterPane::kMapCells / 10);
}

TEST(WaterPaneTrails, RunDownItsPathWithWidthAndRetraceTheUpperHalf) {
  Map map = flatMap();
  ASSERT_EQ(layOneTrail(map, 1022, 1, 1), 1);  // one column right per row, w = 1
  // Row 0 around column 1022, w + 3 = 4 each side, wrapping past 1023.
  for (int k = -5; k <= 5; ++k) EXPECT_EQ(at(map, 0, (1022 + k) % kSide), std::abs(k) < 5 ? 127.0f : 128.0f) << k;
  // Row 511 is 511 columns on; row 512 goes back to row 511's column, row 1023 to row 0's.
  EXPECT_EQ(at(map, 511, (1022 + 511) % kSide), 127.0f);
  EXPECT_EQ(at(map, 512, (1022 + 511) % kSide), 127.0f);
  EXPECT_EQ(at(map, 1023, 1022), 127.0f);
}

TEST(WaterPaneTrails, StopAtTheRowWhereTheyMeetAnEarlierTrail) {
  Map map = flatMap();
  for (int x = 0; x < kSide; ++x) at(map, 300, x) = 127.0f;  // an earlier trail across the pane
  ASSERT_EQ(layOneTrail(map, 500, 0, 0), 1);
  EXPECT_EQ(at(map, 299, 497), 127.0f);
  EXPECT_EQ(at(map, 299, 504), 128.0f);
  for (int y = 301; y < kSide; ++y) ASSERT_EQ(at(map, y, 500), 128.0f) << "row " << y;

  // One still-dry cell within w + 1 of the path keeps the trail going.
  Map gap = flatMap();
  for (int x = 0; x < kSide; ++x) at(gap, 300, x) = x == 501 ? 128.0f : 127.0f;
  ASSERT_EQ(layOneTrail(gap, 500, 0, 0), 1);
  EXPECT_EQ(at(gap, 600, 500), 127.0f);
}

TEST(WaterPaneDrops, ArePlacedOnClearGlassSkippedNearWaterAndWrapAtTheEdges) {
  // m = 0 (radius 2) at cx 500, cy 400: the draws come in the order m, cx, cy.
  auto place = [](Map& map) {
    Script s;
    s.draws = {6, 500, 400};
    return OrvoEffectWaterPane::addDrops(map, 1.0f / 1024.0f, s.source());
  };
  Map map = flatMap();
  ASSERT_EQ(place(map), 1);
  EXPECT_FLOAT_EQ(at(map, 400, 500), 128.0f + 4 * 2 + 1);
  EXPECT_FLOAT_EQ(at(map, 400, 501), 128.0f + 3 * 2 + 1);
  EXPECT_NEAR(at(map, 401, 501), 128.0f + 2 * 2 + 1, 1e-4);
  EXPECT_EQ(at(map, 400, 502), 128.0f) << "d = R is outside the drop";
  EXPECT_EQ(at(map, 402, 500), 128.0f);

  // The clear zone is dy -6 .. 5 and dx -6 .. 6 for m = 0.
  const int cases[][3] = {{5, 6, 0}, {-6, -6, 0}, {0, 6, 0}, {6, 0, 1}, {0, 7, 1}, {-7, 0, 1}, {0, -7, 1}};
  for (const auto& [dy, dx, placed] : cases) {
    Map m = flatMap();
    at(m, 400 + dy, 500 + dx) = 127.0f;
    const Map before = m;
    EXPECT_EQ(place(m), placed) << "marker at " << dy << "," << dx;
    if (!placed) {
      EXPECT_EQ(m, before) << "a skipped drop must not be moved elsewhere";
    }
  }

  Script s;
  s.draws = {5 * 6 + 5, 1023, 0};  // m = 5: radius 7, centred on the corner
  map = flatMap();
  ASSERT_EQ(OrvoEffectWaterPane::addDrops(map, 1.0f / 1024.0f, s.source()), 1);
  EXPECT_FLOAT_EQ(at(map, 0, 1023), 128.0f + 49 * 2 + 1);
  EXPECT_FLOAT_EQ(at(map, 1023, 1023), 128.0f + 48 * 2 + 1);
  EXPECT_FLOAT_EQ(at(map, 0, 0), 128.0f + 48 * 2 + 1);
}

TEST(WaterPaneFilters, GravityKeepsDryCellsAndAveragesWaterDownwards) {
  OrvoEffectWaterPane pane;
  Map map = flatMap();
  for (int y = 10; y <= 20; ++y) at(map, y, 5) = 100.0f + y;
  at(map, 0, 7) = 100.0f;
  at(map, 1023, 7) = 50.0f;
  ASSERT_TRUE(pane.setHeightImage(map));
  pane.gravityFilter(5);
  const Map& g = pane.heightImage();
  EXPECT_EQ(at(g, 9, 5), 128.0f);
  EXPECT_EQ(at(g, 21, 5), 128.0f) << "dry glass below the water stays dry";
  EXPECT_FLOAT_EQ(at(g, 10, 5), (110.0f + 4 * 128.0f) / 5);
  EXPECT_FLOAT_EQ(at(g, 20, 5), (120.0f + 119 + 118 + 117 + 116) / 5);
  EXPECT_FLOAT_EQ(at(g, 0, 7), (100.0f + 50 + 3 * 128) / 5) << "rows above row 0 wrap to the bottom";
  EXPECT_EQ(pane.heightImage2(), pane.heightImage());

  test::ConsoleCapture console;
  pane.gravityFilter(0);
  EXPECT_EQ(console.count("gravityFilter"), 1);
  EXPECT_FALSE(pane.setHeightImage(Map(10, 128.0f)));
}

TEST(WaterPaneFilters, SmoothingAndGaussianKeepFlatGlassAndSpreadASpike) {
  Map map = flatMap();
  OrvoEffectWaterPane::smoothHeights(map);
  EXPECT_EQ(map, flatMap());

  // Weights 1 / ((|dx| + 1)(|dy| + 1)) sum to (1 + 2 (1/2 + 1/3))^2 = 64 / 9.
  at(map, 0, 0) = 128.0f + 64.0f;
  OrvoEffectWaterPane::smoothHeights(map);
  EXPECT_NEAR(at(map, 0, 0), 128.0f + 9.0f, 1e-3);
  EXPECT_NEAR(at(map, 1022, 2), 128.0f + 9.0f / 9.0f, 1e-3);
  EXPECT_EQ(at(map, 1021, 0), 128.0f);

  OrvoEffectWaterPane pane;
  Map spike = flatMap();
  at(spike, 0, 0) = 128.0f + 64.0f;
  ASSERT_TRUE(pane.setHeightImage(spike));
  pane.gaussianFilter();
  EXPECT_FLOAT_EQ(at(pane.heightImage(), 0, 0), 128.0f + 64.0f * 0.375f * 0.375f);
  EXPECT_FLOAT_EQ(at(pane.heightImage(), 1023, 1022), 128.0f + 64.0f * 0.25f * 0.0625f);
}

TEST(WaterPaneHeightMap, IsTheSameOnEveryRunWhateverTheProcessRandSeed) {
  std::srand(4242);
  OrvoEffectWaterPane first;
  std::srand(777);
  (void)std::rand();
  OrvoEffectWaterPane second;
  EXPECT_EQ(first.heightByte(), second.heightByte());
  EXPECT_EQ(first.heightByte2(), second.heightByte2());

  // Drops rise above dry glass, trails lie below it, most glass stays dry.
  int dry = 0, trail = 0, drop = 0, ones = 0;
  for (uint8_t b : first.heightByte()) {
    dry += b == 128;
    trail += b < 128;
    drop += b > 128;
  }
  for (uint8_t b : first.heightByte2()) {
    ASSERT_LE(b, 2);
    ones += b == 1;
  }
  EXPECT_GT(dry, OrvoEffectWaterPane::kMapCells / 2);
  EXPECT_GT(trail, 2 * 1024 * 5) << "at least two trails of five or more cells' width";
  EXPECT_GT(drop, 100 * 9);
  EXPECT_NEAR(ones, OrvoEffectWaterPane::kMapCells / 2, OrvoEffectWaterPane::kMapCells / 50);

  OrvoEffectWaterPane other;  // a different sequence, a different map
  EffectRandom seeded(99);
  other.initHeightImage([&] { return seeded.next(); });
  EXPECT_NE(other.heightByte(), first.heightByte());
}

TEST(WaterPaneHeightMap, LoadsTheResourceImageAsQuarterBytes) {
  OrvoEffectWaterPane pane;
  ASSERT_TRUE(pane.loadHeightImage());
  const uint8_t top = *std::max_element(pane.heightByte().begin(), pane.heightByte().end());
  EXPECT_LE(top, 63);
  EXPECT_GT(top, 0) << "the picture has drops and trails, not only dry glass";
}

}  // namespace
}  // namespace nudora
