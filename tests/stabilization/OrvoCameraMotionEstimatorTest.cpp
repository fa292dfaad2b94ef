#include "stabilization/OrvoCameraMotionEstimator.h"

#include <cmath>
#include <functional>

#include "TestSupport.h"
#include "platform/Clock.h"
#include "platform/KeyValueStore.h"
#include "platform/MotionManager.h"
#include "stabilization/OrvoMotionSampleRingBuffer.h"

namespace nudora {
namespace {

using test::expectXyz;

class FakeGyroSource : public GyroSource {
 public:
  bool available = true;
  int starts = 0, stops = 0;
  Deliver deliver;
  bool isAvailable() const override { return available; }
  bool start(double, Deliver d) override {
    ++starts;
    deliver = std::move(d);
    return true;
  }
  void stop() override {
    ++stops;
    deliver = nullptr;
  }
  std::string describe() const override { return "fake gyro"; }
};

glm::dquat axisAngle(glm::dvec3 axis, double angle) { return glm::angleAxis(angle, glm::normalize(axis)); }

// Angle in radians of the rotation taking want to got.
double angleBetween(const glm::quat& got, const glm::dquat& want) {
  const glm::dquat d = glm::conjugate(want) * glm::dquat(got);
  return 2.0 * std::atan2(glm::length(glm::dvec3(d.x, d.y, d.z)), std::fabs(d.w));
}

// Device rates for an image-axis rate (rear camera): image (x, y, z) = device (-y, x, z).
glm::dvec3 deviceFromImage(glm::dvec3 image) { return {image.y, -image.x, image.z}; }

class EstimatorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    manager->setSource(source);
    Clock::startVirtual(t0);
    OrvoCameraMotionEstimator::setCalibrationHoldOffForTesting(0);
    est = std::make_unique<OrvoCameraMotionEstimator>(manager, store);
    ASSERT_TRUE(est->setCameraParameters(OrvoCameraParameters{4.0f, 4.8f, 3.6f, 1.0f, 0.75f, 0.032f, 0.01}));
  }
  void TearDown() override {
    est.reset();
    Clock::stopVirtual();
  }
  OrvoMotionSampleRingBuffer& ring() { return *est->motionSampleRingBuffer(); }
  // Rest readings 10 ms apart (image axes, mean plus a repeating pattern); answers the stored mean.
  glm::dvec3 rest(int count, glm::dvec3 mean, double start, double spread = 0.003) {
    const double p[3] = {-spread, 0.0, spread};
    glm::dvec3 sum(0.0);
    for (int i = 0; i < count; ++i) {
      const glm::dvec3 d = deviceFromImage(mean + glm::dvec3(p[i % 3], p[(i + 1) % 3], p[(i + 2) % 3]));
      ring().enqueueOneSample(d.x, d.y, d.z, start + i * 0.01);
      sum += glm::dvec3(static_cast<float>(-d.y), static_cast<float>(d.x), static_cast<float>(d.z));
    }
    return sum / static_cast<double>(count);
  }
  // Writes readings every 10 ms up to tEnd, rates in image axes.
  void feedUntil(double tEnd, const std::function<glm::dvec3(double)>& imageRate) {
    for (; nextSample <= tEnd; nextSample += 0.01) {
      const glm::dvec3 d = deviceFromImage(imageRate(nextSample));
      ring().enqueueOneSample(d.x, d.y, d.z, nextSample);
    }
  }

  const double t0 = 1000.0;
  double nextSample = t0 - 0.5;
  test::TempDir folder;
  test::ConsoleCapture console;
  std::shared_ptr<KeyValueStore> store = std::make_shared<KeyValueStore>(folder.path);
  std::shared_ptr<FakeGyroSource> source = std::make_shared<FakeGyroSource>();
  std::shared_ptr<MotionManager> manager = std::make_shared<MotionManager>();
  std::unique_ptr<OrvoCameraMotionEstimator> est;
};

TEST_F(EstimatorTest, EnableAndDisableAreReferenceCounted) {
  est->setMirror(true);
  EXPECT_TRUE(ring().mirror());
  ring().enqueueOneSample(0.1, 0.1, 0.1, 1.0);
  est->adjustMotion(quaternionMake(0.1f, 0.0f, 0.0f, 1.0f));
  ASSERT_TRUE(est->enable());
  EXPECT_TRUE(est->enable());
  EXPECT_EQ(source->starts, 1);
  EXPECT_TRUE(est->enabled() && manager->isGyroActive());
  EXPECT_FALSE(ring().hasValidGyroData());  // start-up empties the ring and its mirror
  EXPECT_FALSE(ring().mirror());
  EXPECT_EQ(est->getCurrentQ(), quaternionIdentity());
  EXPECT_EQ(est->lastFrameTimeStamp(), t0);

  est->disable();
  EXPECT_TRUE(manager->isGyroActive());
  est->disable();
  EXPECT_FALSE(manager->isGyroActive() || est->enabled());
  EXPECT_EQ(source->stops, 1);
  EXPECT_EQ(console.count("Unbalanced disabling OrvoCameraMotionEstimator"), 0);
  est->disable();
  EXPECT_EQ(console.count("Unbalanced disabling OrvoCameraMotionEstimator"), 1);
}

