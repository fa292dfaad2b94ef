#include "multiframe/OrvoMultiFrameSynthesis.h"

#include <cmath>
#include <random>

#include "GpuTestSupport.h"
#include "platform/KeyValueStore.h"
#include "platform/MotionManager.h"
#include "stabilization/OrvoCameraMotionEstimator.h"
#include "stabilization/OrvoFrameAligner.h"

namespace nudora {
namespace {

using Synthesis = OrvoMultiFrameSynthesis;

// A BGRA frame: `base` with every colour byte moved by up to +-noise, and
// in the rectangle [x0, x1) x [y0, y1) moved by `jump` (an outlier).
std::shared_ptr<PixelBuffer> variant(const PixelBuffer& base, int noise, uint32_t seed, int jump = 0, int x0 = 0,
                                     int x1 = 0, int y0 = 0, int y1 = 0) {
  auto frame = PixelBuffer::create(base.width(), base.height());
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> offset(-noise, noise);
  for (int y = 0; y < base.height(); ++y) {
    for (int x = 0; x < base.width() * 4; ++x) {
      const bool inside = x / 4 >= x0 && x / 4 < x1 && y >= y0 && y < y1;
      const int v = base.row(y)[x] + (x % 4 == 3 ? 0 : offset(rng) + (inside ? jump : 0));
      frame->row(y)[x] = static_cast<uint8_t>(std::clamp(v, 0, 255));
    }
  }
  return frame;
}

// Mid-range values, so that noise and jumps never clip.
std::shared_ptr<PixelBuffer> midFrame(int w, int h, uint32_t seed) {
  auto frame = test::randomFrame(w, h, seed);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w * 4; ++x) {
      if (x % 4 != 3) frame->row(y)[x] = static_cast<uint8_t>(60 + frame->row(y)[x] % 120);
    }
  }
  return frame;
}

class SynthesisGpuTest : public test::GlContextTest {
 protected:
  void SetUp() override {
    GlContextTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    auto est = std::make_shared<OrvoCameraMotionEstimator>(std::make_shared<MotionManager>(),
                                                           std::make_shared<KeyValueStore>(folder.path));
    auto aligner = std::make_shared<OrvoFrameAligner>(est);
    // Frames that differ only by noise and outliers: no rotation to find,
    // so every frame is warped through the identity, texel for texel.
    aligner->setDigitalAdjustment(false);
    synthesis = std::make_unique<Synthesis>(aligner);
    ASSERT_TRUE(synthesis->setupGL(context_.get()));
  }
  void TearDown() override {
    synthesis.reset();
    GlContextTest::TearDown();
  }
  // Runs a burst; the merged picture, or nullptr when the block was not called.
  std::shared_ptr<PixelBuffer> burst(const std::vector<std::shared_ptr<PixelBuffer>>& frames, bool* called = nullptr) {
    synthesis->start();
    for (size_t i = 0; i < frames.size(); ++i) {
      synthesis->process(SampleBuffer::create(frames[i], 0.1 * i), static_cast<int>(i), false, 1.0f);
    }
    std::shared_ptr<PixelBuffer> result;
    bool got = false;
    synthesis->end([&](const std::shared_ptr<PixelBuffer>& r) {
      result = r;
      got = true;
    });
    if (called) *called = got;
    return result;
  }

  test::TempDir folder;
  std::unique_ptr<Synthesis> synthesis;
};

// The mean of the frames in levels, each channel that lies more than 0.2
// (51 levels) from the median of the first frame's 3 x 3 neighbourhood, or
// more than 0.3 from the first frame's own value, replaced by the latter.
TEST_P(SynthesisGpuTest, MergeIsTheOutlierRejectingMeanOfTheFrames) {
  const int W = 96, H = 64;
  const auto first = midFrame(W, H, 1);
  const std::vector<std::shared_ptr<PixelBuffer>> frames = {
      first, variant(*first, 20, 2), variant(*first, 20, 3, 90, 10, 50, 5, 30), variant(*first, 20, 4, -80, 40, 90, 20, 60)};
  const auto result = burst(frames);
  ASSERT_TRUE(result);
  ASSERT_EQ(result->width(), W);
  ASSERT_EQ(result->height(), H);
  EXPECT_EQ(synthesis->frameCount(), 4);
  int rejected = 0;
  const int compared = test::comparePicture(test::pictureOf(*result), [&](int x, int y, int c) -> double {
    if (c == 3) return 255;
    int around[9];
    for (int i = 0; i < 9; ++i) {
      around[i] = first->row(std::clamp(y + i / 3 - 1, 0, H - 1))[std::clamp(x + i % 3 - 1, 0, W - 1) * 4 + c];
    }
    std::nth_element(around, around + 4, around + 9);
    double sum = 0;
    for (const auto& f : frames) {
      const int v = f->row(y)[x * 4 + c], r = first->row(y)[x * 4 + c];
      // Exactly 51 levels off lies on the threshold, where float rounding decides.
      if (std::abs(v - around[4]) == 51) return NAN;
      const bool outlier = std::abs(v - around[4]) > 51 || std::abs(v - r) > 76;
      rejected += outlier;
      sum += outlier ? r : v;
    }
    return sum / frames.size();
  }, 0.51, "merge");
  EXPECT_GT(compared, W * H * 4 * 9 / 10);
  EXPECT_GT(rejected, 40 * 25 * 3) << "the jumps must be rejected";
  EXPECT_FALSE(synthesis->isRunning());
  EXPECT_EQ(synthesis->denoiseTexs()[0], 0u) << "end frees the sums";
}

