// The still-image processor: level table and queue rule without a GPU, and
// frames through it on ES 3 and ES 2 compared with the input picture.
#include <chrono>
#include <future>

#include "GpuTestSupport.h"
#include "gpu/OrvoImageProcessor.h"

namespace nudora {
namespace {

TEST(OrvoImageProcessorState, BeautyLevelsOutsideTheTableChangeNothing) {
  OrvoImageProcessor processor;
  processor.setBeauty(2);
  EXPECT_FLOAT_EQ(processor.beautify(), 0.5f);
  processor.setBeauty(4);
  for (int64_t ignored : {5, -1}) processor.setBeauty(ignored);
  EXPECT_FLOAT_EQ(processor.beautify(), 0.8f);
  EXPECT_TRUE(processor.stretchFace());
}

TEST(OrvoImageProcessorState, NullSampleReturnsWithoutWaitingForTheQueue) {
  OrvoImageProcessor processor;
  std::promise<void> hold;
  processor.queue().async([held = hold.get_future().share()] { held.wait(); });
  auto call = std::async(std::launch::async, [&] { processor.effectSampeBuffer(nullptr, false, false, 1); });
  const bool returned = call.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
  hold.set_value();
  call.wait();
  EXPECT_TRUE(returned);
  EXPECT_EQ(processor.inputAllocationCount(), 0);
}

class ImageProcessorTest : public test::ProcessorTest<OrvoImageProcessor> {
 protected:
  static std::shared_ptr<SampleBuffer> frame(int w, int h, uint32_t seed, size_t padding = 0) {
    return SampleBuffer::create(test::randomFrame(w, h, seed, padding), 0.0);
  }
  // Largest byte difference between the result and the sample's picture.
  int resultDifference(const SampleBuffer& sample) const {
    const auto& result = processor_->resultPixelBuffer();
    return processor_->rendered() && result ? test::maxDifference(*result, *sample.imageBuffer()) : 999;
  }
};

// Without a filter every frame comes back exactly, padded rows included.
TEST_P(ImageProcessorTest, NoFilterGivesTheInputBackAndBuffersAreRemadeOncePerSizeChange) {
  // 50 pixels wide: our rows hold 256 bytes, the padded frame's 212.
  for (auto sample : {frame(50, 30, 1, 12), frame(50, 30, 2), frame(20, 36, 5), frame(20, 36, 6)}) {
    processor_->effectSampeBuffer(sample, false, false, 1);
    EXPECT_EQ(resultDifference(*sample), 0) << sample->imageBuffer()->width();
  }
  EXPECT_EQ(processor_->inputAllocationCount(), 2);
  EXPECT_EQ(processor_->resultAllocationCount(), 2);
  // Released buffers come back with the next frame, even at the same size.
  processor_->queue().sync([&] { processor_->releaseAllResources(), processor_->createResources(); });
  auto again = frame(20, 36, 7);
  processor_->effectSampeBuffer(again, false, false, 1);
  EXPECT_EQ(processor_->resultAllocationCount(), 3);
  EXPECT_EQ(resultDifference(*again), 0);
}

NUDORA_INSTANTIATE_FOR_BOTH_APIS(ImageProcessorTest);

}  // namespace
}  // namespace nudora
