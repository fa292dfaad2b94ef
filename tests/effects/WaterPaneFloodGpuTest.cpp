// The water pane and flood passes on the GPU against CPU expectations:
// where the pane is wet or misted, what the water shows through the cached
// displacement field, how the field turns with the direction and when it is
// rebuilt; where the flood's water line lies, what it mirrors, and that it
// moves from frame to frame. Both effects need ES 3 and run only there.
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

// Gentle waves, so that sampling a little off costs little.
Picture smoothPicture(int w, int h) {
  Picture p{w, h, {}};
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const double u = (x + 0.5) / w, v = (y + 0.5) / h;
      p.rgba.push_back(static_cast<uint8_t>(std::lround(128 + 100 * std::sin(6.0 * u + 2.0 * v))));
      p.rgba.push_back(static_cast<uint8_t>(std::lround(128 + 100 * std::cos(5.0 * v - 1.5 * u))));
      p.rgba.push_back(static_cast<uint8_t>(std::lround(40 + 170 * u * v)));
      p.rgba.push_back(255);
    }
  }
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

TEST_P(EffectGpuTest, WaterPaneIsClearWhereTheMapIsWetAndMistedWhereItIsDry) {
  const int W = 160, H = 120;
  OrvoEffectWaterPane pane;
  ASSERT_TRUE(pane.setupGL());
  pane.setScale(4.0f);             // a quarter of the map across the frame: 1.6 map cells a pixel
  pane.setSunlight_luminance(0.0f);
  pane.enable();
  const std::array<uint8_t, 3> colour{51, 102, 153};
  const GLuint input = texture(solid(W, H, colour[0], colour[1], colour[2]));
  const GLuint blurred = texture(solid(W / 4, H / 4, colour[0], colour[1], colour[2]));
  const GLuint out = texture(Picture{W, H, {}});
  ASSERT_TRUE(pane.process(input, blurred, W, H, out, false, 3, 1.0f));
  const Picture got = read(out, W, H);

  // The map texel square around each pixel's sample: all dry glass gives
  // mist, all on one side of 128 gives water; mixed squares are edges.
  const std::vector<uint8_t>& map = pane.heightByte();
  const double cellsPerPixel = 1024.0 * (1.0 / 4.0) / W;
  int water = 0, dry = 0;
  const int compared = test::comparePicture(
      got,
      [&](int x, int y, int c) {
        if (c == 3) return 255.0;
        const double cx = (x + 0.5) * cellsPerPixel - 0.5, cy = (y + 0.5) * cellsPerPixel - 0.5;
        const int x0 = static_cast<int>(std::floor(cx)), y0 = static_cast<int>(std::floor(cy));
        int low = 0, flat = 0, high = 0;
        for (int j = 0; j <= 1; ++j) {
          for (int i = 0; i <= 1; ++i) {
            const uint8_t b = map[static_cast<size_t>((y0 + j) & 1023) * 1024 + ((x0 + i) & 1023)];
            low += b < 128;
            flat += b == 128;
            high += b > 128;
          }
        }
        if (flat == 4) {
          dry += c == 0;
          return misted(colour[c]);
        }
        if (low == 4 || high == 4) {
          water += c == 0;
          return static_cast<double>(colour[c]);
        }
        return std::nan("");
      },
      1.5, "water pane mask");
  EXPECT_GT(compared, W * H * 4 * 8 / 10);
  EXPECT_GT(water, 100) << "the frame shows drops or trails";
  EXPECT_GT(dry, W * H / 2) << "most of the pane is misted";
}

