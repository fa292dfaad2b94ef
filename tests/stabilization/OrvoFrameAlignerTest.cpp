#include "stabilization/OrvoFrameAligner.h"

#include <cmath>
#include <thread>

#include "GpuTestSupport.h"
#include "platform/Clock.h"
#include "platform/HostGyroSource.h"
#include "platform/KeyValueStore.h"
#include "platform/MotionManager.h"
#include "stabilization/OrvoCameraMotionEstimator.h"

namespace nudora {
namespace {

using Aligner = OrvoFrameAligner;

TEST(FrameAlignerCpu, DiffMapWeighting) {
  int32_t map[121];
  std::fill(map, map + 121, 70000);
  EXPECT_EQ(Aligner::correctionFromDiffMap(map), glm::vec2(0.0f)) << "equal scores";
  // A single zero score among very large ones pulls to that block's offset.
  for (auto [i, j] : {std::pair{9, 2}, std::pair{0, 10}, std::pair{5, 5}}) {
    std::fill(map, map + 121, 4000000);
    map[j * 11 + i] = 0;
    const glm::vec2 d = Aligner::correctionFromDiffMap(map);
    EXPECT_NEAR(d.x, i - 5, 1e-6) << "block " << i << "," << j;
    EXPECT_NEAR(d.y, j - 5, 1e-6) << "block " << i << "," << j;
  }
  const uint8_t bytes[4] = {0x10, 0x20, 0x30, 0x80};
  EXPECT_EQ(Aligner::scoreFromBytes(bytes), static_cast<int32_t>(0x80302010u)) << "a signed word";
}

// ---- On the GPU (ES 3 only) ----

// Detail at a few pixels' scale, different in each channel.
test::Picture detailedPicture(int w, int h) {
  test::Picture p{w, h, std::vector<uint8_t>(static_cast<size_t>(w) * h * 4, 255)};
  for (int i = 0; i < w * h * 4; ++i) {
    const int x = i / 4 % w, y = i / 4 / w, c = i % 4;
    const double v = 128 + 45 * std::sin(0.53 * x + 0.31 * y + c) + 35 * std::cos(0.19 * x - 0.47 * y + 2 * c) +
                     25 * std::sin(0.07 * (x + 2 * y));
    if (c < 3) p.rgba[i] = static_cast<uint8_t>(std::clamp(v, 0.0, 255.0));
  }
  return p;
}

// Where output position (u, v) samples the input under warp rotation q (sw, sh the picture's size in pixels).
glm::dvec2 warpSource(const glm::dquat& q, double u, double v, double sw, double sh, double f) {
  const glm::dvec3 r = q * glm::dvec3((u - 0.5) * sw, (0.5 - v) * sh, -f);
  return {0.5 + f * r.x / -r.z / sw, 0.5 - f * r.y / -r.z / sh};
}

class AlignerGpuTest : public test::GlContextTest {
 protected:
  void SetUp() override {
    GlContextTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    manager->setSource(gyro);
    est = std::make_shared<OrvoCameraMotionEstimator>(manager, std::make_shared<KeyValueStore>(folder.path));
    aligner = std::make_unique<Aligner>(est);
    ASSERT_TRUE(aligner->setupGL(context_.get()));
  }
  void TearDown() override {
    aligner.reset();
    est.reset();
    GlContextTest::TearDown();
  }
  void camera(int w, int h, float focalPx) {
    ASSERT_TRUE(est->setCameraParameters(OrvoCameraParameters::fromFocalLengthInPixels(focalPx, w, h, 0.0f, 0.0)));
  }
  void setCurQ(const glm::quat& q) {
    est->resetRotation();
    est->adjustMotion(quaternionInvert(q));
  }
  void frame(GLuint in, int w, int h, GLuint out) {
    aligner->process(SampleBuffer::create(PixelBuffer::create(w, h), 1.0), false, in, out, 1.0f);
  }

  test::TempDir folder;
  std::shared_ptr<HostGyroSource> gyro = std::make_shared<HostGyroSource>();
  std::shared_ptr<MotionManager> manager = std::make_shared<MotionManager>();
  std::shared_ptr<OrvoCameraMotionEstimator> est;
  std::unique_ptr<Aligner> aligner;
};

// Without the image comparison the warp renders the input through invert(curQ), one rotation for all rows.
TEST_P(AlignerGpuTest, WarpMatchesTheCpuReprojection) {
  const int W = 160, H = 120;
  const double focal = 140;
  camera(W, H, static_cast<float>(focal));
  aligner->setDigitalAdjustment(false);
  ASSERT_TRUE(aligner->enable());
  const glm::quat cur = quaternionNormalize(quaternionMake(0.012f, -0.008f, 0.03f, 1.0f));
  setCurQ(cur);
  const test::Picture input = detailedPicture(W, H);
  const GLuint out = texture({W, H, {}});
  frame(texture(input), W, H, out);
  const glm::dquat q = glm::conjugate(glm::dquat(cur.w, cur.x, cur.y, cur.z));
  const int compared = test::comparePicture(read(out, W, H), [&](int x, int y, int c) -> double {
    const glm::dvec2 s = warpSource(q, (x + 0.5) / W, (y + 0.5) / H, W, H, focal);
    const bool inside = s.x * W > 1 && s.x * W < W - 1 && s.y * H > 1 && s.y * H < H - 1;
    return c < 3 && inside ? input.sample(s.x, s.y, c) : NAN;
  }, 3.0, "aligner warp");
  EXPECT_GT(compared, W * H * 2);
}

// The reference is the input seen through a known candidate (3 right, 2 up, after a gyro rotation): the
// scores must be lowest there and the correction must land on it.
TEST_P(AlignerGpuTest, FindsAKnownMisalignment) {
  const int W = 320, H = 240, wantI = 8, wantJ = 3;
  const double focal = 1600, step = Aligner::kTestStep;
  camera(W, H, static_cast<float>(focal));
  ASSERT_TRUE(aligner->enable());
  const glm::quat start = quaternionNormalize(quaternionMake(0.001f, -0.0015f, 0.01f, 1.0f));
  setCurQ(start);
  const glm::dquat c = glm::normalize(glm::dquat(1.0, (wantI - 5) * step, (wantJ - 5) * step, 0.0));
  const glm::dquat rotation = c * glm::conjugate(glm::dquat(start.w, start.x, start.y, start.z));
  const test::Picture input = detailedPicture(W, H);
  const int RW = Aligner::kReferenceWidth, RH = Aligner::kReferenceHeight;
  std::vector<uint8_t> reference(static_cast<size_t>(RW) * RH * 4, 255);
  for (size_t i = 0; i < reference.size(); ++i) {
    if (i % 4 == 3) continue;
    const glm::dvec2 s = warpSource(rotation, (i / 4 % RW + 0.5) / RW, (i / 4 / RW + 0.5) / RH, W, H, focal);
    reference[i] = static_cast<uint8_t>(std::lround(input.sample(s.x, s.y, i % 4)));
  }
  glBindTexture(GL_TEXTURE_2D, aligner->refFrameTexture());
  glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
  glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, RW, RH, GL_RGBA, GL_UNSIGNED_BYTE, reference.data());

