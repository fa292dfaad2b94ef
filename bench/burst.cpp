// The whole burst merge at the phone's reference size: start, eight frames
// of 1632 x 1224 (each mapped, aligned against the reference with the
// image comparison, and added into the sums), end with the result read back
// into a host buffer. Without a gyro, as nudora burst runs without a log;
// the coarse CPU measurement that nudora burst adds there is not included.
//
//   bench_burst
#include <benchmark/benchmark.h>

#include <cmath>
#include <filesystem>
#include <memory>
#include <vector>

#include "multiframe/OrvoMultiFrameSynthesis.h"
#include "platform/EglContext.h"
#include "platform/KeyValueStore.h"
#include "platform/MotionManager.h"
#include "platform/PixelBuffer.h"
#include "platform/SampleBuffer.h"
#include "stabilization/OrvoCameraMotionEstimator.h"
#include "stabilization/OrvoFrameAligner.h"

namespace nudora {
namespace {

// Detailed frames, each the same pattern a few pixels further on, so that
// the comparison has something to find.
std::shared_ptr<PixelBuffer> shiftedFrame(int w, int h, int index) {
  auto frame = PixelBuffer::create(w, h);
  const double dx = 1.7 * index, dy = -1.1 * index;
  for (int y = 0; y < h; ++y) {
    uint8_t* p = frame->row(y);
    for (int x = 0; x < w; ++x, p += 4) {
      const double u = x + dx, v = y + dy;
      for (int c = 0; c < 3; ++c) {
        p[c] = static_cast<uint8_t>(128 + 60 * std::sin(0.21 * u + 0.13 * v + c) + 50 * std::cos(0.05 * u - 0.17 * v));
      }
      p[3] = 255;
    }
  }
  return frame;
}

void BM_BurstMerge(benchmark::State& state) {
  const int w = OrvoFrameAligner::kReferenceWidth, h = OrvoFrameAligner::kReferenceHeight, frames = 8;
  auto context = EglContext::create(3);
  if (!context) {
    state.SkipWithError("no OpenGL ES 3 context");
    return;
  }
  const std::string store = (std::filesystem::temp_directory_path() / "nudora-bench-burst").string();
  auto estimator = std::make_shared<OrvoCameraMotionEstimator>(std::make_shared<MotionManager>(),
                                                               std::make_shared<KeyValueStore>(store));
  estimator->setCameraParameters(OrvoCameraParameters::fromFocalLengthInPixels(1305.6f, w, h, 0.0f, 0.0));
  auto synthesis = std::make_unique<OrvoMultiFrameSynthesis>(std::make_shared<OrvoFrameAligner>(estimator));
  if (!synthesis->setupGL(context.get())) {
    state.SkipWithError("the burst programs did not build");
    return;
  }
  std::vector<std::shared_ptr<SampleBuffer>> burst;
  for (int i = 0; i < frames; ++i) burst.push_back(SampleBuffer::create(shiftedFrame(w, h, i), i / 30.0));

  for (auto _ : state) {
    synthesis->start();
    for (int i = 0; i < frames; ++i) synthesis->process(burst[i], i, false, 1.0f);
    std::shared_ptr<PixelBuffer> result;
    synthesis->end([&](const std::shared_ptr<PixelBuffer>& r) { result = r; });
    benchmark::DoNotOptimize(result);
    if (!result) state.SkipWithError("no merged picture");
  }
  state.counters["frames"] = frames;
  synthesis.reset();
}
BENCHMARK(BM_BurstMerge)->Unit(benchmark::kMillisecond)->MinTime(5.0)->UseRealTime();

}  // namespace
}  // namespace nudora