TEST_P(SynthesisGpuTest, OneFrameBurstEqualsItsFrameAndASecondBurstMayChangeSize) {
  const auto one = midFrame(40, 30, 7);
  const auto result = burst({one});
  ASSERT_TRUE(result);
  EXPECT_EQ(test::maxDifference(*result, *one), 0);

  const auto small = midFrame(24, 12, 8);
  const auto second = burst({small, variant(*small, 3, 9)});
  ASSERT_TRUE(second);
  EXPECT_EQ(second->width(), 24);
  EXPECT_EQ(second->height(), 12);
  EXPECT_LE(test::maxDifference(*second, *small), 2);
}

TEST_P(SynthesisGpuTest, FramesThatCannotBeTakenAreSkippedAndNotCounted) {
  test::ConsoleCapture console;
  const auto first = midFrame(32, 16, 3);
  synthesis->start();
  synthesis->process(SampleBuffer::create(first, 0.0), 1, false, 1.0f);  // before any first frame
  synthesis->process(SampleBuffer::create(first, 0.0), 0, false, 1.0f);
  synthesis->process(SampleBuffer::create(midFrame(16, 16, 4), 0.1), 1, false, 1.0f);
  synthesis->process(nullptr, 2, false, 1.0f);
  EXPECT_EQ(synthesis->frameCount(), 1);
  EXPECT_EQ(console.count("skipped"), 3);
  EXPECT_TRUE(console.saw("frame 1 is 16x16 but the burst's first frame is 32x16"));
  std::shared_ptr<PixelBuffer> result;
  synthesis->end([&](const std::shared_ptr<PixelBuffer>& r) { result = r; });
  ASSERT_TRUE(result);
  EXPECT_EQ(test::maxDifference(*result, *first), 0);
}

TEST_P(SynthesisGpuTest, OtherModesCountFramesButDrawAndCallNothing) {
  synthesis->setMode(1);
  const auto first = midFrame(32, 16, 5);
  bool called = true;
  burst({first, variant(*first, 5, 6), variant(*first, 5, 7)}, &called);
  EXPECT_FALSE(called);
  EXPECT_EQ(synthesis->frameCount(), 3);
  EXPECT_FALSE(synthesis->isRunning());
  for (GLuint t : synthesis->denoiseTexs()) EXPECT_NE(t, 0u) << "the sums stay allocated";
  EXPECT_EQ(synthesis->firstTex(), 0u);
}

TEST_P(SynthesisGpuTest, PreviewsScaleKeepTheTimeAndReuseTheirBuffer) {
  auto big = SampleBuffer::create(test::filledFrame(1920, 1080, 90), 12.5);
  const auto preview = synthesis->downscaleForPreview(big, 0.5f);
  ASSERT_TRUE(preview);
  EXPECT_EQ(preview->imageBuffer()->width(), 960);
  EXPECT_EQ(preview->imageBuffer()->height(), 540);
  EXPECT_EQ(preview->presentationSeconds(), 12.5);
  const auto again = synthesis->downscaleForPreview(big, 0.5f);
  ASSERT_TRUE(again);
  EXPECT_EQ(again->imageBuffer(), preview->imageBuffer()) << "same size: same buffer";

  // 2:1 with linear filtering: each output pixel is the mean of its 2 x 2 block.
  const auto smooth = test::smoothFrame(64, 48);
  const auto half = synthesis->downscaleForPreview(SampleBuffer::create(smooth, 0.0), 0.5f);
  ASSERT_TRUE(half);
  EXPECT_NE(half->imageBuffer(), preview->imageBuffer()) << "another size: a new buffer";
  const test::Picture source = test::pictureOf(*smooth);
  test::comparePicture(test::pictureOf(*half->imageBuffer()), [&](int x, int y, int c) {
    return source.sample((x + 0.5) / 32, (y + 0.5) / 24, c);
  }, 1.0, "preview");

  test::ConsoleCapture console;
  EXPECT_EQ(synthesis->downscaleForPreview(SampleBuffer::create(smooth, 0.0), 0.01f), nullptr);
  EXPECT_TRUE(console.saw("leaves no picture"));
}

INSTANTIATE_TEST_SUITE_P(Api, SynthesisGpuTest, ::testing::Values(3), test::apiName);

TEST(MultiFrameSynthesisEs2, RefusesAnEs2Context) {
  auto context = EglContext::create(2);
  if (!context) GTEST_SKIP() << "no OpenGL ES 2 context on this machine";
  test::ConsoleCapture console;
  Synthesis synthesis(std::make_shared<OrvoFrameAligner>(nullptr));
  EXPECT_FALSE(synthesis.setupGL(context.get()));
  EXPECT_TRUE(console.saw("needs OpenGL ES 3"));
}

}  // namespace
}  // namespace nudora
