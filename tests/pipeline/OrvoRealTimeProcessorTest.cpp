// The real-time pipeline and the facade, through their public entries, on
// ES 3 and ES 2 processors.
#include <future>

#include "GpuTestSupport.h"
#include "TestSupport.h"
#include "entry/Nudora.h"
#include "multiframe/OrvoTimeDomainDenoising.h"
#include "pipeline/OrvoRealTimeProcessor.h"
#include "platform/HostGyroSource.h"
#include "platform/IioGyroSource.h"
#include "platform/Image.h"
#include "platform/KeyValueStore.h"
#include "platform/MotionManager.h"
#include "platform/NotificationCenter.h"
#include "stabilization/OrvoCameraMotionEstimator.h"
#include "stabilization/OrvoVideoStabilizer.h"

namespace nudora {
namespace {

using test::filledFrame;
using test::maxDifference;

std::shared_ptr<SampleBuffer> cameraFrame(int w, int h, uint32_t seed) {
  return SampleBuffer::create(test::randomFrame(w, h, seed), 1.0);
}

TEST(Nudora, SharedFacadeIsOneObjectAndCopiesAFrameWithNoStageOn) {
  auto fromOtherThread = std::async(std::launch::async, [] { return Nudora::sharedInstance(); });
  auto facade = Nudora::sharedInstance();
  ASSERT_NE(facade, nullptr) << "llvmpipe offers ES 3";
  EXPECT_EQ(fromOtherThread.get(), facade);
  EXPECT_FALSE(facade->enableStabi());

  auto frame = cameraFrame(64, 36, 1);
  auto output = filledFrame(64, 36, 0);
  facade->process(frame, output);
  EXPECT_EQ(maxDifference(*frame->imageBuffer(), *output), 0);
  EXPECT_FALSE(facade->processor()->shouldEnableProcess());
}

class RealTimeProcessorTest : public test::ProcessorTest<OrvoRealTimeProcessor> {
 protected:
  std::shared_ptr<OrvoCameraMotionEstimator> estimatorWithGyro(bool available) {
    auto manager = std::make_shared<MotionManager>();
    // A host gyro runs without readings; an IIO gyro under a missing folder cannot run at all.
    if (available) manager->setSource(std::make_shared<HostGyroSource>());
    if (!available) manager->setSource(std::make_shared<IioGyroSource>(folder_.path + "/no-iio"));
    return std::make_shared<OrvoCameraMotionEstimator>(manager, std::make_shared<KeyValueStore>(folder_.path));
  }
  void frame(const std::shared_ptr<SampleBuffer>& in, const std::shared_ptr<PixelBuffer>& out, double trailer = 0.0) {
    processor_->effectPixelBuffer(in, out, nullptr, false, false, 1, 0.0, trailer);
  }
  test::TempDir folder_;
};

TEST_P(RealTimeProcessorTest, SmallerOutputGetsTheScaledPicture) {
  auto in = cameraFrame(64, 36, 2);
  auto out = filledFrame(32, 18, 0);
  frame(in, out);
  const test::Picture source = test::pictureOf(*in->imageBuffer());
  test::comparePicture(test::pictureOf(*out), [&](int x, int y, int c) {
    return c == 3 ? NAN : source.sample((x + 0.5) / 32.0, (y + 0.5) / 18.0, c);
  }, 2.0, "64x36 into 32x18");
}

TEST_P(RealTimeProcessorTest, SkippedFramesLeaveTheOutputUntouched) {
  auto in = cameraFrame(32, 32, 3);
  auto out = filledFrame(32, 32, 0x5a);
  NotificationCenter::defaultCenter().post(kApplicationDidEnterBackgroundNotification);
  frame(in, out);
  NotificationCenter::defaultCenter().post(kApplicationDidBecomeActiveNotification);
  EXPECT_EQ(maxDifference(*out, *filledFrame(32, 32, 0x5a)), 0) << "background";

  // Denoise alone, equal sizes, a denoiser that cannot start (no gyro; none on ES 2): nothing is drawn,
  // yet the step ends the frame, still for a trailer time of 0.000005.
  if (const auto& denoiser = processor_->tdDenoising()) denoiser->setCameraMotionEstimator(estimatorWithGyro(false));
  processor_->setDenoise(true);
  frame(in, out, 0.000005);
  EXPECT_EQ(maxDifference(*out, *filledFrame(32, 32, 0x5a)), 0) << "denoise shortcut";
  // Just above the shortcut's limit the trailer branch draws.
  frame(in, out, 0.00002);
  EXPECT_NE(maxDifference(*out, *filledFrame(32, 32, 0x5a)), 0) << "trailer branch";

  // Stabilisation without a gyro: the frame is the plain copy.
  processor_->setDenoise(false);
  processor_->setStabilization(true);
  auto copy = filledFrame(32, 32, 0);
  frame(in, copy);
  EXPECT_EQ(maxDifference(*in->imageBuffer(), *copy), 0);
}

TEST_P(RealTimeProcessorTest, NoWatermarkWhileATrailerAnimates) {
  auto logo = std::make_shared<Image>(64, 64);  // opaque red
  for (int i = 0; i < 64 * 64; ++i) logo->data()[i * 4] = logo->data()[i * 4 + 3] = 255;
  processor_->setWatermarkImage(logo);
  auto in = SampleBuffer::create(filledFrame(200, 120, 0), 1.0);
  auto out = filledFrame(200, 120, 0);
  frame(in, out);
  // 200x120: scale 120/1080, 64 * 1.5 * that = 10.7 px square at a 10 px margin.
  auto red = [&](int x, int y) { return out->row(y)[x * 4 + 2]; };
  const int inside = 14;
  const bool redSomewhere = red(inside, inside) > 200 || red(199 - inside, inside) > 200 ||
                            red(inside, 119 - inside) > 200 || red(199 - inside, 119 - inside) > 200;
  EXPECT_TRUE(redSomewhere) << "the watermark shows on a plain frame";
  auto trailerOut = filledFrame(200, 120, 0);
  frame(in, trailerOut, 0.05);  // early in the trailer: the picture (black) still shows
  for (int y = 0; y < 120; ++y) {
    for (int x = 0; x < 200; ++x) ASSERT_LT(trailerOut->row(y)[x * 4 + 2], 40) << "red at " << x << "," << y;
  }
}

TEST_P(RealTimeProcessorTest, BeautyLevelsMapToStrengthAndStretch) {
  const float strengths[] = {0.0f, 0.3f, 0.5f, 0.8f, 0.8f};
  for (int level = 0; level <= 4; ++level) {
    processor_->setBeauty(level);
    EXPECT_FLOAT_EQ(processor_->beautify(), strengths[level]) << "level " << level;
    EXPECT_EQ(processor_->stretchFace(), level == 4) << "level " << level;
  }
  processor_->setBeauty(5);
  processor_->setBeauty(-1);  // both ignored
  EXPECT_TRUE(processor_->stretchFace());
  EXPECT_TRUE(processor_->shouldEnableProcess());
}

// A gyro with no readings keeps the rotation identity: the stabilised picture is the central 85 % of the
// input scaled up (ES 3); on ES 2 there is no stabiliser and the flag changes nothing.
TEST_P(RealTimeProcessorTest, StabilisationRendersStraightIntoAnEqualSizedOutput) {
  const bool es3 = GetParam() == 3;
  const auto& stabilizer = processor_->videoStabilizer();
  ASSERT_EQ(stabilizer != nullptr, es3);
  auto estimator = estimatorWithGyro(true);
  if (stabilizer) {
    stabilizer->setCameraMotionEstimator(estimator);
    // Image refinement against a fresh black reference could nudge the picture; this is about routing.
    stabilizer->setDigital_adjustment(false);
  }
  processor_->setStabilization(true);
  const double crop = es3 ? 0.85 : 1.0;
  auto stabilised = [&](const test::Picture& in) {
    test::Picture p = in;
    for (size_t i = 0; i < p.rgba.size(); ++i) {
      const double u = (i / 4 % p.width + 0.5) / p.width, v = (i / 4 / p.width + 0.5) / p.height;
      p.rgba[i] = static_cast<uint8_t>(std::lround(in.sample(0.5 + (u - 0.5) * crop, 0.5 + (v - 0.5) * crop, i % 4)));
    }
    return p;
  };

  // A smaller output: the stabiliser draws into the swap texture, the effect pass scales it down.
  auto first = cameraFrame(64, 36, 11);
  auto small = filledFrame(32, 18, 0);
  frame(first, small);
  const test::Picture firstStabilised = stabilised(test::pictureOf(*first->imageBuffer()));
  test::comparePicture(test::pictureOf(*small), [&](int x, int y, int c) {
    return firstStabilised.sample((x + 0.5) / 32, (y + 0.5) / 18, c);
  }, 3.0, "scaled");

  // Equal sizes: one pass straight into the output; the swap texture still holds the first frame.
  auto second = cameraFrame(64, 36, 12);
  auto out = filledFrame(64, 36, 0);
  frame(second, out);
  const test::Picture secondStabilised = stabilised(test::pictureOf(*second->imageBuffer()));
  test::comparePicture(test::pictureOf(*out), [&](int x, int y, int c) {
    return secondStabilised.at(x, y, c);
  }, es3 ? 3.0 : 0.0, "direct");
  if (es3) {
    test::Picture swap{64, 36, std::vector<uint8_t>(64 * 36 * 4)};
    processor_->queue().sync([&] {
      processor_->context()->makeCurrent();
      GLuint framebuffer = 0;
      glGenFramebuffers(1, &framebuffer);
      glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
      glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, processor_->swapTexture(), 0);
      glReadPixels(0, 0, 64, 36, GL_RGBA, GL_UNSIGNED_BYTE, swap.rgba.data());
      glBindFramebuffer(GL_FRAMEBUFFER, processor_->framebuffer());
      glDeleteFramebuffers(1, &framebuffer);
    });
    // The texture is RGBA, the buffers BGRA.
    test::comparePicture(swap, [&](int x, int y, int c) {
      return c == 3 ? NAN : firstStabilised.at(x, y, 2 - c);
    }, 3.0, "swap texture");
  }

