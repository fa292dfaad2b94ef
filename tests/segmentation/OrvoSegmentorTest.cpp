// The segmentor: its colour arithmetic without a GPU, and its passes on an
// ES 3 context (it exists only there) against what the colours imply.
#include "GpuTestSupport.h"
#include "pipeline/OrvoRealTimeProcessor.h"
#include "segmentation/OrvoSegmentor.h"

namespace nudora {
namespace {

TEST(OrvoSegmentor, BackdropChannelsPickDominantAndWeakestAboveTheLimit) {
  struct Case {
    float r, g, b, limit;
    int32_t max, min;
  } cases[] = {
      {0.0f, 0.0f, 1.0f, OrvoSegmentor::kColorPassLimit, 3, 1},  // red is the first channel equal to min
      {0.0f, 1.0f, 0.0f, OrvoSegmentor::kSimplePassLimit, 2, 1},
      {0.9f, 0.9f, 0.2f, OrvoSegmentor::kSimplePassLimit, 1, 3},  // a tie for max goes to red
      {0.5f, 0.5f, 0.55f, OrvoSegmentor::kSimplePassLimit, 0, 0},  // grey
      {0.0f, 0.0f, 0.15f, OrvoSegmentor::kColorPassLimit, 0, 0},   // spread exactly at the limit
      {0.0f, 0.0f, 0.1f, OrvoSegmentor::kSimplePassLimit, 0, 0},
  };
  for (const auto& c : cases) {
    int32_t max = -1, min = -1;
    OrvoSegmentor::backdropChannels(c.r, c.g, c.b, c.limit, &max, &min);
    EXPECT_EQ(max, c.max) << c.r << "," << c.g << "," << c.b;
    EXPECT_EQ(min, c.min) << c.r << "," << c.g << "," << c.b;
  }
}

TEST(OrvoSegmentor, HueSaturationLightness) {
  struct Case {
    float r, g, b, hue, saturation, lightness;
  } cases[] = {
      {0.0f, 0.0f, 1.0f, 0.666666667f, 1.0f, 0.5f}, {0.0f, 1.0f, 0.0f, 0.333333333f, 1.0f, 0.5f},
      {1.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.5f},  // never 1
      {1.0f, 0.2f, 0.6f, 11.0f / 12.0f, 1.0f, 0.6f},  // r max, g < b: db - dg + 1
      {0.4f, 0.4f, 0.4f, 0.0f, 0.0f, 0.4f},  // grey
      {0.2f, 0.1f, 0.1f, 0.0f, 1.0f / 3.0f, 0.15f},
  };
  for (const auto& c : cases) {
    float h = -1, s = -1, l = -1;
    OrvoSegmentor::red(c.r, c.g, c.b, &h, &s, &l);
    EXPECT_NEAR(h, c.hue, 1e-6) << c.r << "," << c.g << "," << c.b;
    EXPECT_NEAR(s, c.saturation, 1e-6) << c.r << "," << c.g << "," << c.b;
    EXPECT_NEAR(l, c.lightness, 1e-6) << c.r << "," << c.g << "," << c.b;
  }
}

class SegmentorPassTest : public test::GlContextTest {
 protected:
  void SetUp() override {
    GlContextTest::SetUp();
    if (IsSkipped()) return;
    segmentor_ = std::make_unique<OrvoSegmentor>();
    segmentor_->setImageWidth(kW);
    segmentor_->setImageHeight(kH);
    ASSERT_TRUE(segmentor_->setupGL());
    // The arguments are not the mask's size.
    ASSERT_TRUE(segmentor_->enable(999, 7));
    // Left half the backdrop, right half skin, as 8-bit colours.
    picture_ = {kW, kH, std::vector<uint8_t>(kW * kH * 4)};
    for (int y = 0; y < kH; ++y) {
      for (int x = 0; x < kW; ++x) {
        const uint8_t* c = x < kW / 2 ? kKey : kSkin;
        std::copy_n(c, 4, &picture_.rgba[(y * kW + x) * 4]);
      }
    }
  }
  void TearDown() override {
    segmentor_.reset();  // frees its GL objects while the context is current
    GlContextTest::TearDown();
  }
  // The expected coverage: 0 on the backdrop, 1 on the subject, nothing
  // checked within `margin` texels of the seam.
  double coverage(int x, int margin) const {
    if (std::abs(x - kW / 2) < margin) return NAN;
    return x < kW / 2 ? 0.0 : 255.0;
  }

  static constexpr int kW = 48, kH = 16;
  static constexpr uint8_t kKey[4] = {26, 51, 204, 255};
  static constexpr uint8_t kSkin[4] = {220, 165, 130, 255};
  const OrvoColor key_{26 / 255.0f, 51 / 255.0f, 204 / 255.0f};
  std::unique_ptr<OrvoSegmentor> segmentor_;
  test::Picture picture_;
};

TEST_P(SegmentorPassTest, SimplePassFindsTheBackdropAndItsColour) {
  segmentor_->segmentSimple(texture(picture_), key_, OrvoRealTimeProcessor::blueScreenSegmentThreshold(0, 0.5f));
  const test::Picture mask = read(segmentor_->segResultTexture(), kW, kH);
  // The grow pass reaches 2 x 4 texels: backdrop colour is known up to
  // there inside the subject, and is the key's own on the backdrop.
  test::comparePicture(mask, [&](int x, int, int c) {
    if (c == 3) return coverage(x, 2);
    if (x < kW / 2 - 1) return static_cast<double>(kKey[c]);
    return x >= kW / 2 + 9 ? 0.0 : NAN;
  }, 3.0, "simple pass");
}

TEST_P(SegmentorPassTest, HuePassKeysTheKeyHueOnly) {
  segmentor_->segmentHue(texture(picture_), key_, OrvoRealTimeProcessor::blueScreenSegmentThreshold(1, 0.5f));
  test::comparePicture(read(segmentor_->segResultTexture(), kW, kH),
                       [&](int x, int, int c) { return c == 3 ? coverage(x, 1) : 0.0; }, 2.0, "hue pass");
}

TEST_P(SegmentorPassTest, MedianRemovesALoneSpeck) {
  // The colour pass (mode 0: pixel by pixel) leaves a speck of skin in the
  // backdrop in the temporary mask; the median takes it out.
  picture_.rgba[(8 * kW + 8) * 4 + 0] = kSkin[0];
  picture_.rgba[(8 * kW + 8) * 4 + 1] = kSkin[1];
  picture_.rgba[(8 * kW + 8) * 4 + 2] = kSkin[2];
  segmentor_->segmentByColor(texture(picture_), key_, 0);
  segmentor_->segmentMedian(1.0f / kW, 1.0f / kH);
  test::comparePicture(read(segmentor_->segResultTexture(), kW, kH),
                       [&](int x, int, int c) { return c == 3 ? coverage(x, 2) : NAN; }, 2.0, "median");
}

INSTANTIATE_TEST_SUITE_P(Api, SegmentorPassTest, ::testing::Values(3), test::apiName);

}  // namespace
}  // namespace nudora
