// The real-time pipeline and the facade, through their public entries, on
// ES 3 and ES 2 processors.
#include <gtest/gtest.h>

#include <cstring>
#include <future>
#include <random>

#include "GpuTestSupport.h"
#include "entry/Nudora.h"
#include "pipeline/OrvoRealTimeProcessor.h"
#include "platform/Image.h"
#include "platform/NotificationCenter.h"

namespace nudora {
namespace {

std::shared_ptr<SampleBuffer> cameraFrame(int w, int h, uint32_t seed) {
  auto buffer = PixelBuffer::create(w, h);
  std::mt19937 rng(seed);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      uint8_t* p = buffer->row(y) + x * 4;
      p[0] = static_cast<uint8_t>(rng());
      p[1] = static_cast<uint8_t>(x * 255 / w);
      p[2] = static_cast<uint8_t>(y * 255 / h);
      p[3] = 255;
    }
  }
  return SampleBuffer::create(buffer, 1.0);
}

std::shared_ptr<PixelBuffer> filled(int w, int h, uint8_t value) {
  auto buffer = PixelBuffer::create(w, h);
  std::memset(buffer->baseAddress(), value, buffer->bytesPerRow() * static_cast<size_t>(h));
  return buffer;
}

bool sameRows(const PixelBuffer& a, const PixelBuffer& b) {
  for (int y = 0; y < a.height(); ++y) {
    if (std::memcmp(a.row(y), b.row(y), static_cast<size_t>(a.width()) * 4) != 0) return false;
  }
  return true;
}

bool allBytes(const PixelBuffer& buffer, uint8_t value) {
  for (int y = 0; y < buffer.height(); ++y) {
    for (int x = 0; x < buffer.width() * 4; ++x) {
      if (buffer.row(y)[x] != value) return false;
    }
  }
  return true;
}

TEST(Nudora, SharedFacadeIsOneObjectAndCopiesAFrameWithNoStageOn) {
  auto fromOtherThread = std::async(std::launch::async, [] { return Nudora::sharedInstance(); });
  auto facade = Nudora::sharedInstance();
  ASSERT_NE(facade, nullptr) << "llvmpipe offers ES 3";
  EXPECT_EQ(fromOtherThread.get(), facade);
  EXPECT_FALSE(facade->enableStabi());
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(NudoraVersionString)), "@(#)PROGRAM:Nudora  PROJECT:Nudora-1\n");
  EXPECT_EQ(NudoraVersionNumber, 1.0);

  auto frame = cameraFrame(64, 36, 1);
  auto output = filled(64, 36, 0);
  facade->process(frame, output);
  EXPECT_TRUE(sameRows(*frame->imageBuffer(), *output));
  EXPECT_FALSE(facade->processor()->shouldEnableProcess());
}

class RealTimeProcessorTest : public ::testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    processor_ = std::make_shared<OrvoRealTimeProcessor>();
    if (!processor_->setupWithAPI(GetParam())) GTEST_SKIP() << "no OpenGL ES " << GetParam() << " processor here";
  }
  void frame(const std::shared_ptr<SampleBuffer>& in, const std::shared_ptr<PixelBuffer>& out, double trailer = 0.0) {
    processor_->effectPixelBuffer(in, out, nullptr, false, false, 1, 0.0, trailer);
  }
  std::shared_ptr<OrvoRealTimeProcessor> processor_;
};

TEST_P(RealTimeProcessorTest, SmallerOutputGetsTheScaledPicture) {
  auto in = cameraFrame(64, 36, 2);
  auto out = filled(32, 18, 0);
  frame(in, out);
  test::Picture source{64, 36, {}};
  for (int y = 0; y < 36; ++y) source.rgba.insert(source.rgba.end(), in->imageBuffer()->row(y), in->imageBuffer()->row(y) + 256);
  for (int y = 0; y < 18; ++y) {
    for (int x = 0; x < 32; ++x) {
      for (int c = 0; c < 3; ++c) {
        ASSERT_NEAR(out->row(y)[x * 4 + c], source.sample((x + 0.5) / 32.0, (y + 0.5) / 18.0, c), 2.0)
            << "pixel " << x << "," << y << " channel " << c;
      }
    }
  }
}

TEST_P(RealTimeProcessorTest, SkippedFramesLeaveTheOutputUntouched) {
  auto in = cameraFrame(32, 32, 3);
  auto out = filled(32, 32, 0x5a);
  NotificationCenter::defaultCenter().post(kApplicationDidEnterBackgroundNotification);
  frame(in, out);
  NotificationCenter::defaultCenter().post(kApplicationDidBecomeActiveNotification);
  EXPECT_TRUE(allBytes(*out, 0x5a)) << "background";

  // Denoise on, nothing else, equal sizes: the absent denoiser ends the frame
  // without drawing. A trailer time of 0.000005 still allows that shortcut.
  processor_->setDenoise(true);
  frame(in, out, 0.000005);
  EXPECT_TRUE(allBytes(*out, 0x5a)) << "denoise shortcut";
  // Just above the shortcut's limit the trailer branch draws.
  frame(in, out, 0.00002);
  EXPECT_FALSE(allBytes(*out, 0x5a)) << "trailer branch";

  // Stabilisation has no stabiliser to run here: the frame is the plain copy.
  processor_->setDenoise(false);
  processor_->setStabilization(true);
  auto copy = filled(32, 32, 0);
  frame(in, copy);
  EXPECT_TRUE(sameRows(*in->imageBuffer(), *copy));
}

TEST_P(RealTimeProcessorTest, NoWatermarkWhileATrailerAnimates) {
  auto logo = std::make_shared<Image>(64, 64);
  for (int y = 0; y < 64; ++y) {
    for (int x = 0; x < 64; ++x) {
      uint8_t* p = logo->pixel(x, y);
      p[0] = 255;
      p[3] = 255;
    }
  }
  processor_->setWatermarkImage(logo);
  auto in = SampleBuffer::create(filled(200, 120, 0), 1.0);
  auto out = filled(200, 120, 0);
  frame(in, out);
  // 200x120: scale 120/1080, 64 * 1.5 * that = 10.7 px square at a 10 px margin.
  auto red = [&](int x, int y) { return out->row(y)[x * 4 + 2]; };
  const int inside = 14;
  const bool redSomewhere = red(inside, inside) > 200 || red(199 - inside, inside) > 200 ||
                            red(inside, 119 - inside) > 200 || red(199 - inside, 119 - inside) > 200;
  EXPECT_TRUE(redSomewhere) << "the watermark shows on a plain frame";
  auto trailerOut = filled(200, 120, 0);
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
  processor_->setBeauty(-1);
  EXPECT_FLOAT_EQ(processor_->beautify(), 0.8f);
  EXPECT_TRUE(processor_->stretchFace());
  EXPECT_TRUE(processor_->shouldEnableProcess());
}

NUDORA_INSTANTIATE_FOR_BOTH_APIS(RealTimeProcessorTest);

}  // namespace
}  // namespace nudora