  frame(texture(input), W, H, texture({W, H, {}}));
  const auto& scores = aligner->diffMap();
  const int best = static_cast<int>(std::min_element(scores.begin(), scores.end()) - scores.begin());
  EXPECT_EQ(best % 11, wantI);
  EXPECT_EQ(best / 11, wantJ);
  EXPECT_LT(scores[best] * 4, scores[best + 1]) << "a clear minimum";
  // The warp rotation is now invert(curQ) = c * invert(start).
  const glm::dquat warp = glm::conjugate(glm::normalize(glm::dquat(est->getCurrentQ())));
  const glm::dquat error = warp * glm::conjugate(rotation);
  EXPECT_LT(std::hypot(error.x, error.y) / step, 0.15) << "within a sixth of a step of the candidate";
}

// A frame scored against itself: +c and -c must compare the same pairs of points, so the map is point-symmetric
// and the correction stays put. (Sampled one-sidedly, chance made them differ and every frame leaned alike.)
TEST_P(AlignerGpuTest, AFrameAgainstItselfScoresSymmetricallyAndStaysPut) {
  const int W = Aligner::kReferenceWidth, H = Aligner::kReferenceHeight;
  camera(W, H, 1300.0f);
  ASSERT_TRUE(aligner->enable());
  const GLuint input = texture(test::randomPicture(W, H, 11));
  aligner->updateReference(input);
  frame(input, W, H, texture({W, H, {}}));
  const auto& scores = aligner->diffMap();
  for (int n = 0; n < 121; ++n) {
    EXPECT_NEAR(scores[n], scores[120 - n], 0.002 * scores[n] + 16) << "candidate " << n % 11 << "," << n / 11;
  }
  EXPECT_EQ(scores[60], *std::min_element(scores.begin(), scores.end()));
  const glm::quat q = est->getCurrentQ();
  EXPECT_LT(std::hypot(q.x, q.y) / Aligner::kTestStep, 0.01);
}

TEST_P(AlignerGpuTest, UpdateReferenceWithoutDigitalAdjustmentOnlyResetsTheRotation) {
  camera(64, 48, 60);
  ASSERT_TRUE(aligner->enable());
  fill(aligner->refFrameTexture(), 0.2f, 0.4f, 0.6f, 1.0f);
  aligner->setDigitalAdjustment(false);
  setCurQ(quaternionNormalize(quaternionMake(0.01f, 0.0f, 0.0f, 1.0f)));
  aligner->updateReference(texture(test::randomPicture(64, 48, 5)));
  EXPECT_EQ(est->getCurrentQ(), quaternionIdentity());
  EXPECT_EQ(read(aligner->refFrameTexture(), 4, 4).at(1, 1, 1), 102) << "the reference is untouched";
  aligner->setDigitalAdjustment(true);
  aligner->updateReference(texture(test::randomPicture(64, 48, 5)));
  EXPECT_NE(read(aligner->refFrameTexture(), 4, 4).at(1, 1, 3), 0) << "now copied";
}

// With the gyro, enable waits for the first reading, and gives the gyro back when none comes in time.
TEST_P(AlignerGpuTest, EnableWaitsForTheFirstGyroReadingWithinItsBound) {
  aligner->setUseGyro(true);
  test::ConsoleCapture console;
  const double started = Clock::monotonic();
  EXPECT_FALSE(aligner->enable());
  EXPECT_NEAR(Clock::monotonic() - started, Aligner::kGyroWaitSeconds, 0.5);
  EXPECT_TRUE(console.saw("OrvoFrameAligner: no gyro reading within 2.0 s"));
  EXPECT_FALSE(est->enabled()) << "the share is handed back";
  EXPECT_EQ(aligner->refFrameTexture(), 0u);

  std::thread reading([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    gyro->push(0.0, 0.0, 0.1);
  });
  EXPECT_TRUE(aligner->enable());
  reading.join();
  EXPECT_TRUE(est->hasValidGyroData());
  EXPECT_NE(aligner->refFrameTexture(), 0u);
  aligner->disable();
  EXPECT_FALSE(est->enabled());
}

INSTANTIATE_TEST_SUITE_P(Api, AlignerGpuTest, ::testing::Values(3), test::apiName);

}  // namespace
}  // namespace nudora
