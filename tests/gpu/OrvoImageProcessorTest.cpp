// The still-image processor: level table and queue rule without a GPU, and
// frames through it on ES 3 and ES 2 compared with the input picture.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <random>
#include <vector>

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
  // Were the call to wait on the held queue it could not finish before the
  // hold is lifted; the guard lifts it to end the test either way.
  auto call = std::async(std::launch::async, [&] { processor.effectSampeBuffer(nullptr, false, false, 1); });
  const bool returned = call.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
  hold.set_value();
  call.wait();
  EXPECT_TRUE(returned);
  EXPECT_EQ(processor.inputAllocationCount(), 0);
}

class ImageProcessorTest : public ::testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    if (!processor_.setupWithAPI(GetParam())) GTEST_SKIP() << "no OpenGL ES " << GetParam() << " processor here";
  }
  // Random opaque BGRA; rows padded by `padding` bytes in host memory when non-zero.
  static std::shared_ptr<SampleBuffer> frame(int w, int h, uint32_t seed, size_t padding = 0) {
    auto memory = std::make_shared<std::vector<uint8_t>>((w * 4 + padding) * h);
    auto buffer = padding ? PixelBuffer::wrap(memory->data(), w, h, w * 4 + padding, [memory] {})
                          : PixelBuffer::create(w, h);
    std::mt19937 rng(seed);
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w * 4; ++x) buffer->row(y)[x] = x % 4 == 3 ? 255 : static_cast<uint8_t>(rng());
    }
    return SampleBuffer::create(buffer, 0.0);
  }
  // Largest byte difference between the result and the sample's picture.
  int resultDifference(const SampleBuffer& sample) const {
    const auto& a = processor_.resultPixelBuffer();
    const auto& b = sample.imageBuffer();
    if (!processor_.rendered() || !a || a->width() != b->width() || a->height() != b->height()) return 999;
    int worst = 0;
    for (int y = 0; y < a->height(); ++y) {
      for (int x = 0; x < a->width() * 4; ++x) worst = std::max(worst, std::abs(a->row(y)[x] - b->row(y)[x]));
    }
    return worst;
  }
  OrvoImageProcessor processor_;
};

TEST_P(ImageProcessorTest, NoFilterGivesTheInputBackExactly) {
  // 50 pixels wide: our rows hold 256 bytes, the padded frame's 212.
  for (size_t padding : {0, 12}) {
    auto sample = frame(50, 30, 1, padding);
    processor_.effectSampeBuffer(sample, false, false, 1);
    EXPECT_EQ(resultDifference(*sample), 0) << "padding " << padding;
  }
}

TEST_P(ImageProcessorTest, IdentityStyleKeepsColoursWithinOneStep) {
  processor_.setStyleFilter(18);
  auto sample = frame(64, 40, 2);
  processor_.effectSampeBuffer(sample, false, false, 1);
  EXPECT_LE(resultDifference(*sample), 1);
}

TEST_P(ImageProcessorTest, BuffersAreRemadeOncePerSizeChange) {
  for (auto sample : {frame(32, 24, 3), frame(32, 24, 4), frame(20, 36, 5), frame(20, 36, 6)}) {
    processor_.effectSampeBuffer(sample, false, false, 1);
    EXPECT_EQ(resultDifference(*sample), 0);
  }
  EXPECT_EQ(processor_.inputAllocationCount(), 2);
  EXPECT_EQ(processor_.resultAllocationCount(), 2);
  // Released buffers come back with the next frame, even at the same size.
  processor_.queue().sync([&] { processor_.releaseAllResources(), processor_.createResources(); });
  auto again = frame(20, 36, 7);
  processor_.effectSampeBuffer(again, false, false, 1);
  EXPECT_EQ(processor_.resultAllocationCount(), 3);
  EXPECT_EQ(resultDifference(*again), 0);
}

NUDORA_INSTANTIATE_FOR_BOTH_APIS(ImageProcessorTest);

}  // namespace
}  // namespace nudora
