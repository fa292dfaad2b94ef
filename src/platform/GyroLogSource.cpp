#include "platform/GyroLogSource.h"

#include <cstdio>

#include "platform/Clock.h"
#include "platform/Console.h"

namespace nudora {

GyroLogSource::GyroLogSource(std::shared_ptr<const GyroLog> log, double offset, std::weak_ptr<MotionManager> manager)
    : log_(std::move(log)), manager_(std::move(manager)), offset_(offset) {}

std::shared_ptr<MotionManager> GyroLogSource::manager() const {
  // An empty weak pointer (never set) differs from one whose manager is gone:
  // only the first falls back to the shared manager.
  std::weak_ptr<MotionManager> empty;
  if (!manager_.owner_before(empty) && !empty.owner_before(manager_)) return MotionManager::sharedInstance();
  return manager_.lock();
}

bool GyroLogSource::isAvailable() const { return log_ && !log_->empty(); }

bool GyroLogSource::start(double /*interval*/, Deliver deliver) {
  std::lock_guard lock(mutex_);
  if (running_) {
    consoleLogLevel(kConsoleError, "GyroLogSource: already started");
    return false;
  }
  if (!isAvailable()) {
    consoleLogLevel(kConsoleError, "GyroLogSource: no readings to replay");
    return false;
  }
  const size_t count = log_->size();
  if (!Clock::isVirtual()) {
    size_t first = next_ < count ? next_ : count - 1;
    Clock::startVirtual(log_->readings()[first].t + offset_);
  } else {
    const double now = Clock::uptime();
    size_t skipped = 0;
    while (next_ < count && log_->readings()[next_].t + offset_ < now) {
      ++next_;
      ++skipped;
    }
    if (skipped > 0) {
      consoleLogLevel(kConsoleNotice, "GyroLogSource: skipped %zu readings older than uptime %.6f", skipped, now);
    }
  }
  orientation_ = log_->orientation();
  deliver_ = std::move(deliver);
  running_ = true;
  return true;
}

void GyroLogSource::stop() {
  std::lock_guard lock(mutex_);
  running_ = false;
  deliver_ = nullptr;
}

std::string GyroLogSource::describe() const {
  std::lock_guard lock(mutex_);
  if (!log_) return "gyro log replay (no log)";
  char offset[48];
  std::snprintf(offset, sizeof(offset), "%+.6f", offset_);
  return "gyro log replay of " + log_->path() + " (" + std::to_string(log_->size()) + " readings, offset " + offset +
         " s)";
}

size_t GyroLogSource::advanceTo(double t) {
  auto manager = this->manager();
  size_t count = 0;
  bool running = false;
  for (;;) {
    {
      std::lock_guard lock(mutex_);
      running = running_;
      if (!running_ || next_ >= log_->size()) break;
      GyroData data = log_->deviceReading(next_, orientation_);
      data.timestamp += offset_;
      if (data.timestamp > t) break;
      Clock::setVirtualTime(data.timestamp);
      // deliver only queues the reading, so holding the lock here is brief;
      // it is what lets stop() promise that no delivery follows it.
      deliver_(data);
      ++next_;
      ++delivered_;
      ++count;
    }
    // One reading at a time: the handler reads the clock when the reading
    // arrives, so the clock may only move on once it has.
    if (manager) manager->waitUntilDelivered();
  }
  if (running && Clock::isVirtual() && t > Clock::uptime()) Clock::setVirtualTime(t);
  return count;
}

double GyroLogSource::offset() const {
  std::lock_guard lock(mutex_);
  return offset_;
}

void GyroLogSource::setOffset(double offset) {
  std::lock_guard lock(mutex_);
  offset_ = offset;
}

size_t GyroLogSource::delivered() const {
  std::lock_guard lock(mutex_);
  return delivered_;
}

size_t GyroLogSource::position() const {
  std::lock_guard lock(mutex_);
  return next_;
}

void GyroLogSource::rewind() {
  std::lock_guard lock(mutex_);
  next_ = 0;
}

}  // namespace nudora
