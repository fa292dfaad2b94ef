// The style catalogue as a user meets it: every look draws on ES 3 and ES 2,
// visibly changes a natural picture and differs from every other look; the
// lookup-table sampling against a CPU reading of the table image; and the
// identity fallback for a table that is not installed.
#include <filesystem>

#include "GpuTestSupport.h"
#include "filters/OrvoFilterDescriptor.h"
#include "gpu/OrvoImageProcessor.h"
#include "platform/Image.h"
#include "platform/PixelBuffer.h"
#include "platform/SampleBuffer.h"

namespace nudora {
namespace {

class StyleLookTest : public test::ProcessorTest<OrvoImageProcessor> {
 protected:
  // The still processor's result for the picture under the style, or nullptr.
  std::shared_ptr<PixelBuffer> render(const std::shared_ptr<PixelBuffer>& picture, int64_t style) {
    processor_->setStyleFilter(style);
    processor_->effectSampeBuffer(SampleBuffer::create(picture, 0.0), false, false, 1);
    const auto& result = processor_->resultPixelBuffer();
    if (!processor_->rendered() || !result) return nullptr;
    auto copy = PixelBuffer::create(result->width(), result->height());
    for (int y = 0; y < result->height(); ++y) std::copy_n(result->row(y), result->width() * 4, copy->row(y));
    return copy;
  }
};

TEST_P(StyleLookTest, LookupTableMatchesACpuReadingOfItsImageWithinOneStep) {
  auto input = test::randomFrame(48, 32, 7);
  for (int64_t style : {18, 26}) {
    auto table = Image::imageNamed(*OrvoFilterDescriptor::sharedInstance()->getStyleFilter3DLUTImageName(style));
    ASSERT_TRUE(table);
    const test::Picture reference = test::pictureOf(*table);
    auto result = render(input, style);
    ASSERT_TRUE(result);
    // Frames are BGRA; the table answers in RGB. One level of sampling
    // precision (llvmpipe filters with fixed-point weights) plus half a
    // level of output rounding.
    const test::Picture in = test::pictureOf(*input);
    test::comparePicture(test::pictureOf(*result), [&](int x, int y, int c) {
      if (c == 3) return static_cast<double>(NAN);
      const double r = in.at(x, y, 2) / 255.0, g = in.at(x, y, 1) / 255.0, b = in.at(x, y, 0) / 255.0;
      return test::lookupTableReference(reference, r, g, b, 2 - c);
    }, 1.5, "style " + std::to_string(style));
  }
}

TEST_P(StyleLookTest, MissingTableFallsBackToTheIdentityWithOneLine) {
  const auto empty = std::filesystem::temp_directory_path() / "nudora-no-textures";
  std::filesystem::create_directories(empty / "Textures");
  test::ScopedEnv resources("NUDORA_RESOURCE_DIR", empty.c_str());
  test::ConsoleCapture console;
  auto input = test::randomFrame(40, 24, 9);
  auto result = render(input, 15);
  ASSERT_TRUE(result);
  EXPECT_LE(test::maxDifference(*result, *input), 1);
  EXPECT_EQ(console.count("Lookup table 3DLUT_F02.png is missing"), 1);
}

NUDORA_INSTANTIATE_FOR_BOTH_APIS(StyleLookTest);

}  // namespace
}  // namespace nudora
