#include <vector>

#include "TestSupport.h"
#include "platform/Clock.h"
#include "platform/GyroLog.h"
#include "platform/GyroLogSource.h"
#include "platform/MotionManager.h"

namespace nudora {
namespace {

using test::ConsoleCapture;

// Log rates (0.2, 0.4, 0.6), (-0.1, 0, 0.05), (0, 0, -0.2) at 0, 0.01, 0.02 s; under YxZ the device
// rates are (log y, -log x, log z).
const std::string kTake =
    "GYROFLOW IMU LOG\nversion,1.3\nid,test_logger\norientation,YxZ\nnote,bench test, second take\ntscale,0.001\n"
    "gscale,0.002\nt,gx,gy,gz\n0,100,200,300\n10,-50,0,25\n20,0,0,-100\n";

void expectReading(const GyroData& d, double t, double x, double y, double z) {
  EXPECT_NEAR(d.timestamp, t, 1e-12);
  test::expectXyz(d, x, y, z, 1e-12);
}

TEST(GyroLogTest, GcsvScalesAndOrientsIntoDeviceAxes) {
  GyroLog log;
  ASSERT_TRUE(log.parse(kTake, "take.gcsv"));
  EXPECT_EQ(log.format(), GyroLog::Format::kGcsv);
  ASSERT_EQ(log.size(), 3u);
  EXPECT_EQ(log.header().at("note"), "bench test, second take");
  EXPECT_EQ(log.fileOrientation().text(), "YxZ");
  expectReading(log.deviceReading(0), 0.0, 0.4, -0.2, 0.6);
  expectReading(log.deviceReading(1), 0.01, 0.0, 0.1, 0.05);

  // An override replaces the file's orientation; a malformed one changes nothing.
  ConsoleCapture console;
  ASSERT_TRUE(log.setOrientation("zYx"));
  EXPECT_FALSE(log.setOrientation("zYz"));
  EXPECT_EQ(console.count("zYz"), 1);
  expectReading(log.deviceReading(0), 0.0, -0.6, 0.4, -0.2);
  log.clearOrientation();
  expectReading(log.deviceReading(0), 0.0, 0.4, -0.2, 0.6);
}

TEST(GyroLogTest, GcsvAcceptsNeutralMagicAccelAndMagnetometerColumnsAndCrLf) {
  std::string text =
      "\xEF\xBB\xBF"
      "CAMERA IMU LOG\r\nversion,1\r\nid,x\r\norientation,XYZ\r\ntscale,0.5\r\ngscale,0.25\r\nascale,0.001\r\n"
      "mscale,\r\n\r\nt,gx,gy,gz,ax,ay,az,mx,my,mz\r\n1,4,8,-12,0,0,1000,1,2,3\r\n3,0,0,0,0,0,1000,1,2,3\r\n";
  GyroLog log;
  ASSERT_TRUE(log.parse(text, "neutral.gcsv"));
  ASSERT_EQ(log.size(), 2u);
  expectReading(log.deviceReading(0), 0.5, 1.0, 2.0, -3.0);
  EXPECT_NEAR(log.endTime(), 1.5, 1e-12);
}

TEST(GyroLogTest, PlainCsvWithAndWithoutHeader) {
  for (const char* header : {"t,gx,gy,gz\n", ""}) {
    SCOPED_TRACE(header);
    GyroLog log;
    ASSERT_TRUE(log.parse(std::string(header) + "0.5,0.1,-0.2,0.3\n0.5,1e-1,+2,3\n\n0.75,-1,0,0\n", "plain.csv"));
    EXPECT_EQ(log.format(), GyroLog::Format::kPlainCsv);
    EXPECT_EQ(log.fileOrientation().text(), "XYZ");
    ASSERT_EQ(log.size(), 3u);
    expectReading(log.deviceReading(0), 0.5, 0.1, -0.2, 0.3);
    expectReading(log.deviceReading(1), 0.5, 0.1, 2.0, 3.0);
  }
}

TEST(GyroLogTest, OrientationLettersAreSignedAxisPicks) {
  // A capital takes the axis, a small one negates it; each axis once.
  GyroLog::Orientation o;
  ASSERT_TRUE(GyroLog::Orientation::parse("zXy", &o));
  EXPECT_EQ(o.text(), "zXy");
  const double in[3] = {1, 2, 3};
  double out[3];
  o.apply(in, out);
  EXPECT_EQ(std::vector<double>(out, out + 3), (std::vector<double>{-3, 1, -2}));
  for (const char* bad : {"", "XY", "XYZW", "abc", "X Z", "xXz", "YZy"}) {
    EXPECT_FALSE(GyroLog::Orientation::parse(bad, &o)) << bad;
  }
}

TEST(GyroLogTest, MalformedLogsNameFileAndLineAndLoadNothing) {
  struct Case {
    const char* name;
    std::string text;
    int line;
    const char* fragment;
  };
  const std::string head = "GYROFLOW IMU LOG\nversion,1\nid,a\norientation,XYZ\ntscale,0.001\ngscale,0.01\n";
  const Case cases[] = {
      {"empty", "", 1, "empty log"},
      {"blank", "\n  \r\n", 1, "empty log"},
      {"bad first line", "hello,world\n0,1,2,3\n", 1, "neither"},
      {"column count", "t,gx,gy,gz\n0,1,2,3\n1,1,2\n", 3, "3 fields"},
      {"not a number", "0,1,2,3\n0.5,1,abc,3\n", 2, "gy 'abc' is not a number"},
      {"nan", "0,1,2,3\n0.5,nan,2,3\n", 2, "gx 'nan' is not a finite number"},
      {"overflow", "0,1,2,1e999\n", 1, "not a finite number"},
      {"backwards", "0,1,2,3\n0.5,1,2,3\n0.25,1,2,3\n", 3, "time goes backwards"},
      {"plain header only", "t,gx,gy,gz\n", 1, "no readings"},
      {"gcsv no rows", head + "t,gx,gy,gz\n", 7, "no readings"},
      {"gcsv no column line", head, 6, "ends before its column line"},
      {"gcsv missing gscale", "GYROFLOW IMU LOG\nversion,1\nid,a\norientation,XYZ\ntscale,0.001\nt,gx,gy,gz\n0,1,2,3\n",
       6, "'gscale' is missing"},
      {"gcsv orientation", "GYROFLOW IMU LOG\nversion,1\nid,a\norientation,XxZ\ntscale,1\ngscale,1\nt,gx,gy,gz\n0,1,2,3\n",
       4, "orientation 'XxZ'"},
      {"gcsv tscale", "GYROFLOW IMU LOG\nversion,1\nid,a\norientation,XYZ\ntscale,0\ngscale,1\nt,gx,gy,gz\n0,1,2,3\n", 5,
       "tscale '0' is not a positive number"},
      {"gcsv header line", "GYROFLOW IMU LOG\nversion 1\n", 2, "is not key,value"},
      {"gcsv duplicate key", head + "tscale,1\nt,gx,gy,gz\n0,1,2,3\n", 7, "given twice"},
      {"gcsv columns", head + "t,gx,gy\n0,1,2\n", 7, "columns must be"},
      {"gcsv accel row", head + "t,gx,gy,gz,ax,ay,az\n0,1,2,3,4,5,6\n1,1,2,3\n", 9, "4 fields where the log has 7"},
      // A binary file: its bytes are escaped and cut short, never echoed raw.
      {"binary", std::string("\x7f" "ELF\x02\x01\x01\0\0\0\x1b[2J", 14) + std::string(5000, '\xee'), 1,
       "'\\x7FELF\\x02\\x01\\x01\\x00\\x00\\x00\\x1B[2J\\xEE"},
  };
  test::TempDir dir;
  const std::string good = dir.write("good.gcsv", kTake);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    GyroLog log;
    ASSERT_TRUE(log.load(good));
    const std::string file = dir.write("bad.csv", c.text);
    ConsoleCapture console;
    std::string error;
    EXPECT_FALSE(log.load(file, &error));
    EXPECT_EQ(error.rfind(file + ":" + std::to_string(c.line) + ": ", 0), 0u) << error;
    EXPECT_NE(error.find(c.fragment), std::string::npos) << error;
    EXPECT_LT(error.size(), file.size() + 300u) << error;
    EXPECT_EQ(console.count(error), 1);
    // The earlier contents survive untouched.
    EXPECT_EQ(log.path(), good);
    ASSERT_EQ(log.size(), 3u);
    expectReading(log.deviceReading(2), 0.02, 0.0, 0.0, -0.2);
  }
  ConsoleCapture console;
  std::string error;
  EXPECT_EQ(GyroLog::open(dir.path + "/missing.gcsv", &error), nullptr);
  EXPECT_NE(error.find("missing.gcsv: cannot open"), std::string::npos) << error;
}

class GyroLogSourceTest : public ::testing::Test {
 protected:
  struct Seen {
    GyroData data;
    double uptime;  // the clock when the handler ran
  };

