#pragma once
// Camera rotation from the gyroscope, lined up with video frames.
//
// The estimator runs the platform gyro (reference counted by enable/disable),
// keeps the readings in its own ring buffer, learns the gyro's zero drift
// while the device rests and keeps it in the key-value store, and for each
// frame integrates the rates since the previous frame into one accumulated
// rotation (curQ) and over the frame's rolling-shutter readout into 64
// row-band rotations. filterRotation pulls curQ back towards rest so that
// deliberate camera moves pass while shake is removed.
//
// Axes: all rates and rotations are in the image axes of the ring buffer
// (see OrvoMotionSample.h for how device axes map onto them: device x to the
// right edge, y to the top edge of the device held upright, z out of the
// screen). Quaternions are glm::quat built with the helpers of Quaternion.h;
// products are Hamilton products in written order.
//
// Thread rules: enable and disable may be called from any thread (they lock
// the counter). The gyro handler runs on the motion manager's delivery thread
// and only writes the ring buffer. Everything else runs on the frame
// processing thread. rotationDeducted and gyroZeroDrift may be read from any
// thread. Camera parameters (setMirror, setCameraParameters,
// initDeviceDependentProperties) are set on the thread that configures the
// camera, between frames.

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "stabilization/OrvoCameraParameters.h"
#include "stabilization/OrvoFrameMotion.h"
#include "stabilization/OrvoMotionSample.h"
#include "stabilization/Quaternion.h"

namespace nudora {

class KeyValueStore;
class MotionManager;
class OrvoMotionSampleRingBuffer;
class SampleBuffer;
struct GyroData;

class OrvoCameraMotionEstimator {
 public:
  // The estimator shared by the stabiliser, the denoiser and the pipeline.
  static std::shared_ptr<OrvoCameraMotionEstimator> sharedInstance();

  // Uses MotionManager::sharedInstance() and KeyValueStore::standard().
  OrvoCameraMotionEstimator();
  // Injected manager and store (tests, hosts with their own gyro); a null
  // argument takes the process-wide one.
  OrvoCameraMotionEstimator(std::shared_ptr<MotionManager> motionManager, std::shared_ptr<KeyValueStore> defaults);
  // Stops the gyro when this estimator still runs it.
  ~OrvoCameraMotionEstimator();
  OrvoCameraMotionEstimator(const OrvoCameraMotionEstimator&) = delete;
  OrvoCameraMotionEstimator& operator=(const OrvoCameraMotionEstimator&) = delete;

  // Camera optics and timing for the rear (mirror false) or front camera: the
  // host's camera parameters when set, else the device table.
  void initDeviceDependentProperties(bool mirror);
  // Sets the ring buffer's mirror, then reloads the camera properties.
  void setMirror(bool mirror);
  // Camera parameters of the host's own camera, used instead of the device
  // table from now on (nullopt returns to the table). Applied at once with the
  // last mirror value. Unusable values are refused with a console line and
  // false; the previous parameters stay.
  bool setCameraParameters(const std::optional<OrvoCameraParameters>& parameters);
  const std::optional<OrvoCameraParameters>& cameraParameters() const { return cameraParameters_; }

  // Reference-counted start of the gyro. False with "Gyro is not available on
  // this device." when there is none; the count still rises, so a later
  // enable answers true without starting anything and a disable balances it.
  bool enable();
  // Reference-counted stop; an unbalanced call logs
  // "Unbalanced disabling OrvoCameraMotionEstimator".
  void disable();

  // Fills `motion` for the frame presented at the sample buffer's time, with a
  // lens zoom (1 = none; only the central 1/zoom of the rows is visible).
  // False, writing nothing, when the gyro is not active (or when motion or the
  // sample buffer is null, or zoom is not a positive number). True otherwise,
  // also when too few readings exist (identity motion).
  bool estimateFrameMotion(OrvoFrameMotion* motion, const std::shared_ptr<SampleBuffer>& fromSampleBuffer,
                           float zoom);
  // The same, with the frame's presentation time in uptime seconds.
  bool estimateFrameMotion(OrvoFrameMotion* motion, double presentationSeconds, float zoom);

