// The time-domain denoiser's cost per 1920 x 1080 frame at each quality
// level, from issuing its two passes (store, blend) to glFinish, with a full
// history of seven shifted frames. Beside it the floor: one plain copy pass
// of the same frame, the least any full-frame pass costs here.
//
// The level is reached through the stage's own adaptation, with a clock
// that the benchmark steps: level 0 with the adaptation off; level 2 with
// frames a second apart; level 1 with one slow frame (70 ms, the average
// rises above 37 ms) followed by a cycle that holds the average at 36.5 ms,
// inside the band where the level stays.
//
//   bench_td_denoising
#include <benchmark/benchmark.h>

#include <filesystem>
#include <random>
#include <vector>

#include "gpu/OrvoProcessHelpers.h"
#include "gpu/ShaderPieces.h"
#include "multiframe/OrvoTimeDomainDenoising.h"
#include "platform/EglContext.h"
#include "platform/KeyValueStore.h"
#include "platform/MotionManager.h"
#include "stabilization/OrvoCameraMotionEstimator.h"

namespace nudora {
namespace {

constexpr int kWidth = 1920, kHeight = 1080;

class SilentGyroSource : public GyroSource {
 public:
  bool isAvailable() const override { return true; }
  bool start(double, Deliver) override { return true; }
  void stop() override {}
  std::string describe() const override { return "silent gyro"; }
};

// A context with a bound framebuffer, a noisy input and an output texture.
class Frame {
 public:
  bool make() {
    context_ = EglContext::create(3);
    if (!context_ || !context_->makeCurrent()) return false;
    std::vector<uint8_t> pixels(static_cast<size_t>(kWidth) * kHeight * 4);
    std::mt19937 rng(1);
    for (auto& b : pixels) b = static_cast<uint8_t>(96 + rng() % 64);
    OrvoProcessHelpers::generateTexture(&input, kWidth, kHeight, GL_RGBA);
    glBindTexture(GL_TEXTURE_2D, input);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, kWidth, kHeight, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    OrvoProcessHelpers::generateTexture(&output, kWidth, kHeight, GL_RGBA);
    glGenFramebuffers(1, &framebuffer_);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
    return true;
  }
  ~Frame() {
    if (!context_ || !context_->makeCurrent()) return;
    glDeleteFramebuffers(1, &framebuffer_);
    OrvoProcessHelpers::deleteTexture(&input);
    OrvoProcessHelpers::deleteTexture(&output);
    EglContext::clearCurrent();
  }
  GLuint input = 0, output = 0;

 private:
  std::unique_ptr<EglContext> context_;
  GLuint framebuffer_ = 0;
};

void BM_CopyPassFloor(benchmark::State& state) {
  Frame frame;
  if (!frame.make()) {
    state.SkipWithError("no OpenGL ES 3 context");
    return;
  }
  GLuint program = OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshPassThrough);
  auto pass = [&] {
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, frame.output, 0);
    glViewport(0, 0, kWidth, kHeight);
    glBindTexture(GL_TEXTURE_2D, frame.input);
    glUseProgram(program);
    OrvoProcessHelpers::renderWithSquareVertices(squareVertices, textureVertices);
    glFinish();
  };
  pass();
  for (auto _ : state) pass();
  OrvoProcessHelpers::deleteProgram(&program);
}

void BM_TimeDomainDenoising(benchmark::State& state) {
  const int level = static_cast<int>(state.range(0));
  Frame frame;
  if (!frame.make()) {
    state.SkipWithError("no OpenGL ES 3 context");
    return;
  }
  auto manager = std::make_shared<MotionManager>();
  manager->setSource(std::make_shared<SilentGyroSource>());
  const std::string store = (std::filesystem::temp_directory_path() / "nudora-bench-td-denoising").string();
  auto estimator = std::make_shared<OrvoCameraMotionEstimator>(manager, std::make_shared<KeyValueStore>(store));
  estimator->setCameraParameters(OrvoCameraParameters::fromFocalLengthInPixels(1600.0f, kWidth, kHeight, 0.0f, 0.0));

  static constexpr double kHoldLevel1[8] = {0.070, 0.024, 0.033, 0.033, 0.033, 0.033, 0.033, 0.033};
  double now = 0.0;
  int tick = 0;
  {
    OrvoTimeDomainDenoising denoiser(estimator, [&] { return now; });
    denoiser.setAutoDegrade(level > 0);
    if (!denoiser.setupGL() || !denoiser.enable()) {
      state.SkipWithError("the denoiser did not start");
    } else {
      // A small turn every frame, so that every history frame is read shifted.
      const glm::quat turn = quaternionMake(0.0004f, -0.0003f, 0.0f, 1.0f);
      auto pass = [&] {
        now += level == 2 ? 1.0 : kHoldLevel1[tick++ % 8];
        denoiser.setMotion(turn, 1.0f);
        denoiser.process(frame.input, kWidth, kHeight, frame.output);
        glFinish();
      };
      for (int n = 0; n < 10; ++n) pass();  // full history, level reached, programs warm
      if (denoiser.degrade() != level) state.SkipWithError("the quality level was not reached");
      for (auto _ : state) pass();
      if (denoiser.degrade() != level) state.SkipWithError("the quality level moved");
    }
  }
}

BENCHMARK(BM_CopyPassFloor)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_TimeDomainDenoising)->ArgName("level")->DenseRange(0, 2)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace nudora
