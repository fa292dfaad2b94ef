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
  queue_.reset();  // runs the (now stale, hence skipped) readings still queued
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
  bool wasActive = false;
  {
    std::lock_guard control(controlMutex_);
    std::shared_ptr<GyroSource> old;
    {
      std::lock_guard lock(mutex_);
      wasActive = active_;
      active_ = false;
      handler_.reset();
      old = source_;
      source_ = std::move(source);
      sourceProbed_ = true;
    }
    if (wasActive && old) old->stop();
  }
  if (wasActive && !queue_->isCurrent()) queue_->sync([] {});
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
  std::lock_guard control(controlMutex_);
  std::shared_ptr<GyroSource> src;
  std::shared_ptr<GyroHandler> session;
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
    session = std::make_shared<GyroHandler>(std::move(handler));
    handler_ = session;
    active_ = true;
  }
  // The handler object doubles as the session token: a reading runs the
  // handler only while handler_ is still the object it was queued with, so
  // readings queued before a stop (or before a restart) are dropped. Holding
  // the token keeps its address from being reused by a later session.
  bool started = src->start(interval, [this, session](const GyroData& data) {
    queue_->async([this, session, data] {
      {
        std::lock_guard lock(mutex_);
        if (handler_ != session) return;
      }
      (*session)(&data, nullptr);
    });
  });
  if (!started) {
    {
      std::lock_guard lock(mutex_);
      active_ = false;
      handler_.reset();
    }
    consoleLogLevel(kConsoleError, "MotionManager: %s did not start", src->describe().c_str());
  }
}

void MotionManager::stopGyroUpdates() {
  {
    std::lock_guard control(controlMutex_);
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
  // A reading that passed the session check just before the reset may still
  // be inside the handler; waiting for the queue lets the caller tear down
  // what the handler touches once this returns. From the handler itself there
  // is nothing to wait for.
  if (!queue_->isCurrent()) queue_->sync([] {});
}

void MotionManager::waitUntilDelivered() {
  if (queue_->isCurrent()) return;
  queue_->sync([] {});
}

}  // namespace nudora
