#pragma once
// Gyro readings pushed by the host, for hosts that own the sensor themselves
// (a camera SDK with its own IMU stream, a network feed). A reading pushed
// while the source is started is delivered at once on the pushing thread;
// one pushed while it is stopped is dropped and counted, as a live sensor's
// readings are lost while nobody listens.
//
// Thread rules: every member is callable from any thread. Readings pushed
// from several threads are delivered in the order their push calls take the
// source's lock.

#include <cstdint>
#include <mutex>
#include <string>

#include "platform/MotionManager.h"

namespace nudora {

class HostGyroSource : public GyroSource {
 public:
  HostGyroSource() = default;

  // Always true: the host decides when readings come.
  bool isAvailable() const override { return true; }
  // The interval is the host's business; it is not used here.
  bool start(double interval, Deliver deliver) override;
  void stop() override;
  std::string describe() const override { return "host gyro readings"; }

  // A reading in rad/s, device axes, stamped now (Clock::uptime()).
  bool push(double x, double y, double z);
  // A reading with the host's own time stamp (uptime seconds). True when
  // delivered; false when stopped or when a value is not finite (logged
  // once per source).
  bool push(double x, double y, double z, double timestamp);

  uint64_t deliveredCount() const;
  // Readings dropped because the source was stopped.
  uint64_t ignoredCount() const;
  // Readings dropped because a value was NaN or infinite.
  uint64_t rejectedCount() const;

 private:
  mutable std::mutex mutex_;
  Deliver deliver_;
  bool running_ = false;
  bool warnedNonFinite_ = false;
  uint64_t delivered_ = 0;
  uint64_t ignored_ = 0;
  uint64_t rejected_ = 0;
};

}  // namespace nudora