TEST_F(EstimatorTest, WithoutGyroEnableFailsOnceAndFramesGetNoMotion) {
  source->available = false;
  EXPECT_FALSE(est->enable());
  EXPECT_EQ(console.count("Gyro is not available on this device."), 1);
  EXPECT_TRUE(est->enable());  // the failed call still counted
  EXPECT_EQ(source->starts, 0);
  OrvoFrameMotion m;
  m.frameRotation = quaternionMake(1, 2, 3, 4);
  EXPECT_FALSE(est->estimateFrameMotion(&m, t0 + 0.1, 1.0f));
  EXPECT_EQ(m.frameRotation, quaternionMake(1, 2, 3, 4));
  est->disable();
  est->disable();
  EXPECT_EQ(console.count("Unbalanced disabling OrvoCameraMotionEstimator"), 0);
}

TEST_F(EstimatorTest, HandlerStampsArrivalTimeOnTheUptimeClock) {
  ASSERT_TRUE(est->enable());
  Clock::setVirtualTime(t0 + 0.25);
  source->deliver(GyroData{3.0, 0.1, 0.2, 0.3});  // the reading's own stamp is ignored
  manager->waitUntilDelivered();
  Clock::setVirtualTime(t0 + 0.26);
  est->handleGyroData(nullptr, nullptr);
  OrvoMotionSample raw[256];
  ASSERT_EQ(ring().getAllRawSamplesInto(raw), 2);
  EXPECT_EQ(raw[0].timestamp, t0 + 0.25);
  expectXyz(raw[0], -0.2f, 0.1f, 0.3f, 0.0);
  EXPECT_EQ(raw[1].timestamp, t0 + 0.26);
  EXPECT_EQ(raw[1].x, 0.0f);
}

// A rate 1 + 20 (t - ts) rising through the readout: band k holds step k + 10 (step k)^2, exact when sampled
// mid-band. At zoom 2 the rows are read in half the readout, a quarter late: step 0.032 / 2 / 64.
TEST_F(EstimatorTest, RowBandsFollowARisingRate) {
  ASSERT_TRUE(est->enable());
  const glm::dvec3 axis = glm::normalize(glm::dvec3(0.3, -0.5, 0.8));
  const double tf = t0 + 0.2, shifted = tf + 0.002;
  feedUntil(t0 + 0.4, [&](double t) { return axis * (1.0 + 20.0 * std::clamp(t - shifted, -0.05, 0.1)); });
  OrvoFrameMotion m;
  ASSERT_TRUE(est->estimateFrameMotion(&m, tf, 2.0f));
  EXPECT_FALSE(est->steady());
  const double band = 0.032 / 2 / 64;
  glm::dquat want[64];
  for (int k = 0; k < 64; ++k) {
    want[k] = axisAngle(axis, band * k + 10.0 * (band * k) * (band * k));
    ASSERT_LT(angleBetween(m.rowBandRotation[k], want[k]), 3e-6) << "band " << k;
  }
  // The stabiliser's lookup rotations, after a correction about another axis so the product order shows.
  est->adjustMotion(quaternionMake(0.0f, 0.0f, 0.1f, 1.0f));
  glm::quat inv[64];
  est->getInvertedIntraFrameMotion(inv, &m);
  for (int k = 0; k < 64; k += 9)
    EXPECT_LT(angleBetween(inv[k], glm::conjugate(glm::dquat(est->getCurrentQ()) * want[k])), 3e-6) << "band " << k;
}

