#pragma once
// Loggers for the log tests: one that records what it is given, optionally
// holding every message until the test lets it through.

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <semaphore>
#include <vector>

#include "log/OrvoLogger.h"

namespace nudora::test {

class RecordingLogger : public OrvoLogger {
 public:
  explicit RecordingLogger(int64_t level = kOrvoLogLevelAll, bool gated = false) : level_(level), gated_(gated) {}

  int64_t level() const override { return level_; }
  void logMessage(const std::shared_ptr<OrvoLogMessage>& message) override {
    if (gated_) gate_.acquire();
    if (onMessage) onMessage(message);
    std::lock_guard lock(mutex_);
    messages_.push_back(message);
    changed_.notify_all();
  }

  // Lets n held messages through (gated loggers only).
  void open(ptrdiff_t n) { gate_.release(n); }
  // Runs inside logMessage, on the log queue, before the message is recorded.
  std::function<void(const std::shared_ptr<OrvoLogMessage>&)> onMessage;

  std::vector<std::shared_ptr<OrvoLogMessage>> messages() {
    std::lock_guard lock(mutex_);
    return messages_;
  }
  // Waits (bounded, so a fault fails instead of hanging) for n messages.
  bool waitForCount(size_t n) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(10), [&] { return messages_.size() >= n; });
  }

 private:
  const int64_t level_;
  const bool gated_;
  std::counting_semaphore<> gate_{0};
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::shared_ptr<OrvoLogMessage>> messages_;
};

}  // namespace nudora::test
