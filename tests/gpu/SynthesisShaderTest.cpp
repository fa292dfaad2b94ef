// Multi-frame synthesis bodies through their assembled programs, every pixel
// against a CPU rendering of the same merge.
#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "GpuTestSupport.h"
#include "gpu/OrvoProcessHelpers.h"
#include "gpu/OrvoSynthesizerGenerator.h"
#include "gpu/ShaderPieces.h"

namespace nudora {
namespace {

using test::Picture;
using Rgb = std::array<double, 3>;
// A merge on colours in 0..1: the picture built so far, the new frame, ratio.
using Merge = std::function<Rgb(const Rgb&, const Rgb&, double)>;

constexpr int kWidth = 16, kHeight = 8;
constexpr double kTolerance = 2.0;

double luma(const Rgb& c) { return 0.299 * c[0] + 0.587 * c[1] + 0.114 * c[2]; }

Rgb mixRgb(const Rgb& a, const Rgb& b, double t) {
  return {a[0] + (b[0] - a[0]) * t, a[1] + (b[1] - a[1]) * t, a[2] + (b[2] - a[2]) * t};
}

Rgb rgbAt(const Picture& p, int x, int y) {
  return {p.at(x, y, 0) / 255.0, p.at(x, y, 1) / 255.0, p.at(x, y, 2) / 255.0};
}

// Per channel: f(built, frame, ratio).
template <class F>
Merge channelwise(F f) {
  return [f](const Rgb& b, const Rgb& l, double r) {
    return Rgb{f(b[0], l[0], r), f(b[1], l[1], r), f(b[2], l[2], r)};
  };
}

Rgb hdrReference(const Rgb& base, const Rgb& layer, double ratio) {
  auto wellExposed = [](const Rgb& c) { return std::exp(-(luma(c) - 0.5) * (luma(c) - 0.5) / 0.08) + 0.001; };
  const double r = std::clamp(ratio, 0.0, 1.0), wb = (1 - r) * wellExposed(base), wl = r * wellExposed(layer);
  return mixRgb(base, layer, wl / (wb + wl));
}

Rgb motionReference(const Rgb& base, const Rgb& layer, double ratio) {
  const double t = std::clamp((std::abs(luma(layer) - luma(base)) - 0.08) / 0.04, 0.0, 1.0);
  return mixRgb(base, layer, t * t * (3 - 2 * t) * std::clamp(ratio, 0.0, 1.0));
}

// A picture whose pixels come from f(x, y) as colours in 0..1, opaque.
template <class F>
Picture pictureFrom(F f) {
  Picture p{kWidth, kHeight, {}};
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const Rgb c = f(x, y);
      for (double v : c) p.rgba.push_back(static_cast<uint8_t>(std::lround(std::clamp(v, 0.0, 1.0) * 255)));
      p.rgba.push_back(255);
    }
  }
  return p;
}

// Synthesis programs are ES 3 only, so the suite runs on ES 3 contexts.
class SynthesisShaderTest : public test::GlContextTest {
 protected:
  void TearDown() override {
    for (GLuint& program : programs_) OrvoProcessHelpers::deleteProgram(&program);
    GlContextTest::TearDown();
  }

  GLuint typeProgram(int64_t type) {
    return keep(OrvoProcessHelpers::loadSynthesizerShaderWithsynthesisType(type), "type " + std::to_string(type));
  }
  // The library's frame around a body; the leading blank marks the text as plain.
  GLuint bodyProgram(const char* piece) {
    const std::string text = " " + OrvoSynthesizerGenerator::generateShaderCodewithBodyPiece(shaderPieceNamed(piece));
    return keep(OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, text.c_str()), piece);
  }

  // One merge: built on "original", frame on "srcImage".
  Picture merge(GLuint program, const Picture& built, const Picture& frame, float ratio) {
    const GLuint units[] = {texture(built), texture(frame)};
    const GLuint target = texture({built.width, built.height, {}});
    attach(target);
    glViewport(0, 0, built.width, built.height);
    glUseProgram(program);
    const char* samplers[] = {"original", "srcImage"};
    for (int unit = 0; unit < 2; ++unit) {
      glActiveTexture(GL_TEXTURE0 + unit);
      glBindTexture(GL_TEXTURE_2D, units[unit]);
      glUniform1i(glGetUniformLocation(program, samplers[unit]), unit);
    }
    glUniform1f(glGetUniformLocation(program, "ratio"), ratio);
    OrvoProcessHelpers::renderWithSquareVertices(squareVertices, textureVertices);
    glActiveTexture(GL_TEXTURE0);
    return read(target, built.width, built.height);
  }

  // Every pixel against the reference; the built picture's alpha passes through.
  void mergeAndCompare(GLuint program, const Picture& built, const Picture& frame, float ratio, const Merge& reference,
                       const std::string& what) {
    const Picture got = merge(program, built, frame, ratio);
    test::comparePicture(
        got,
        [&](int x, int y, int c) {
          if (c == 3) return static_cast<double>(built.at(x, y, 3));
          return std::clamp(reference(rgbAt(built, x, y), rgbAt(frame, x, y), ratio)[c], 0.0, 1.0) * 255;
        },
        kTolerance, what + " ratio " + std::to_string(ratio));
  }

 private:
  GLuint keep(GLuint program, const std::string& what) {
    EXPECT_NE(program, 0u) << what;
    programs_.push_back(program);
    return program;
  }
  std::vector<GLuint> programs_;
};

