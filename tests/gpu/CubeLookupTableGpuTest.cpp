// An imported .cube grade on ES 3 and ES 2 against its CPU evaluation; a bad
// file after a good one changes nothing; clearing restores the style's table.
#include <algorithm>
#include <sstream>

#include "GpuTestSupport.h"
#include "filters/CubeLookupTable.h"
#include "gpu/OrvoImageProcessor.h"
#include "platform/SampleBuffer.h"

namespace nudora {
namespace {

// A smooth grade with a contrast curve, some crosstalk between channels and
// a red that overshoots 0..1 at both ends (clamped when baked).
std::string gradeText(int n) {
  auto curve = [](double x) { return x * x * (3.0 - 2.0 * x); };
  std::ostringstream text;
  text << "TITLE \"test grade\"\nLUT_3D_SIZE " << n << "\n";
  for (int b = 0; b < n; ++b) {
    for (int g = 0; g < n; ++g) {
      for (int r = 0; r < n; ++r) {
        const double R = r / (n - 1.0), G = g / (n - 1.0), B = b / (n - 1.0);
        text << 1.1 * curve(R) - 0.05 << " " << 0.85 * curve(G) + 0.15 * B << " " << 0.8 * B + 0.15 * R + 0.05
             << "\n";
      }
    }
  }
  return text.str();
}

class CubeLookupTableGpuTest : public test::StillProcessorTest {
 protected:
  // Frames are BGRA, the cube answers in RGB. The 64-level 8-bit table the
  // cube is baked into, the sampler's fixed-point weights and the output
  // rounding together stay within two levels of the exact evaluation.
  void expectGraded(const PixelBuffer& result, const PixelBuffer& input, const CubeLookupTable& cube,
                    const std::string& what) {
    const test::Picture in = test::pictureOf(input);
    test::comparePicture(test::pictureOf(result), [&](int x, int y, int c) {
      if (c == 3) return static_cast<double>(NAN);
      const auto v = cube.evaluate(in.at(x, y, 2) / 255.0, in.at(x, y, 1) / 255.0, in.at(x, y, 0) / 255.0);
      return std::clamp(v[2 - c], 0.0, 1.0) * 255.0;
    }, 2.0, what);
  }

  test::TempDir dir_;
};

TEST_P(CubeLookupTableGpuTest, LoadedCubeRendersAsItsCpuEvaluationAloneAndInPlaceOfAStyleTable) {
  const std::string path = dir_.write("grade.cube", gradeText(17));
  const auto cube = CubeLookupTable::load(path);
  ASSERT_TRUE(cube);
  ASSERT_TRUE(processor_->loadCubeLookupTable(path));
  EXPECT_TRUE(processor_->hasCubeLookupTable());
  auto input = test::randomFrame(48, 32, 21);
  for (int64_t style : {0, 26, 6}) {
    auto result = render(input, style);
    ASSERT_TRUE(result) << "style " << style;
    expectGraded(*result, *input, *cube, "style " + std::to_string(style));
  }
}

TEST_P(CubeLookupTableGpuTest, BadFileKeepsTheGoodOneAndClearingBringsBackTheStylesTable) {
  const std::string good = dir_.write("grade.cube", gradeText(9));
  const std::string bad = dir_.write("bad.cube", "LUT_3D_SIZE 2\n0 0 0\n0.5 abc 0\n");
  auto input = test::randomFrame(40, 24, 5);
  // The style's own table (compared with its CPU reading in StyleLookTest).
  auto own = render(input, 26);
  ASSERT_TRUE(own);
  ASSERT_TRUE(processor_->loadCubeLookupTable(good));
  auto graded = render(input, 26);
  ASSERT_TRUE(graded);
  {
    test::ConsoleCapture console;
    EXPECT_FALSE(processor_->loadCubeLookupTable(bad));
    EXPECT_FALSE(processor_->loadCubeLookupTable(dir_.path + "/absent.cube"));
    const std::string text = console.text();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2) << text;
    EXPECT_EQ(console.count(bad + " line 3: expected three numbers, got 'abc'"), 1) << text;
  }
  EXPECT_TRUE(processor_->hasCubeLookupTable());
  auto after = render(input, 26);
  ASSERT_TRUE(after) << "the frame after a refused file must still render";
  EXPECT_EQ(test::maxDifference(*after, *graded), 0) << "a refused file changed the grade in use";

  processor_->clearCubeLookupTable();
  EXPECT_FALSE(processor_->hasCubeLookupTable());
  auto restored = render(input, 26);
  ASSERT_TRUE(restored);
  EXPECT_EQ(test::maxDifference(*restored, *own), 0) << "clearing did not bring back the style's table";
  // With no style the pass no longer grades at all.
  auto plain = render(input, 0);
  ASSERT_TRUE(plain);
  EXPECT_LE(test::maxDifference(*plain, *input), 1);
}

NUDORA_INSTANTIATE_FOR_BOTH_APIS(CubeLookupTableGpuTest);

}  // namespace
}  // namespace nudora
