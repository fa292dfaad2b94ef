#pragma once
// The hardware model of the device, and its code in the camera table of
// OrvoCameraMotionEstimator::initDeviceDependentProperties.
//
// On Linux the identifier is $NUDORA_DEVICE_MODEL when set, else the machine
// field of uname; a desktop or board therefore gets code 0 (the default row)
// unless it poses as a phone. Hosts with their own camera give its parameters
// to the estimator instead (OrvoCameraParameters).
//
// Thread rules: callable from any thread; the lookup table is built once.

#include <cstdint>
#include <string>

namespace nudora {

class DeviceInfo {
 public:
  // The hardware model identifier, e.g. "iPhone9,4".
  static std::string deviceModel();
  // The table code of deviceModel(): 1..11 for the known phones and tablets,
  // 0 for anything else.
  static int32_t getDeviceModel();
  // The table code of a given identifier (exact, case-sensitive match).
  static int32_t deviceModelCode(const std::string& identifier);
};

}  // namespace nudora
