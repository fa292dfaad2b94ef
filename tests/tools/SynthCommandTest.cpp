// `nudora synth`: the gyro log integrates to the true path and frames move as it
// says, row by row; the reference geometry uses glm, apart from the tool's code.
#include <glm/gtc/quaternion.hpp>

#include "ToolTestSupport.h"
#include "platform/GyroLog.h"
#include "video/VideoWriter.h"

namespace nudora {
namespace {

namespace fs = std::filesystem;

struct TruthFrame {
  double pts = 0.0;
  glm::dquat first, last;  // orientation at row 0 and at the last row
};

struct Clip {
  test::TempDir dir;
  std::map<std::string, double> header;
  std::vector<TruthFrame> truth;
};

glm::dquat quat(double x, double y, double z, double w) { return glm::dquat(w, x, y, z); }

// Rotation vector (axis times angle) of a unit quaternion.
glm::dvec3 toVector(glm::dquat q) {
  if (q.w < 0.0) q = -q;
  const glm::dvec3 v(q.x, q.y, q.z);
  const double s = glm::length(v);
  return s < 1e-15 ? glm::dvec3(0.0) : v * (2.0 * std::atan2(s, q.w) / s);
}

class SynthCommandTest : public ::testing::Test {
 protected:
  // One lossless clip with an exaggerated readout for all the checks.
  static void SetUpTestSuite() {
    if (!fs::exists(test::nudoraProgram())) return;
    clip_ = std::make_unique<Clip>();
    ASSERT_TRUE(test::synth(clip_->dir.path, "--size 320x192 --seconds 3 --readout-ms 30 --seed 5 --lossless",
                            clip_->dir.path));
    std::ifstream in(clip_->dir.path + "/truth.csv");
    std::string line;
    std::getline(in, line);  // "# nudora synth truth: key=value,..."
    std::stringstream fields(line.substr(line.find(':') + 1));
    for (std::string field; std::getline(fields, field, ',');) {
      const size_t start = field.find_first_not_of(' '), equals = field.find('=');
      clip_->header[field.substr(start, equals - start)] = std::stod(field.substr(equals + 1));
    }
    std::getline(in, line), std::getline(in, line);  // comment, column names
    while (std::getline(in, line)) {
      std::vector<double> v;
      std::stringstream row(line);
      for (std::string cell; std::getline(row, cell, ',');) v.push_back(std::stod(cell));
      ASSERT_EQ(v.size(), 10u) << line;
      clip_->truth.push_back({v[1], quat(v[2], v[3], v[4], v[5]), quat(v[6], v[7], v[8], v[9])});
    }
  }
  static void TearDownTestSuite() { clip_.reset(); }
  void SetUp() override {
    if (!clip_) GTEST_SKIP() << "the nudora program was not built";
  }
  static std::unique_ptr<Clip> clip_;
};
std::unique_ptr<Clip> SynthCommandTest::clip_;

TEST_F(SynthCommandTest, GcsvLogCoversEveryFrameAndIntegratesToTheTruePath) {
  GyroLog log;
  ASSERT_TRUE(log.load(clip_->dir.path + "/gyro.gcsv"));
  EXPECT_EQ(log.format(), GyroLog::Format::kGcsv);
  EXPECT_EQ(log.fileOrientation().text(), "XYZ");
  EXPECT_EQ(log.header().at("frame_readout_time").substr(0, 2), "30");
  EXPECT_NEAR(log.readings()[1].t - log.readings()[0].t, 0.005, 1e-9);  // 200 Hz
  ASSERT_EQ(clip_->truth.size(), 90u);
  EXPECT_LE(log.startTime(), clip_->truth.front().pts);
  EXPECT_GE(log.endTime(), clip_->truth.back().pts + 0.03);
  // Image-axis rates from device axes: image x = -device y, image y = device x.
  std::vector<double> t;
  std::vector<glm::dvec3> rate;
  for (const auto& r : log.readings()) {
    t.push_back(r.t);
    rate.emplace_back(-r.y, r.x, r.z);
  }
  // The bias, as a calibration would learn it, from the rest at the start.
  glm::dvec3 bias(0.0);
  int n = 0;
  for (size_t i = 0; i < t.size() && t[i] < clip_->header.at("rest_s") - 0.05; ++i, ++n) bias += rate[i];
  bias /= n;
  for (int c = 0; c < 3; ++c) EXPECT_GT(std::fabs(bias[c]), 0.002) << "a realistic log has a bias";

  auto rateAt = [&](double when) {
    const size_t j = std::min<size_t>(std::upper_bound(t.begin(), t.end(), when) - t.begin(), t.size() - 1);
    const double w = (when - t[j - 1]) / (t[j] - t[j - 1]);
    return rate[j - 1] * (1.0 - w) + rate[j] * w - bias;
  };
  // Trapezoids over the readings between from and to.
  auto integrate = [&](double from, double to) {
    std::vector<double> knots{from};
    for (double x : t) {
      if (x > from && x < to) knots.push_back(x);
    }
    knots.push_back(to);
    glm::dvec3 sum(0.0);
    for (size_t k = 1; k < knots.size(); ++k)
      sum += (rateAt(knots[k - 1]) + rateAt(knots[k])) * 0.5 * (knots[k] - knots[k - 1]);
    return sum;
  };

  const double lastRow = clip_->header.at("readout_s") * (192.0 - 1.0) / 192.0;
  double biggest = 0.0;
  for (size_t i = 0; i + 1 < clip_->truth.size(); ++i) {
    const TruthFrame &a = clip_->truth[i], &b = clip_->truth[i + 1];
    // Body-frame rotation between frames, by right multiplication.
    const glm::dvec3 between = toVector(glm::conjugate(a.first) * b.first);
    const glm::dvec3 readout = toVector(glm::conjugate(a.first) * a.last);
    biggest = std::max(biggest, glm::length(between));
    // Noise integrates to about 4e-5 rad per frame; a wrong axis or sign is off by the rotation itself.
    EXPECT_LT(glm::length(integrate(a.pts, b.pts) - between), 3e-4) << "frames " << i << "-" << i + 1;
    EXPECT_LT(glm::length(integrate(a.pts, a.pts + lastRow) - readout), 2e-4) << "readout of frame " << i;
  }
  EXPECT_GT(biggest, 5e-3) << "the path should shake";
}

TEST_F(SynthCommandTest, FramesMoveAsThePathSaysRowByRow) {
  int w = 0, h = 0;
  const auto frames = test::decodeAll(clip_->dir.path + "/input.mkv", &w, &h);
  ASSERT_EQ(frames.size(), clip_->truth.size());
  const double f = clip_->header.at("focal_px");
  // The pair, three frames apart, whose rows disagree most (fastest turn).
  size_t a = 0;
  double fastest = 0.0;
  for (size_t i = 0; i + 3 < frames.size(); ++i) {
    const double skew = glm::length(toVector(glm::conjugate(clip_->truth[i].first) * clip_->truth[i].last));
    if (skew > fastest) fastest = skew, a = i;
  }
  const size_t b = a + 3;
  ASSERT_GT(fastest * f, 1.5) << "the rolling shutter should skew the frame by pixels";

  auto rowOrientation = [&](size_t frame, double row, bool reversed) {
    const double s = row / (h - 1.0);
    return glm::slerp(clip_->truth[frame].first, clip_->truth[frame].last, reversed ? 1.0 - s : s);
  };
  auto luma = [&](const test::DecodedFrame& fr, double x, double y) {
    x = std::clamp(x, 0.0, w - 1.001), y = std::clamp(y, 0.0, h - 1.001);
    const int x0 = static_cast<int>(x), y0 = static_cast<int>(y);
    const double fx = x - x0, fy = y - y0;
    auto at = [&](int xx, int yy) {
      const uint8_t* p = &fr.bgra[(static_cast<size_t>(yy) * w + xx) * 4];
      return 0.114 * p[0] + 0.587 * p[1] + 0.299 * p[2];
    };
    return (at(x0, y0) * (1 - fx) + at(x0 + 1, y0) * fx) * (1 - fy) +
           (at(x0, y0 + 1) * (1 - fx) + at(x0 + 1, y0 + 1) * fx) * fy;
  };
  // Mean difference between frame a and frame b sampled where a model puts
  // each pixel of a (sign -1: the motion taken the wrong way round).
  auto mismatch = [&](bool still, bool reversed, double sign) {
    double sum = 0.0;
    int count = 0;
    for (int row = 24; row < h - 24; row += 3) {
      for (int col = 24; col < w - 24; col += 3) {
        double x = col, y = row;
        if (!still) {
          const glm::dvec3 ray((col + 0.5 - w / 2.0) / f, (h / 2.0 - row - 0.5) / f, -1.0);
          const glm::dquat qa = rowOrientation(a, row, reversed);
          for (int pass = 0; pass < 3; ++pass) {  // the row in b depends on where the point lands
            const glm::dquat qb = rowOrientation(b, y, reversed);
            const glm::dquat relative = sign > 0 ? glm::conjugate(qb) * qa : glm::conjugate(qa) * qb;
            const glm::dvec3 c = relative * ray;
            x = w / 2.0 + f * c.x / -c.z - 0.5;
            y = h / 2.0 - f * c.y / -c.z - 0.5;
          }
        }
        sum += std::fabs(luma(frames[a], col, row) - luma(frames[b], x, y));
        ++count;
      }
    }
    return sum / count;
  };
  const double truth = mismatch(false, false, 1.0);
  const double still = mismatch(true, false, 1.0);
  const double backwards = mismatch(false, false, -1.0);
  const double bottomFirst = mismatch(false, true, 1.0);
  EXPECT_LT(truth, 0.3 * still) << "frames " << a << ", " << b;
  EXPECT_LT(truth, 0.3 * backwards);
  EXPECT_LT(truth, 0.5 * bottomFirst) << "row 0 is read out first";
}

class SynthCommandRun : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(test::nudoraProgram())) GTEST_SKIP() << "the nudora program was not built";
  }
  test::TempDir dir_;
};

