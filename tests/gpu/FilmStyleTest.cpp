// Film looks (grain, weave and flicker follow frame and tiles), light leaks
// (screen of graded colour and leak image) and the anamorphic blue streak.
#include <array>
#include <string>

#include "GpuTestSupport.h"
#include "filters/OrvoFilterDescriptor.h"
#include "gpu/OrvoProcessHelpers.h"
#include "platform/Image.h"

namespace nudora {
namespace {

// tex1Idx, tex2Idx, tex3Idx.
using Tiles = std::array<float, 6>;

double meanDifference(const test::Picture& a, const test::Picture& b) {
  double sum = 0;
  for (size_t i = 0; i < a.rgba.size(); ++i) sum += i % 4 == 3 ? 0 : std::abs(a.rgba[i] - b.rgba[i]);
  return sum / (a.rgba.size() * 0.75);
}

test::Picture resourcePicture(const std::string& name) {
  auto image = Image::imageNamed(name);
  return image ? test::pictureOf(*image) : test::Picture{};
}

// The processor draws the tile pick at random every frame; these tests draw
// a film style's program by hand so that frame number and tiles are theirs.
class FilmProgramTest : public test::GlContextTest {
 protected:
  static constexpr int kWidth = 96, kHeight = 54;

  test::Picture draw(int64_t style, float frame, const Tiles& tiles) {
    auto catalogue = OrvoFilterDescriptor::sharedInstance();
    GLuint program = OrvoProcessHelpers::loadPostProcessShaderWithfilterIndex(style, 0, false, false, es3());
    EXPECT_NE(program, 0u) << "style " << style;
    // A colour ramp in the mid tones, where grain shows most.
    test::Picture input{kWidth, kHeight, {}};
    for (int i = 0; i < kWidth * kHeight; ++i) {
      input.rgba.insert(input.rgba.end(), {static_cast<uint8_t>(50 + i % kWidth * 150 / kWidth),
                                           static_cast<uint8_t>(60 + i / kWidth * 120 / kHeight), 110, 255});
    }
    const GLuint units[] = {texture(input), texture(resourcePicture(*catalogue->getStyleFilter3DLUTImageName(style))),
                            texture(resourcePicture(*catalogue->getStyleAuxilaryName(style)))};
    const GLuint target = texture({kWidth, kHeight, {}});
    attach(target);
    glViewport(0, 0, kWidth, kHeight);
    glUseProgram(program);
    const char* samplers[] = {"original", "lut", "style_auxilary"};
    for (int unit = 0; unit < 3; ++unit) {
      glActiveTexture(GL_TEXTURE0 + unit);
      glBindTexture(GL_TEXTURE_2D, units[unit]);
      glUniform1i(glGetUniformLocation(program, samplers[unit]), unit);
    }
    glUniform2f(glGetUniformLocation(program, "imagestep"), 1.0f / kWidth, 1.0f / kHeight);
    glUniform2f(glGetUniformLocation(program, "wvh"), float{kWidth} / kHeight, float{kHeight} / kWidth);
    glUniform1f(glGetUniformLocation(program, "invZoom"), 1.0f);
    glUniform1f(glGetUniformLocation(program, "frameCount"), frame);
    for (int i = 0; i < 3; ++i) {
      const std::string name = "tex" + std::to_string(i + 1) + "Idx";
      glUniform2f(glGetUniformLocation(program, name.c_str()), tiles[2 * i], tiles[2 * i + 1]);
    }
    OrvoProcessHelpers::renderWithSquareVertices(squareVertices, textureVertices);
    glActiveTexture(GL_TEXTURE0);
    OrvoProcessHelpers::deleteProgram(&program);
    return read(target, kWidth, kHeight);
  }
};

TEST_P(FilmProgramTest, GrainWeaveAndFlickerFollowFrameAndTilesYetRepeatForTheSameOnes) {
  // The two picks differ after folding into the grain rows and the damage rows.
  const Tiles tiles = {0, 0, 1, 2, 3, 1}, otherTiles = {3, 1, 2, 3, 0, 0};
  for (int64_t style : {39, 41, 42, 43, 44}) {  // one style per film piece
    SCOPED_TRACE("style " + std::to_string(style));
    const test::Picture frame = draw(style, 5, tiles);
    EXPECT_EQ(meanDifference(frame, draw(style, 5, tiles)), 0.0);
    EXPECT_GE(meanDifference(frame, draw(style, 6, tiles)), 1.0);
    EXPECT_GE(meanDifference(frame, draw(style, 5, otherTiles)), 1.0);
  }
}

class FilmStyleTest : public test::StillProcessorTest {
 protected:
  test::Picture renderPicture(const std::shared_ptr<PixelBuffer>& input, int64_t style, int64_t lens) {
    auto result = render(input, style, lens);
    return result ? test::pictureOf(*result) : test::Picture{};
  }
};

TEST_P(FilmStyleTest, ProcessorDrawsANewFilmFrameEveryPass) {
  auto picture = test::filledFrame(64, 36, 128);
  const test::Picture first = renderPicture(picture, 42, 0);
  ASSERT_EQ(first.width, 64);
  EXPECT_GE(meanDifference(first, renderPicture(picture, 42, 0)), 1.0);
}

TEST_P(FilmStyleTest, LightLeakIsTheScreenOfTheGradedColourAndTheLeakImage) {
  constexpr int kWidth = 64, kHeight = 36;
  const double rgb[3] = {180 / 255.0, 120 / 255.0, 60 / 255.0};
  auto picture = PixelBuffer::create(kWidth, kHeight);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      uint8_t* p = picture->row(y) + x * 4;  // BGRA
      p[0] = 60, p[1] = 120, p[2] = 180, p[3] = 255;
    }
  }
  auto catalogue = OrvoFilterDescriptor::sharedInstance();
  for (int64_t style : {50, 54}) {
    const test::Picture table = resourcePicture(*catalogue->getStyleFilter3DLUTImageName(style));
    const test::Picture leak = resourcePicture(*catalogue->getStyleAuxilaryName(style));
    ASSERT_GT(leak.width, 0) << "style " << style << " has no leak image";
    const test::Picture result = renderPicture(picture, style, 0);
    ASSERT_EQ(result.width, kWidth);
    // Frames are BGRA, the table and the leak RGBA; the leak is stretched to the frame.
    double brightening = 0;
    const int compared = test::comparePicture(result, [&](int x, int y, int c) {
      if (c == 3) return static_cast<double>(NAN);
      const double graded = test::lookupTableReference(table, rgb[0], rgb[1], rgb[2], 2 - c) / 255.0;
      const double light = leak.sample((x + 0.5) / kWidth, (y + 0.5) / kHeight, 2 - c) / 255.0;
      const double screened = 1.0 - (1.0 - graded) * (1.0 - light);
      brightening += 255.0 * (screened - graded);
      return 255.0 * screened;
    }, 2.0, "style " + std::to_string(style));
    EXPECT_EQ(compared, kWidth * kHeight * 3);
    // The leak really shows: on average it brightens the graded colour by some levels.
    EXPECT_GE(brightening / compared, 5.0) << "style " << style;
  }
}

