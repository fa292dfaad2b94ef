// The base processor: its parameter rules (no GPU), and the effect pass on
// ES 3 and ES 2 contexts against CPU references.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "GpuTestSupport.h"
#include "gpu/OrvoBaseProcessor.h"
#include "platform/NotificationCenter.h"
#include "platform/PixelBuffer.h"

namespace nudora {
namespace {

TEST(OrvoBaseProcessorState, ParameterRulesWithoutAContext) {
  OrvoBaseProcessor processor;
  processor.setBeautify(1.7f);
  EXPECT_EQ(processor.beautify(), 1.0f);
  processor.setBeautify(-0.2f);
  EXPECT_EQ(processor.beautify(), 0.0f);

  processor.setLocalToneMappingType(-1);
  EXPECT_EQ(processor.localToneMappingType(), -1);
  processor.setLocalToneMappingType(2);  // a stored negative type freezes the field
  EXPECT_EQ(processor.localToneMappingType(), -1);

  processor.setValue1(0.25f, 7, 1);
  processor.setValue1(0.25f, 44, 1);
  processor.setValue1(0.25f, 3, 0);
  EXPECT_FLOAT_EQ(processor.getInternalValue1(7, 1), -0.5f);
  EXPECT_FLOAT_EQ(processor.getInternalValue1(44, 1), 0.5f);
  EXPECT_FLOAT_EQ(processor.getInternalValue1(3, 0), -0.5f);  // by index, whatever the type
  EXPECT_EQ(processor.getCenterOfFilter(3, 2).x, 0.0);
  EXPECT_EQ(processor.getValue2(99, 1), 0.0f);
  processor.setRadius(0.9f, 1, 1);
  EXPECT_FLOAT_EQ(processor.getRadiusOfFilter(1, 1), 0.45f);

  OrvoBaseProcessor fresh;
  fresh.setDigitalZoom(0.99995f);
  EXPECT_FALSE(fresh.needEffectFilter());
  fresh.setDigitalZoom(0.9999f);
  EXPECT_TRUE(fresh.needEffectFilter());
  fresh.setDigitalZoom(1.0f);
  fresh.setLensFilter(29);
  EXPECT_TRUE(fresh.needEffectFilter());
  EXPECT_FALSE(fresh.needMoreEffect());  // the lens alone is not more work

  EXPECT_TRUE(OrvoBaseProcessor::isLarge(2401, 1080));
  EXPECT_FALSE(OrvoBaseProcessor::isLarge(2400, 2400));

  EXPECT_FALSE(processor.renderPixelBuffer(nullptr, PixelBuffer::create(4, 4), false, false, 1));
  EXPECT_FALSE(processor.renderPixelBuffer(PixelBuffer::create(4, 4), PixelBuffer::create(4, 4), false, false, 1));
}

TEST(OrvoBaseProcessorState, AspectCropKeepsTheCentre) {
  OrvoBaseProcessor processor;
  processor.calTrimmedTexVerticesInputWidth(1920, 1080, 1440, 1080);  // 16:9 into 4:3
  const auto& wide = processor.trimmedTexVertices();
  EXPECT_NEAR(wide[0], 0.125f, 1e-6);
  EXPECT_NEAR(wide[2], 0.875f, 1e-6);
  EXPECT_EQ(wide[1], 0.0f);
  EXPECT_EQ(wide[7], 1.0f);
  processor.calTrimmedTexVerticesInputWidth(1080, 1920, 1080, 1440);  // tall into less tall
  const auto& tall = processor.trimmedTexVertices();
  EXPECT_NEAR(tall[1], 0.125f, 1e-6);
  EXPECT_NEAR(tall[5], 0.875f, 1e-6);
  EXPECT_EQ(tall[0], 0.0f);
}

// Random opaque BGRA with smooth structure, so bilinear sampling has
// something to get wrong.
std::shared_ptr<PixelBuffer> testFrame(int w, int h, uint32_t seed) {
  auto buffer = PixelBuffer::create(w, h);
  std::mt19937 rng(seed);
  for (int y = 0; y < h; ++y) {
    uint8_t* row = buffer->row(y);
    for (int x = 0; x < w; ++x) {
      row[x * 4 + 0] = static_cast<uint8_t>(rng());
      row[x * 4 + 1] = static_cast<uint8_t>(128 + 100 * std::sin(x * 0.3 + y * 0.1));
      row[x * 4 + 2] = static_cast<uint8_t>((x * 7 + y * 3) & 255);
      row[x * 4 + 3] = 255;
    }
  }
  return buffer;
}

// The buffer's bytes as a picture for the CPU sampler (channel order is kept).
test::Picture pictureOf(const PixelBuffer& buffer) {
  test::Picture p{buffer.width(), buffer.height(), {}};
  for (int y = 0; y < buffer.height(); ++y) p.rgba.insert(p.rgba.end(), buffer.row(y), buffer.row(y) + buffer.width() * 4);
  return p;
}

class ProcessorPassTest : public ::testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    processor_ = std::make_unique<OrvoBaseProcessor>();
    if (!processor_->setupWithAPI(GetParam())) GTEST_SKIP() << "no OpenGL ES " << GetParam() << " processor here";
  }
  std::unique_ptr<OrvoBaseProcessor> processor_;
};

