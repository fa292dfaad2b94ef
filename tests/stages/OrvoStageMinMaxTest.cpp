// The min-max closing against a CPU max-then-min over the same 3x3 taps; taps on
// texel centres make the match exact.
#include "stages/OrvoStageMinMax.h"

#include "GpuTestSupport.h"

namespace nudora {
namespace {

using test::Picture;

Picture closing(Picture p, int step) {
  for (bool takeMax : {true, false}) {
    Picture src = p;
    for (size_t i = 0; i < p.rgba.size(); ++i) {
      const int x = static_cast<int>(i / 4 % p.width), y = static_cast<int>(i / 4 / p.width), c = i % 4;
      for (int j = -1; j <= 1; ++j) {
        for (int k = -1; k <= 1; ++k) {
          const uint8_t v = src.at(x + k * step, y + j * step, c);
          p.rgba[i] = takeMax ? std::max(p.rgba[i], v) : std::min(p.rgba[i], v);
        }
      }
    }
  }
  return p;
}

class OrvoStageMinMaxTest : public test::StageTest<OrvoStageMinMax> {
 protected:
  void expectClosing(GLuint src, GLuint inter, GLuint dst, const Picture& source, int step) {
    attach(0);
    ASSERT_TRUE(stage_.processFromTex(src, inter, dst, source.width, source.height, static_cast<float>(step)));
    const Picture want = closing(source, step);
    test::comparePicture(read(dst, source.width, source.height), [&](int x, int y, int c) { return want.at(x, y, c); },
                         0, "step " + std::to_string(step) + (src == dst ? " in place" : ""));
  }
};

TEST_P(OrvoStageMinMaxTest, MatchesCpuClosingAlsoInPlace) {
  const Picture source = test::randomPicture(40, 28, 21);
  const GLuint src = texture(source), inter = texture({40, 28, {}}), dst = texture({40, 28, {}});
  for (int step : {0, 1, 2}) expectClosing(src, inter, dst, source, step);  // step 0 copies
  expectClosing(src, inter, src, source, 1);
  // Reading the texture being drawn is refused rather than left undefined.
  EXPECT_FALSE(stage_.processFromTex(src, src, dst, 40, 28, 1.0f));
  EXPECT_FALSE(stage_.processFromTex(src, dst, dst, 40, 28, 1.0f));
}

NUDORA_INSTANTIATE_FOR_BOTH_APIS(OrvoStageMinMaxTest);

}  // namespace
}  // namespace nudora
