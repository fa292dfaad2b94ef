// Every look draws on ES 3 and ES 2, changes the picture and differs from the
// others; table sampling against the CPU; the identity for a missing table.
#include <filesystem>
#include <map>

#include "GpuTestSupport.h"
#include "filters/OrvoFilterDescriptor.h"
#include "gpu/OrvoImageProcessor.h"
#include "platform/Image.h"
#include "platform/PixelBuffer.h"
#include "platform/Resources.h"
#include "platform/SampleBuffer.h"

namespace nudora {
namespace {

class StyleLookTest : public test::StillProcessorTest {};

TEST_P(StyleLookTest, EveryLookDrawsChangesTheSampleAndDiffersFromEveryOtherLook) {
  test::ConsoleCapture console;
  auto picture = test::naturalPicture(4);
  ASSERT_TRUE(picture) << "the sample picture resources/samples/scene.png is missing";
  std::map<int64_t, std::shared_ptr<PixelBuffer>> looks;
  for (const auto& row : OrvoFilterDescriptor::sharedInstance()->styleFilterDesicriptor()) {
    const int64_t style = *row.integer("styleid");
    auto result = render(picture, style);
    ASSERT_TRUE(result) << "style " << style << " drew nothing";
    EXPECT_GE(test::meanAbsoluteDifference(*result, *picture), 3.0) << "style " << style << " barely changes the picture";
    looks[style] = result;
  }
  EXPECT_EQ(console.text(), "") << "a look is missing a resource or failed to build";
  for (auto a = looks.begin(); a != looks.end(); ++a) {
    for (auto b = std::next(a); b != looks.end(); ++b) {
      EXPECT_GE(test::meanAbsoluteDifference(*a->second, *b->second), 2.0)
          << "styles " << a->first << " and " << b->first << " look the same";
    }
  }
}

TEST_P(StyleLookTest, LookupTableMatchesACpuReadingOfItsImageWithinOneStep) {
  auto input = test::randomFrame(48, 32, 7);
  for (int64_t style : {18, 26}) {
    auto table = Image::imageNamed(*OrvoFilterDescriptor::sharedInstance()->getStyleFilter3DLUTImageName(style));
    ASSERT_TRUE(table);
    const test::Picture reference = test::pictureOf(*table);
    auto result = render(input, style);
    ASSERT_TRUE(result);
    // Frames are BGRA, the table RGB; one level of sampling plus half of rounding.
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
