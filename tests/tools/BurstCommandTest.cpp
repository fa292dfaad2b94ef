// `nudora burst` on a synthetic noisy burst: merged with and without its gyro log
// it beats the reference frame; bad input gets one error line and no file.
#include <cmath>

#include "ToolTestSupport.h"
#include "platform/Image.h"

namespace nudora {
namespace {

namespace fs = std::filesystem;
using test::shellQuoted;

// PSNR of the colour channels of two same-sized pictures.
double colourPsnr(const Image& a, const Image& b) {
  double sum = 0.0;
  size_t count = 0;
  for (size_t i = 0; i < static_cast<size_t>(a.width()) * a.height() * 4; ++i) {
    if (i % 4 == 3) continue;
    const double d = static_cast<double>(a.data()[i]) - b.data()[i];
    sum += d * d;
    ++count;
  }
  return 10.0 * std::log10(255.0 * 255.0 / (sum / count));
}

class BurstCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(test::nudoraProgram())) GTEST_SKIP() << "the nudora program was not built";
  }
  test::ProgramRun burst(const std::string& args) { return test::runNudora("burst " + args, logs_.path); }
  std::string frames(int count) const {
    std::string list;
    for (int i = 0; i < count; ++i) list += " " + shellQuoted(dir_ / ("frame_00" + std::to_string(i) + ".png"));
    return list;
  }

  test::TempDir workDir_, logs_;
  fs::path work_ = workDir_.path;
  fs::path dir_ = work_ / "burst";
};

TEST_F(BurstCommandTest, MergedBurstBeatsTheReferenceFrameWithAndWithoutGyro) {
  ASSERT_TRUE(test::synth(dir_.string(), "--burst 4 --noise 14 --size 320x240 --readout-ms 15 --seed 3", logs_.path));
  for (const char* name : {"truth.png", "frame_003.png", "gyro.gcsv", "frames.txt"}) {
    ASSERT_TRUE(fs::exists(dir_ / name)) << name;
  }
  auto truth = Image::load((dir_ / "truth.png").string());
  auto reference = Image::load((dir_ / "frame_000.png").string());
  ASSERT_TRUE(truth && reference);
  const double alone = colourPsnr(*reference, *truth);
  const std::string withGyro = " --gyro " + shellQuoted(dir_ / "gyro.gcsv") + " --frame-times " +
                               shellQuoted(dir_ / "frames.txt") + " --readout-ms 15";
  for (const std::string& how : {withGyro, std::string()}) {
    const fs::path out = work_ / "merged.png";
    const auto run = burst(frames(4) + " -o " + shellQuoted(out) + how);
    ASSERT_EQ(run.status, 0) << run.err;
    auto merged = Image::load(out.string());
    ASSERT_TRUE(merged && merged->width() == 320 && merged->height() == 240);
    // Four frames at best gain 6 dB; misalignment would cost most of it. (The readout runs the rolling-shutter
    // matching on the way; at this size its bend is a fraction of a pixel.)
    EXPECT_GT(colourPsnr(*merged, *truth), alone + 3.5) << (how.empty() ? "image alone" : "with gyro");
  }
}

TEST_F(BurstCommandTest, BadInputGetsOneLineAndNoFile) {
  ASSERT_TRUE(test::synth(dir_.string(), "--burst 2 --size 64x48", logs_.path));
  ASSERT_TRUE(Image(32, 48).write((work_ / "narrow.png").string()));
  std::ofstream(work_ / "notes.txt") << "not a picture\n";
  std::ofstream(work_ / "times.txt") << "2.0\nsoon\n";
  const fs::path out = work_ / "out.png";
  const std::string o = " -o " + shellQuoted(out);
  const struct {
    std::string args, mentions;
  } cases[] = {
      {frames(1) + " " + shellQuoted(work_ / "narrow.png") + o, "same size"},
      {frames(1) + " " + shellQuoted(work_ / "notes.txt") + o, "notes.txt"},
      {frames(1) + " " + shellQuoted(work_ / "missing.png") + o, "missing.png"},
      {frames(2) + o + " --gyro " + shellQuoted(dir_ / "gyro.gcsv"), "--frame-times"},
      {frames(2) + o + " --gyro " + shellQuoted(dir_ / "gyro.gcsv") + " --frame-times " +
           shellQuoted(work_ / "times.txt"),
       "times.txt:2"},
      {frames(2) + o + " --gyro " + shellQuoted(work_ / "notes.txt") + " --frame-times " +
           shellQuoted(dir_ / "frames.txt"),
       "notes.txt"},
  };
  for (const auto& c : cases) {
    test::expectRefusal(burst(c.args), c.mentions, c.args);
    EXPECT_FALSE(fs::exists(out)) << c.args;
  }
}

}  // namespace
}  // namespace nudora
