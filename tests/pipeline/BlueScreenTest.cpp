// The blue-screen path of the real-time processor: its arithmetic, and
// frames composed on ES 3 compared with what the picture and the background
// imply.
#include <cmath>

#include "GpuTestSupport.h"
#include "pipeline/OrvoRealTimeProcessor.h"
#include "segmentation/OrvoSegmentor.h"

namespace nudora {
namespace {

TEST(BlueScreenArithmetic, ThresholdsDirectionAndAspect) {
  EXPECT_EQ(OrvoRealTimeProcessor::blueScreenSegmentThreshold(3, 0.5f), 0.0f);
  EXPECT_EQ(OrvoRealTimeProcessor::blueScreenDirection(3, true), 4);
  EXPECT_EQ(OrvoRealTimeProcessor::blueScreenDirection(4, true), 3);
  EXPECT_EQ(OrvoRealTimeProcessor::blueScreenDirection(3, false), 3);
  EXPECT_FLOAT_EQ(OrvoRealTimeProcessor::backgroundAspect(1600, 900, 960, 720), (16.0f / 9.0f) / (4.0f / 3.0f));
}

constexpr int kW = 96, kH = 54;
constexpr uint8_t kKey[3] = {20, 45, 200};
constexpr uint8_t kSubject[3] = {210, 150, 110};

bool inSubject(int x, int y) { return x >= 36 && x < 60 && y >= 14 && y < 40; }

// The camera frame: the backdrop lit a little unevenly, a far-from-key block in the middle.
std::shared_ptr<PixelBuffer> cameraFrame() {
  auto frame = PixelBuffer::create(kW, kH);
  for (int y = 0; y < kH; ++y) {
    for (int x = 0; x < kW; ++x) {
      const double light = 0.85 + 0.15 * x / kW;
      uint8_t* p = frame->row(y) + x * 4;
      for (int c = 0; c < 3; ++c) {
        p[2 - c] = inSubject(x, y) ? kSubject[c] : static_cast<uint8_t>(std::lround(kKey[c] * light));
      }
      p[3] = 255;
    }
  }
  return frame;
}

class BlueScreenTest : public test::ProcessorTest<OrvoRealTimeProcessor> {
 protected:
  void SetUp() override {
    ProcessorTest::SetUp();
    if (IsSkipped()) return;
    processor_->setBlueScreenEnabled(true);
    processor_->setScreenColor({kKey[0] / 255.0f, kKey[1] / 255.0f, kKey[2] / 255.0f});
  }
  bool frame(const std::shared_ptr<PixelBuffer>& out, const std::shared_ptr<PixelBuffer>& background,
             bool mirror = false) {
    bool drawn = false;
    processor_->queue().sync([&] {
      drawn = processor_->processBlueScreenPixelBuffer(SampleBuffer::create(input_, 0.0), out, background, mirror,
                                                       false, 1, 0.0, 0.0);
    });
    return drawn;
  }
  // Far enough from the block's edge that the soft edge does not reach.
  static bool clearOfEdge(int x, int y) {
    for (int j = -3; j <= 3; ++j) {
      for (int i = -3; i <= 3; ++i) {
        if (inSubject(x + i, y + j) != inSubject(x, y)) return false;
      }
    }
    return true;
  }
  std::shared_ptr<PixelBuffer> input_ = cameraFrame();
};

TEST_P(BlueScreenTest, BackdropBecomesTheBackgroundAndTheSubjectStays) {
  // A 2:3 background behind a 16:9 frame: its middle band shows at the frame's aspect.
  auto background = test::smoothFrame(32, 48);
  const test::Picture bg = test::pictureOf(*background), in = test::pictureOf(*input_);
  const double aspect = OrvoRealTimeProcessor::backgroundAspect(32, 48, kW, kH);
  auto out = test::filledFrame(kW, kH, 0);
  ASSERT_TRUE(frame(out, background));
  const int compared = test::comparePicture(test::pictureOf(*out), [&](int x, int y, int c) {
    if (c == 3 || !clearOfEdge(x, y)) return static_cast<double>(NAN);
    if (inSubject(x, y)) return static_cast<double>(in.at(x, y, c));
    const double u = (x + 0.5) / kW, v = 0.5 + ((y + 0.5) / kH - 0.5) * aspect;
    return bg.sample(u, v, c);
  }, 3.0, "type 0");
  EXPECT_GT(compared, kW * kH * 2);
}

TEST_P(BlueScreenTest, MissingBackgroundDrawsNothing) {
  test::ConsoleCapture console;
  auto out = test::filledFrame(kW, kH, 0x5a);
  EXPECT_FALSE(frame(out, nullptr));
  EXPECT_TRUE(console.saw("Background pixel buffer empty"));
  EXPECT_EQ(test::maxDifference(*out, *test::filledFrame(kW, kH, 0x5a)), 0);
}

TEST_P(BlueScreenTest, OtherTypesRecolourKeepOrPassThePicture) {
  const test::Picture in = test::pictureOf(*input_);
  // Type 2: the backdrop takes the new hue (0: red) with its lightness kept.
  processor_->setBlueScreenType(2);
  processor_->setBlueScreenReplaceHue(0.0f);
  auto out = test::filledFrame(kW, kH, 0);
  ASSERT_TRUE(frame(out, nullptr));
  const test::Picture recoloured = test::pictureOf(*out);
  for (int y = 0; y < kH; ++y) {
    for (int x = 0; x < kW; ++x) {
      if (!clearOfEdge(x, y)) continue;
      float hue, saturation, lightness, hueIn, saturationIn, lightnessIn;
      // BGRA bytes.
      OrvoSegmentor::red(recoloured.at(x, y, 2) / 255.0f, recoloured.at(x, y, 1) / 255.0f,
                         recoloured.at(x, y, 0) / 255.0f, &hue, &saturation, &lightness);
      OrvoSegmentor::red(in.at(x, y, 2) / 255.0f, in.at(x, y, 1) / 255.0f, in.at(x, y, 0) / 255.0f, &hueIn,
                         &saturationIn, &lightnessIn);
      ASSERT_NEAR(lightness, lightnessIn, 0.02) << x << "," << y;
      if (inSubject(x, y)) {
        ASSERT_NEAR(hue, hueIn, 0.01) << x << "," << y;
      } else {
        ASSERT_NEAR(std::min(hue, 1.0f - hue), 0.0f, 0.01) << x << "," << y;
      }
    }
  }
  // Type 1: the key hue keeps its colour, the subject turns grey.
  processor_->setBlueScreenType(1);
  ASSERT_TRUE(frame(out, nullptr));
  test::comparePicture(test::pictureOf(*out), [&](int x, int y, int c) {
    if (c == 3 || !clearOfEdge(x, y)) return static_cast<double>(NAN);
    if (!inSubject(x, y)) return static_cast<double>(in.at(x, y, c));
    return 0.299 * kSubject[0] + 0.587 * kSubject[1] + 0.114 * kSubject[2];
  }, 2.0, "type 1");
  // Type 3 has no segmentation and no blue-screen code: the picture as it is.
  processor_->setBlueScreenType(3);
  ASSERT_TRUE(frame(out, nullptr));
  EXPECT_LE(test::maxDifference(*out, *input_), 1);
}

TEST_P(BlueScreenTest, BlurLevelFollowsStyleSizeAndBeautify) {
  auto out = test::filledFrame(kW, kH, 0);
  processor_->setStyleFilter(29);  // forces local tone mapping
  ASSERT_TRUE(frame(out, test::smoothFrame(kW, kH)));
  EXPECT_EQ(processor_->calculateBlueScreenBlurLevelWithWidth(3840, 2160), 4u);
  EXPECT_EQ(processor_->calculateBlueScreenBlurLevelWithWidth(1920, 1080), 3u);
  processor_->setStyleFilter(0);
  ASSERT_TRUE(frame(out, test::smoothFrame(kW, kH)));
  EXPECT_EQ(processor_->calculateBlueScreenBlurLevelWithWidth(3840, 2160), 0u);
  processor_->setBeautify(0.5f);
  EXPECT_EQ(processor_->calculateBlueScreenBlurLevelWithWidth(3840, 2160), 2u);
}

// The segmentor exists on ES 3 only.
INSTANTIATE_TEST_SUITE_P(Api, BlueScreenTest, ::testing::Values(3), test::apiName);

}  // namespace
}  // namespace nudora
