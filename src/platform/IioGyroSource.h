#pragma once
// A Linux IIO gyroscope read through sysfs. Stub: filled in with the gyro sources.

#include <string>

#include "platform/MotionManager.h"

namespace nudora {

class IioGyroSource : public GyroSource {
 public:
  bool isAvailable() const override { return false; }
  bool start(double, Deliver) override { return false; }
  void stop() override {}
  std::string describe() const override { return "IIO gyroscope"; }
};

}  // namespace nudora