// A sin(2 pi f t) about a fixed axis plus a zero drift to take off, over 300 frames (four ring lengths):
// the rotation must follow A / (2 pi f) (1 - cos(2 pi f t)) at the frame time plus the delay shift (0.005 s
// at zoom 1.5). Integration errs by <= 8.8e-5 rad; a wrong shift errs by 1e-3, a drift left in by 0.2 rad.
TEST_F(EstimatorTest, SinusoidalRateIntegratesToClosedFormOverManyFrames) {
  ASSERT_TRUE(est->setCameraParameters(OrvoCameraParameters{4.0f, 4.8f, 3.6f, 1.0f, 0.75f, 0.03f, 0.01}));
  ASSERT_TRUE(est->enable());
  const OrvoRotationRate drift{0.02, -0.01, 0.005};
  est->setGyroZeroDrift(drift);
  const double amplitude = 1.2, omega = 2 * M_PI * 0.7;
  const glm::dvec3 axis = glm::normalize(glm::dvec3(-0.6, 0.48, 0.64)), bias(drift.x, drift.y, drift.z);
  const double offset = 0.005;
  auto angleAt = [&](double t) { return amplitude / omega * (1 - std::cos(omega * (t - t0))); };
  auto rate = [&](double t) { return axis * (amplitude * std::sin(omega * (t - t0))) + bias; };

  OrvoFrameMotion m;
  double worst = 0.0;
  for (int n = 1; n <= 300; ++n) {
    const double tf = t0 + n / 30.0;
    feedUntil(tf + 0.1, rate);
    ASSERT_TRUE(est->estimateFrameMotion(&m, tf, 1.5f));
    const glm::dquat want = axisAngle(axis, angleAt(tf + offset) - angleAt(t0 + offset));
    worst = std::max({worst, angleBetween(est->getCurrentQ(), want), angleBetween(m.frameRotation, want)});
  }
  EXPECT_LT(worst, 1.5e-4);
}

TEST_F(EstimatorTest, HalfTurnOrMoreIsDroppedAndTooFewReadingsGiveIdentity) {
  ASSERT_TRUE(est->enable());
  const glm::dvec3 spin(0.0, 0.0, 4.9);
  feedUntil(t0 + 1.5, [&](double) { return spin; });
  OrvoFrameMotion m;
  ASSERT_TRUE(est->estimateFrameMotion(&m, t0 + 0.6, 1.0f));  // 2.94 rad: kept
  // Each step quaternion (r dt / 2, 1) falls short by (r dt)^3 / 12: 6e-4 rad over 60 readings.
  EXPECT_LT(angleBetween(est->getCurrentQ(), axisAngle(spin, 4.9 * 0.6)), 1e-3);
  est->resetRotation();
  ASSERT_TRUE(est->estimateFrameMotion(&m, t0 + 1.3, 1.0f));  // 3.43 rad: dropped
  EXPECT_EQ(est->getCurrentQ(), quaternionIdentity());
  EXPECT_EQ(m.frameRotation, quaternionIdentity());

  // A stalled handler: three readings, too few before the frame.
  ring().reset();
  nextSample = t0 + 1.35;
  feedUntil(t0 + 1.37, [&](double t) { return glm::dvec3(t - t0, 0.3, 0.0); });
  est->adjustMotion(quaternionMake(0.05f, 0.0f, 0.0f, 1.0f));
  const glm::quat before = est->getCurrentQ();
  m.rowBandRotation[5] = quaternionMake(1, 1, 1, 1);
  ASSERT_TRUE(est->estimateFrameMotion(&m, t0 + 1.4, 1.0f));
  EXPECT_EQ(est->getCurrentQ(), before);
  EXPECT_EQ(m.frameRotation, quaternionIdentity());
  EXPECT_EQ(m.rowBandRotation[5], quaternionIdentity());
}

TEST_F(EstimatorTest, CalibratesAtRestOnceThenHoldsOffAndKeepsZ) {
  ASSERT_TRUE(est->enable());
  const glm::dvec3 first(0.01, -0.02, 0.004), second(0.03, 0.01, -0.006);
  const glm::dvec3 mean = rest(120, first, t0);
  OrvoFrameMotion m;
  m.frameRotation = quaternionMake(1, 2, 3, 4);
  ASSERT_TRUE(est->estimateFrameMotion(&m, t0 + 1.2, 1.0f));
  EXPECT_TRUE(est->steady());
  EXPECT_EQ(m.frameRotation, quaternionMake(1, 2, 3, 4));  // at rest only the row bands are written
  EXPECT_EQ(m.rowBandRotation[63], quaternionIdentity());
  ASSERT_TRUE(est->calibrated());
  expectXyz(est->gyroZeroDrift(), mean.x, mean.y, mean.z, 1e-12);
  OrvoCameraMotionEstimator fresh(manager, std::make_shared<KeyValueStore>(folder.path));  // stored and reread
  EXPECT_TRUE(fresh.calibrated());
  expectXyz(fresh.gyroZeroDrift(), mean.x, mean.y, mean.z, 1e-12);

  rest(256, second, t0 + 2);
  for (int frame = 0; frame < 256; ++frame) ASSERT_TRUE(est->estimateFrameMotion(&m, t0 + 5 + frame * 0.03, 1.0f));
  EXPECT_NEAR(est->gyroZeroDrift().x, mean.x, 1e-12) << "recalibrated inside the hold-off";
  ASSERT_TRUE(est->estimateFrameMotion(&m, t0 + 20, 1.0f));
  expectXyz(est->gyroZeroDrift(), second.x, second.y, mean.z, 5e-5);  // the pattern leaves 1.2e-5 in 256
  EXPECT_EQ(KeyValueStore(folder.path).doubleForKey("gyroZeroDriftZ"), est->gyroZeroDrift().z);
}

