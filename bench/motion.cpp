// Per-frame cost of the gyro motion core: one frame's estimate from a full
// ring of moving readings (intra-frame rotations on), the stabiliser's CPU
// share of a frame (estimate, smoothing, inverted row bands), and one gyro
// reading written to the ring.

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cmath>
#include <filesystem>
#include <memory>
#include <string>

#include "platform/Clock.h"
#include "platform/KeyValueStore.h"
#include "platform/MotionManager.h"
#include "stabilization/OrvoCameraMotionEstimator.h"
#include "stabilization/OrvoMotionSampleRingBuffer.h"

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

// A hand-held shake: a few rad/s-scale sines on every axis, never at rest.
void shake(double t, double* x, double* y, double* z) {
  *x = 0.4 * std::sin(7.0 * t);
  *y = 0.3 * std::sin(11.0 * t + 1.0);
  *z = 0.2 * std::sin(5.0 * t + 2.0);
}

struct Rig {
  std::string folder;
  std::shared_ptr<MotionManager> manager = std::make_shared<MotionManager>();
  std::unique_ptr<OrvoCameraMotionEstimator> estimator;
  double nextSample = 0.0;

  Rig() {
    char pattern[] = "/tmp/nudora-bench-XXXXXX";
    folder = mkdtemp(pattern) ? pattern : "/tmp";
    manager->setSource(std::make_shared<SilentGyroSource>());
    estimator = std::make_unique<OrvoCameraMotionEstimator>(manager, std::make_shared<KeyValueStore>(folder));
    estimator->enable();
    // 256 readings at 100 Hz ending at the first frame: a full ring.
    nextSample = estimator->lastFrameTimeStamp() - 2.55;
    feedUntil(estimator->lastFrameTimeStamp());
  }
  ~Rig() {
    estimator.reset();
    if (folder != "/tmp") std::filesystem::remove_all(folder);
  }
  void feedUntil(double t) {
    for (; nextSample <= t; nextSample += 0.01) {
      double x, y, z;
      shake(nextSample, &x, &y, &z);
      estimator->motionSampleRingBuffer()->enqueueOneSample(x, y, z, nextSample);
    }
  }
};

// Frames at 30 fps; the readings of each frame's exposure (about 3.3 at
// 100 Hz) are written just before it, as the gyro thread would have.
void BM_EstimateFrameMotion(benchmark::State& state) {
  Rig rig;
  OrvoFrameMotion motion;
  double tf = rig.estimator->lastFrameTimeStamp();
  for (auto _ : state) {
    tf += 1.0 / 30.0;
    rig.feedUntil(tf + 0.05);
    benchmark::DoNotOptimize(rig.estimator->estimateFrameMotion(&motion, tf, 1.2f));
    benchmark::DoNotOptimize(motion);
  }
  // Guard against measuring a short cut: a device at rest or a frame without
  // readings returns identity row bands after a fraction of the work.
  if (rig.estimator->steady() || motion.rowBandRotation[63] == quaternionIdentity())
    state.SkipWithError("the frame took a short cut; this is not the cost of a moving device");
}
BENCHMARK(BM_EstimateFrameMotion);

void BM_StabilizerFrameCpuShare(benchmark::State& state) {
  Rig rig;
  OrvoFrameMotion motion;
  glm::quat inverted[OrvoFrameMotion::kRowBands];
  double tf = rig.estimator->lastFrameTimeStamp();
  for (auto _ : state) {
    tf += 1.0 / 30.0;
    rig.feedUntil(tf + 0.05);
    rig.estimator->setMirror(false);
    rig.estimator->estimateFrameMotion(&motion, tf, 1.0f);
    rig.estimator->filterRotation();
    rig.estimator->getInvertedIntraFrameMotion(inverted, &motion);
    benchmark::DoNotOptimize(inverted);
  }
}
BENCHMARK(BM_StabilizerFrameCpuShare);

void BM_EnqueueOneSample(benchmark::State& state) {
  OrvoMotionSampleRingBuffer ring;
  double t = 0.0;
  for (auto _ : state) {
    t += 0.01;
    ring.enqueueOneSample(0.1, -0.2, 0.05, t);
  }
  benchmark::DoNotOptimize(ring.hasValidGyroData());
}
BENCHMARK(BM_EnqueueOneSample);

}  // namespace
}  // namespace nudora
