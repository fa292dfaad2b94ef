// Time for the blur pyramid over a 1920 x 1080 frame, for level counts 1 to
// 4, from issuing the passes to glFinish (the frame's share of GPU time as
// the pipeline pays it).
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "gpu/OrvoProcessHelpers.h"
#include "platform/EglContext.h"
#include "stages/OrvoStageGaussianBlur.h"

namespace {

using nudora::EglContext;
using nudora::OrvoStageGaussianBlur;

void BM_BlurLevels(benchmark::State& state) {
  constexpr int kWidth = 1920, kHeight = 1080;
  const int levels = static_cast<int>(state.range(0));
  auto context = EglContext::create(3);
  if (!context || !context->makeCurrent()) {
    state.SkipWithError("no OpenGL ES 3 context");
    return;
  }
  {
    std::vector<uint8_t> pixels(static_cast<size_t>(kWidth) * kHeight * 4);
    std::mt19937 rng(1);
    for (auto& b : pixels) b = static_cast<uint8_t>(rng());
    GLuint source = 0;
    nudora::OrvoProcessHelpers::generateTexture(&source, kWidth, kHeight, GL_RGBA);
    glBindTexture(GL_TEXTURE_2D, source);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, kWidth, kHeight, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    GLuint framebuffer = 0;
    glGenFramebuffers(1, &framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);

    OrvoStageGaussianBlur stage;
    if (!stage.setupGL()) {
      state.SkipWithError("blur programs did not build");
    } else {
      stage.resizewithWidth(kWidth, kHeight);
      stage.processLevel(levels, source, kWidth, kHeight, 1.0f);  // warms up the shader variants
      glFinish();
      for (auto _ : state) {
        stage.processLevel(levels, source, kWidth, kHeight, 1.0f);
        glFinish();
      }
    }
    glDeleteFramebuffers(1, &framebuffer);
    nudora::OrvoProcessHelpers::deleteTexture(&source);
  }
  EglContext::clearCurrent();
}

BENCHMARK(BM_BlurLevels)->DenseRange(1, 4)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
