// The stabiliser's cost per frame through the real-time pipeline: host BGRA
// in, host BGRA out of the same size, so the stabiliser renders straight into
// the output. Beside it the pipeline's no-stage floor (the effect pass
// copying the frame), measured the same way. A running gyro with a moving
// rate keeps every frame non-steady, so the image refinement runs each frame
// when it is on.
//
//   bench_stabilizer --benchmark_filter=1920
#include <benchmark/benchmark.h>

#include <cmath>
#include <filesystem>
#include <memory>
#include <random>
#include <string>

#include "pipeline/OrvoRealTimeProcessor.h"
#include "platform/Clock.h"
#include "platform/KeyValueStore.h"
#include "platform/MotionManager.h"
#include "stabilization/OrvoCameraMotionEstimator.h"
#include "stabilization/OrvoMotionSampleRingBuffer.h"
#include "stabilization/OrvoVideoStabilizer.h"

namespace nudora {
namespace {

// Reports itself running but never delivers: the benchmark writes the ring.
class SilentGyroSource : public GyroSource {
 public:
  bool isAvailable() const override { return true; }
  bool start(double, Deliver) override { return true; }
  void stop() override {}
  std::string describe() const override { return "silent gyro"; }
};

enum class Mode { kNoStage, kWarp, kWarpAndDigital };

void runFrames(benchmark::State& state, Mode mode) {
  const int w = static_cast<int>(state.range(0)), h = static_cast<int>(state.range(1));
  auto processor = std::make_shared<OrvoRealTimeProcessor>();
  if (!processor->setupWithAPI(3) || !processor->videoStabilizer()) {
    state.SkipWithError("no OpenGL ES 3 processor");
    return;
  }
  const std::string store = (std::filesystem::temp_directory_path() / "nudora-bench-stabilizer").string();
  auto manager = std::make_shared<MotionManager>();
  manager->setSource(std::make_shared<SilentGyroSource>());
  auto estimator = std::make_shared<OrvoCameraMotionEstimator>(manager, std::make_shared<KeyValueStore>(store));
  estimator->setCameraParameters(OrvoCameraParameters::fromFocalLengthInPixels(1600.0f, w, h, 0.03f, 0.0));
  processor->videoStabilizer()->setCameraMotionEstimator(estimator);
  processor->videoStabilizer()->setDigital_adjustment(mode == Mode::kWarpAndDigital);
  processor->setStabilization(mode != Mode::kNoStage);

  auto input = PixelBuffer::create(w, h);
  auto output = PixelBuffer::create(w, h);
  std::mt19937 rng(1);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w * 4; ++x) input->row(y)[x] = x % 4 == 3 ? 255 : static_cast<uint8_t>(rng() & 0xff);
  }

  // Hand shake of a few hertz in image axes, written as device rates.
  double pts = Clock::uptime(), nextReading = pts - 0.3;
  auto feed = [&](double until) {
    for (; nextReading <= until; nextReading += 0.01) {
      const double wx = 0.3 * std::sin(9.0 * nextReading), wy = 0.25 * std::cos(7.0 * nextReading), wz = 0.05;
      estimator->motionSampleRingBuffer()->enqueueOneSample(wy, -wx, wz, nextReading);
    }
  };
  auto oneFrame = [&] {
    pts += 1.0 / 30.0;
    feed(pts + 0.05);
    processor->effectPixelBuffer(SampleBuffer::create(input, pts), output, nullptr, false, false, 1, 0.0, 0.0);
  };
  oneFrame();  // builds the filter program and switches the stabiliser on
  if (mode != Mode::kNoStage && !processor->videoStabilizer()->enabled()) {
    state.SkipWithError("the stabiliser did not switch on");
    return;
  }
  for (auto _ : state) oneFrame();
  if (mode != Mode::kNoStage && estimator->steady())
    state.SkipWithError("the device counted as steady: the refinement would not have run");
  state.SetItemsProcessed(state.iterations());
}

void BM_NoStageFloor(benchmark::State& state) { runFrames(state, Mode::kNoStage); }
void BM_StabilizerWarp(benchmark::State& state) { runFrames(state, Mode::kWarp); }
void BM_StabilizerWarpAndDigitalAdjustment(benchmark::State& state) { runFrames(state, Mode::kWarpAndDigital); }

BENCHMARK(BM_NoStageFloor)->Args({1280, 720})->Args({1920, 1080})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_StabilizerWarp)->Args({1280, 720})->Args({1920, 1080})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_StabilizerWarpAndDigitalAdjustment)
    ->Args({1280, 720})
    ->Args({1920, 1080})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
}  // namespace nudora