TEST_P(FilmStyleTest, AnamorphicSpreadsOneSmallLightIntoAWideBlueStreak) {
  constexpr int kWidth = 160, kHeight = 90, kBackground = 20;
  auto picture = test::filledFrame(kWidth, kHeight, kBackground);
  for (int y = 44; y < 47; ++y) std::fill_n(picture->row(y) + 79 * 4, 3 * 4, 255);
  const test::Picture result = renderPicture(picture, 0, 12);
  ASSERT_EQ(result.width, kWidth);
  int left = kWidth, right = -1, top = kHeight, bottom = -1;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      if (result.at(x, y, 0) < kBackground + 20) continue;  // blue, as the picture is BGRA
      left = std::min(left, x), right = std::max(right, x), top = std::min(top, y), bottom = std::max(bottom, y);
    }
  }
  ASSERT_GE(right, left) << "nothing lit up";
  const int width = right - left + 1, height = bottom - top + 1;
  EXPECT_GE(width, 40);
  EXPECT_GE(width, 3 * height) << width << " x " << height;
  // Beside the light the streak is blue-cyan, not white.
  EXPECT_GE(result.at(95, 45, 0) - result.at(95, 45, 2), 20);
}

NUDORA_INSTANTIATE_FOR_BOTH_APIS(FilmProgramTest);
NUDORA_INSTANTIATE_FOR_BOTH_APIS(FilmStyleTest);

}  // namespace
}  // namespace nudora
