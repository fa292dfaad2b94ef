#include "multiframe/OrvoTimeDomainDenoising.h"

#include <cmath>
#include <random>

#include "GpuTestSupport.h"
#include "platform/KeyValueStore.h"
#include "platform/MotionManager.h"
#include "stabilization/OrvoCameraMotionEstimator.h"

namespace nudora {
namespace {

using Denoiser = OrvoTimeDomainDenoising;

class FakeGyro : public GyroSource {
 public:
  bool isAvailable() const override { return true; }
  bool start(double, Deliver) override { return true; }
  void stop() override {}
  std::string describe() const override { return "fake gyro"; }
};

// A denoiser over its own estimator (running gyro, no readings) and a clock
// the test moves by hand.
class DenoiserFixture {
 protected:
  DenoiserFixture() {
    manager->setSource(std::make_shared<FakeGyro>());
    estimator = std::make_shared<OrvoCameraMotionEstimator>(manager, std::make_shared<KeyValueStore>(folder.path));
    denoiser = std::make_unique<Denoiser>(estimator, [this] { return now; });
  }
  void camera(int w, int h, float focalPx) {
    ASSERT_TRUE(estimator->setCameraParameters(OrvoCameraParameters::fromFocalLengthInPixels(focalPx, w, h, 0, 0)));
  }
  // One frame's worth of the quality adaptation, `seconds` after the last.
  int frameAfter(double seconds) {
    now += seconds;
    denoiser->adaptQuality();
    return denoiser->degrade();
  }

