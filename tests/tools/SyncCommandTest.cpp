// `nudora sync`: the options that line a log up with its clip, as text and JSON,
// process --auto-sync using them unless told, and refusals.
#include <gtest/gtest.h>

#include "ToolTestSupport.h"

namespace nudora {
namespace {

namespace fs = std::filesystem;
using test::shellQuoted;

// The number after "key": in a one-line JSON object; NaN when absent.
double jsonNumber(const std::string& json, const std::string& key) {
  const size_t at = json.find("\"" + key + "\": ");
  return at == std::string::npos ? NAN : std::atof(json.c_str() + at + key.size() + 4);
}

class SyncCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(test::nudoraProgram())) GTEST_SKIP() << "the nudora program was not built";
  }
  // A lossless 4 s clip; its log needs `axes` and runs offsetMs ahead.
  std::string synth(const std::string& name, const std::string& axes, int offsetMs, int seed) {
    test::synth(dir_.path + "/" + name, "--size 480x270 --seconds 4 --lossless --seed " + std::to_string(seed) +
                " --gyro-axes " + axes + " --gyro-offset-ms " + std::to_string(offsetMs), dir_.path);
    return dir_.path + "/" + name;
  }
  test::TempDir dir_;
};

TEST_F(SyncCommandTest, FindsTheOptionsThatLineTheLogUpWithTheVideo) {
  const std::string clip = synth("clip", "Zyx", -20, 3);
  const std::string args = "sync " + shellQuoted(clip + "/input.mkv") + " --gyro " + shellQuoted(clip + "/gyro.gcsv");
  auto text = test::runNudora(args, dir_.path);
  ASSERT_EQ(text.status, 0) << text.err;
  EXPECT_TRUE(test::has(text.out, "process with: --gyro-orientation Zyx --gyro-delay-ms "));

  auto json = test::runNudora(args + " --json --focal-px 384", dir_.path);
  ASSERT_EQ(json.status, 0) << json.err;
  EXPECT_TRUE(test::has(json.out, "\"status\": \"ok\"") && test::has(json.out, "\"gyro_orientation\": \"Zyx\""));
  // The centre row's delay is what the pictures pin down (see the quality test).
  EXPECT_NEAR(jsonNumber(json.out, "gyro_delay_ms") + jsonNumber(json.out, "readout_ms") / 2, -20 + 10, 0.5)
      << json.out;
  EXPECT_NEAR(jsonNumber(json.out, "readout_ms"), 20, 2.0) << json.out;
  EXPECT_EQ(jsonNumber(json.out, "focal_px"), 384) << "a given focal length is kept";
}

TEST_F(SyncCommandTest, ProcessAutoSyncUsesWhatItFindsUnlessTold) {
  const std::string clip = synth("clip", "xZY", 25, 6);
  const std::string args = "process " + shellQuoted(clip + "/input.mkv") + " -o " +
                           shellQuoted(dir_.path + "/out.mkv") + " --lossless --gyro " +
                           shellQuoted(clip + "/gyro.gcsv") + " --stabilize --auto-sync";
  auto run = test::runNudora(args, dir_.path);
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(test::has(run.out, "auto-sync: --gyro-orientation xZY --gyro-delay-ms "));
  run = test::runNudora(args + " --gyro-orientation xZy --gyro-delay-ms 7 --readout-ms 12", dir_.path);
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(test::has(run.out, "auto-sync: --gyro-orientation xZy --gyro-delay-ms 7 --readout-ms 12 "));
}

TEST_F(SyncCommandTest, ALogOfAnotherClipOrAMissingFileIsRefused) {
  const std::string clip = synth("clip", "XYZ", 0, 4), other = synth("other", "XYZ", 0, 5);
  auto run = test::runNudora(
      "sync " + shellQuoted(clip + "/input.mkv") + " --gyro " + shellQuoted(other + "/gyro.gcsv") + " --json",
      dir_.path);
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out.find("\"status\": \"ok\""), std::string::npos) << run.out;
  EXPECT_EQ(run.errLines(), 1) << run.err;

  run = test::runNudora("sync " + shellQuoted(clip + "/absent.mp4") + " --gyro " + shellQuoted(clip + "/gyro.gcsv"),
                        dir_.path);
  EXPECT_EQ(run.status, 1);
  test::expectRefusal(run, "absent.mp4", "a missing video");
}

}  // namespace
}  // namespace nudora
