#include "platform/HostGyroSource.h"

#include <cmath>

#include "platform/Clock.h"
#include "platform/Console.h"

namespace nudora {

bool HostGyroSource::start(double /*interval*/, Deliver deliver) {
  std::lock_guard lock(mutex_);
  if (running_) {
    consoleLogLevel(kConsoleError, "HostGyroSource: already started");
    return false;
  }
  deliver_ = std::move(deliver);
  running_ = true;
  return true;
}

void HostGyroSource::stop() {
  std::lock_guard lock(mutex_);
  running_ = false;
  deliver_ = nullptr;
}

bool HostGyroSource::push(double x, double y, double z) { return push(x, y, z, Clock::uptime()); }

bool HostGyroSource::push(double x, double y, double z, double timestamp) {
  std::lock_guard lock(mutex_);
  if (!running_) {
    ++ignored_;
    return false;
  }
  if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(z) || !std::isfinite(timestamp)) {
    ++rejected_;
    if (!warnedNonFinite_) {
      warnedNonFinite_ = true;
      consoleLogLevel(kConsoleError, "HostGyroSource: dropped a reading that is not finite (%g, %g, %g at %g)", x, y, z,
                      timestamp);
    }
    return false;
  }
  GyroData data;
  data.timestamp = timestamp;
  data.x = x;
  data.y = y;
  data.z = z;
  // Delivery only hands the reading to the manager's queue, so it may run
  // under the lock; that is what makes stop() final.
  deliver_(data);
  ++delivered_;
  return true;
}

uint64_t HostGyroSource::deliveredCount() const {
  std::lock_guard lock(mutex_);
  return delivered_;
}

uint64_t HostGyroSource::ignoredCount() const {
  std::lock_guard lock(mutex_);
  return ignored_;
}

uint64_t HostGyroSource::rejectedCount() const {
  std::lock_guard lock(mutex_);
  return rejected_;
}

}  // namespace nudora
