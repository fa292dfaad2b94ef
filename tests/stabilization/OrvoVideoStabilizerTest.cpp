#include "stabilization/OrvoVideoStabilizer.h"

#include <cmath>
#include <map>
#include <random>

#include "GpuTestSupport.h"
#include "platform/Clock.h"
#include "platform/HostGyroSource.h"
#include "platform/KeyValueStore.h"
#include "platform/MotionManager.h"
#include "platform/SampleBuffer.h"
#include "stabilization/OrvoCameraMotionEstimator.h"
#include "stabilization/OrvoMotionSampleRingBuffer.h"

namespace nudora {
namespace {

using Stab = OrvoVideoStabilizer;
using Digits = std::array<uint8_t, 3>;

TEST(StabilizerCpu, EncodingTruncatesDigitsAndRoundTripsWithinTheLastOne) {
  EXPECT_EQ(Stab::encodeQuaternionComponent(-0.5f, true), (Digits{0, 0, 0}));
  EXPECT_EQ(Stab::encodeQuaternionComponent(0.0f, true), (Digits{127, 127, 127}));
  EXPECT_EQ(Stab::encodeQuaternionComponent(1.0f, false), (Digits{255, 0, 0}));
  EXPECT_EQ(Stab::encodeQuaternionComponent(0.7f, true), (Digits{255, 0, 0})) << "saturates, never wraps";
  std::mt19937 rng(7);
  std::uniform_real_distribution<float> half(-0.5f, 0.5f);
  for (int n = 0; n < 2000; ++n) {
    const float x = half(rng), w = x + 0.5f;
    for (auto [digits, want] : {std::pair{Stab::encodeQuaternionComponent(x, true), x + 0.5},
                                std::pair{Stab::encodeQuaternionComponent(w, false), double{w}}}) {
      const double error = digits[0] / 255.0 + digits[1] / 65025.0 + digits[2] / 16581375.0 - want;
      ASSERT_TRUE(error <= 1e-15 && error > -1.0 / 16581375.0) << "value " << want << " error " << error;
    }
  }
  glm::quat bands[64];
  std::fill(bands, bands + 64, quaternionIdentity());
  bands[9] = quaternionMake(-0.5f, 0.0f, 0.25f, 0.5f);
  const auto images = Stab::encodeLookupTextures(bands);  // texture per component, texel per band
  EXPECT_EQ(images[0][9 * 4] + images[2][9 * 4] + images[3][9 * 4] + images[3][8 * 4], 0 + 191 + 127 + 255);
}

TEST(StabilizerCpu, DiffMapWeightingShakeAndReferenceTimer) {
  uint32_t map[81];
  std::fill(map, map + 81, 5000u);
  EXPECT_EQ(Stab::correctionFromDiffMap(map), glm::dvec2(0.0)) << "equal scores";
  std::fill(map, map + 81, 1000u);
  map[1 * 9 + 6] = 10;  // column 6, row 1: candidate (+2, -3)
  EXPECT_NEAR(Stab::correctionFromDiffMap(map).x, 2.0, 1e-5);
  EXPECT_NEAR(Stab::correctionFromDiffMap(map).y, -3.0, 1e-5);
  const uint8_t bytes[4] = {0x10, 0x20, 0x30, 0x40};
  EXPECT_EQ(Stab::scoreFromBytes(bytes), 0x40302010u);

  float shake = Stab::updatedShakeStrength(0.0f, {0.3, -0.4, 9.0});  // |(x, y)| = 0.5 capped, z ignored
  EXPECT_FLOAT_EQ(shake, 0.25f);
  for (int n = 0; n < 10; ++n) shake = Stab::updatedShakeStrength(shake, {0.01, 0.0, 0.0});
  EXPECT_NEAR(shake, 0.25 * std::pow(0.9, 10), 1e-6);
  EXPECT_FLOAT_EQ(Stab::updatedShakeStrength(shake, {0.06, 0.08, 0.0}), 0.1f);

  for (int cappedFrame : {0, 10}) {
    uint32_t timer = 0;
    std::vector<int> refreshed;
    for (int frame = 1; frame <= 95; ++frame) {
      if (Stab::stepReferenceTimer(&timer, true, frame == cappedFrame)) refreshed.push_back(frame);
    }
    EXPECT_EQ(refreshed, (cappedFrame ? std::vector<int>{10, 30, 60, 90} : std::vector<int>{30, 60, 90}));
  }
  uint32_t timer = 0;
  for (int frame = 1; frame <= 40; ++frame) EXPECT_FALSE(Stab::stepReferenceTimer(&timer, false, true));
  EXPECT_EQ(timer, 30u) << "without refinement the timer climbs to 30 and stays";
}

using PixelSet = std::map<std::pair<int, int>, uint32_t>;

PixelSet drawnPixels(const uint8_t* buffer) {
  PixelSet set;
  for (int i = 0; i < 480 * 270; ++i) {
    const uint8_t* p = buffer + i * 4;
    if (const uint32_t word = p[0] | p[1] << 8 | p[2] << 16 | uint32_t{p[3]} << 24) set[{i % 480, i / 480}] = word;
  }
  return set;
}

TEST(StabilizerCpu, MarkerPixelsForIdentity) {
  const float f = 4.12f, sw = 4.896f * 0.85f, sh = 3.672f * 0.75f * 0.85f, cap = 0.023f;
  std::vector<uint8_t> buffer(480 * 270 * 4, 0);
  Stab::drawStabilizationMarker(buffer.data(), quaternionIdentity(), 0.0f, cap, sw, sh, f, 1.0f);
  PixelSet want;
  for (int x = 234; x <= 247; ++x) want[{x, 135}] = want[{x, 136}] = Stab::kMarkerCrossColor;
  for (int y = 129; y <= 142; ++y) want[{240, y}] = want[{241, y}] = Stab::kMarkerCrossColor;
  want[{240, 135}] = Stab::kMarkerRectangleColor;  // the dead zone of 0 collapses to the centre
  // The limit (cap, cap, 0, 1) turns the view up and left: 218..262 x 113..157.
  const glm::dvec3 v = glm::normalize(glm::dquat(1.0, cap, cap, 0.0)) * glm::dvec3(0, 0, -1);
  const double px = v.x / -v.z * f / sw, py = v.y / -v.z * f / sh;
  const int left = int((px + 0.5) * 480 + 0.5), right = int((0.5 - px) * 480 + 0.5);
  const int top = int((0.5 - py) * 270 + 0.5), bottom = int((py + 0.5) * 270 + 0.5);
  ASSERT_EQ(glm::ivec4(left, right, top, bottom), glm::ivec4(218, 262, 113, 157));
  for (int x = left; x <= right; ++x) want[{x, top}] = want[{x, bottom}] = Stab::kMarkerRectangleColor;
  for (int y = top; y <= bottom; ++y) want[{left, y}] = want[{right, y}] = Stab::kMarkerRectangleColor;
  EXPECT_EQ(drawnPixels(buffer.data()), want);
}

TEST(StabilizerCpu, MarkerNeverWritesOutsideTheBufferOrAcrossRows) {
  const size_t guard = 4096, size = 480 * 270 * 4;
  std::vector<uint8_t> memory(size + 2 * guard, 0xAB);
  uint8_t* buffer = memory.data() + guard;
  auto draw = [&](const glm::quat& q, float l0, float cap, float zoom) {
    std::fill(buffer, buffer + size, 0);
    Stab::drawStabilizationMarker(buffer, q, l0, cap, 1.0f, 1.0f, 1.0f, zoom);  // f = sw: px = -tan(angle)
    for (size_t i = 0; i < guard; ++i) EXPECT_TRUE(memory[i] == 0xAB && memory[guard + size + i] == 0xAB);
    return drawnPixels(buffer);
  };
  auto turnedY = [](double px) {
    const double half = std::atan(-px) / 2;
    return quaternionMake(0.0f, static_cast<float>(std::sin(half)), 0.0f, static_cast<float>(std::cos(half)));
  };
  PixelSet got = draw(turnedY(0.4985), 0.0f, 0.023f, 1.0f);  // cross at column 479
  EXPECT_EQ(got.count({479, 135}) + got.count({473, 136}) + got.count({479, 142}), 3u);
  EXPECT_EQ(got.count({0, 135}) + got.count({0, 136}) + got.count({0, 137}), 0u) << "wrapped into the next row";
  got = draw(turnedY(-0.51), 0.0f, 0.023f, 1.0f);  // cross at column -4
  EXPECT_EQ(got.count({0, 135}) + got.count({3, 136}), 2u);
  EXPECT_EQ(got.count({4, 135}) + got.count({479, 134}) + got.count({479, 135}), 0u);
  draw(quaternionMake(0.3f, 0.0f, 0.0f, 0.95f), 0.2f, 0.4f, 30.0f);  // everything far off the buffer
  got = draw(quaternionMake(0, 0, 0, 0), 0.0f, 0.0f, 1.0f);         // no rotation: no cross
  EXPECT_EQ(got.size(), 1u);
}

// ---- On the GPU (ES 3 only) ----

// Where output position (u, v) samples the input (sw, sh the output's extent in pixels, f the focal length).
glm::dvec2 warpSource(const glm::dquat& q, double u, double v, double sw, double sh, double f, double cropping) {
  const glm::dvec3 r = q * glm::dvec3((u - 0.5) * sw, (0.5 - v) * sh, -f);
  return {0.5 + f * r.x / -r.z / (sw / cropping), 0.5 - f * r.y / -r.z / (sh / cropping)};
}

// Smooth detail at a few pixels' scale, different in each channel.
test::Picture wavyPicture(int w, int h) {
  test::Picture p{w, h, std::vector<uint8_t>(static_cast<size_t>(w) * h * 4, 255)};
  for (int i = 0; i < w * h * 4; ++i) {
    const int x = i / 4 % w, y = i / 4 / w, c = i % 4;
    const double v = 128 + 40 * std::sin(0.61 * x + 0.23 * y + c) + 30 * std::cos(0.17 * x - 0.52 * y + 2 * c) +
                     25 * std::sin(0.05 * (x + 2 * y) * (1 + 0.1 * c));
    if (c < 3) p.rgba[i] = static_cast<uint8_t>(std::clamp(v, 0.0, 255.0));
  }
  return p;
}

class StabilizerGpuTest : public test::GlContextTest {
 protected:
  void SetUp() override {
    GlContextTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    manager->setSource(source);
    Clock::startVirtual(t0);
    est = std::make_shared<OrvoCameraMotionEstimator>(manager, std::make_shared<KeyValueStore>(folder.path));
    stab = std::make_unique<OrvoVideoStabilizer>(est);
    ASSERT_TRUE(stab->setupGL(context_.get()));
  }
  void TearDown() override {
    stab.reset();
    est.reset();
    Clock::stopVirtual();
    GlContextTest::TearDown();
  }
  void camera(int w, int h, float focalPx, float readout = 0.0f) {
    ASSERT_TRUE(est->setCameraParameters(OrvoCameraParameters::fromFocalLengthInPixels(focalPx, w, h, readout, 0.0)));
  }
  bool frame(GLuint in, int w, int h, GLuint out, double pts) {
    return stab->process(SampleBuffer::create(PixelBuffer::create(w, h), pts), false, in, out, 1.0f);
  }
  // The band rotations the warp used, decoded as the shaders do (x, y, z stored offset by 0.5).
  std::array<glm::dquat, 64> lookupRotations() {
    double c[4][64];
    for (int i = 0; i < 4; ++i) {
      const test::Picture t = read(stab->quaternionTextures()[i], 64, 1);
      for (int k = 0; k < 64; ++k)
        c[i][k] = (t.at(k, 0, 0) + (t.at(k, 0, 1) + t.at(k, 0, 2) / 255.0) / 255.0) / 255.0 - (i < 3 ? 0.5 : 0.0);
    }
    std::array<glm::dquat, 64> q;
    for (int k = 0; k < 64; ++k) q[k] = glm::normalize(glm::dquat(c[3][k], c[0][k], c[1][k], c[2][k]));
    return q;
  }
  void setCurQ(const glm::quat& q) {
    est->resetRotation();
    est->adjustMotion(quaternionInvert(q));
  }

