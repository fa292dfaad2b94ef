// One effect pass at 1920x1080 through the base processor (host BGRA buffer
// in, host BGRA buffer out), and the cost of building a filter program.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>

#include "gpu/OrvoBaseProcessor.h"
#include "gpu/OrvoProcessHelpers.h"
#include "platform/EglContext.h"

namespace {

using nudora::OrvoBaseProcessor;
using nudora::PixelBuffer;

// args: style, beautify in percent, lens
void BM_EffectPass1080p(benchmark::State& state) {
  OrvoBaseProcessor processor;
  if (!processor.setupWithAPI(3)) {
    state.SkipWithError("no OpenGL ES 3 processor");
    return;
  }
  processor.setStyleFilter(state.range(0));
  processor.setBeautify(static_cast<float>(state.range(1)) / 100.0f);
  processor.setLensFilter(state.range(2));
  auto input = PixelBuffer::create(1920, 1080);
  auto output = PixelBuffer::create(1920, 1080);
  std::memset(input->baseAddress(), 0x80, input->bytesPerRow() * 1080);
  processor.renderPixelBuffer(input, output, false, false, 1);  // builds the program
  for (auto _ : state) {
    if (!processor.renderPixelBuffer(input, output, false, false, 1)) {
      state.SkipWithError("pass failed");
      break;
    }
  }
}

// Mesa keeps compiled shaders in a cache; without this every build after the
// first would be a cache hit.
const bool kShaderCacheOff = setenv("MESA_SHADER_CACHE_DISABLE", "true", 1) == 0;

// Assembly, compile and link of the style 18 + vignette program with beautify
// and tone mapping, plus one 16x16 draw: llvmpipe compiles the machine code of
// a shader at its first draw, so a build without a draw would miss most of it.
void BM_FilterProgramBuildAndFirstDraw(benchmark::State& state) {
  benchmark::DoNotOptimize(kShaderCacheOff);
  auto context = nudora::EglContext::create(3);
  if (!context || !context->makeCurrent()) {
    state.SkipWithError("no OpenGL ES 3 context");
    return;
  }
  GLuint target = 0, framebuffer = 0;
  nudora::OrvoProcessHelpers::generateTexture(&target, 16, 16, GL_RGBA);
  glGenFramebuffers(1, &framebuffer);
  glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, target, 0);
  glViewport(0, 0, 16, 16);
  for (auto _ : state) {
    GLuint program = nudora::OrvoProcessHelpers::loadPostProcessShaderWithfilterIndex(18, 7, true, true, true);
    if (!program) {
      state.SkipWithError("program failed");
      break;
    }
    glUseProgram(program);
    nudora::OrvoProcessHelpers::renderWithSquareVertices(nudora::squareVertices, nudora::textureVertices);
    glFinish();
    nudora::OrvoProcessHelpers::deleteProgram(&program);
  }
  glDeleteFramebuffers(1, &framebuffer);
  nudora::OrvoProcessHelpers::deleteTexture(&target);
  nudora::EglContext::clearCurrent();
}

BENCHMARK(BM_EffectPass1080p)
    ->ArgNames({"style", "beautify%", "lens"})
    ->Args({0, 0, 0})    // the floor: no filter
    ->Args({18, 0, 0})   // a lookup-table look
    ->Args({9, 0, 0})    // a code look (mandeling)
    ->Args({39, 0, 0})   // a film look: grain tiles, weave, flicker, then a table
    ->Args({46, 0, 0})   // anamorphic: a table, then streak flares and bars
    ->Args({49, 0, 0})   // a table under a light leak
    ->Args({18, 60, 0})
    ->Args({0, 0, 5})    // a geometric lens (fish-eye)
    ->Args({0, 0, 1})    // a blur lens at level 4 (bokeh)
    ->Args({0, 0, 19})   // the min-max lens (watercolour)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_FilterProgramBuildAndFirstDraw)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
