// The IIO gyroscope against a fake sysfs tree in a temporary folder.

#include <chrono>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "TestSupport.h"
#include "platform/Clock.h"
#include "platform/IioGyroSource.h"

namespace nudora {
namespace {

using test::ConsoleCapture;
using test::expectXyz;
using test::ScopedEnv;

namespace fs = std::filesystem;

// Waits for the polling thread; the limit only keeps a broken build from hanging.
bool eventually(const std::function<bool()>& condition) {
  auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > limit) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

class IioGyroSourceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    unsetenv("NUDORA_IIO_DEVICE");
    root_ = dir_.emplace().path;  // a fresh tree on every call
    // An accelerometer that must not be mistaken for the gyro.
    write("iio:device0/name", "accel\n");
    write("iio:device0/in_accel_x_raw", "5\n");
    // The gyro: (raw + offset) * scale = (0.11, -0.2, 0.05), mounted as device = (-sensor y, sensor x, sensor z).
    write("iio:device1/name", "gyro-a\n");
    write("iio:device1/in_anglvel_x_raw", "100\n");
    write("iio:device1/in_anglvel_y_raw", "-200\n");
    write("iio:device1/in_anglvel_z_raw", "50\n");
    write("iio:device1/in_anglvel_scale", "0.001000000\n");
    write("iio:device1/in_anglvel_x_offset", "10\n");
    write("iio:device1/in_mount_matrix", "0, -1, 0; 1, 0, 0; 0, 0, 1\n");
    // A second gyro with per-axis scales, which beat the shared one.
    write("iio:device2/in_anglvel_x_raw", "2");
    write("iio:device2/in_anglvel_y_raw", "4");
    write("iio:device2/in_anglvel_z_raw", "-1");
    write("iio:device2/in_anglvel_scale", "99");
    write("iio:device2/in_anglvel_x_scale", "0.5");
    write("iio:device2/in_anglvel_y_scale", "0.25");
    write("iio:device2/in_anglvel_z_scale", "2");
  }
  // Written beside and renamed into place, as a reader must never see half a value.
  void write(const std::string& relative, const std::string& text) {
    fs::path file = fs::path(root_) / relative;
    fs::create_directories(file.parent_path());
    fs::path temp = file;
    temp += ".tmp";
    std::ofstream(temp) << text;
    fs::rename(temp, file);
  }

  std::optional<test::TempDir> dir_;
  std::string root_;
};

TEST_F(IioGyroSourceTest, FindsTheGyroAndHonoursTheEnvironmentOverride) {
  ConsoleCapture console;
  IioGyroSource source(root_);
  EXPECT_TRUE(source.isAvailable());
  EXPECT_EQ(source.devicePath(), root_ + "/iio:device1");
  EXPECT_EQ(source.describe(), "IIO gyroscope gyro-a at " + root_ + "/iio:device1");
  {
    ScopedEnv env("NUDORA_IIO_DEVICE", "iio:device2");
    IioGyroSource chosen(root_);
    GyroData d;
    ASSERT_TRUE(chosen.readNow(&d));
    expectXyz(d, 1.0, 1.0, -2.0, 1e-12);
  }
  {
    ScopedEnv env("NUDORA_IIO_DEVICE", "iio:device0");
    IioGyroSource accel(root_);
    EXPECT_FALSE(accel.isAvailable());
    EXPECT_FALSE(accel.start(0.01, [](const GyroData&) {}));
    EXPECT_EQ(console.count("NUDORA_IIO_DEVICE names " + root_ + "/iio:device0"), 1);
  }
  // Devices are taken by number, not by name: device9 before device10.
  fs::rename(fs::path(root_) / "iio:device1", fs::path(root_) / "iio:device10");
  fs::rename(fs::path(root_) / "iio:device2", fs::path(root_) / "iio:device9");
  EXPECT_EQ(IioGyroSource(root_).devicePath(), root_ + "/iio:device9");

  EXPECT_FALSE(IioGyroSource(root_ + "/nowhere").isAvailable());
}

