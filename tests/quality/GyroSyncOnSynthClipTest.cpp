// The gyro fit on a synthetic clip with scrambled axes and a clock offset,
// measured from its decoded pictures, finds what synth used.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "TestSupport.h"
#include "platform/GyroLog.h"
#include "common/VideoFrameMotion.h"
#include "stabilization/GyroVideoSync.h"

namespace nudora {
namespace {

namespace fs = std::filesystem;

fs::path nudoraProgram() {
  return fs::read_symlink("/proc/self/exe").parent_path().parent_path() / "tools" / "nudora";
}

TEST(GyroSyncOnSynthClip, FindsTheAxesClockOffsetAndReadoutSynthUsed) {
  if (!fs::exists(nudoraProgram())) GTEST_SKIP() << "the nudora program was not built";
  test::TempDir dir;
  const std::string clip = dir.path + "/clip";
  const std::string command = "'" + nudoraProgram().string() + "' synth -o '" + clip +
                              "' --size 640x360 --seconds 4 --readout-ms 24 --gyro-axes yXz --gyro-offset-ms 30"
                              " --lossless >/dev/null 2>&1";
  ASSERT_EQ(std::system(command.c_str()), 0);

  tool::VideoFrameMotion motion;
  std::string error;
  ASSERT_TRUE(tool::measureVideoFrameMotion(clip + "/input.mkv", 0.0, &motion, &error)) << error;
  auto log = GyroLog::open(clip + "/gyro.gcsv");
  ASSERT_TRUE(log);
  GyroVideoSync::Options options = motion.syncOptions;
  const auto result = GyroVideoSync::fit(motion.pairs, log->readings(), options);
  std::printf("[ SYNC     ] %s: orientation %s (runner-up %s), offset %.2f ms, readout %.2f ms, focal %.1f px, "
              "quality %.4f, margin %.3f, %d pairs\n",
              GyroVideoSync::statusName(result.status), result.orientation.text().c_str(),
              result.runnerUp.text().c_str(), result.offset * 1000, result.readout * 1000, result.focalPx,
              result.quality, result.margin, result.pairsUsed);
  ASSERT_EQ(result.status, GyroVideoSync::Status::kOk) << result.message;
  EXPECT_EQ(result.orientation.text(), "yXz");
  // The translations fix the centre row's delay tightly; the readout, from the skews, less so.
  EXPECT_NEAR(result.offset + result.readout / 2, 0.030 + 0.012, 0.0005);
  EXPECT_NEAR(result.offset, 0.030, 0.001);
  EXPECT_NEAR(result.readout, 0.024, 0.024 * 0.05);
  EXPECT_NEAR(result.focalPx, 512.0, 512.0 * 0.03);
}

}  // namespace
}  // namespace nudora
