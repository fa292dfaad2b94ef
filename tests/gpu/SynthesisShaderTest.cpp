// Multi-frame synthesis bodies drawn through their assembled programs: every
// pixel against a CPU rendering of the same merge, plus what each merge is
// for (the mean of a burst, highlights and shadows of an exposure pair, a
// moved subject over a kept background).
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
  // The frame around a body no type selects, built by the library's loader;
  // the leading blank marks the assembled text as plain.
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

  // Merges and compares every pixel with the reference; the alpha of the
  // built picture passes through.
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
  const Picture built = test::randomPicture(kWidth, kHeight, 11), frame = test::randomPicture(kWidth, kHeight, 12);
  const std::pair<const char*, Merge> bodies[] = {
      // Random bytes overflow under add on about half the values: the tail clamps them at white.
      {"fshSynthesisAdd",
       [](const Rgb& b, const Rgb& l, double r) {
         return Rgb{b[0] + l[0] * r, b[1] + l[1] * r, b[2] + l[2] * r};
       }},
      {"fshSynthesisAver", mixRgb},
      {"fshSynthesisDarken",
       [](const Rgb& b, const Rgb& l, double) {
         return Rgb{std::min(b[0], l[0]), std::min(b[1], l[1]), std::min(b[2], l[2])};
       }},
      {"fshSynthesisLighten",
       [](const Rgb& b, const Rgb& l, double) {
         return Rgb{std::max(b[0], l[0]), std::max(b[1], l[1]), std::max(b[2], l[2])};
       }},
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
  // Left half a highlight: clipped white in the bright frame, a textured
  // ramp in the dark one. Right half a shadow: crushed to near black in the
  // dark frame, a textured ramp in the bright one.
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
  for (float ratio : {0.5f, 0.2f, 0.9f}) {
    mergeAndCompare(program, dark, bright, ratio, hdrReference, "dark then bright");
  }
  mergeAndCompare(program, bright, dark, 0.5f, hdrReference, "bright then dark");

  // At an even mix each area comes from the frame that exposed it well: the
  // other frame is 60 levels or more away there.
  const Picture fused = merge(program, dark, bright, 0.5f);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const Picture& wellExposed = highlight(x, y) ? dark : bright;
      for (int c = 0; c < 3; ++c) {
        ASSERT_LE(std::abs(fused.at(x, y, c) - wellExposed.at(x, y, c)), 12)
            << (highlight(x, y) ? "highlight" : "shadow") << " pixel " << x << "," << y << " channel " << c;
      }
    }
  }
}

TEST_P(SynthesisShaderTest, MotionSequenceKeepsTheBackgroundAndTakesTheMovedSubject) {
  const GLuint program = typeProgram(3);
  ASSERT_NE(program, 0u);
  // A textured background; the new frame sees it 6 levels brighter (noise
  // and exposure drift, well under the threshold). A dark red subject moves
  // from columns 2..4 to columns 10..12.
  auto background = [](int x, int y) { return Rgb{0.5 + 0.02 * (x % 4), 0.55 + 0.015 * (y % 3), 0.6}; };
  auto subjectAt = [](int from) {
    return [from](int x, int y) { return x >= from && x < from + 3 && y >= 2 && y < 6; };
  };
  const auto before = subjectAt(2), after = subjectAt(10);
  const Rgb subject{0.6, 0.05, 0.05};
  const Picture built = pictureFrom([&](int x, int y) { return before(x, y) ? subject : background(x, y); });
  const Picture frame = pictureFrom([&](int x, int y) {
    const Rgb b = background(x, y);
    return after(x, y) ? subject : Rgb{b[0] + 6 / 255.0, b[1] + 6 / 255.0, b[2] + 6 / 255.0};
  });
  for (float ratio : {1.0f, 0.5f}) mergeAndCompare(program, built, frame, ratio, motionReference, "motion");

  // Fully laid in: the subject at its new place, the background from the built picture.
  const Picture got = merge(program, built, frame, 1.0f);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      if (before(x, y)) continue;  // left: the uncovered background is taken
      const Picture& want = after(x, y) ? frame : built;
      for (int c = 0; c < 3; ++c) {
        ASSERT_LE(std::abs(got.at(x, y, c) - want.at(x, y, c)), kTolerance)
            << (after(x, y) ? "subject" : "background") << " pixel " << x << "," << y << " channel " << c;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Api, SynthesisShaderTest, ::testing::Values(3), test::apiName);

}  // namespace
}  // namespace nudora