TEST_P(EffectGpuTest, WaterPaneShowsTheSharpPictureThroughTheDisplacementField) {
  const int W = 160, H = 120;
  OrvoEffectWaterPane pane;
  ASSERT_TRUE(pane.setupGL());
  pane.setScale(4.0f);
  pane.setSunlight_luminance(0.0f);
  pane.enable();
  const Picture sharp = test::randomPicture(W, H, 5);
  const GLuint input = texture(sharp);
  const GLuint blurred = texture(solid(W / 4, H / 4, 90, 60, 30));
  const GLuint out = texture(Picture{W, H, {}});
  ASSERT_TRUE(pane.process(input, blurred, W, H, out, false, 3, 1.0f));
  const Picture got = read(out, W, H);
  const std::vector<int32_t> d = readDisplacement(pane);

  int bent = 0, water = 0;
  int worst = 0;
  const std::array<uint8_t, 3> fog{90, 60, 30};
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
      if (!ok && mismatches++ == 0) {
        ADD_FAILURE() << "pixel " << x << "," << y << ": upright (" << up[0] << "," << up[1] << "," << up[2] << ","
                      << up[3] << ") half turn (" << half[0] << "," << half[1] << ") quarter turn (" << quarter[0]
                      << "," << quarter[1] << ")";
      }
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
  struct Frame {
    int w, h;
    int64_t direction;
    bool mirror;
    int generations;
  };
  for (const Frame& f : {Frame{64, 48, 3, false, 1}, Frame{64, 48, 3, false, 1}, Frame{64, 48, 4, true, 1},
                         Frame{64, 48, 4, false, 2}, Frame{64, 48, 3, true, 2}, Frame{48, 48, 4, false, 3},
                         Frame{48, 48, 1, false, 4}}) {
    ASSERT_TRUE(pane.process(input, blurred, f.w, f.h, out, f.mirror, f.direction, 1.0f));
    EXPECT_EQ(pane.displacementGenerations(), f.generations)
        << f.w << "x" << f.h << " direction " << f.direction << (f.mirror ? " mirrored" : "");
  }
  EXPECT_NE(read(out, 64, 48).rgba, before);
  pane.disable();
  EXPECT_EQ(pane.displacementTex(), 0u);
  EXPECT_EQ(pane.displacementHeight(), 0);
  EXPECT_EQ(pane.displacementDirection(), -1);
  pane.enable();
  ASSERT_TRUE(pane.process(input, blurred, 48, 48, out, false, 1, 1.0f));
  EXPECT_EQ(pane.displacementGenerations(), 5);
}

TEST_P(EffectGpuTest, FloodMirrorsThePictureBelowTheWaterLineAndLeavesTheRest) {
  const int W = 128, H = 96;
  OrvoEffectFlood flood;
  ASSERT_TRUE(flood.setupGL());
  const Picture picture = smoothPicture(W, H);
  const GLuint input = texture(picture);
  const GLuint out = texture(Picture{W, H, {}});
  EXPECT_FALSE(flood.process(input, W, H, out, false, 3)) << "off: nothing drawn";
  flood.enable();
  // Still water: a plain mirror about the line, over the water's colour.
  ASSERT_TRUE(flood.setHeightImage(std::vector<float>(OrvoEffectFlood::kFieldCells, 0.5f)));
  const double line = OrvoEffectFlood::waterLineFor(flood.water_position(), flood.scene_distance());
  const double waterColour[3] = {0.04 * 255, 0.10 * 255, 0.12 * 255};
  // Directions 3 and 4 (half a turn: the water lies along the output's top).
  auto check = [&](const Picture& got, bool halfTurn, const std::string& what) {
    int above = 0, below = 0;
    auto turn = [&](double t) { return halfTurn ? 1 - t : t; };
    test::comparePicture(
        got,
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
  };
  ASSERT_TRUE(flood.process(input, W, H, out, false, 3));
  check(read(out, W, H), false, "direction 3");
  ASSERT_TRUE(flood.process(input, W, H, out, true, 3));  // mirrored, 3 becomes 4
  check(read(out, W, H), true, "direction 3 mirrored");
  ASSERT_TRUE(flood.process(input, W, H, out, false, 4));
  check(read(out, W, H), true, "direction 4");
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
    int water = 0, moved = 0, changed = 0;
    for (int y = 0; y < H; ++y) {
      for (int x = 0; x < W; ++x) {
        if (depth(x, y) < line + 1.5 / H) continue;
        ++water;
        bool m = false, ch = false;
        for (int c = 0; c < 3; ++c) {
          m |= std::abs(first.at(x, y, c) - second.at(x, y, c)) > 2;
          ch |= std::abs(first.at(x, y, c) - picture.at(x, y, c)) > 8;
        }
        moved += m;
        changed += ch;
      }
    }
    EXPECT_GT(moved, water / 10) << "direction " << direction << ": the water moves between frames";
    EXPECT_GT(changed, water * 8 / 10) << "direction " << direction << ": the water is not the picture";
  }
}

INSTANTIATE_TEST_SUITE_P(Api, EffectGpuTest, ::testing::Values(3), test::apiName);

}  // namespace
}  // namespace nudora