TEST_F(SynthCommandRun, WritesTheThreeFilesAndRefusesBadSizes) {
  const std::string out = dir_.path + "/clip";
  auto run = test::runNudora("synth -o " + test::shellQuoted(out) + " --size 64x48 --seconds 0.5", dir_.path);
  ASSERT_EQ(run.status, 0) << run.err;
  const std::string video = tool::VideoWriter::hasH264Encoder() ? "/input.mp4" : "/input.mkv";
  EXPECT_EQ(test::decodeAll(out + video).size(), 15u);
  EXPECT_TRUE(fs::exists(out + "/gyro.gcsv") && fs::exists(out + "/truth.csv"));
  EXPECT_TRUE(test::has(run.out, "nudora process " + out + video));
  EXPECT_TRUE(test::has(run.out, "--focal-px 51.2"));
  for (const char* bad : {"--size 63x48", "--size 8x8", "--fps 0", "--readout-ms 50", "--gyro-axes xxz",
                          "--gyro-offset-ms 2000", "--noise -1"}) {
    test::expectRefusal(test::runNudora("synth -o " + test::shellQuoted(dir_.path + "/bad") + " " + bad, dir_.path),
                        "", bad);
    EXPECT_FALSE(fs::exists(dir_.path + "/bad/truth.csv")) << bad;
  }
}

