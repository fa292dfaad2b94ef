// The base processor: its parameter rules (no GPU), and the effect pass on
// ES 3 and ES 2 contexts against CPU references.
#include "GpuTestSupport.h"
#include "effects/OrvoEffectFlood.h"
#include "effects/OrvoEffectParticle.h"
#include "effects/OrvoEffectWaterPane.h"
#include "effects/OrvoParticleSystem.h"
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

  EXPECT_FALSE(OrvoBaseProcessor::isLarge(2400, 2400));  // 2401 wide is large: blur level 4 below
  EXPECT_FALSE(processor.renderPixelBuffer(nullptr, PixelBuffer::create(4, 4), false, false, 1));
  EXPECT_FALSE(processor.renderPixelBuffer(PixelBuffer::create(4, 4), PixelBuffer::create(4, 4), false, false, 1));
}

// The x crop of a wide input is checked pixel by pixel below; here the y crop.
TEST(OrvoBaseProcessorState, AspectCropOfATallInputKeepsTheCentre) {
  OrvoBaseProcessor processor;
  processor.calTrimmedTexVerticesInputWidth(1080, 1920, 1080, 1440);
  const auto& tall = processor.trimmedTexVertices();
  EXPECT_NEAR(tall[1], 0.125f, 1e-6);
  EXPECT_NEAR(tall[5], 0.875f, 1e-6);
  EXPECT_EQ(tall[0], 0.0f);
}

using ProcessorPassTest = test::ProcessorTest<OrvoBaseProcessor>;

TEST_P(ProcessorPassTest, NoFilterCopiesExactlyButNotInTheBackground) {
  auto input = test::randomFrame(96, 54, 1);
  auto output = test::filledFrame(96, 54, 0x77);
  NotificationCenter::defaultCenter().post(kApplicationDidEnterBackgroundNotification);
  EXPECT_FALSE(processor_->renderPixelBuffer(input, output, false, false, 1));
  EXPECT_EQ(test::maxDifference(*output, *test::filledFrame(96, 54, 0x77)), 0) << "written in the background";
  NotificationCenter::defaultCenter().post(kApplicationDidBecomeActiveNotification);
  ASSERT_TRUE(processor_->renderPixelBuffer(input, output, false, false, 1));
  EXPECT_EQ(test::maxDifference(*output, *input), 0);
  EXPECT_EQ(processor_->frameCount(), 1);
}

TEST_P(ProcessorPassTest, WideInputIsCroppedIntoANarrowerOutput) {
  auto input = test::randomFrame(160, 90, 2);  // 16:9
  auto output = PixelBuffer::create(80, 60);     // 4:3: m = 0.125 of the width on each side
  ASSERT_TRUE(processor_->renderPixelBuffer(input, output, false, false, 1));
  const test::Picture source = test::pictureOf(*input);
  test::comparePicture(test::pictureOf(*output), [&](int x, int y, int c) {
    return c == 3 ? NAN : source.sample(0.125 + (x + 0.5) / 80.0 * 0.75, (y + 0.5) / 60.0, c);
  }, 2.0, "16:9 into 4:3");
}

TEST_P(ProcessorPassTest, ProgramIsRebuiltOnlyWhenItsIngredientsChange) {
  auto input = test::randomFrame(32, 18, 5);
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

// Lenses 29 and 30 have no catalogue row: on ES 3 they switch on the flood
// and the water pane, which draw straight into the output; on ES 2 there are
// no such effects and the plain filter pass copies the frame. Werewolf (39)
// switches the shared particle system to its claw marks, lens 0 drops them.
TEST_P(ProcessorPassTest, EffectLensesSwitchTheirEffectsOnEs3AndCopyOnEs2) {
  auto input = test::randomFrame(320, 180, 7);
  auto first = PixelBuffer::create(320, 180), second = PixelBuffer::create(320, 180);
  const bool es3 = processor_->isGLES3();
  ASSERT_EQ(processor_->effectFlood() != nullptr, es3);
  ASSERT_EQ(processor_->effectWaterPane() != nullptr, es3);
  ASSERT_TRUE(processor_->effectParticle());
  for (int64_t lens : {OrvoBaseProcessor::kFloodLens, OrvoBaseProcessor::kWaterPaneLens}) {
    processor_->setLensFilter(lens);
    ASSERT_TRUE(processor_->renderPixelBuffer(input, first, false, false, 3));
    ASSERT_TRUE(processor_->renderPixelBuffer(input, second, false, false, 3));
    if (!es3) {
      EXPECT_LE(test::maxDifference(*first, *input), 1) << "lens " << lens;
      continue;
    }
    const bool flood = lens == OrvoBaseProcessor::kFloodLens;
    EXPECT_EQ(processor_->effectFlood()->enabled(), flood);
    EXPECT_EQ(processor_->effectWaterPane()->enabled(), !flood);
    EXPECT_GT(test::meanAbsoluteDifference(*first, *input), 2.0) << "lens " << lens;
    // The flood's waves move each frame; the pane's drops stay put.
    if (flood) {
      EXPECT_GT(test::meanAbsoluteDifference(*first, *second), 0.05);
    } else {
      EXPECT_LE(test::maxDifference(*first, *second), 1);
    }
  }
  processor_->setLensFilter(39);
  ASSERT_TRUE(processor_->renderPixelBuffer(input, first, false, false, 3));
  if (es3) {
    EXPECT_FALSE(processor_->effectFlood()->enabled() || processor_->effectWaterPane()->enabled());
  }
  EXPECT_EQ(processor_->effectParticle()->particleSystem()->lensFilter(), 39);
  processor_->setLensFilter(0);
  ASSERT_TRUE(processor_->renderPixelBuffer(input, first, false, false, 3));
  EXPECT_EQ(processor_->effectParticle()->particleSystem()->lensFilter(), 0);
  EXPECT_EQ(test::maxDifference(*first, *input), 0);
}

NUDORA_INSTANTIATE_FOR_BOTH_APIS(ProcessorPassTest);

}  // namespace
}  // namespace nudora
