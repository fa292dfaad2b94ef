#pragma once
// The process-wide log: wraps texts in OrvoLogMessage and hands them, on the
// serial queue "com.velmar.logs", to every logger whose level accepts the flag.
//
// Thread rules: every member is callable from any thread, the log queue
// included (from a logger): there, synchronous work runs in place instead of
// waiting on the queue, and a message never waits for a free slot.
// At most kMaxPendingMessages messages are pending; a producer beyond that
// blocks until a logger has written one. Loggers run with console capture
// suppressed, so a logger that writes console lines cannot feed itself
// through OrvoSystemLogCapture.
// The class-method forms of logMessage, addLogger and start/stopCaptureNSLog
// are sharedInstance()->...; only log has a static printf form of its own.
// An OrvoLog must not be destroyed on its own queue.

#include <cstdint>
#include <functional>
#include <memory>
#include <semaphore>
#include <string>
#include <vector>

#include "log/OrvoLogMessage.h"
#include "log/OrvoLogger.h"
#include "platform/SerialQueue.h"

namespace nudora {

class OrvoLog {
 public:
  static constexpr ptrdiff_t kMaxPendingMessages = 1000;

  static std::shared_ptr<OrvoLog> sharedInstance();

  OrvoLog();
  ~OrvoLog();
  OrvoLog(const OrvoLog&) = delete;
  OrvoLog& operator=(const OrvoLog&) = delete;

  // printf-style, into the shared instance.
  static void log(int64_t flag, const char* function, bool synchronize, const char* format, ...)
      __attribute__((format(printf, 4, 5)));
  // Into this instance. Pass a std::string: a string literal picks the static
  // printf form above, which goes to the shared instance.
  void log(int64_t flag, const char* function, bool synchronize, const std::string& message);

  // synchronize: return only once every logger has handled the message.
  void logMessage(const std::shared_ptr<OrvoLogMessage>& message, bool synchronize);

  // Adds logger unless it is already registered (same object).
  void addLogger(const std::shared_ptr<OrvoLogger>& logger);
  std::vector<std::shared_ptr<OrvoLogger>> loggers();
  static std::vector<std::shared_ptr<OrvoLogger>> allLoggers();

  // Waits until every message queued so far is written, then flushes each logger.
  void flush();
  // Observer of the background and terminate notifications.
  void flushLoggers(const std::string& notificationName);

  void startCaptureNSLog();
  void stopCaptureNSLog();

 private:
  void queueMessage(const std::shared_ptr<OrvoLogMessage>& message, bool synchronize);
  void queueLog(const std::shared_ptr<OrvoLogMessage>& message);
  // Runs block on the log queue and waits; in place when already on it.
  void runOnQueue(const std::function<void()>& block);

  std::vector<std::shared_ptr<OrvoLogger>> loggers_;  // touched on queue_ only
  std::counting_semaphore<kMaxPendingMessages> pending_{kMaxPendingMessages};
  std::vector<uint64_t> observerTokens_;
  // Last, so it is destroyed first and its remaining blocks still find the
  // members above alive.
  SerialQueue queue_{"com.velmar.logs"};
};

}  // namespace nudora

// Log calls that record the calling function. Critical messages are written
// before the call returns, as critical system-log lines are; the rest queue.
#define ORVO_LOG_CRITICAL(...) ::nudora::OrvoLog::log(::nudora::kOrvoLogFlagCritical, __func__, true, __VA_ARGS__)
#define ORVO_LOG_ERROR(...) ::nudora::OrvoLog::log(::nudora::kOrvoLogFlagError, __func__, false, __VA_ARGS__)
#define ORVO_LOG_WARNING(...) ::nudora::OrvoLog::log(::nudora::kOrvoLogFlagWarning, __func__, false, __VA_ARGS__)
#define ORVO_LOG_INFO(...) ::nudora::OrvoLog::log(::nudora::kOrvoLogFlagInfo, __func__, false, __VA_ARGS__)
#define ORVO_LOG_DEBUG(...) ::nudora::OrvoLog::log(::nudora::kOrvoLogFlagDebug, __func__, false, __VA_ARGS__)