// With --noise the clean frames are the clip made without it, byte for byte;
// the noise has variance sigma^2 level / 128 and depends only on the seed.
TEST_F(SynthCommandRun, NoiseComesWithTheCleanFramesAndDependsOnlyOnTheSeed) {
  const std::string d = dir_.path;
  for (const char* run : {"plain", "a", "b"}) {
    ASSERT_TRUE(test::synth(d + "/" + run, std::string(*run == 'p' ? "" : "--noise 10") +
                                               " --size 64x48 --seconds 0.3 --lossless --seed 4", d));
  }
  EXPECT_FALSE(fs::exists(d + "/plain/clean.mkv"));
  const auto plain = test::decodeAll(d + "/plain/input.mkv"), clean = test::decodeAll(d + "/a/clean.mkv");
  const auto a = test::decodeAll(d + "/a/input.mkv"), b = test::decodeAll(d + "/b/input.mkv");
  ASSERT_TRUE(plain.size() == 9 && clean.size() == 9 && a.size() == 9 && b.size() == 9);
  double ratio = 0.0;
  size_t n = 0;
  for (size_t i = 0; i < 9; ++i) {
    EXPECT_EQ(test::maxDifference(plain[i].bgra, clean[i].bgra), 0) << i;
    EXPECT_EQ(a[i].bgra, b[i].bgra) << i;
    for (size_t k = 0; k < a[i].bgra.size(); ++k) {
      const double level = clean[i].bgra[k], d2 = a[i].bgra[k] - level;
      if (k % 4 == 3 || level < 16 || level > 224) continue;  // clipping would bias the variance
      ratio += d2 * d2 / (100.0 * level / 128.0);
      ++n;
    }
  }
  EXPECT_NEAR(ratio / static_cast<double>(n), 1.0, 0.1);
}

