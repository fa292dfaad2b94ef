// The blur pyramid: level geometry, level 1 against a CPU Gaussian sampled
// as GL samples, and which levels a level count writes.
#include "stages/OrvoStageGaussianBlur.h"

#include "GpuTestSupport.h"

namespace nudora {
namespace {

using test::Picture;

TEST(OrvoStageGaussianBlurSizes, FollowTheLevelTableRoundingDown) {
  // {level, x width, x height, width, height, step} for 1920 x 1080.
  const int table[4][6] = {{1, 480, 1080, 480, 270, 2}, {2, 320, 270, 320, 180, 6}, {3, 240, 180, 240, 135, 14},
                           {4, 240, 135, 240, 135, 32}};
  for (const auto& e : table) {
    const OrvoBlurLevelSize s = OrvoStageGaussianBlur::levelSize(e[0], 1920, 1080);
    EXPECT_EQ((std::vector<int>{s.xWidth, s.xHeight, s.width, s.height, static_cast<int>(s.stepPixels)}),
              (std::vector<int>{e[1], e[2], e[3], e[4], e[5]}))
        << "level " << e[0];
  }
  EXPECT_EQ(OrvoStageGaussianBlur::levelSize(2, 1000, 750).xHeight, 187);
  EXPECT_EQ(OrvoStageGaussianBlur::levelSize(3, 1000, 750).width, 125);
  EXPECT_EQ(OrvoStageGaussianBlur::levelSize(5, 1000, 750).width, 0);
}

using OrvoStageGaussianBlurTest = test::StageTest<OrvoStageGaussianBlur>;

// One pass of the reference: nine taps `step` apart (texture units), sigma
// 1.5 taps, at dst's texel centres zoomed about the centre; 8-bit result.
Picture blurPass(const Picture& src, int w, int h, double stepU, double stepV, double invZoom) {
  double weights[9], sum = 0;
  for (int k = -4; k <= 4; ++k) sum += weights[k + 4] = std::exp(-k * k / (2 * 1.5 * 1.5));
  Picture dst{w, h, {}};
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const double u = ((x + 0.5) / w - 0.5) * invZoom + 0.5, v = ((y + 0.5) / h - 0.5) * invZoom + 0.5;
      for (int c = 0; c < 4; ++c) {
        double value = 0;
        for (int k = -4; k <= 4; ++k) value += weights[k + 4] / sum * src.sample(u + k * stepU, v + k * stepV, c);
        dst.rgba.push_back(static_cast<uint8_t>(std::lround(value)));
      }
    }
  }
  return dst;
}

TEST_P(OrvoStageGaussianBlurTest, LevelOneMatchesCpuGaussianWithinTwoSteps) {
  const int W = 96, H = 64;
  const Picture source = test::randomPicture(W, H, 11);
  const GLuint sourceTexture = texture(source);
  stage_.resizewithWidth(W, H);
  const OrvoBlurLevelSize size = OrvoStageGaussianBlur::levelSize(1, W, H);
  for (float zoom : {1.0f, 1.6f}) {  // 1.6 makes the taps fall between texel centres unevenly
    attach(0);
    stage_.processLevel(1, sourceTexture, W, H, zoom);
    const Picture horizontal = blurPass(source, size.xWidth, size.xHeight, 2.0 / W, 0.0, 1.0 / zoom);
    const Picture expected = blurPass(horizontal, size.width, size.height, 0.0, 2.0 / H, 1.0);
    test::comparePicture(read(stage_.level1GaussianTexture(), size.width, size.height),
                         [&](int x, int y, int c) { return expected.at(x, y, c); }, 2, "zoom " + std::to_string(zoom));
  }
}

TEST_P(OrvoStageGaussianBlurTest, LevelCountWritesOnlyTheLevelsAsked) {
  const int W = 64, H = 48;
  Picture flat{W, H, {}};  // a flat picture stays flat through every level
  for (int i = 0; i < W * H; ++i) flat.rgba.insert(flat.rgba.end(), {10, 200, 30, 255});
  const GLuint source = texture(flat);
  stage_.resizewithWidth(W, H);
  const GLuint levels[4] = {stage_.level1GaussianTexture(), stage_.level2GaussianTexture(),
                            stage_.level3GaussianTexture(), stage_.level4GaussianTexture()};
  auto levelIs = [&](int k, std::vector<int> want, int tolerance) {
    const OrvoBlurLevelSize s = OrvoStageGaussianBlur::levelSize(k, W, H);
    const Picture p = read(levels[k - 1], s.width, s.height);
    for (size_t i = 0; i < p.rgba.size(); ++i) {
      if (std::abs(p.rgba[i] - want[i % 4]) > tolerance) return false;
    }
    return true;
  };
  const std::vector<int> marker = {255, 0, 255, 0}, blurred = {10, 200, 30, 255};
  for (int count : {0, 2, 9}) {
    for (GLuint t : levels) fill(t, 1, 0, 1, 0);
    stage_.processLevel(count, source, W, H, 1.0f);
    for (int k = 1; k <= 4; ++k) {
      const bool written = k <= count;
      EXPECT_TRUE(written ? levelIs(k, blurred, 1) : levelIs(k, marker, 0))
          << "count " << count << " level " << k << (written ? " not written" : " written");
    }
  }
}

NUDORA_INSTANTIATE_FOR_BOTH_APIS(OrvoStageGaussianBlurTest);

}  // namespace
}  // namespace nudora
