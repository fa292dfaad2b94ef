// Time for one frame of each lens effect over a 1920 x 1080 frame on the
// GPU, from issuing to glFinish:
//   BM_ParticleFrame/31..39  the emitter's step, the upload, the point
//                            sprites into the 1024 x 1024 layer and the
//                            composition (31 lights, 32 blossoms, 33 rain,
//                            39 claw marks);
//   BM_FloodFrame            the byte conversion and upload of the wave
//                            field, the water pass and the wave step;
//   BM_FloodStep             the flood's CPU part alone (wave step and byte
//                            conversion), to give its share of the frame;
//   BM_WaterPaneFrame        one draw through the cached displacement field.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "effects/OrvoEffectFlood.h"
#include "effects/OrvoEffectParticle.h"
#include "effects/OrvoEffectWaterPane.h"
#include "gpu/OrvoProcessHelpers.h"
#include "platform/EglContext.h"

namespace {

using nudora::EglContext;
using nudora::OrvoProcessHelpers;

constexpr int kWidth = 1920, kHeight = 1080;

// A context with a noise frame, an output texture and a bound framebuffer,
// for the length of one benchmark.
class Frame {
 public:
  explicit Frame(benchmark::State& state) : context_(EglContext::create(3)) {
    if (!context_ || !context_->makeCurrent()) {
      state.SkipWithError("no OpenGL ES 3 context");
      context_.reset();
      return;
    }
    std::vector<uint8_t> pixels(static_cast<size_t>(kWidth) * kHeight * 4);
    std::mt19937 rng(1);
    for (auto& b : pixels) b = static_cast<uint8_t>(rng());
    OrvoProcessHelpers::generateTexture(&source_, kWidth, kHeight, GL_RGBA);
    glBindTexture(GL_TEXTURE_2D, source_);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, kWidth, kHeight, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    OrvoProcessHelpers::generateTexture(&blurred_, kWidth, kHeight, GL_RGBA);
    glBindTexture(GL_TEXTURE_2D, blurred_);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, kWidth, kHeight, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    OrvoProcessHelpers::generateTexture(&output_, kWidth, kHeight, GL_RGBA);
    glGenFramebuffers(1, &framebuffer_);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
  }
  ~Frame() {
    if (!context_) return;
    glDeleteFramebuffers(1, &framebuffer_);
    OrvoProcessHelpers::deleteTexture(&source_);
    OrvoProcessHelpers::deleteTexture(&blurred_);
    OrvoProcessHelpers::deleteTexture(&output_);
    EglContext::clearCurrent();
  }
  bool ready() const { return context_ != nullptr; }
  GLuint source() const { return source_; }
  GLuint blurred() const { return blurred_; }
  GLuint output() const { return output_; }

 private:
  std::unique_ptr<EglContext> context_;
  GLuint source_ = 0, blurred_ = 0, output_ = 0, framebuffer_ = 0;
};

// Runs draw once to warm up, then once per iteration, each to glFinish.
template <class Draw>
void timeFrames(benchmark::State& state, Draw draw) {
  draw();
  glFinish();
  for (auto _ : state) {
    draw();
    glFinish();
  }
}

void BM_ParticleFrame(benchmark::State& state) {
  Frame frame(state);
  if (!frame.ready()) return;
  nudora::OrvoEffectParticle effect(std::make_shared<nudora::OrvoParticleSystem>());
  if (!effect.setupGL() || !effect.enableFor(state.range(0))) {
    state.SkipWithError("the particle effect did not set up");
    return;
  }
  timeFrames(state, [&] {
    effect.processTex(frame.source(), frame.output(), kWidth, kHeight, nudora::squareVertices,
                      nudora::textureVertices);
  });
}

void BM_FloodFrame(benchmark::State& state) {
  Frame frame(state);
  if (!frame.ready()) return;
  nudora::OrvoEffectFlood flood;
  if (!flood.setupGL() || !flood.enable()) {
    state.SkipWithError("the flood did not set up");
    return;
  }
  timeFrames(state, [&] { flood.process(frame.source(), kWidth, kHeight, frame.output(), false, 3); });
}

void BM_FloodStep(benchmark::State& state) {
  nudora::OrvoEffectFlood flood;
  std::vector<uint8_t> bytes;
  for (auto _ : state) {
    flood.updateHeightImage();
    nudora::OrvoEffectFlood::heightBytes(flood.heightImage(), bytes);
    benchmark::DoNotOptimize(bytes.data());
  }
}

void BM_WaterPaneFrame(benchmark::State& state) {
  Frame frame(state);
  if (!frame.ready()) return;
  nudora::OrvoEffectWaterPane pane;
  if (!pane.setupGL() || !pane.enable()) {
    state.SkipWithError("the water pane did not set up");
    return;
  }
  timeFrames(state, [&] {
    pane.process(frame.source(), frame.blurred(), kWidth, kHeight, frame.output(), false, 3, 1.0f);
  });
}

BENCHMARK(BM_ParticleFrame)->Arg(31)->Arg(32)->Arg(33)->Arg(39)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_FloodFrame)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_FloodStep)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WaterPaneFrame)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