TEST_P(ProcessorPassTest, NoFilterCopiesTheInputExactly) {
  auto input = testFrame(96, 54, 1);
  auto output = PixelBuffer::create(96, 54);
  ASSERT_TRUE(processor_->renderPixelBuffer(input, output, false, false, 1));
  for (int y = 0; y < 54; ++y) {
    for (int x = 0; x < 96 * 4; ++x) ASSERT_EQ(output->row(y)[x], input->row(y)[x]) << "byte " << x << " of row " << y;
  }
  EXPECT_EQ(processor_->frameCount(), 1);
}

TEST_P(ProcessorPassTest, WideInputIsCroppedIntoANarrowerOutput) {
  auto input = testFrame(160, 90, 2);   // 16:9
  auto output = PixelBuffer::create(80, 60);  // 4:3: m = 0.125 of the width on each side
  ASSERT_TRUE(processor_->renderPixelBuffer(input, output, false, false, 1));
  const test::Picture source = pictureOf(*input);
  for (int y = 0; y < 60; ++y) {
    for (int x = 0; x < 80; ++x) {
      double u = 0.125 + (x + 0.5) / 80.0 * 0.75, v = (y + 0.5) / 60.0;
      for (int c = 0; c < 3; ++c) {
        double expected = source.sample(u, v, c);
        double got = output->row(y)[x * 4 + c];
        ASSERT_NEAR(got, expected, 2.0) << "pixel " << x << "," << y << " channel " << c;
      }
    }
  }
}

TEST_P(ProcessorPassTest, IdentityLookupTableKeepsColoursWithinOneStep) {
  processor_->setStyleFilter(18);
  auto input = testFrame(64, 64, 3);
  auto output = PixelBuffer::create(64, 64);
  ASSERT_TRUE(processor_->renderPixelBuffer(input, output, false, false, 1));
  EXPECT_NE(processor_->style3DLUTTexture(), 0u);
  for (int y = 0; y < 64; ++y) {
    for (int x = 0; x < 64 * 4; ++x) {
      ASSERT_NEAR(output->row(y)[x], input->row(y)[x], 1) << "byte " << x << " of row " << y;
    }
  }
}

TEST_P(ProcessorPassTest, BackgroundLeavesTheOutputUntouchedUntilActiveAgain) {
  auto input = testFrame(32, 32, 4);
  auto output = PixelBuffer::create(32, 32);
  std::memset(output->baseAddress(), 0x77, output->bytesPerRow() * 32);
  NotificationCenter::defaultCenter().post(kApplicationDidEnterBackgroundNotification);
  EXPECT_FALSE(processor_->renderPixelBuffer(input, output, false, false, 1));
  for (int y = 0; y < 32; ++y) {
    for (int x = 0; x < 32 * 4; ++x) ASSERT_EQ(output->row(y)[x], 0x77);
  }
  NotificationCenter::defaultCenter().post(kApplicationDidBecomeActiveNotification);
  EXPECT_TRUE(processor_->renderPixelBuffer(input, output, false, false, 1));
  EXPECT_EQ(std::memcmp(output->row(5), input->row(5), 32 * 4), 0);
}

TEST_P(ProcessorPassTest, ProgramIsRebuiltOnlyWhenItsIngredientsChange) {
  auto input = testFrame(32, 18, 5);
  auto output = PixelBuffer::create(32, 18);
  processor_->setBeautify(0.5f);
  ASSERT_TRUE(processor_->renderPixelBuffer(input, output, false, false, 1));
  GLuint first = processor_->programPostProcess();
  processor_->setBeautify(0.8f);  // strength only: same program
  ASSERT_TRUE(processor_->renderPixelBuffer(input, output, false, false, 1));
  EXPECT_EQ(processor_->programPostProcess(), first);
  EXPECT_EQ(processor_->calculateBlurLevelWithWidth(32, 18), 2);
  processor_->setStyleFilter(29);  // forces tone mapping type 3
  ASSERT_TRUE(processor_->renderPixelBuffer(input, output, false, false, 1));
  EXPECT_EQ(processor_->currentStyleFilter(), 29);
  EXPECT_EQ(processor_->calculateBlurLevelWithWidth(32, 18), 3);
  EXPECT_EQ(processor_->calculateBlurLevelWithWidth(2401, 1080), 4);
}

NUDORA_INSTANTIATE_FOR_BOTH_APIS(ProcessorPassTest);

}  // namespace
}  // namespace nudora
