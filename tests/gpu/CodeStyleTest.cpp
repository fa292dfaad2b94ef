// The hand-written colour looks, adjustments (style 11) and faded print
// (style 5), against the same arithmetic in C++.
#include <array>

#include "GpuTestSupport.h"
#include "filters/OrvoFilter.h"
#include "gpu/OrvoImageProcessor.h"
#include "platform/SampleBuffer.h"

namespace nudora {
namespace {

using Rgb = std::array<double, 3>;

double luma(const Rgb& c) { return 0.299 * c[0] + 0.587 * c[1] + 0.114 * c[2]; }

// The colour of texel (x, y) of a BGRA frame's bytes, as RGB 0..1.
Rgb colourAt(const test::Picture& p, int x, int y) {
  return {p.at(x, y, 2) / 255.0, p.at(x, y, 1) / 255.0, p.at(x, y, 0) / 255.0};
}

// fshAdjustments at texel (x, y) with the settings s.
Rgb adjustmentsReference(const test::Picture& p, int x, int y, const Rgb& s) {
  const Rgb c = colourAt(p, x, y), a = colourAt(p, x + 2, y + 2), b = colourAt(p, x - 2, y - 2),
            d = colourAt(p, x + 2, y - 2), e = colourAt(p, x - 2, y + 2);
  const double tone = luma(c), clarity = 0.4 * (1 - (2 * tone - 1) * (2 * tone - 1)), k = -0.5 + 1.5 * s[1];
  Rgb v;
  for (int i = 0; i < 3; ++i) {
    v[i] = std::pow(std::clamp(c[i] + (c[i] - (a[i] + b[i] + d[i] + e[i]) / 4) * clarity, 0.0, 1.0),
                    std::exp2(0.6 - 1.5 * s[0]));
    v[i] += (v[i] * v[i] * (3 - 2 * v[i]) - v[i]) * k;
  }
  const double chroma = *std::max_element(v.begin(), v.end()) - *std::min_element(v.begin(), v.end());
  const double grey = luma(v), gain = 2 * s[2] * (1 + 0.3 * (1 - chroma));
  for (double& channel : v) channel = grey + (channel - grey) * gain;
  return v;
}

// fshMemory on the colour in at texture position (u, v).
Rgb memoryReference(const Rgb& in, double u, double v) {
  const double l = luma(in), edge = 1 - 0.9 * ((u - 0.5) * (u - 0.5) + (v - 0.5) * (v - 0.5));
  const Rgb warm{1.08, 1.0, 0.84}, cream{0.06, 0.045, -0.03}, black{0.1, 0.1, 0.11};
  Rgb c;
  for (int i = 0; i < 3; ++i) {
    c[i] = black[i] + ((0.5 + (l + (in[i] - l) * 0.7 - 0.5) * 0.75) * warm[i] + l * l * cream[i]) * edge * 0.86;
  }
  return c;
}

class CodeStyleTest : public test::ProcessorTest<OrvoImageProcessor> {
 protected:
  test::Picture render(const std::shared_ptr<PixelBuffer>& picture, int64_t style, const Rgb& values = {.5, .5, .5}) {
    processor_->setStyleFilter(style);
    processor_->setValue1(static_cast<float>(values[0]), style, OrvoFilter::kTypeStyle);
    processor_->setValue2(static_cast<float>(values[1]), style, OrvoFilter::kTypeStyle);
    processor_->setValue3(static_cast<float>(values[2]), style, OrvoFilter::kTypeStyle);
    processor_->effectSampeBuffer(SampleBuffer::create(picture, 0.0), false, false, 1);
    EXPECT_TRUE(processor_->rendered()) << "style " << style;
    return processor_->rendered() ? test::pictureOf(*processor_->resultPixelBuffer()) : test::Picture{};
  }
};

// Frames are BGRA: byte c of a result pixel is RGB channel 2 - c.
TEST_P(CodeStyleTest, AdjustmentsAndMemoryMatchTheirCpuArithmeticWithinTwoLevels) {
  auto input = test::randomFrame(40, 24, 11);
  const test::Picture in = test::pictureOf(*input);
  auto level = [](double v) { return std::clamp(v, 0.0, 1.0) * 255.0; };
  for (const Rgb& s : {Rgb{0.3, 0.8, 0.7}, Rgb{0.9, 0.1, 0.25}}) {
    test::comparePicture(render(input, 11, s), [&](int x, int y, int c) {
      return c == 3 ? NAN : level(adjustmentsReference(in, x, y, s)[2 - c]);
    }, 2.0, "adjustments at brightness " + std::to_string(s[0]));
  }
  test::comparePicture(render(input, 5), [&](int x, int y, int c) {
    return c == 3 ? NAN : level(memoryReference(colourAt(in, x, y), (x + 0.5) / in.width, (y + 0.5) / in.height)[2 - c]);
  }, 2.0, "memory");
}

NUDORA_INSTANTIATE_FOR_BOTH_APIS(CodeStyleTest);

}  // namespace
}  // namespace nudora
