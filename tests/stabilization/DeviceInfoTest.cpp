#include "stabilization/DeviceInfo.h"

#include <vector>

#include "TestSupport.h"
#include "platform/KeyValueStore.h"
#include "platform/MotionManager.h"
#include "stabilization/OrvoCameraMotionEstimator.h"

namespace nudora {
namespace {

TEST(DeviceInfo, TableCodesAreExact) {
  const std::pair<const char*, int> table[] = {{"iPhone5,1", 1}, {"iPhone5,4", 2}, {"iPhone7,2", 4},
                                               {"iPhone7,1", 5}, {"iPhone9,4", 9}, {"iPad4,6", 11}};
  for (const auto& [id, code] : table) EXPECT_EQ(DeviceInfo::deviceModelCode(id), code) << id;
  for (const char* other : {"", "x86_64", "aarch64", "iPhone9,5", "iphone5,1", "iPhone5,1 ", "iPad4,7", "iPhone10,1"})
    EXPECT_EQ(DeviceInfo::deviceModelCode(other), 0) << other;
}

// The estimator's camera properties for a posed device model.
class CameraTableTest : public ::testing::Test {
 protected:
  void pose(const char* model, bool mirror) {
    setenv("NUDORA_DEVICE_MODEL", model, 1);
    posed = std::string(model) + (mirror ? " front" : " rear");
    est.initDeviceDependentProperties(mirror);
  }
  void expectCamera(float focal, float width, float height, float cropW, float cropH, float readout, double delay) {
    EXPECT_EQ((std::vector<double>{est.focalLength(), est.sensorWidth(), est.sensorHeight(), est.sensorCropWidth(),
                                   est.sensorCropHeight(), est.frameReadoutTime(), est.gyroToFrameDelay(),
                                   est.motionUpdateInterval()}),
              (std::vector<double>{focal, width, height, cropW, cropH, readout, delay, 0.01}))
        << posed;
  }
  test::ScopedEnv modelEnv{"NUDORA_DEVICE_MODEL", ""};  // put back after the test
  std::string posed = "host parameters";
  test::TempDir folder;
  OrvoCameraMotionEstimator est{std::make_shared<MotionManager>(), std::make_shared<KeyValueStore>(folder.path)};
};

TEST_F(CameraTableTest, RowsAndTheValuesResetOnEveryCall) {
  EXPECT_EQ(DeviceInfo::deviceModel(), (setenv("NUDORA_DEVICE_MODEL", "iPhone7,1", 1), "iPhone7,1"));
  EXPECT_EQ(DeviceInfo::getDeviceModel(), 5);
  pose("iPhone9,4", false);
  expectCamera(4.15f, 4.919f, 3.689f, 1.0f, 0.75f, 0.008f, 0.005);
  pose("iPhone9,4", true);  // the front camera gets the common delay back
  expectCamera(2.65f, 2.885f, 2.164f, 1.0f, 0.75f, 0.016f, 0.01);
  pose("iPhone5,1", false);
  expectCamera(4.1f, 4.57f, 3.427f, 0.9951f, 0.7463f, 0.016f, 0.01);
  pose("iPhone5,1", true);  // and the common crop
  expectCamera(2.2f, 2.24f, 1.68f, 1.0f, 0.75f, 0.016f, 0.01);
  for (const char* fallback : {"iPad4,5", "no such device"}) {
    pose(fallback, false);
    expectCamera(4.12f, 4.896f, 3.672f, 1.0f, 0.75f, 0.016f, 0.01);
    pose(fallback, true);
    expectCamera(2.15f, 2.24f, 1.68f, 1.0f, 0.75f, 0.016f, 0.01);
  }
}

TEST_F(CameraTableTest, HostCameraParametersReplaceTheTableUntilCleared) {
  setenv("NUDORA_DEVICE_MODEL", "iPhone9,4", 1);
  const auto own = OrvoCameraParameters::fromFocalLengthInPixels(1400.0f, 1920.0f, 1080.0f, 0.021f, -0.004);
  // The stabiliser only uses the visible sensor extent over the focal length.
  EXPECT_FLOAT_EQ(own.focalLength / (own.sensorWidth * own.sensorCropWidth), 1400.0f / 1920.0f);
  EXPECT_FLOAT_EQ(own.focalLength / (own.sensorHeight * own.sensorCropHeight), 1400.0f / 1080.0f);
  ASSERT_TRUE(est.setCameraParameters(own));
  for (bool mirror : {false, true}) {
    est.setMirror(mirror);
    expectCamera(own.focalLength, own.sensorWidth, own.sensorHeight, 1.0f, 1.0f, 0.021f, -0.004);
  }

  OrvoCameraParameters bad = own;
  bad.sensorCropHeight = 1.5f;
  EXPECT_FALSE(est.setCameraParameters(bad));
  EXPECT_EQ(est.sensorCropHeight(), 1.0f);  // the previous parameters stay
  bad = own;
  bad.focalLength = 0.0f;
  EXPECT_FALSE(est.setCameraParameters(bad));

  ASSERT_TRUE(est.setCameraParameters(std::nullopt));  // back to the table, last mirror kept (front)
  expectCamera(2.65f, 2.885f, 2.164f, 1.0f, 0.75f, 0.016f, 0.01);
}

}  // namespace
}  // namespace nudora