TEST_F(IioGyroSourceTest, ReadingAppliesOffsetScaleAndMountMatrix) {
  IioGyroSource source(root_);
  GyroData d;
  const double before = Clock::uptime();
  ASSERT_TRUE(source.readNow(&d));
  expectXyz(d, 0.2, 0.11, 0.05, 1e-12);
  EXPECT_TRUE(d.timestamp >= before && d.timestamp <= Clock::uptime());

  // A channel-specific matrix wins over the device-wide one (here: z flipped).
  write("iio:device1/in_anglvel_mount_matrix", "1, 0, 0; 0, 1, 0; 0, 0, -1");
  IioGyroSource remounted(root_);
  ASSERT_TRUE(remounted.readNow(&d));
  expectXyz(d, 0.11, -0.2, -0.05, 1e-12);
}

TEST_F(IioGyroSourceTest, MalformedCalibrationFailsStartNamingTheFile) {
  struct Case {
    const char* file;
    const char* text;  // nullptr removes the file
    const char* fragment;
  };
  const Case cases[] = {
      {"in_mount_matrix", "1, 0, 0; 0, 1, 0", "in_mount_matrix holds '1, 0, 0; 0, 1, 0', not a mount matrix"},
      {"in_mount_matrix", "1, 0, 0; 0, 1, 0; 0, x, 1", "not a mount matrix"},
      {"in_anglvel_scale", "fast", "in_anglvel_scale holds 'fast', not a number"},
      {"in_anglvel_x_offset", "nan", "in_anglvel_x_offset holds 'nan'"},
      {"in_anglvel_scale", nullptr, "neither in_anglvel_x_scale nor in_anglvel_scale"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.fragment);
    SetUp();  // a fresh tree for every case
    if (c.text) write(std::string("iio:device1/") + c.file, c.text);
    if (!c.text) fs::remove(root_ + "/iio:device1/" + c.file);
    ConsoleCapture console;
    IioGyroSource source(root_);
    EXPECT_FALSE(source.start(0.01, [](const GyroData&) {}));
    EXPECT_EQ(console.count(c.fragment), 1);
    GyroData d;
    std::string error;
    EXPECT_FALSE(source.readNow(&d, &error));
    EXPECT_NE(error.find(c.fragment), std::string::npos) << error;
  }
}

TEST_F(IioGyroSourceTest, PollingLogsEachSpellOfFailuresOnce) {
  ConsoleCapture console;
  IioGyroSource source(root_);
  std::mutex mutex;
  std::vector<GyroData> got;
  auto received = [&] {
    std::lock_guard lock(mutex);
    return got.size();
  };
  ASSERT_TRUE(source.start(0.001, [&](const GyroData& d) {
    std::lock_guard lock(mutex);
    got.push_back(d);
  }));
  EXPECT_FALSE(source.start(0.001, [](const GyroData&) {}));  // already running
  ASSERT_TRUE(eventually([&] { return received() >= 3; }));
  {
    std::lock_guard lock(mutex);
    expectXyz(got[2], 0.2, 0.11, 0.05, 1e-12);
    EXPECT_LE(got[1].timestamp, got[2].timestamp);
  }

  // A malformed value: skipped every tick, reported once.
  write("iio:device1/in_anglvel_y_raw", "oops\n");
  uint64_t failedBefore = source.failedReadings();
  ASSERT_TRUE(eventually([&] { return source.failedReadings() >= failedBefore + 5; }));
  EXPECT_EQ(console.count("in_anglvel_y_raw holds 'oops', not a number"), 1);

  write("iio:device1/in_anglvel_y_raw", "300\n");
  size_t before = received();
  ASSERT_TRUE(eventually([&] { return received() > before + 2; }));
  EXPECT_EQ(console.count("resumed"), 1);
  {
    std::lock_guard lock(mutex);
    expectXyz(got.back(), -0.3, 0.11, 0.05, 1e-12);
  }

  // The device vanishing is one more spell, one more line.
  fs::remove_all(fs::path(root_) / "iio:device1");
  failedBefore = source.failedReadings();
  ASSERT_TRUE(eventually([&] { return source.failedReadings() >= failedBefore + 5; }));
  EXPECT_EQ(console.count("the device is gone"), 1);
  source.stop();
  size_t afterStop = received();
  source.stop();  // a second stop is harmless
  EXPECT_EQ(received(), afterStop);
}

}  // namespace
}  // namespace nudora
