#include "pipeline/OrvoStageTrailer.h"

#include <tuple>

#include "GpuTestSupport.h"
#include "platform/Image.h"
#include "stages/OrvoStageGaussianBlur.h"

namespace nudora {
namespace {

TEST(OrvoStageTrailerMath, CurveAtChosenTimes) {
  // {stopSec, picture, blurred, trailer, shade, scale}; smoothstep(x) = x^2 (3 - 2x).
  const float rows[][6] = {
      {0.0f, 1, 0, 0, 1, 0.85f},
      {0.25f, 0.84375f, 0.15625f, 0, 1, 0.85f},
      {0.5f, 0.5f, 0.5f, 0, 1, 0.85f},
      {1.0f, 0, 1, 0, 1, 0.85f},
      {1.75f, 0, 1, 0.5f, 0.825f, 0.925f},
      {2.5f, 0, 1, 1, 0.65f, 1},
      {60.0f, 0, 1, 1, 0.65f, 1},
  };
  for (const auto& r : rows) {
    const OrvoTrailerWeights w = OrvoStageTrailer::weightsAt(r[0]);
    const float got[5] = {w.picture, w.blurred, w.trailer, w.shade, w.scale};
    for (int i = 0; i < 5; ++i) EXPECT_NEAR(got[i], r[i + 1], 1e-6) << "stopSec " << r[0] << " weight " << i;
  }
}

TEST(OrvoStageTrailerMath, CardImageCentresThePictureOnATransparentSquare) {
  auto picture = std::make_shared<Image>(3, 2);
  for (int i = 0; i < 24; ++i) picture->data()[i] = static_cast<uint8_t>(200 + i);
  const auto card = OrvoStageTrailer::cardImage(picture);
  ASSERT_EQ(std::vector<int>({card->width(), card->height()}), std::vector<int>({5, 5}));
  for (int i = 0; i < 5 * 5 * 4; ++i) {
    const int x = i / 4 % 5, y = i / 20;
    const bool inside = x >= 1 && x < 4 && y >= 1 && y < 3;
    ASSERT_EQ(card->data()[i], inside ? picture->pixel(x - 1, y - 1)[i % 4] : 0) << x << "," << y;
  }
  EXPECT_EQ(OrvoStageTrailer::cardImage(nullptr), nullptr);
  EXPECT_EQ(OrvoStageTrailer::cardImage(std::make_shared<Image>(0, 4)), nullptr);
}

class OrvoStageTrailerDrawTest : public test::StageTest<OrvoStageTrailer> {
 protected:
  static constexpr int W = 64, H = 32;

  // The trailer formula on the CPU: the card is a centred square of 0.8 * scale * min(W, H) pixels.
  // NaN within half a pixel of its border, where the GPU's step may fall either way.
  double reference(int x, int y, int c, float stopSec, int64_t o, bool mirror, bool mirrorResult,
                   const test::Picture& card) const {
    const OrvoTrailerWeights w = OrvoStageTrailer::weightsAt(stopSec);
    double py = y + 0.5;
    if (mirror && mirrorResult) py = H - py;
    if (mirror && !mirrorResult && (o == 3 || o == 4)) o = 7 - o;
    const double side = 0.8 * w.scale * std::min(W, H);
    const double dx = (x + 0.5 - W / 2.0) / side + 0.5, dy = (py - H / 2.0) / side + 0.5;
    const double edge = 0.5 / side;
    if (std::abs(dx) < edge || std::abs(dx - 1) < edge || std::abs(dy) < edge || std::abs(dy - 1) < edge) return NAN;
    const bool inside = dx >= 0 && dx <= 1 && dy >= 0 && dy <= 1;
    double qx = dx, qy = dy;
    if (o == 1) qx = 1 - dy, qy = dx;
    if (o == 2) qx = dy, qy = 1 - dx;
    if (o == 4) qx = 1 - dx, qy = 1 - dy;
    auto cardAt = [&](int k) { return inside ? card.sample(qx, qy, k) * w.trailer : 0.0; };
    double back = src.at(x, y, c) * w.picture + blur.sample((x + 0.5) / W, (y + 0.5) / H, c) * w.blurred;
    if (c < 3) back *= w.shade;
    return back * (1 - cardAt(3) / 255) + cardAt(c);
  }

  // Draws and compares every pixel off the card's border with reference().
  void expectMatches(float stopSec, int64_t o, bool mirror, bool mirrorResult, const test::Picture& card) {
    ASSERT_TRUE(stage_.processFrom(srcTex, outTex, W, H, stopSec, mirror, mirrorResult, o, &blurStage));
    blur = read(blurStage.level3GaussianTexture(), W / 8, H / 8);
    const std::string what = "stopSec " + std::to_string(stopSec) + " orientation " + std::to_string(o) +
                             " mirror " + std::to_string(mirror) + std::to_string(mirrorResult);
    const int compared = test::comparePicture(read(outTex, W, H), [&](int x, int y, int c) {
      return reference(x, y, c, stopSec, o, mirror, mirrorResult, card);
    }, 2.0, what);
    EXPECT_GT(compared, W * H * 3) << what;  // three quarters of the pixels at least
  }

