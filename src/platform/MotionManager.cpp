#include "platform/MotionManager.h"

#include "platform/Console.h"
#include "platform/IioGyroSource.h"
#include "platform/SerialQueue.h"

namespace nudora {

std::shared_ptr<MotionManager> MotionManager::sharedInstance() {
  static std::shared_ptr<MotionManager> manager = std::make_shared<MotionManager>();
  return manager;
}

MotionManager::MotionManager() : queue_(std::make_unique<SerialQueue>("MotionQueue")) {}

MotionManager::~MotionManager() {
  stopGyroUpdates();
  queue_.reset();  // drains readings already handed over
}

std::shared_ptr<GyroSource> MotionManager::sourceLocked() const {
  if (!source_ && !sourceProbed_) {
    sourceProbed_ = true;
    auto iio = std::make_shared<IioGyroSource>();
    if (iio->isAvailable()) source_ = iio;
  }
  return source_;
}

void MotionManager::setSource(std::shared_ptr<GyroSource> source) {
  stopGyroUpdates();
  std::lock_guard lock(mutex_);
  source_ = std::move(source);
  sourceProbed_ = true;
}

std::shared_ptr<GyroSource> MotionManager::source() const {
  std::lock_guard lock(mutex_);
  return sourceLocked();
}

bool MotionManager::isGyroAvailable() const {
  std::lock_guard lock(mutex_);
  auto src = sourceLocked();
  return src && src->isAvailable();
}

bool MotionManager::isGyroActive() const {
  std::lock_guard lock(mutex_);
  return active_;
}

void MotionManager::setGyroUpdateInterval(double seconds) {
  std::lock_guard lock(mutex_);
  if (seconds > 0.0) interval_ = seconds;
}

double MotionManager::gyroUpdateInterval() const {
  std::lock_guard lock(mutex_);
  return interval_;
}

void MotionManager::startGyroUpdates(GyroHandler handler) {
  std::shared_ptr<GyroSource> src;
  double interval;
  {
    std::lock_guard lock(mutex_);
    if (active_) return;
    src = sourceLocked();
    interval = interval_;
    if (!src || !src->isAvailable()) {
      consoleLogLevel(kConsoleError, "MotionManager: no gyroscope to start");
      return;
    }
    handler_ = std::make_shared<GyroHandler>(std::move(handler));
    active_ = true;
  }
  auto handlerCopy = handler_;
  SerialQueue* queue = queue_.get();
  bool started = src->start(interval, [handlerCopy, queue](const GyroData& data) {
    queue->async([handlerCopy, data] { (*handlerCopy)(&data, nullptr); });
  });
  if (!started) {
    std::lock_guard lock(mutex_);
    active_ = false;
    handler_.reset();
    consoleLogLevel(kConsoleError, "MotionManager: %s did not start", src->describe().c_str());
  }
}

void MotionManager::stopGyroUpdates() {
  std::shared_ptr<GyroSource> src;
  {
    std::lock_guard lock(mutex_);
    if (!active_) return;
    active_ = false;
    src = source_;
    handler_.reset();
  }
  if (src) src->stop();
}

void MotionManager::waitUntilDelivered() {
  if (queue_->isCurrent()) return;
  queue_->sync([] {});
}

}  // namespace nudora