  // Switched off, the next frame hands the gyro back and copies.
  processor_->setStabilization(false);
  frame(second, out);
  EXPECT_EQ(maxDifference(*second->imageBuffer(), *out), 0);
  EXPECT_FALSE(estimator->enabled());
  EXPECT_FALSE(stabilizer && stabilizer->enabled());
}

// With a gyro but no readings the denoiser's first frame is its own history: a smooth picture comes back
// as it was, straight into an equal-sized output. Switched off, the gyro is handed back. ES 3 only.
TEST_P(RealTimeProcessorTest, DenoisingRendersStraightIntoAnEqualSizedOutput) {
  const auto& denoiser = processor_->tdDenoising();
  if (GetParam() == 2) {
    EXPECT_EQ(denoiser, nullptr);
    return;
  }
  ASSERT_NE(denoiser, nullptr);
  auto estimator = estimatorWithGyro(true);
  denoiser->setCameraMotionEstimator(estimator);
  processor_->setDenoise(true);
  auto in = SampleBuffer::create(test::smoothFrame(64, 36), 1.0);
  auto out = filledFrame(64, 36, 0);
  frame(in, out);
  EXPECT_TRUE(denoiser->enabled());
  EXPECT_EQ(denoiser->numTex(), 1);
  EXPECT_LE(maxDifference(*in->imageBuffer(), *out), 2);

  processor_->setDenoise(false);
  frame(in, out);
  EXPECT_FALSE(denoiser->enabled());
  EXPECT_FALSE(estimator->enabled());
}

NUDORA_INSTANTIATE_FOR_BOTH_APIS(RealTimeProcessorTest);

}  // namespace
}  // namespace nudora