  double now = 100.0;
  test::TempDir folder;
  std::shared_ptr<MotionManager> manager = std::make_shared<MotionManager>();
  std::shared_ptr<OrvoCameraMotionEstimator> estimator;
  std::unique_ptr<Denoiser> denoiser;
};

TEST(DenoiserCpu, HistoryInputsFollowTheRingNewestFirstWithSummedShifts) {
  std::array<glm::vec2, 8> motion;
  for (int k = 0; k < 8; ++k) motion[k] = {float(k + 1), 10.0f * float(k + 1)};
  auto inputs = Denoiser::historyInputs(motion, 0, 0);  // first frame: no history at all
  for (const auto& in : inputs) EXPECT_TRUE(in.slot == Denoiser::kCurrentFrame && in.shift == glm::vec2(0.0f));

  inputs = Denoiser::historyInputs(motion, 1, 1);  // second frame: slot 0 with this frame's shift
  EXPECT_EQ(inputs[0].slot, 0);
  EXPECT_EQ(inputs[0].shift, motion[1]);
  for (int i = 1; i < 7; ++i) EXPECT_TRUE(inputs[i].slot == Denoiser::kCurrentFrame && inputs[i].shift == glm::vec2(0));

  // Eighth frame and later, written into slot 2: slots 1, 0, 7 .. 3, never 2.
  inputs = Denoiser::historyInputs(motion, 2, 8);
  const int slots[7] = {1, 0, 7, 6, 5, 4, 3};
  glm::vec2 sum(0.0f);
  for (int i = 0; i < 7; ++i) {
    sum += motion[(2 - i + 8) % 8];
    EXPECT_EQ(inputs[i].slot, slots[i]) << i;
    EXPECT_EQ(inputs[i].shift, sum) << i;
  }
}

TEST(DenoiserCpu, ShiftsFollowTheContentAndBlurrinessCountsOnlyPanAndTilt) {
  // A pan left (about image y) moves the content right by tan(a) f, a tilt up
  // (about x) moves it down the rows: both shifts positive.
  const float a = 0.01f, f = 3.0f, sw = 4.0f, sh = 2.25f;
  const glm::quat pan = quaternionMake(0, std::sin(a / 2), 0, std::cos(a / 2));
  const glm::quat tilt = quaternionMake(std::sin(a / 2), 0, 0, std::cos(a / 2));
  EXPECT_NEAR(Denoiser::motionFromRotation(pan, sw, sh, f).x, std::tan(a) * f / sw, 1e-6);
  EXPECT_NEAR(Denoiser::motionFromRotation(pan, sw, sh, f).y, 0.0, 1e-7);
  EXPECT_NEAR(Denoiser::motionFromRotation(tilt, sw, sh, f).y, std::tan(a) * f / sh, 1e-6);
  EXPECT_NEAR(Denoiser::motionFromRotation(tilt, sw, sh, f).x, 0.0, 1e-7);

  EXPECT_FLOAT_EQ(Denoiser::blurrinessForRotationRate({0.3 * 0.6, 0.3 * 0.8, 0.0}), 1.0f);
  EXPECT_FLOAT_EQ(Denoiser::blurrinessForRotationRate({0.0, 0.0, 4.0}), 0.0f);
  EXPECT_NEAR(Denoiser::blurrinessForRotationRate({0.06, -0.08, 1.0}), 0.5f, 1e-6);
}

class DenoiserState : public DenoiserFixture, public ::testing::Test {};

TEST_F(DenoiserState, QualityLevelMovesOnlyBeyondThe37And36MillisecondBand) {
  ASSERT_TRUE(denoiser->enable());
  for (int n = 0; n < 16; ++n) ASSERT_EQ(frameAfter(0.037), 0) << "an average of exactly 37 ms is not too slow";
  EXPECT_EQ(frameAfter(0.0371), 1);
  EXPECT_EQ(frameAfter(0.0369), 1) << "back to exactly 37 ms";
  for (int n = 0; n < 8; ++n) ASSERT_EQ(frameAfter(0.036), 1) << "down to exactly 36 ms: " << n;
  EXPECT_EQ(frameAfter(0.0359), 0);
  EXPECT_EQ(frameAfter(0.5), 1) << "one level a frame";
  EXPECT_EQ(frameAfter(0.5), 2);
  EXPECT_EQ(frameAfter(0.5), 2) << "at most 2";

  denoiser->setAutoDegrade(false);
  EXPECT_EQ(frameAfter(0.5), 0) << "without adaptation always full quality";
  denoiser->setAutoDegrade(true);
  denoiser->disable();
  ASSERT_TRUE(denoiser->enable());
  EXPECT_EQ(frameAfter(0.033), 0) << "enable restarts the statistics";
}

// ---- On the GPU (ES 3 only) ----

// Bytes in 40..215 so that the noise is never clipped; opaque.
test::Picture cleanPicture(int w, int h, uint32_t seed) {
  test::Picture p = test::randomPicture(w, h, seed);
  for (size_t i = 0; i < p.rgba.size(); ++i) p.rgba[i] = i % 4 == 3 ? 255 : 40 + p.rgba[i] * 175 / 255;
  return p;
}

// The picture moved by (dx, dy) whole texels (content goes right and down),
// with Gaussian noise of sigma levels (Box-Muller: the same on every library).
test::Picture noisyCopy(const test::Picture& p, int dx, int dy, double sigma, uint32_t seed) {
  std::mt19937 rng(seed);
  auto uniform = [&] { return (rng() + 0.5) / 4294967296.0; };
  test::Picture out = p;
  for (size_t i = 0; i < out.rgba.size(); ++i) {
    const int x = i / 4 % p.width, y = i / 4 / p.width, c = i % 4;
    const double n = sigma * std::sqrt(-2 * std::log(uniform())) * std::cos(6.283185307 * uniform());
    if (c < 3) out.rgba[i] = static_cast<uint8_t>(std::clamp(std::lround(p.at(x - dx, y - dy, c) + n), 0L, 255L));
  }
  return out;
}

// RMS difference of the colour channels inside a border of `margin` texels.
double rmsError(const test::Picture& a, const test::Picture& b, int margin) {
  double sum = 0;
  int n = 0;
  for (int y = margin; y < a.height - margin; ++y) {
    for (int x = margin; x < a.width - margin; ++x) {
      for (int c = 0; c < 3; ++c) sum += std::pow(a.at(x, y, c) - b.at(x, y, c), 2), ++n;
    }
  }
  return std::sqrt(sum / n);
}

class DenoiserGpuTest : public DenoiserFixture, public test::GlContextTest {
 protected:
  void SetUp() override {
    GlContextTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    ASSERT_TRUE(denoiser->setupGL());
    ASSERT_TRUE(denoiser->enable());
  }
  void TearDown() override {
    denoiser.reset();
    GlContextTest::TearDown();
  }
  // Denoises frame (the motion set before) and reads the result back.
  test::Picture run(const test::Picture& frame) {
    const GLuint out = texture({frame.width, frame.height, {}});
    EXPECT_TRUE(denoiser->process(texture(frame), frame.width, frame.height, out));
    return read(out, frame.width, frame.height);
  }
};

// A still camera over a still picture: eight noisy frames average towards
// the clean picture, far below the noise, with no texel far off.
TEST_P(DenoiserGpuTest, StaticNoisySequenceConvergesTowardsTheCleanPicture) {
  const test::Picture clean = cleanPicture(64, 48, 1);
  test::Picture got;
  for (int k = 0; k < 8; ++k) {
    denoiser->setMotion(quaternionIdentity(), 1.0f);
    got = run(noisyCopy(clean, 0, 0, 10.0, 100 + k));
  }
  EXPECT_LT(rmsError(got, clean, 0), 10.0 / 2) << "at least 6 dB below the noise";
  // No texel stays 3 sigma off (dozens of the input values are).
  test::comparePicture(got, [&](int x, int y, int c) { return c == 3 ? 255.0 : clean.at(x, y, c); }, 30.0, "static");
  EXPECT_EQ(denoiser->numTex(), 8);
  EXPECT_EQ(denoiser->wrPos(), 0);
}

// The content moves 2 texels right a frame and the gyro says so: history fetched
// where the content was averages the noise away (about 4 levels, 10 if misaligned).
TEST_P(DenoiserGpuTest, GyroShiftedHistoryLinesUpWithThePanningPicture) {
  const int W = 64, H = 48;
  const float focal = 60.0f;
  camera(W, H, focal);
  const float half = std::atan(2.0f / focal) / 2;  // tan(a) f = 2 texels
  const test::Picture clean = cleanPicture(W, H, 2);
  test::Picture got;
  for (int k = 0; k < 8; ++k) {
    denoiser->setMotion(quaternionMake(0, std::sin(half), 0, std::cos(half)), 1.0f);
    got = run(noisyCopy(clean, 2 * k, 0, 10.0, 200 + k));
  }
  const test::Picture want = noisyCopy(clean, 14, 0, 0.0, 0);  // the left 16 texels have no history
  EXPECT_LT(rmsError(got, want, 16), 10.0 / 2) << "history misaligned";
}

// An edge moves 3 texels a frame under a still camera: differing history is
// rejected, so no ghost shows at high or low contrast.
TEST_P(DenoiserGpuTest, MovingEdgeLeavesNoGhost) {
  for (int contrast : {160, 60}) {
    SCOPED_TRACE(contrast);
    ASSERT_TRUE(denoiser->setupGL());  // a fresh history
    auto edgeAt = [&](int edge) {
      test::Picture p{48, 16, std::vector<uint8_t>(48 * 16 * 4, 255)};
      for (size_t i = 0; i < p.rgba.size(); ++i)
        if (i % 4 < 3) p.rgba[i] = static_cast<uint8_t>(static_cast<int>(i / 4 % 48) < edge ? 60 : 60 + contrast);
      return p;
    };
    test::Picture frame, got;
    for (int k = 0; k < 8; ++k) {
      denoiser->setMotion(quaternionIdentity(), 1.0f);
      frame = edgeAt(10 + 3 * k);
      got = run(frame);
    }
    test::comparePicture(got, [&](int x, int y, int c) { return double(frame.at(x, y, c)); }, 2.0, "edge");
  }
}

TEST_P(DenoiserGpuTest, NewSizeStartsAFreshHistoryAndDisableFreesIt) {
  for (int k = 0; k < 3; ++k) run(cleanPicture(32, 24, 3));
  EXPECT_EQ(denoiser->numTex(), 3);
  const test::Picture fresh = cleanPicture(40, 24, 4);
  const test::Picture got = run(fresh);
  EXPECT_EQ(denoiser->curWidth(), 40);
  EXPECT_EQ(denoiser->numTex(), 1);
  EXPECT_EQ(denoiser->wrPos(), 1);
  // All history is the frame itself: nothing of the 32 x 24 frames shows.
  test::comparePicture(got, [&](int x, int y, int c) { return double(fresh.at(x, y, c)); }, 8.0, "after resize");

  denoiser->disable();
  EXPECT_FALSE(estimator->enabled()) << "the gyro is handed back";
  for (GLuint t : denoiser->bufTex()) EXPECT_EQ(t, 0u);
  EXPECT_FALSE(denoiser->process(texture(fresh), 40, 24, texture({40, 24, {}}))) << "off";
}

INSTANTIATE_TEST_SUITE_P(Api, DenoiserGpuTest, ::testing::Values(3), test::apiName);

}  // namespace
}  // namespace nudora