  void SetUp() override {
    StageTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    src = test::randomPicture(W, H, 21);
    for (size_t i = 3; i < src.rgba.size(); i += 4) src.rgba[i] = 255;
    srcTex = texture(src);
    outTex = texture({W, H, {}});
    ASSERT_TRUE(blurStage.setupGL());
    blurStage.resizewithWidth(W, H);
  }

  test::Picture src, blur;
  GLuint srcTex = 0, outTex = 0;
  OrvoStageGaussianBlur blurStage;
};

// An 8 x 8 picture of four quadrants; the one at the right of the lower
// rows is half-transparent white.
std::shared_ptr<Image> quadrantPicture() {
  auto picture = std::make_shared<Image>(8, 8);
  const uint8_t colours[4][4] = {{255, 0, 0, 255}, {0, 255, 0, 255}, {0, 0, 255, 255}, {255, 255, 255, 128}};
  for (int y = 0; y < 8; ++y) {
    for (int x = 0; x < 8; ++x) std::copy_n(colours[(y / 4) * 2 + x / 4], 4, picture->pixel(x, y));
  }
  return picture;
}

// The card as the GPU holds it: padded and premultiplied.
test::Picture cardPicture(const std::shared_ptr<Image>& picture) {
  const auto card = OrvoStageTrailer::cardImage(picture);
  test::Picture p{card->width(), card->height(),
                  std::vector<uint8_t>(card->data(), card->data() + card->width() * card->height() * 4)};
  for (size_t i = 0; i < p.rgba.size(); i += 4) {
    for (int c = 0; c < 3; ++c) p.rgba[i + c] = static_cast<uint8_t>((p.rgba[i + c] * p.rgba[i + 3] + 127) / 255);
  }
  return p;
}

TEST_P(OrvoStageTrailerDrawTest, EarlyReturnsLeaveTheTargetAlone) {
  OrvoStageTrailer unloaded;
  fill(outTex, 0.2f, 0.4f, 0.6f, 1.0f);
  EXPECT_FALSE(stage_.processFrom(srcTex, outTex, W, H, 0.0f, false, false, 3, &blurStage));
  EXPECT_FALSE(stage_.processFrom(srcTex, outTex, W, H, -1.0f, false, false, 3, &blurStage));
  EXPECT_TRUE(unloaded.processFrom(srcTex, outTex, W, H, 1.0f, false, false, 3, &blurStage));
  const test::Picture kept = read(outTex, W, H);
  for (int i = 0; i < W * H; ++i) ASSERT_EQ(kept.rgba[i * 4 + 1], 102) << "pixel " << i;

  test::ConsoleCapture console;  // a target without storage cannot complete the framebuffer
  EXPECT_TRUE(stage_.processFrom(srcTex, texture({0, 0, {}}), W, H, 1.0f, false, false, 3, &blurStage));
  EXPECT_TRUE(console.saw("Failed to make complete framebuffer object 8cd6")) << console.text();
}

TEST_P(OrvoStageTrailerDrawTest, PictureMeltsThenTheCardHolds) {
  const auto picture = quadrantPicture();
  stage_.loadImage(picture);
  const test::Picture card = cardPicture(picture);

  expectMatches(1e-4f, 3, false, false, card);  // at the very start only the picture shows
  expectMatches(0.5f, 3, false, false, card);   // half melted, no card yet
  expectMatches(1.75f, 1, false, false, card);  // card half faded in and growing
  // {orientation, mirror, mirrorResult}
  for (const auto& [o, m, mr] : {std::tuple<int64_t, bool, bool>{3, false, false}, {4, false, false},
                                 {2, false, false}, {3, true, false}, {1, true, true}}) {
    expectMatches(10.0f, o, m, mr, card);
  }

  // Pinned by hand, late: the card's lower left (pixel 25,9) shows the
  // picture's first rows, left half (red) upright, and their right half
  // (green) transposed as orientation 1, like the watermark.
  for (const auto& [o, r, g] : {std::tuple<int64_t, int, int>{3, 255, 0}, {1, 0, 255}}) {
    ASSERT_TRUE(stage_.processFrom(srcTex, outTex, W, H, 10.0f, false, false, o, &blurStage));
    const test::Picture got = read(outTex, W, H);
    EXPECT_NEAR(got.at(25, 9, 0), r, 2.0) << "orientation " << o;
    EXPECT_NEAR(got.at(25, 9, 1), g, 2.0) << "orientation " << o;
  }
}

TEST_P(OrvoStageTrailerDrawTest, WithoutATrailerPictureTheCardIsTextureZero) {
  // Texture 0 has no image and samples opaque black.
  expectMatches(10.0f, 3, false, false, test::Picture{1, 1, {0, 0, 0, 255}});
}

NUDORA_INSTANTIATE_FOR_BOTH_APIS(OrvoStageTrailerDrawTest);

}  // namespace
}  // namespace nudora