  const double t0 = 500.0;
  test::TempDir folder;
  std::shared_ptr<HostGyroSource> source = std::make_shared<HostGyroSource>();  // started, never pushed
  std::shared_ptr<MotionManager> manager = std::make_shared<MotionManager>();
  std::shared_ptr<OrvoCameraMotionEstimator> est;
  std::unique_ptr<OrvoVideoStabilizer> stab;
};

// A constant turn through a long readout: the lookup rotations must be curQ times the closed-form row band,
// and every pixel must take the band its centre lies in (k = floor(v * 64)), neighbouring bands a pixel apart.
TEST_P(StabilizerGpuTest, EveryRowTakesTheBandItsCentreLiesIn) {
  const int W = 192, H = 108;
  const double focal = 150, readout = 0.1, cropping = 0.85;
  camera(W, H, focal, readout);
  stab->setDigital_adjustment(false);
  ASSERT_TRUE(stab->enable());
  const glm::dvec3 omega(4.8, 0.2, 0.3);
  for (double t = t0 - 0.2; t <= t0 + 0.3; t += 0.01)
    est->motionSampleRingBuffer()->enqueueOneSample(omega.y, -omega.x, omega.z, t);
  const test::Picture input = wavyPicture(W, H);
  const GLuint out = texture({W, H, {}});
  fill(out, 0.0f, 0.0f, 0.0f, 0.0f);
  ASSERT_TRUE(frame(texture(input), W, H, out, t0 + 0.02));

  const std::array<glm::dquat, 64> q = lookupRotations();
  const glm::dquat cur = glm::normalize(glm::dquat(est->getCurrentQ()));
  ASSERT_GT(glm::length(glm::dvec3(cur.x, cur.y, cur.z)), 0.005) << "the frame must carry a rotation";
  for (int k = 0; k < 64; ++k) {
    const glm::dquat band = glm::angleAxis(glm::length(omega) * readout / 64 * k, glm::normalize(omega));
    const glm::dquat d = cur * band * q[k];  // identity when q[k] = (cur band)^-1
    ASSERT_LT(glm::length(glm::dvec3(d.x, d.y, d.z)), 1e-5) << "band " << k;
  }
  auto sourceOf = [&](int k, int x, int y) {
    return warpSource(q[k], (x + 0.5) / W, (y + 0.5) / H, W * cropping, H * cropping, focal, cropping);
  };
  auto inside = [&](glm::dvec2 s) { return s.x * W > 2 && s.x * W < W - 2 && s.y * H > 2 && s.y * H < H - 2; };
  auto bandOfRow = [&](int y) { return std::clamp(int((y + 0.5) / H * 64), 0, 63); };
  int telling = 0;  // values of a band's first or last row that the neighbouring band gets wrong
  const test::Picture got = read(out, W, H);
  const int compared = test::comparePicture(got, [&](int x, int y, int c) -> double {
    const double band = (y + 0.5) / H * 64;
    if (c == 3 || std::fabs(band - std::round(band)) < 1e-3) return NAN;
    const int k = bandOfRow(y);
    const glm::dvec2 s = sourceOf(k, x, y);
    if (!inside(s)) return NAN;
    const double want = input.sample(s.x, s.y, c);
    for (int next : {y - 1, y + 1}) {
      if (next < 0 || next >= H || bandOfRow(next) == k) continue;
      const glm::dvec2 n = sourceOf(bandOfRow(next), x, y);
      if (inside(n) && std::fabs(input.sample(n.x, n.y, c) - want) > 6) ++telling;
    }
    return want;
  }, 3.0, "banded warp");
  EXPECT_GT(compared, W * H);
  EXPECT_GT(telling, W * 20) << "neighbouring bands must be told apart";
  for (int y = 0; y < H; ++y) {
    for (int x = 0; x < W; ++x) ASSERT_EQ(got.at(x, y, 3), 255) << "pixel " << x << "," << y << " not drawn";
  }
}

// The reference is the input seen through a known candidate (2 steps right, 2 down): the diff map must
// score it lowest and the applied correction must be that candidate.
TEST_P(StabilizerGpuTest, DigitalAdjustmentFindsAKnownMisalignment) {
  const int W = 320, H = 180, wantI = 6, wantJ = 2;
  const double focal = 1600, cropping = 0.85, step = 0.00018;  // no rotation rate: the smallest step
  camera(W, H, static_cast<float>(focal));
  ASSERT_TRUE(stab->enable());
  const test::Picture input = wavyPicture(W, H);
  const GLuint in = texture(input), out = texture({W, H, {}});
  const glm::dquat c = glm::normalize(glm::dquat(1.0, (wantI - 4) * step, (wantJ - 4) * step, 0.0));
  struct Case {
    glm::quat cur;
    bool fine;
  } cases[] = {{quaternionIdentity(), false},
               {quaternionIdentity(), true},
               {quaternionNormalize(quaternionMake(0.002f, -0.001f, 0.02f, 1.0f)), false}};
  for (const Case& k : cases) {
    SCOPED_TRACE(::testing::Message() << "curQ z " << k.cur.z << " fine " << k.fine);
    setCurQ(k.cur);
    stab->setPrecise_alignment(k.fine);
    // Candidate c applied to curQ: the warp turns by c * curQ^-1 (bands are identity).
    const glm::dquat rotation = c * glm::conjugate(glm::dquat(k.cur));
    std::vector<uint8_t> reference(960 * 540 * 4, 255);
    for (size_t i = 0; i < reference.size(); ++i) {
      if (i % 4 == 3) continue;
      const glm::dvec2 s = warpSource(rotation, (i / 4 % 960 + 0.5) / 960, (i / 4 / 960 + 0.5) / 540, W * cropping,
                                      H * cropping, focal, cropping);
      reference[i] = static_cast<uint8_t>(std::lround(input.sample(s.x, s.y, i % 4)));
    }
    glBindTexture(GL_TEXTURE_2D, stab->lastFrameTexture());
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, 960, 540, GL_RGBA, GL_UNSIGNED_BYTE, reference.data());

    ASSERT_TRUE(frame(in, W, H, out, t0 + 0.1));
    const auto& scores = stab->diffMap();
    const int best = static_cast<int>(std::min_element(scores.begin(), scores.end()) - scores.begin());
    EXPECT_EQ(best % 9, wantI);
    EXPECT_EQ(best / 9, wantJ);
    EXPECT_LT(scores[best] * 4, scores[wantJ * 9 + wantI + 1]) << "a clear minimum";
    if (k.cur == quaternionIdentity()) {
      // curQ = filter(c^-1): the smoothing takes 5 |x| of x, 0.2 % here.
      EXPECT_NEAR(-est->getCurrentQ().x / step, wantI - 4, 0.05);
      EXPECT_NEAR(-est->getCurrentQ().y / step, wantJ - 4, 0.05);
    }
  }
}

TEST_P(StabilizerGpuTest, MarkerTextureFollowsSwitches) {
  camera(64, 36, 60);
  stab->setShowMarker(true);
  EXPECT_EQ(stab->genStabilizationMarkerTextureWithZoom(1.0f), 0u) << "off";
  ASSERT_TRUE(stab->enable());
  stab->setShowMarker(false);
  EXPECT_EQ(stab->genStabilizationMarkerTextureWithZoom(1.0f), 0u) << "not asked for";
  stab->setShowMarker(true);
  const GLuint marker = stab->genStabilizationMarkerTextureWithZoom(1.0f);
  ASSERT_NE(marker, 0u);
  const test::Picture got = read(marker, 480, 270);
  EXPECT_EQ(got.rgba, stab->markerBuffer());
  EXPECT_EQ(got.at(236, 135, 1), 63) << "the cross";

  stab->disable();
  EXPECT_FALSE(est->enabled()) << "disable hands the gyro back";
  EXPECT_FALSE(stab->process(SampleBuffer::create(PixelBuffer::create(64, 36), t0), false, 0, 0, 1.0f)) << "off";
}

INSTANTIATE_TEST_SUITE_P(Api, StabilizerGpuTest, ::testing::Values(3), test::apiName);

}  // namespace
}  // namespace nudora