  void SetUp() override {
    Clock::stopVirtual();
    ASSERT_TRUE(log_->parse(kTake, "take.gcsv"));
    manager_->setSource(source_);
  }
  void TearDown() override {
    manager_->stopGyroUpdates();
    Clock::stopVirtual();
  }
  void start() {
    manager_->startGyroUpdates([this](const GyroData* d, const std::string*) {
      std::lock_guard lock(mutex_);
      seen_.push_back({*d, Clock::uptime()});
    });
    ASSERT_TRUE(manager_->isGyroActive());
  }
  std::vector<Seen> seen() {
    std::lock_guard lock(mutex_);
    return seen_;
  }

  std::shared_ptr<GyroLog> log_ = std::make_shared<GyroLog>();
  std::shared_ptr<MotionManager> manager_ = std::make_shared<MotionManager>();
  std::shared_ptr<GyroLogSource> source_ = std::make_shared<GyroLogSource>(log_, 100.0, manager_);
  std::mutex mutex_;
  std::vector<Seen> seen_;
};

TEST_F(GyroLogSourceTest, AdvanceDeliversInOrderAndTheHandlerSeesLogTime) {
  start();
  ASSERT_TRUE(Clock::isVirtual());
  EXPECT_NEAR(Clock::uptime(), 100.0, 1e-9);  // the first reading, offset applied
  EXPECT_TRUE(seen().empty());                 // nothing moves without advanceTo

  EXPECT_EQ(source_->advanceTo(100.0105), 2u);
  auto s = seen();
  ASSERT_EQ(s.size(), 2u);
  expectReading(s[0].data, 100.0, 0.4, -0.2, 0.6);
  expectReading(s[1].data, 100.01, 0.0, 0.1, 0.05);
  for (const Seen& one : s) EXPECT_NEAR(one.uptime, one.data.timestamp, 1e-9);
  EXPECT_NEAR(Clock::uptime(), 100.0105, 1e-9);

  EXPECT_EQ(source_->advanceTo(100.005), 0u);  // already delivered
  EXPECT_NEAR(Clock::uptime(), 100.0105, 1e-9);  // and the clock does not go back
  EXPECT_EQ(source_->advanceTo(200.0), 1u);
  ASSERT_EQ(seen().size(), 3u);
  EXPECT_NEAR(seen()[2].uptime, 100.02, 1e-9);

  manager_->stopGyroUpdates();
  source_->rewind();
  EXPECT_EQ(source_->advanceTo(300.0), 0u);  // stopped: nothing, clock untouched
  EXPECT_NEAR(Clock::uptime(), 200.0, 1e-9);
  EXPECT_EQ(seen().size(), 3u);
}

TEST_F(GyroLogSourceTest, RestartSkipsThePastAndTakesTheOrientationInEffect) {
  start();
  EXPECT_EQ(source_->advanceTo(100.0), 1u);
  manager_->stopGyroUpdates();
  Clock::setVirtualTime(100.015);  // frames went on while the gyro was off
  ASSERT_TRUE(log_->setOrientation("XYZ"));
  ConsoleCapture console;
  start();
  EXPECT_EQ(console.count("skipped 1 readings"), 1);
  EXPECT_EQ(source_->advanceTo(101.0), 1u);
  auto s = seen();
  ASSERT_EQ(s.size(), 2u);
  expectReading(s[1].data, 100.02, 0.0, 0.0, -0.2);
  EXPECT_EQ(source_->delivered(), 2u);
}

}  // namespace
}  // namespace nudora
