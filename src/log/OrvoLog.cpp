#include "log/OrvoLog.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "log/OrvoSystemLogCapture.h"
#include "platform/Console.h"
#include "platform/NotificationCenter.h"

namespace nudora {

std::shared_ptr<OrvoLog> OrvoLog::sharedInstance() {
  static const std::shared_ptr<OrvoLog> instance = std::make_shared<OrvoLog>();
  return instance;
}

OrvoLog::OrvoLog() {
  // Pending messages must reach the loggers before the process is suspended or ends.
  auto& center = NotificationCenter::defaultCenter();
  for (const char* name : {kApplicationDidEnterBackgroundNotification, kApplicationWillTerminateNotification}) {
    observerTokens_.push_back(center.addObserver(name, [this](const std::string& n) { flushLoggers(n); }));
  }
}

OrvoLog::~OrvoLog() {
  auto& center = NotificationCenter::defaultCenter();
  for (uint64_t token : observerTokens_) center.removeObserver(token);
  flush();
}

void OrvoLog::log(int64_t flag, const char* function, bool synchronize, const char* format, ...) {
  va_list args;
  va_start(args, format);
  va_list copy;
  va_copy(copy, args);
  int n = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  std::string text;
  if (n > 0) {
    text.resize(static_cast<size_t>(n));
    std::vsnprintf(text.data(), text.size() + 1, format, args);
  }
  va_end(args);
  sharedInstance()->log(flag, function, synchronize, text);
}

void OrvoLog::log(int64_t flag, const char* function, bool synchronize, const std::string& message) {
  logMessage(OrvoLogMessage::messageWithSource(kOrvoLogSourceCode, flag, message, function), synchronize);
}

void OrvoLog::logMessage(const std::shared_ptr<OrvoLogMessage>& message, bool synchronize) {
  if (!message) return;
  queueMessage(message, synchronize);
}

void OrvoLog::queueMessage(const std::shared_ptr<OrvoLogMessage>& message, bool synchronize) {
  // A logger that logs runs on the queue that frees the slots; waiting for one
  // there could never end, so such messages take a slot only if one is free.
  const bool onQueue = queue_.isCurrent();
  bool holdsSlot = true;
  if (onQueue) {
    holdsSlot = pending_.try_acquire();
  } else {
    pending_.acquire();
  }
  auto block = [this, message, holdsSlot] {
    queueLog(message);
    if (holdsSlot) pending_.release();
  };
  if (!synchronize) {
    queue_.async(std::move(block));
  } else {
    runOnQueue(block);
  }
}

void OrvoLog::queueLog(const std::shared_ptr<OrvoLogMessage>& message) {
  Console::CaptureSuppressor suppressor;
  for (const auto& logger : loggers_) {
    if ((message->flag() & logger->level()) != 0) logger->logMessage(message);
  }
}

void OrvoLog::runOnQueue(const std::function<void()>& block) {
  if (queue_.isCurrent()) {
    block();
  } else {
    queue_.sync(block);
  }
}

void OrvoLog::addLogger(const std::shared_ptr<OrvoLogger>& logger) {
  if (!logger) return;
  runOnQueue([this, &logger] {
    if (std::find(loggers_.begin(), loggers_.end(), logger) == loggers_.end()) loggers_.push_back(logger);
  });
}

std::vector<std::shared_ptr<OrvoLogger>> OrvoLog::loggers() {
  std::vector<std::shared_ptr<OrvoLogger>> copy;
  runOnQueue([this, &copy] { copy = loggers_; });
  return copy;
}

std::vector<std::shared_ptr<OrvoLogger>> OrvoLog::allLoggers() { return sharedInstance()->loggers(); }

void OrvoLog::flush() {
  runOnQueue([this] {
    Console::CaptureSuppressor suppressor;
    for (const auto& logger : loggers_) logger->flush();
  });
}

void OrvoLog::flushLoggers(const std::string&) { flush(); }

void OrvoLog::startCaptureNSLog() { OrvoSystemLogCapture::sharedInstance()->start(); }

void OrvoLog::stopCaptureNSLog() { OrvoSystemLogCapture::sharedInstance()->stop(); }

}  // namespace nudora
