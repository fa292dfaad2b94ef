#include "stabilization/OrvoCameraMotionEstimator.h"

#include <cmath>

#include "platform/Clock.h"
#include "platform/Console.h"
#include "platform/KeyValueStore.h"
#include "platform/MotionManager.h"
#include "platform/SampleBuffer.h"
#include "stabilization/DeviceInfo.h"
#include "stabilization/OrvoMotionSampleRingBuffer.h"

namespace nudora {
namespace {

constexpr const char* kDriftKeyX = "gyroZeroDriftX";
constexpr const char* kDriftKeyY = "gyroZeroDriftY";
constexpr const char* kDriftKeyZ = "gyroZeroDriftZ";

// After a calibration, this many frames pass before the next may run.
constexpr int32_t kCalibrationHoldOffFrames = 256;
// Calibration: the ring must hold a device at rest (small spread, small mean)
// but not a frozen stream (a simulator repeats one reading exactly).
constexpr double kCalibrationMaxSpread = 0.025;
constexpr double kCalibrationMinSpread = 0.000001;
constexpr int32_t kCalibrationMinSamples = 80;
constexpr double kCalibrationMaxMean = 0.08;
// Rest: no motion worth correcting.
constexpr double kRestMaxSpread = 0.01;
constexpr double kRestMaxMean = 0.3;

constexpr float kFilterGainXY = 5.0f;
constexpr float kFilterGainZ = 2.0f;
// Below this much pull-back a frame does not count as capped.
constexpr float kCappedMargin = 0.001f;

std::atomic<int32_t> gCalibrationHoldOff{0};

using Samples = OrvoMotionSample[OrvoMotionSampleRingBuffer::kCapacity];

// Interpolation weight of t between two stamps. Two entries can share a stamp
// (a reading stamped exactly at the end of the interval, followed by the
// padding entry stamped the same); the earlier entry then stands for the
// instant, where the plain quotient would be 0/0 and poison curQ for good.
inline double lerpWeight(double t, double ta, double tb) {
  const double span = tb - ta;
  return span == 0.0 ? 0.0 : (t - ta) / span;
}

inline void lerpInto(OrvoMotionSample& out, const OrvoMotionSample& a, const OrvoMotionSample& b, double w,
                     double time) {
  const double keep = 1.0 - w;
  out.x = static_cast<float>(a.x * keep + b.x * w);
  out.y = static_cast<float>(a.y * keep + b.y * w);
  out.z = static_cast<float>(a.z * keep + b.z * w);
  out.timestamp = time;
}

inline void subtractDrift(OrvoMotionSample* s, int32_t count, const OrvoRotationRate& drift) {
  for (int32_t i = 0; i < count; ++i) {
    s[i].x = static_cast<float>(s[i].x - drift.x);
    s[i].y = static_cast<float>(s[i].y - drift.y);
    s[i].z = static_cast<float>(s[i].z - drift.z);
  }
}

// Rotation over `seconds` at a rate (rad/s): the half-angle vector with w = 1.
// It is deliberately left unnormalised; the caller normalises the product.
inline glm::quat rotationStep(double rx, double ry, double rz, double seconds) {
  const double h = seconds * 0.5;
  return quaternionMake(static_cast<float>(rx * h), static_cast<float>(ry * h), static_cast<float>(rz * h), 1.0f);
}

void fillRowBandsWithIdentity(OrvoFrameMotion* motion) {
  for (auto& q : motion->rowBandRotation) q = quaternionIdentity();
}

// Pulls one component back towards 0 in proportion to its excess over the
// dead zone, then clamps it to the cap.
inline float shrinkAndClamp(float c, float deadZone, float gain, float cap, bool* capped) {
  if (std::fabs(c) > deadZone) {
    if (capped != nullptr && std::fabs(c) - deadZone > kCappedMargin) *capped = true;
    c = c * (1.0f - (std::fabs(c) - deadZone) * gain);
  }
  if (std::fabs(c) > cap) c = std::copysign(cap, c);
  return c;
}

void enqueueReading(OrvoMotionSampleRingBuffer& ring, const GyroData* data) {
  const double t = Clock::uptime();  // arrival time; gyroToFrameDelay absorbs the lag
  if (data != nullptr)
    ring.enqueueOneSample(data->x, data->y, data->z, t);
  else
    ring.enqueueOneSample(0.0, 0.0, 0.0, t);
}

}  // namespace

std::shared_ptr<OrvoCameraMotionEstimator> OrvoCameraMotionEstimator::sharedInstance() {
  static std::shared_ptr<OrvoCameraMotionEstimator> estimator = std::make_shared<OrvoCameraMotionEstimator>();
  return estimator;
}

OrvoCameraMotionEstimator::OrvoCameraMotionEstimator() : OrvoCameraMotionEstimator(nullptr, nullptr) {}

OrvoCameraMotionEstimator::OrvoCameraMotionEstimator(std::shared_ptr<MotionManager> motionManager,
                                                     std::shared_ptr<KeyValueStore> defaults) {
  enabled_ = false;
  calibrated_ = false;
  initDeviceDependentProperties(false);
  filter_l0_ = 0.0f;
  filter_cap_ = 0.023f;
  enableIntraFrame_ = true;
  motionSampleRingBuffer_ = std::make_shared<OrvoMotionSampleRingBuffer>();
  motionManager_ = motionManager ? std::move(motionManager) : MotionManager::sharedInstance();
  defaults_ = defaults ? std::move(defaults) : KeyValueStore::standard();
  gyroZeroDrift_ = {defaults_->doubleForKey(kDriftKeyX), defaults_->doubleForKey(kDriftKeyY),
                    defaults_->doubleForKey(kDriftKeyZ)};
  if (gyroZeroDrift_.x != 0.0) calibrated_ = true;
  enable_counter_ = 0;
}

OrvoCameraMotionEstimator::~OrvoCameraMotionEstimator() {
  if (enabled_.load()) motionManager_->stopGyroUpdates();
}

void OrvoCameraMotionEstimator::initDeviceDependentProperties(bool mirror) {
  deviceMirror_ = mirror;
  // Every call starts from the common values, so switching cameras never
  // carries one camera's delay or crop over to the other.
  motionUpdateInterval_ = 0.01;
  gyroToFrameDelay_ = 0.01;
  sensorCropWidth_ = 1.0f;
  sensorCropHeight_ = 0.75f;

  if (cameraParameters_) {
    const OrvoCameraParameters& p = *cameraParameters_;
    focalLength_ = p.focalLength;
    sensorWidth_ = p.sensorWidth;
    sensorHeight_ = p.sensorHeight;
    sensorCropWidth_ = p.sensorCropWidth;
    sensorCropHeight_ = p.sensorCropHeight;
    frameReadoutTime_ = p.frameReadoutTime;
    gyroToFrameDelay_ = p.gyroToFrameDelay;
    return;
  }

  auto set = [this](float focal, float width, float height, float readout) {
    focalLength_ = focal;
    sensorWidth_ = width;
    sensorHeight_ = height;
    frameReadoutTime_ = readout;
  };
  switch (DeviceInfo::getDeviceModel()) {
    case 1:
      if (mirror) {
        set(2.2f, 2.24f, 1.68f, 0.016f);
      } else {
        set(4.1f, 4.57f, 3.427f, 0.016f);
        sensorCropWidth_ = 0.9951f;
        sensorCropHeight_ = 0.7463f;
      }
      break;
    case 3:
      if (mirror)
        set(2.15f, 2.24f, 1.68f, 0.016f);
      else
        set(4.15f, 4.896f, 3.672f, 0.016f);
      break;
    case 4:
    case 5:
      if (mirror)
        set(2.65f, 2.816f, 2.112f, 0.016f);
      else
        set(4.15f, 4.896f, 3.672f, 0.016f);
      break;
    case 6:
    case 7:
    case 8:
    case 9:
      if (mirror) {
        set(2.65f, 2.885f, 2.164f, 0.016f);
      } else {
        set(4.15f, 4.919f, 3.689f, 0.008f);
        gyroToFrameDelay_ = 0.005;
      }
      break;
    default:  // 0, 2, the tablets and anything unknown
      if (mirror)
        set(2.15f, 2.24f, 1.68f, 0.016f);
      else
        set(4.12f, 4.896f, 3.672f, 0.016f);
      break;
  }
}

void OrvoCameraMotionEstimator::setMirror(bool mirror) {
  motionSampleRingBuffer_->setMirror(mirror);
  initDeviceDependentProperties(mirror);
}

bool OrvoCameraMotionEstimator::setCameraParameters(const std::optional<OrvoCameraParameters>& parameters) {
  if (parameters) {
    const std::string problem = parameters->problem();
    if (!problem.empty()) {
      consoleLogLevel(kConsoleError, "OrvoCameraMotionEstimator: camera parameters refused: %s", problem.c_str());
      return false;
    }
  }
  cameraParameters_ = parameters;
  initDeviceDependentProperties(deviceMirror_);
  return true;
}

bool OrvoCameraMotionEstimator::enable() {
  int32_t previous;
  {
    std::lock_guard lock(enableMutex_);
    previous = enable_counter_++;
  }
  if (previous > 0) return true;
  if (!motionManager_->isGyroAvailable()) {
    consoleLog("Gyro is not available on this device.");
    return false;
  }
  lastFrameTimeStamp_ = Clock::uptime();
  motionSampleRingBuffer_->reset();
  motionManager_->setGyroUpdateInterval(motionUpdateInterval_);
  // The handler holds the ring, not the estimator, so a reading still queued
  // when the estimator goes away writes into a live object.
  std::shared_ptr<OrvoMotionSampleRingBuffer> ring = motionSampleRingBuffer_;
  motionManager_->startGyroUpdates(
      [ring](const GyroData* data, const std::string* /*error*/) { enqueueReading(*ring, data); });
  enabled_ = true;
  curQ_ = quaternionIdentity();
  setRotationDeducted(quaternionIdentity());
  return true;
}

void OrvoCameraMotionEstimator::disable() {
  bool stillNeeded;
  {
    std::lock_guard lock(enableMutex_);
    if (enable_counter_ >= 1)
      --enable_counter_;
    else
      consoleLog("Unbalanced disabling OrvoCameraMotionEstimator");
    stillNeeded = enable_counter_ > 0;
  }
  if (!stillNeeded) {
    motionManager_->stopGyroUpdates();
    enabled_ = false;
  }
}

void OrvoCameraMotionEstimator::handleGyroData(const GyroData* data, const std::string* /*error*/) {
  enqueueReading(*motionSampleRingBuffer_, data);
}

bool OrvoCameraMotionEstimator::estimateFrameMotion(OrvoFrameMotion* motion,
                                                    const std::shared_ptr<SampleBuffer>& fromSampleBuffer,
                                                    float zoom) {
  if (!fromSampleBuffer) {
    consoleLogLevel(kConsoleError, "OrvoCameraMotionEstimator: estimateFrameMotion without a sample buffer");
    return false;
  }
  return estimateFrameMotion(motion, fromSampleBuffer->presentationSeconds(), zoom);
}

void OrvoCameraMotionEstimator::calibrateIfResting(double mx, double my, double mz, double sd, int32_t n, double a) {
  const int32_t holdOff = gCalibrationHoldOff.load(std::memory_order_relaxed);
  if (holdOff == 0 && sd < kCalibrationMaxSpread && sd > kCalibrationMinSpread && n > kCalibrationMinSamples &&
      a < kCalibrationMaxMean) {
    OrvoRotationRate drift = gyroZeroDrift();
    drift.x = mx;
    drift.y = my;
    // z is learnt from the first rest only and then kept.
    if (drift.z == 0.0) drift.z = mz;
    setGyroZeroDrift(drift);
    calibrated_ = true;
    // One write of the store for the three values: this runs on the frame thread.
    defaults_->setDoubles({{kDriftKeyX, drift.x}, {kDriftKeyY, drift.y}, {kDriftKeyZ, drift.z}});
    gCalibrationHoldOff.store(kCalibrationHoldOffFrames, std::memory_order_relaxed);
  } else if (holdOff > 0) {
    gCalibrationHoldOff.store(holdOff - 1, std::memory_order_relaxed);
  }
}

bool OrvoCameraMotionEstimator::estimateFrameMotion(OrvoFrameMotion* motion, double presentationSeconds,
                                                    float zoom) {
  if (!motionManager_->isGyroActive()) return false;
  if (motion == nullptr) {
    consoleLogLevel(kConsoleError, "OrvoCameraMotionEstimator: estimateFrameMotion without a motion record");
    return false;
  }
  if (!(zoom > 0.0f) || !std::isfinite(zoom)) {
    consoleLogLevel(kConsoleError, "OrvoCameraMotionEstimator: zoom %g is not a positive number", zoom);
    return false;
  }

  double tf = presentationSeconds;
  double prev = lastFrameTimeStamp_;
  lastFrameTimeStamp_ = tf;

  // With zoom only the central 1/zoom of the rows is visible: their readout
  // starts (0.5 - 0.5/zoom) of a frame readout after the first row.
  const float readoutLead = frameReadoutTime_ * (0.5f - 0.5f / zoom);
  const double offset = gyroToFrameDelay_ - static_cast<double>(readoutLead);
  const float readout = frameReadoutTime_ / zoom;
  tf += offset;
  prev += offset;

  Samples s;  // one frame's readings, on the stack: no allocation per frame

  // Rest statistics over the whole ring, drift included.
  const int32_t n = motionSampleRingBuffer_->getAllRawSamplesInto(s);
  double mx = 0.0, my = 0.0, mz = 0.0;
  if (n > 0) {
    for (int32_t i = 0; i < n; ++i) {
      mx += s[i].x;
      my += s[i].y;
      mz += s[i].z;
    }
    mx /= n;
    my /= n;
    mz /= n;
  }
  double sd = 1.0;
  if (n >= 2) {
    double sum = 0.0;
    for (int32_t i = 0; i < n; ++i) {
      const double dx = s[i].x - mx, dy = s[i].y - my, dz = s[i].z - mz;
      sum += dx * dx + dy * dy + dz * dz;
    }
    sd = std::sqrt(sum / (n - 1));
  }
  const double a = std::fabs(mx) + std::fabs(my) + std::fabs(mz);

  calibrateIfResting(mx, my, mz, sd, n, a);

  if (sd < kRestMaxSpread && a < kRestMaxMean) {
    steady_ = true;
    fillRowBandsWithIdentity(motion);
    return true;
  }
  steady_ = false;

  const OrvoRotationRate drift = gyroZeroDrift();

  // Rotation since the previous frame.
  int32_t cnt = motionSampleRingBuffer_->getSamplesBetween(prev, tf, s, 1);
  if (cnt < 2) {
    motion->frameRotation = quaternionIdentity();
    fillRowBandsWithIdentity(motion);
    return true;
  }
  subtractDrift(s, cnt, drift);
  lerpInto(s[0], s[0], s[1], lerpWeight(prev, s[0].timestamp, s[1].timestamp), prev);
  lerpInto(s[cnt - 1], s[cnt - 2], s[cnt - 1], lerpWeight(tf, s[cnt - 2].timestamp, s[cnt - 1].timestamp), tf);

  glm::quat q = curQ_;
  for (int32_t i = 0; i + 1 < cnt; ++i) {
    const double dt = s[i + 1].timestamp - s[i].timestamp;
    const double rx = (s[i].x + s[i + 1].x) * 0.5;
    const double ry = (s[i].y + s[i + 1].y) * 0.5;
    const double rz = (s[i].z + s[i + 1].z) * 0.5;
    q = quaternionNormalize(quaternionMultiply(q, rotationStep(rx, ry, rz, dt)));
  }
  // Half a turn or more cannot be told from its opposite; drop it.
  if (q.w <= 0.0f) q = quaternionIdentity();
  curQ_ = q;
  motion->frameRotation = q;

  if (!enableIntraFrame_) {
    fillRowBandsWithIdentity(motion);
    return true;
  }

  // Rotation within the visible readout, per row band.
  cnt = motionSampleRingBuffer_->getSamplesBetween(tf, tf + static_cast<double>(readout), s, 1);
  if (cnt < 2) {
    fillRowBandsWithIdentity(motion);
    return true;
  }
  subtractDrift(s, cnt, drift);
  lerpInto(s[0], s[0], s[1], lerpWeight(tf, s[0].timestamp, s[1].timestamp), tf);

  const float step = readout / static_cast<float>(OrvoFrameMotion::kRowBands);
  glm::quat acc = quaternionIdentity();
  int32_t j = 0;
  for (int32_t r = 0; r < OrvoFrameMotion::kRowBands - 1; ++r) {
    const double tr = tf + static_cast<double>(step) * (r + 0.5);
    // One reading at most per band: bands are shorter than the gyro interval.
    // The last entry lies at or after the readout's end, beyond every tr.
    if (j + 2 < cnt && s[j + 1].timestamp < tr) ++j;
    const double w = lerpWeight(tr, s[j].timestamp, s[j + 1].timestamp);
    const double keep = 1.0 - w;
    const double rx = s[j].x * keep + s[j + 1].x * w;
    const double ry = s[j].y * keep + s[j + 1].y * w;
    const double rz = s[j].z * keep + s[j + 1].z * w;
    acc = quaternionNormalize(quaternionMultiply(acc, rotationStep(rx, ry, rz, step)));
    if (acc.w <= 0.0f) acc = quaternionIdentity();
    motion->rowBandRotation[r + 1] = acc;
  }
  motion->rowBandRotation[0] = quaternionIdentity();
  return true;
}

bool OrvoCameraMotionEstimator::filterRotation() {
  const glm::quat q0 = curQ_;
  const float l0 = filter_l0_;
  const float cap = filter_cap_;
  bool capped = false;
  const float x = shrinkAndClamp(q0.x, l0, kFilterGainXY, cap, &capped);
  const float y = shrinkAndClamp(q0.y, l0, kFilterGainXY, cap, &capped);
  // z has no dead zone and a gentler gain; capped reports only x and y, the
  // axes that the image-based refinement of the stabiliser corrects.
  const float z = shrinkAndClamp(q0.z, 0.0f, kFilterGainZ, cap, nullptr);
  curQ_ = quaternionNormalize(quaternionMake(x, y, z, q0.w));
  setRotationDeducted(quaternionMultiply(q0, quaternionInvert(curQ_)));
  return capped;
}

void OrvoCameraMotionEstimator::adjustMotion(const glm::quat& c) {
  curQ_ = quaternionNormalize(quaternionMultiply(curQ_, quaternionInvert(c)));
}

void OrvoCameraMotionEstimator::getInvertedIntraFrameMotion(glm::quat* out, const OrvoFrameMotion* from) const {
  if (out == nullptr || from == nullptr) return;
  for (int k = 0; k < OrvoFrameMotion::kRowBands; ++k)
    out[k] = quaternionInvert(quaternionMultiply(curQ_, from->rowBandRotation[k]));
}

glm::vec3 OrvoCameraMotionEstimator::getNauticalAngles() const {
  const float x = curQ_.x, y = curQ_.y, z = curQ_.z, w = curQ_.w;
  return {std::atan2(2.0f * w * y + 2.0f * x * z, 1.0f - 2.0f * x * x - 2.0f * y * y),
          std::asin(2.0f * w * x - 2.0f * y * z),
          std::atan2(2.0f * w * z + 2.0f * x * y, 1.0f - 2.0f * z * z - 2.0f * x * x)};
}

bool OrvoCameraMotionEstimator::rotationAlmostCapped() const {
  const float limit = 0.95f * filter_cap_;
  return curQ_.x > limit || curQ_.x < -limit || curQ_.y > limit || curQ_.y < -limit;
}

void OrvoCameraMotionEstimator::resetRotation() { curQ_ = quaternionIdentity(); }

OrvoRotationRate OrvoCameraMotionEstimator::currentRotationRate() const {
  if (!motionSampleRingBuffer_) return {};
  return motionSampleRingBuffer_->currentRotationRate();
}

bool OrvoCameraMotionEstimator::hasValidGyroData() const { return motionSampleRingBuffer_->hasValidGyroData(); }

glm::quat OrvoCameraMotionEstimator::rotationDeducted() const {
  std::lock_guard lock(propertyMutex_);
  return rotationDeducted_;
}

void OrvoCameraMotionEstimator::setRotationDeducted(const glm::quat& rotation) {
  std::lock_guard lock(propertyMutex_);
  rotationDeducted_ = rotation;
}

OrvoRotationRate OrvoCameraMotionEstimator::gyroZeroDrift() const {
  std::lock_guard lock(propertyMutex_);
  return gyroZeroDrift_;
}

void OrvoCameraMotionEstimator::setGyroZeroDrift(const OrvoRotationRate& drift) {
  std::lock_guard lock(propertyMutex_);
  gyroZeroDrift_ = drift;
}

int32_t OrvoCameraMotionEstimator::calibrationHoldOff() { return gCalibrationHoldOff.load(); }

void OrvoCameraMotionEstimator::setCalibrationHoldOffForTesting(int32_t frames) { gCalibrationHoldOff.store(frames); }

}  // namespace nudora
