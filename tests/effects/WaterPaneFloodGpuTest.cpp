// The water pane and flood passes on the GPU (ES 3 only) against CPU
// expectations: mask, displacement field, rebuilds, mirror and ripples.
#include <array>

#include "GpuTestSupport.h"
#include "effects/OrvoEffectFlood.h"
#include "effects/OrvoEffectWaterPane.h"

namespace nudora {
namespace {

using test::Picture;

Picture solid(int w, int h, uint8_t r, uint8_t g, uint8_t b) {
  Picture p{w, h, {}};
  for (int i = 0; i < w * h; ++i) p.rgba.insert(p.rgba.end(), {r, g, b, 255});
  return p;
}

// What fshWaterPaneDisplacement makes of misted glass over a blurred value.
double misted(double value) { return value + (0.85 * 255.0 - value) * 0.12; }

class EffectGpuTest : public test::GlContextTest {
 protected:
  // The displacement texture as 4 ints per pixel.
  std::vector<int32_t> readDisplacement(const OrvoEffectWaterPane& pane) const {
    attach(pane.displacementTex());
    std::vector<int32_t> d(static_cast<size_t>(pane.displacementWidth()) * pane.displacementHeight() * 4);
    glReadPixels(0, 0, pane.displacementWidth(), pane.displacementHeight(), GL_RGBA_INTEGER, GL_INT, d.data());
    return d;
  }
};

TEST_P(EffectGpuTest, WaterPaneIsMistedWhereDryAndShowsTheSharpPictureThroughTheField) {
  const int W = 160, H = 120;
  OrvoEffectWaterPane pane;
  ASSERT_TRUE(pane.setupGL());
  pane.setScale(4.0f);  // a quarter of the map across the frame: 1.6 map cells a pixel
  pane.setSunlight_luminance(0.0f);
  pane.enable();
  const GLuint out = texture(Picture{W, H, {}});
  auto process = [&](const Picture& input, const std::array<uint8_t, 3>& fog) {
    const GLuint blurred = texture(solid(W / 4, H / 4, fog[0], fog[1], fog[2]));
    EXPECT_TRUE(pane.process(texture(input), blurred, W, H, out, false, 3, 1.0f));
    return read(out, W, H);
  };

  // A plain colour against the CPU map: the texel square around each sample
  // all dry gives mist, all on one side of 128 gives water; mixed are edges.
  const std::array<uint8_t, 3> colour{51, 102, 153};
  const std::vector<uint8_t>& map = pane.heightByte();
  const double cellsPerPixel = 1024.0 * (1.0 / 4.0) / W;
  int water = 0, dry = 0;
  const int compared = test::comparePicture(
      process(solid(W, H, colour[0], colour[1], colour[2]), colour),
      [&](int x, int y, int c) {
        if (c == 3) return 255.0;
        const double cx = (x + 0.5) * cellsPerPixel - 0.5, cy = (y + 0.5) * cellsPerPixel - 0.5;
        const int x0 = static_cast<int>(std::floor(cx)), y0 = static_cast<int>(std::floor(cy));
        int low = 0, flat = 0;
        for (int k = 0; k < 4; ++k) {
          const uint8_t b = map[static_cast<size_t>((y0 + k / 2) & 1023) * 1024 + ((x0 + k % 2) & 1023)];
          low += b < 128;
          flat += b == 128;
        }
        const bool wet = low == 4 || low + flat == 0;
        dry += c == 0 && flat == 4;
        water += c == 0 && wet;
        return flat == 4 ? misted(colour[c]) : wet ? colour[c] : std::nan("");
      },
      1.5, "water pane mask");
  EXPECT_GT(compared, W * H * 4 * 8 / 10);
  EXPECT_GT(water, 100) << "the frame shows drops or trails";
  EXPECT_GT(dry, W * H / 2) << "most of the pane is misted";

  // A sharp picture through the GPU's field: water shows it shifted, mist the fog.
  const Picture sharp = test::randomPicture(W, H, 5);
  const std::array<uint8_t, 3> fog{90, 60, 30};
  const Picture got = process(sharp, fog);
  const std::vector<int32_t> d = readDisplacement(pane);
  int bent = 0, worst = 0;
  water = 0;
  test::comparePicture(
      got,
      [&](int x, int y, int c) {
        const int32_t* p = &d[(static_cast<size_t>(y) * W + x) * 4];
        worst = std::max({worst, std::abs(p[0]), std::abs(p[1])});
        if (p[3] == 1024) {
          if (c == 0) {
            ++water;
            bent += p[0] != 0 || p[1] != 0;
          }
          // Texel centres: the shift lands exactly on another texel.
          return static_cast<double>(sharp.at(x + p[0], y + p[1], c));
        }
        if (p[3] == 0) return c == 3 ? 255.0 : misted(fog[c]);
        return std::nan("");
      },
      1.5, "water pane through the field");
  EXPECT_GT(water, 100);
  EXPECT_GT(bent, water / 4) << "drops refract";
  EXPECT_LT(worst, 40) << "offsets stay within a drop's reach";
}

TEST_P(EffectGpuTest, WaterPaneFieldTurnsWithTheDirection) {
  const int S = 96;  // square, so a quarter turn maps pixels onto pixels
  OrvoEffectWaterPane pane;
  ASSERT_TRUE(pane.setupGL());
  pane.setScale(3.0f);
  auto field = [&](int64_t direction) {
    attach(0);
    pane.genDisplacementTextureWithWidth(S, S, direction);
    return readDisplacement(pane);
  };
  const std::vector<int32_t> d3 = field(3), d4 = field(4), d1 = field(1);
  auto at = [&](const std::vector<int32_t>& d, int x, int y) { return &d[(static_cast<size_t>(y) * S + x) * 4]; };
  int mismatches = 0, wet = 0;
  for (int y = 0; y < S; ++y) {
    for (int x = 0; x < S; ++x) {
      const int32_t* up = at(d3, x, y);
      wet += up[3] > 0;
      // Half a turn: the upright pixel is the opposite one, shifts point back.
      const int32_t* half = at(d4, S - 1 - x, S - 1 - y);
      // A quarter turn (1): output (x, y) sees upright (S - 1 - y, x); shifts (dy, -dx).
      const int32_t* quarter = at(d1, y, S - 1 - x);
      const bool ok = std::abs(half[0] + up[0]) <= 1 && std::abs(half[1] + up[1]) <= 1 &&
                      std::abs(half[2] - up[2]) <= 2 && std::abs(half[3] - up[3]) <= 2 &&
                      std::abs(quarter[0] - up[1]) <= 1 && std::abs(quarter[1] + up[0]) <= 1 &&
                      std::abs(quarter[3] - up[3]) <= 2;
      if (!ok && mismatches++ == 0) ADD_FAILURE() << "first mismatch at pixel " << x << "," << y;
    }
  }
  EXPECT_EQ(mismatches, 0);
  EXPECT_GT(wet, 50);
}

TEST_P(EffectGpuTest, WaterPaneRebuildsTheFieldOnlyForANewSizeOrDirection) {
  OrvoEffectWaterPane pane;
  ASSERT_TRUE(pane.setupGL());
  const Picture picture = solid(64, 48, 10, 20, 30);
  const GLuint input = texture(picture), blurred = texture(solid(16, 12, 10, 20, 30));
  const GLuint out = texture(Picture{64, 48, {}});
  EXPECT_FALSE(pane.process(input, blurred, 64, 48, out, false, 3, 1.0f)) << "off: nothing drawn";
  EXPECT_EQ(pane.displacementGenerations(), 0);
  pane.enable();
  const std::vector<uint8_t> before = read(out, 64, 48).rgba;
  // {width, direction, mirrored, generations so far}; mirroring swaps directions 3 and 4.
  const int frames[][4] = {{64, 3, 0, 1}, {64, 3, 0, 1}, {64, 4, 1, 1}, {64, 4, 0, 2},
                           {64, 3, 1, 2}, {48, 4, 0, 3}, {48, 1, 0, 4}};
  for (const auto& f : frames) {
    ASSERT_TRUE(pane.process(input, blurred, f[0], 48, out, f[2] != 0, f[1], 1.0f));
    EXPECT_EQ(pane.displacementGenerations(), f[3]) << f[0] << " wide, direction " << f[1] << " mirror " << f[2];
  }
  EXPECT_NE(read(out, 64, 48).rgba, before);
  pane.disable();
  EXPECT_EQ(pane.displacementTex(), 0u);
  pane.enable();  // the same size and direction as before, built again
  ASSERT_TRUE(pane.process(input, blurred, 48, 48, out, false, 1, 1.0f));
  EXPECT_EQ(pane.displacementGenerations(), 5);
}

TEST_P(EffectGpuTest, FloodMirrorsThePictureBelowTheWaterLineAndLeavesTheRest) {
  const int W = 128, H = 96;
  OrvoEffectFlood flood;
  ASSERT_TRUE(flood.setupGL());
  const Picture picture = test::pictureOf(*test::smoothFrame(W, H));
  const GLuint input = texture(picture);
  const GLuint out = texture(Picture{W, H, {}});
  EXPECT_FALSE(flood.process(input, W, H, out, false, 3)) << "off: nothing drawn";
  flood.enable();
  // Still water: a plain mirror about the line, over the water's colour.
  ASSERT_TRUE(flood.setHeightImage(std::vector<float>(OrvoEffectFlood::kFieldCells, 0.5f)));
  const double line = OrvoEffectFlood::waterLineFor(flood.water_position(), flood.scene_distance());
  const double waterColour[3] = {0.04 * 255, 0.10 * 255, 0.12 * 255};
  // Mirrored, direction 3 becomes 4: half a turn, the water along the output's top.
  for (bool halfTurn : {false, true}) {
    const std::string what = halfTurn ? "direction 3 mirrored" : "direction 3";
    ASSERT_TRUE(flood.process(input, W, H, out, halfTurn, 3));
    int above = 0, below = 0;
    auto turn = [&](double t) { return halfTurn ? 1 - t : t; };
    test::comparePicture(
        read(out, W, H),
        [&](int x, int y, int c) {
          if (c == 3) return 255.0;
          const double u = turn((x + 0.5) / W), v = turn((y + 0.5) / H);
          if (v < line - 1.5 / H) {
            ++above;
            return static_cast<double>(picture.at(x, y, c));
          }
          if (v > line + 1.5 / H) {
            ++below;
            return 0.95 * picture.sample(turn(u), turn(2 * line - v), c) + 0.05 * waterColour[c];
          }
          return std::nan("");
        },
        2.0, what);
    EXPECT_GT(above, W * H) << what;  // three colour channels a pixel
    EXPECT_GT(below, W * H / 2) << what;
  }
}

TEST_P(EffectGpuTest, FloodRipplesMoveFromFrameToFrameBelowTheLineOnly) {
  const int W = 128, H = 128;
  OrvoEffectFlood flood;
  ASSERT_TRUE(flood.setupGL());
  flood.enable();
  const Picture picture = test::randomPicture(W, H, 9);
  const GLuint input = texture(picture);
  const GLuint out = texture(Picture{W, H, {}});
  const double line = OrvoEffectFlood::waterLineFor(flood.water_position(), flood.scene_distance());
  for (int64_t direction : {3, 1}) {
    ASSERT_TRUE(flood.process(input, W, H, out, false, direction));
    const Picture first = read(out, W, H);
    ASSERT_TRUE(flood.process(input, W, H, out, false, direction));
    const Picture second = read(out, W, H);
    // Direction 1 turns the upright frame a quarter: its "down" runs along the output's x.
    auto depth = [&](int x, int y) { return direction == 3 ? (y + 0.5) / H : (x + 0.5) / W; };
    for (const Picture* got : {&first, &second}) {
      test::comparePicture(
          *got,
          [&](int x, int y, int c) {
            return depth(x, y) < line - 1.5 / H ? picture.at(x, y, c) : std::nan("");
          },
          1.0, "above the water, direction " + std::to_string(direction));
    }
    auto differ = [](const Picture& a, const Picture& b, int x, int y, int by) {
      return std::max({std::abs(a.at(x, y, 0) - b.at(x, y, 0)), std::abs(a.at(x, y, 1) - b.at(x, y, 1)),
                       std::abs(a.at(x, y, 2) - b.at(x, y, 2))}) > by;
    };
    int water = 0, moved = 0, changed = 0;
    for (int i = 0; i < W * H; ++i) {
      const int x = i % W, y = i / W;
      if (depth(x, y) < line + 1.5 / H) continue;
      ++water;
      moved += differ(first, second, x, y, 2);
      changed += differ(first, picture, x, y, 8);
    }
    EXPECT_GT(moved, water / 10) << "direction " << direction << ": the water moves between frames";
    EXPECT_GT(changed, water * 8 / 10) << "direction " << direction << ": the water is not the picture";
  }
}

INSTANTIATE_TEST_SUITE_P(Api, EffectGpuTest, ::testing::Values(3), test::apiName);

}  // namespace
}  // namespace nudora