// A log in scrambled axes on a clock 40 ms ahead, read through the printed
// options, gives the plain log's rates up to the noise (drawn anew once shifted).
TEST_F(SynthCommandRun, ScrambledAxesAndClockOffsetComeBackThroughThePrintedOptions) {
  const std::string args = " --size 64x48 --seconds 1 --gyro-rate 250";
  ASSERT_TRUE(test::synth(dir_.path + "/plain", args, dir_.path));
  auto scrambledRun = test::runNudora(
      "synth -o " + test::shellQuoted(dir_.path + "/scrambled") + args + " --gyro-axes zXy --gyro-offset-ms 40",
      dir_.path);
  ASSERT_EQ(scrambledRun.status, 0) << scrambledRun.err;
  EXPECT_TRUE(test::has(scrambledRun.out, "--gyro-delay-ms 40 --gyro-orientation zXy"));

  auto plain = GyroLog::open(dir_.path + "/plain/gyro.gcsv"), scrambled = GyroLog::open(dir_.path + "/scrambled/gyro.gcsv");
  ASSERT_TRUE(plain && scrambled);
  GyroLog::Orientation axes;
  ASSERT_TRUE(GyroLog::Orientation::parse("zXy", &axes));
  const auto& p = plain->readings();
  const auto& q = scrambled->readings();
  ASSERT_GT(q.size(), p.size());
  int compared = 0;
  double largest = 0.0;
  for (size_t k = 0; k + 10 < q.size() && k < p.size(); ++k, ++compared) {
    const GyroLog::Reading& later = q[k + 10];  // at 250 Hz, 40 ms is 10 readings
    EXPECT_NEAR(later.t - 0.040, p[k].t, 1e-6);
    const double in[3] = {later.x, later.y, later.z};
    double device[3];
    axes.apply(in, device);
    // The path's rates, well above the 3 mrad/s noise.
    test::expectXyz(p[k], device[0], device[1], device[2], 0.03, std::to_string(k));
    largest = std::max({largest, std::abs(p[k].x), std::abs(p[k].y), std::abs(p[k].z)});
  }
  EXPECT_GT(compared, 200);
  EXPECT_GT(largest, 0.2) << "the clip never moved, so the axes were not tested";
}

}  // namespace
}  // namespace nudora
