#include "pipeline/OrvoStageWatermark.h"

#include "GpuTestSupport.h"
#include "platform/Image.h"

namespace nudora {
namespace {

using Vertices = OrvoStageWatermark::Vertices;

TEST(OrvoStageWatermarkMath, ScaleMarginAndRenderSize) {
  // {width, height, scale, margin}: the width term counts whole 1920s only.
  const double cases[][4] = {{1920, 1080, 1.0, 96}, {1080, 1920, 1920 / 1080.0, 96}, {3840, 2160, 2.0, 192},
                             {1280, 720, 0.6667, 64}, {4000, 1080, 2.0, 200}};
  for (const auto& c : cases) {
    const auto w = static_cast<int32_t>(c[0]), h = static_cast<int32_t>(c[1]);
    EXPECT_NEAR(OrvoStageWatermark::scaleForOutput(w, h), c[2], 1e-4) << w << "x" << h;
    EXPECT_NEAR(OrvoStageWatermark::marginForOutput(w, h), c[3], 1e-9) << w << "x" << h;
  }
  // {width, height, render width, render height}: truncated, then at least
  // 256 x 128 and whole multiples of 32.
  const double sizes[][4] = {{100, 50, 256, 128}, {300, 130, 320, 160}, {256, 128, 256, 128}, {288.9, 160.7, 288, 160}};
  for (const auto& s : sizes) {
    const OrvoSize r = OrvoStageWatermark::renderSizeOfSize({s[0], s[1]});
    EXPECT_EQ(std::vector<double>({r.width, r.height}), std::vector<double>({s[2], s[3]})) << s[0] << "x" << s[1];
  }
  auto small = std::make_shared<Image>(3, 2);
  for (int i = 0; i < 24; ++i) small->data()[i] = static_cast<uint8_t>(100 + i);
  auto padded = OrvoStageWatermark::generateTextureImage(small);
  ASSERT_EQ(std::vector<int>({padded->width(), padded->height()}), std::vector<int>({256, 128}));
  for (int i = 0; i < 256 * 128 * 4; ++i) {
    const int x = i / 4 % 256, y = i / 4 / 256;
    ASSERT_EQ(padded->data()[i], x < 3 && y < 2 ? small->pixel(x, y)[i % 4] : 0) << x << "," << y;
  }
  auto exact = std::make_shared<Image>(256, 128);
  EXPECT_EQ(OrvoStageWatermark::generateTextureImage(exact), exact);
}

void expectVertices(const std::optional<Vertices>& got, const Vertices& want, const std::string& what) {
  ASSERT_TRUE(got.has_value()) << what;
  for (size_t i = 0; i < 8; ++i) EXPECT_NEAR((*got)[i], want[i], 1e-6) << what << " coordinate " << i;
}

TEST(OrvoStageWatermarkMath, CornersFollowOrientationAndMirrors) {
  // x 100..300, y 50..150 on 1000 x 500: clip left -0.8, right -0.4, bottom -0.8, top -0.4.
  auto corners = [](int64_t orientation, bool mirror, bool mirrorResult) {
    return OrvoStageWatermark::cornersForRect(100, 50, 300, 150, 1000, 500, orientation, mirror, mirrorResult);
  };
  const float l = -0.8f, r = -0.4f, b = -0.8f, t = -0.4f;
  const Vertices plain[4] = {{l, t, r, t, l, b, r, b}, {r, b, l, b, r, t, l, t}, {l, b, r, b, l, t, r, t},
                             {r, t, l, t, r, b, l, b}};
  for (int o = 1; o <= 4; ++o) {
    expectVertices(corners(o, false, false), plain[o - 1], "orientation " + std::to_string(o));
    expectVertices(corners(o, false, true), plain[o - 1], "mirrorResult, orientation " + std::to_string(o));
  }
  // A mirrored input alone turns 3 and 4 about the centre (c -> 1 - c); 1 and 2 stay.
  expectVertices(corners(1, true, false), plain[0], "mirror, orientation 1");
  expectVertices(corners(2, true, false), plain[1], "mirror, orientation 2");
  expectVertices(corners(3, true, false), {0.8f, 0.8f, 0.4f, 0.8f, 0.8f, 0.4f, 0.4f, 0.4f}, "mirror, orientation 3");
  expectVertices(corners(4, true, false), {0.4f, 0.4f, 0.8f, 0.4f, 0.4f, 0.8f, 0.8f, 0.8f}, "mirror, orientation 4");
  // Both: y 50..150 becomes 350..450 (clip 0.4..0.8), then the corner pairs swap.
  expectVertices(corners(1, true, true), {l, 0.4f, r, 0.4f, l, 0.8f, r, 0.8f}, "both mirrors, orientation 1");
  expectVertices(corners(3, true, true), {l, 0.8f, r, 0.8f, l, 0.4f, r, 0.4f}, "both mirrors, orientation 3");

  OrvoStageWatermark stage;  // no GL is touched without setupGL
  stage.setDisplayPos({100, 50});
  stage.setDisplaySize({200, 100});
  stage.updateSizewithOutputWidth(1000, 500, 3, false, false);
  stage.setDisplayPos({0, 0});
  for (int64_t o : {0, 5}) {
    stage.updateSizewithOutputWidth(1000, 500, o, false, false);
    expectVertices(stage.squareVertices(), plain[2], "kept at orientation " + std::to_string(o));
  }
  const float su = 100 / 256.0f, sv = 50 / 128.0f;
  expectVertices(OrvoStageWatermark::textureVerticesFor(3, {100, 50}, {256, 128}), {0, 0, su, 0, 0, sv, su, sv}, "tex 3");
  expectVertices(OrvoStageWatermark::textureVerticesFor(1, {100, 50}, {256, 128}), {0, 0, 0, sv, su, 0, su, sv}, "tex 1");
}

TEST(OrvoStageWatermarkMath, EnabledNeedsSwitchAndPicture) {
  OrvoStageWatermark stage;
  stage.setEnabled(true);
  EXPECT_FALSE(stage.enabled());
  stage.setWatermarkImage(std::make_shared<Image>(100, 50));
  EXPECT_TRUE(stage.enabled());
  stage.setWatermarkImage(std::make_shared<Image>(0, 0));  // refused, picture kept
  EXPECT_EQ(std::vector<double>({stage.originSize().width, stage.texSize().width}), std::vector<double>({100, 256}));
  stage.setWatermarkImage(nullptr);
  EXPECT_FALSE(stage.enabled());
}

using OrvoStageWatermarkDrawTest = test::StageTest<OrvoStageWatermark>;

// A 96 x 48 picture, left half opaque red, right half green at alpha 128, on
// a mid-grey 400 x 300 output: scale 300 / 1080 makes it 40 x 20 at a margin
// of 20 (x 20..60, y 20..40 from the bottom-left).
TEST_P(OrvoStageWatermarkDrawTest, LandsInItsRectangleWithPremultipliedBlending) {
  auto picture = std::make_shared<Image>(96, 48);
  for (int i = 0; i < 96 * 48; ++i) {
    uint8_t* p = picture->data() + i * 4;
    (i % 96 < 48 ? p[0] : p[1]) = 255;
    p[3] = i % 96 < 48 ? 255 : 128;
  }
  const int W = 400, H = 300;
  const GLuint output = texture({W, H, {}});
  stage_.setWatermarkImage(picture);
  for (const auto& [orientation, grey] : {std::pair<int64_t, float>{3, 1.0f}, {1, 0.5f}}) {
    stage_.setDisplaryGrey(grey);
    fill(output, 128 / 255.0f, 128 / 255.0f, 128 / 255.0f, 1);
    ASSERT_TRUE(stage_.processTex(output, W, H, orientation, false, false));
    EXPECT_FALSE(glIsEnabled(GL_BLEND)) << "blending left on";
    const test::Picture got = read(output, W, H);
    const std::string what = "orientation " + std::to_string(orientation);
    const double keep = 128 * (1 - 128 / 255.0);  // grey behind half-covered green
    const double red[3] = {255 * grey, 0, 0}, green[3] = {keep, 128 * grey + keep, keep};
    // Off the rectangle (give or take a pixel) the grey stays exactly.
    test::comparePicture(got, [&](int x, int y, int c) {
      return c == 3 || x < 19 || x > 60 || y < 19 || y > 40 ? (c == 3 ? 255.0 : 128.0) : NAN;
    }, 0, what);
    // Inside, away from its edges and the colour border, the blended colour.
    // The picture's u runs along x untransposed and down y transposed.
    const int inside = test::comparePicture(got, [&](int x, int y, int c) {
      const double cx = x + 0.5, cy = y + 0.5, u = orientation == 3 ? (cx - 20) / 40 : (40 - cy) / 20;
      const double uLength = orientation == 3 ? 40 : 20;
      const bool clear = cx > 21 && cx < 59 && cy > 21 && cy < 39 && std::abs(u - 0.5) * uLength > 1.5;
      return c < 3 && clear ? (u < 0.5 ? red : green)[c] : NAN;
    }, 2.0, what);
    EXPECT_GT(inside, 1500) << what;
  }
}

NUDORA_INSTANTIATE_FOR_BOTH_APIS(OrvoStageWatermarkDrawTest);

}  // namespace
}  // namespace nudora