TEST_P(SynthesisShaderTest, PlainBodiesAddAverageDarkenAndLightenPerChannel) {
  // Unknown types get the frame without a body, which must link too.
  for (int64_t type : {0, 9}) typeProgram(type);
  const Picture built = test::randomPicture(kWidth, kHeight, 11), frame = test::randomPicture(kWidth, kHeight, 12);
  // Random bytes overflow under add on about half the values: the tail clamps them at white.
  const std::pair<const char*, Merge> bodies[] = {
      {"fshSynthesisAdd", channelwise([](double b, double l, double r) { return b + l * r; })},
      {"fshSynthesisAver", mixRgb},
      {"fshSynthesisDarken", channelwise([](double b, double l, double) { return std::min(b, l); })},
      {"fshSynthesisLighten", channelwise([](double b, double l, double) { return std::max(b, l); })},
  };
  for (const auto& [piece, reference] : bodies) {
    const GLuint program = bodyProgram(piece);
    if (!program) continue;
    for (float ratio : {0.3f, 0.8f}) mergeAndCompare(program, built, frame, ratio, reference, piece);
  }
}

TEST_P(SynthesisShaderTest, DenoiseOfFourFramesWithFallingRatiosIsTheirMean) {
  const GLuint program = typeProgram(2);
  ASSERT_NE(program, 0u);
  Picture frames[4], built = test::randomPicture(kWidth, kHeight, 20);
  for (int k = 0; k < 4; ++k) frames[k] = test::randomPicture(kWidth, kHeight, 21 + k);
  const Picture start = built;
  for (int k = 0; k < 4; ++k) built = merge(program, built, frames[k], 1.0f / static_cast<float>(k + 1));
  test::comparePicture(
      built,
      [&](int x, int y, int c) {
        if (c == 3) return static_cast<double>(start.at(x, y, 3));
        double sum = 0;
        for (const Picture& f : frames) sum += f.at(x, y, c);
        return sum / 4;
      },
      kTolerance, "mean of four frames");
}

TEST_P(SynthesisShaderTest, HdrTakesHighlightsFromTheDarkFrameAndShadowsFromTheBrightOne) {
  const GLuint program = typeProgram(1);
  ASSERT_NE(program, 0u);
  // Left a highlight: clipped in the bright frame, a textured ramp in the dark one.
  // Right a shadow: near black in the dark frame, a textured ramp in the bright one.
  auto highlight = [](int x, int) { return x < kWidth / 2; };
  auto detail = [](int x, int y, double from) {
    const double v = from + 0.3 * (x % (kWidth / 2)) / (kWidth / 2) + 0.03 * (y % 3);
    return Rgb{v, v * 0.9, v * 0.8 + 0.05};
  };
  const Picture dark = pictureFrom([&](int x, int y) {
    return highlight(x, y) ? detail(x, y, 0.35) : Rgb{0.01 * (x % 3), 0.01 * (y % 3), 0.0};
  });
  const Picture bright = pictureFrom([&](int x, int y) {
    return highlight(x, y) ? Rgb{1.0, 1.0, 1.0} : detail(x, y, 0.25);
  });
  for (float ratio : {0.5f, 0.2f}) mergeAndCompare(program, dark, bright, ratio, hdrReference, "dark then bright");
  mergeAndCompare(program, bright, dark, 0.9f, hdrReference, "bright then dark");
}

TEST_P(SynthesisShaderTest, MotionSequenceKeepsTheBackgroundAndTakesTheMovedSubject) {
  const GLuint program = typeProgram(3);
  ASSERT_NE(program, 0u);
  // A textured background, 6 levels brighter in the new frame (under the
  // threshold); a dark red subject moves from columns 2..4 to 10..12.
  auto background = [](int x, int y) { return Rgb{0.5 + 0.02 * (x % 4), 0.55 + 0.015 * (y % 3), 0.6}; };
  auto subjectAt = [](int x, int y, int from) { return x >= from && x < from + 3 && y >= 2 && y < 6; };
  const Rgb subject{0.6, 0.05, 0.05};
  const Picture built = pictureFrom([&](int x, int y) { return subjectAt(x, y, 2) ? subject : background(x, y); });
  const Picture frame = pictureFrom([&](int x, int y) {
    const Rgb b = background(x, y);
    return subjectAt(x, y, 10) ? subject : Rgb{b[0] + 6 / 255.0, b[1] + 6 / 255.0, b[2] + 6 / 255.0};
  });
  for (float ratio : {1.0f, 0.5f}) mergeAndCompare(program, built, frame, ratio, motionReference, "motion");
}

INSTANTIATE_TEST_SUITE_P(Api, SynthesisShaderTest, ::testing::Values(3), test::apiName);

}  // namespace
}  // namespace nudora