TEST_F(EstimatorTest, CalibrationNeedsSpreadEnoughReadingsAndSmallMean) {
  ASSERT_TRUE(est->enable());
  OrvoFrameMotion m;
  auto fill = [&](int count, glm::dvec3 mean, double spread) {
    ring().reset();
    rest(count, mean, t0, spread);
  };
  fill(200, {0.01, 0.01, 0.01}, 0.0);  // a frozen stream: sd exactly 0
  ASSERT_TRUE(est->estimateFrameMotion(&m, t0 + 3, 1.0f));
  fill(200, {0.05, 0.03, 0.01}, 0.003);  // mean too large: 0.09
  ASSERT_TRUE(est->estimateFrameMotion(&m, t0 + 3.1, 1.0f));
  fill(200, {0.01, 0.01, 0.01}, 0.02);  // sd = sqrt(2) * 0.02 = 0.028: not at rest
  ASSERT_TRUE(est->estimateFrameMotion(&m, t0 + 3.15, 1.0f));
  EXPECT_FALSE(est->steady());
  fill(80, {0.01, 0.01, 0.01}, 0.003);
  ASSERT_TRUE(est->estimateFrameMotion(&m, t0 + 3.2, 1.0f));
  EXPECT_FALSE(est->calibrated());
  EXPECT_FALSE(store->stringForKey("gyroZeroDriftX").has_value());
  ring().enqueueOneSample(0.01, -0.01, 0.01, t0 + 0.8);  // the 81st
  ASSERT_TRUE(est->estimateFrameMotion(&m, t0 + 3.3, 1.0f));
  EXPECT_TRUE(est->calibrated());
}

// Sets curQ to a unit quaternion through adjustMotion from identity.
void setCurQ(OrvoCameraMotionEstimator& est, float x, float y, float z) {
  est.resetRotation();
  est.adjustMotion(quaternionMake(-x, -y, -z, std::sqrt(1.0f - x * x - y * y - z * z)));
}

TEST_F(EstimatorTest, FilterRotationShrinksClampsAndReportsDeductedPart) {
  struct Case {
    float x, y, z;
    double wantX, wantY, wantZ;  // before renormalisation
    bool capped, almost;
  } cases[] = {
      {0.03f, 0.0f, 0.0f, 0.023, 0.0, 0.0, true, true},                  // 0.0255 clamped to the cap
      {0.0f, -0.02f, 0.01f, 0.0, -0.018, 0.01 * 0.98, true, false},      // 10 % off, z with gain 2
      {0.0008f, 0.0f, -0.03f, 0.0008 * 0.996, 0.0, -0.023, false, false},  // inside the 0.001 margin
  };
  for (const Case& c : cases) {
    setCurQ(*est, c.x, c.y, c.z);
    const glm::quat q0 = est->getCurrentQ();
    EXPECT_EQ(est->rotationAlmostCapped(), std::fabs(c.x) > 0.02185f || std::fabs(c.y) > 0.02185f);
    EXPECT_EQ(est->filterRotation(), c.capped) << "case x=" << c.x;
    const double len = std::sqrt(c.wantX * c.wantX + c.wantY * c.wantY + c.wantZ * c.wantZ + q0.w * q0.w);
    const glm::quat q = est->getCurrentQ();
    expectXyz(q, c.wantX / len, c.wantY / len, c.wantZ / len, 2e-6, "case x=" + std::to_string(c.x));
    EXPECT_EQ(est->rotationAlmostCapped(), c.almost);
    // What was taken off, put back on, restores the rotation before filtering.
    const glm::dquat restored = glm::dquat(est->rotationDeducted()) * glm::dquat(q);
    EXPECT_LT(angleBetween(q0, restored), 1e-6);
  }
}

TEST_F(EstimatorTest, NauticalAnglesOfSingleAxisRotations) {
  const double a = 0.3;
  for (int axis = 0; axis < 3; ++axis) {
    glm::dvec3 v(0.0);
    v[axis] = 1.0;
    const glm::dquat q = axisAngle(v, a);
    est->resetRotation();
    est->adjustMotion(quaternionMake(-q.x, -q.y, -q.z, q.w));
    // The first angle turns about y, the second about x, the third about z.
    expectXyz(est->getNauticalAngles(), axis == 1 ? a : 0.0, axis == 0 ? a : 0.0, axis == 2 ? a : 0.0, 1e-6,
              "axis " + std::to_string(axis));
  }
}

}  // namespace
}  // namespace nudora