  // Smoothing step on curQ; true when x or y was pulled back noticeably.
  bool filterRotation();
  // curQ = normalise(curQ * invert(c)).
  void adjustMotion(const glm::quat& c);
  // out[k] = invert(curQ * from->rowBandRotation[k]), k = 0..63, with the
  // current curQ (not the record's frame rotation).
  void getInvertedIntraFrameMotion(glm::quat* out, const OrvoFrameMotion* from) const;
  // Three angles of curQ, radians: (atan2(2wy + 2xz, 1 - 2xx - 2yy),
  // asin(2wx - 2yz), atan2(2wz + 2xy, 1 - 2zz - 2xx)).
  glm::vec3 getNauticalAngles() const;
  // True when curQ's x or y lies beyond 95 % of filter_cap.
  bool rotationAlmostCapped() const;
  void resetRotation();
  glm::quat getCurrentQ() const { return curQ_; }
  OrvoRotationRate currentRotationRate() const;
  bool hasValidGyroData() const;

  // The gyro handler: stamps the reading with Clock::uptime() at arrival
  // (a null reading counts as zero rates) and writes it to the ring buffer.
  // enable() installs it on the motion manager; runs on its delivery thread.
  void handleGyroData(const GyroData* data, const std::string* error);

  bool enabled() const { return enabled_.load(std::memory_order_acquire); }
  bool steady() const { return steady_; }
  bool calibrated() const { return calibrated_; }
  void setCalibrated(bool calibrated) { calibrated_ = calibrated; }
  bool enableIntraFrame() const { return enableIntraFrame_; }
  void setEnableIntraFrame(bool enableIntraFrame) { enableIntraFrame_ = enableIntraFrame; }

  float focalLength() const { return focalLength_; }
  float sensorWidth() const { return sensorWidth_; }
  float sensorHeight() const { return sensorHeight_; }
  float sensorCropWidth() const { return sensorCropWidth_; }
  float sensorCropHeight() const { return sensorCropHeight_; }
  float frameReadoutTime() const { return frameReadoutTime_; }
  float filter_l0() const { return filter_l0_; }
  float filter_cap() const { return filter_cap_; }
  double motionUpdateInterval() const { return motionUpdateInterval_; }
  double gyroToFrameDelay() const { return gyroToFrameDelay_; }
  double lastFrameTimeStamp() const { return lastFrameTimeStamp_; }

  const std::shared_ptr<OrvoMotionSampleRingBuffer>& motionSampleRingBuffer() const { return motionSampleRingBuffer_; }
  const std::shared_ptr<MotionManager>& motionManager() const { return motionManager_; }
  const std::shared_ptr<KeyValueStore>& defaults() const { return defaults_; }

  glm::quat rotationDeducted() const;
  void setRotationDeducted(const glm::quat& rotation);
  // Gyro bias in image axes, rad/s.
  OrvoRotationRate gyroZeroDrift() const;
  void setGyroZeroDrift(const OrvoRotationRate& drift);

  // Frames left before another zero-drift calibration may run. One counter
  // for the whole process, shared by every estimator.
  static int32_t calibrationHoldOff();
  static void setCalibrationHoldOffForTesting(int32_t frames);

 private:
  void calibrateIfResting(double mx, double my, double mz, double sd, int32_t n, double a);

  double lastFrameTimeStamp_ = 0.0;
  glm::quat curQ_ = quaternionIdentity();
  // Reserved for a sample-based calibration; no operation uses them yet.
  std::vector<OrvoMotionSample> calibrationBuffer_;
  int32_t numCalibationData_ = 0;
  std::shared_ptr<KeyValueStore> defaults_;

  std::mutex enableMutex_;
  int32_t enable_counter_ = 0;  // enableMutex_
  std::atomic<bool> enabled_{false};

  bool steady_ = false;
  bool calibrated_ = false;
  bool enableIntraFrame_ = true;

  float focalLength_ = 0.0f;
  float sensorWidth_ = 0.0f;
  float sensorHeight_ = 0.0f;
  float sensorCropWidth_ = 0.0f;
  float sensorCropHeight_ = 0.0f;
  float frameReadoutTime_ = 0.0f;
  float filter_l0_ = 0.0f;
  float filter_cap_ = 0.023f;
  double motionUpdateInterval_ = 0.01;
  double gyroToFrameDelay_ = 0.01;

  std::shared_ptr<OrvoMotionSampleRingBuffer> motionSampleRingBuffer_;
  std::shared_ptr<MotionManager> motionManager_;

  mutable std::mutex propertyMutex_;
  glm::quat rotationDeducted_ = quaternionIdentity();  // propertyMutex_
  OrvoRotationRate gyroZeroDrift_;                     // propertyMutex_

  std::optional<OrvoCameraParameters> cameraParameters_;
  bool deviceMirror_ = false;
};

}  // namespace nudora
