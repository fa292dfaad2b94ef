#pragma once
// Feeds the process's own console lines (consoleLog, the platform's NSLog)
// into an OrvoLog as messages of source kOrvoLogSourceSystemLog.
//
// The console listener stands in for the system log's "new message"
// notification: it only stores the record and schedules captureAslLogs on
// this object's own serial queue, so loggers never run on the thread that
// wrote the console line.
//
// Thread rules: every member is callable from any thread; stop() waits for
// records already received to be passed on and must not be called from a
// logger of the target log. Make instances with std::make_shared (the
// listener holds only a weak reference).

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "log/OrvoLog.h"
#include "platform/Console.h"
#include "platform/SerialQueue.h"

namespace nudora {

class OrvoSystemLogCapture : public std::enable_shared_from_this<OrvoSystemLogCapture> {
 public:
  // A search over captured records: every condition must hold. Only the
  // numeric less-or-equal test is needed; a record lacking the key fails it.
  struct AslQuery {
    struct Condition {
      std::string key;
      std::string value;
    };
    std::vector<Condition> conditions;
    bool matches(const ConsoleRecord& record) const;
  };

  // Captures into OrvoLog::sharedInstance().
  static std::shared_ptr<OrvoSystemLogCapture> sharedInstance();

  // log nullptr means OrvoLog::sharedInstance().
  explicit OrvoSystemLogCapture(std::shared_ptr<OrvoLog> log = nullptr);
  ~OrvoSystemLogCapture();
  OrvoSystemLogCapture(const OrvoSystemLogCapture&) = delete;
  OrvoSystemLogCapture& operator=(const OrvoSystemLogCapture&) = delete;

  void start();
  void stop();
  bool started() const;

  // Adds Level <= 7, which lets every level through.
  void configureAslQuery(AslQuery& query) const;
  // Passes every record received since the previous call that matches the query.
  void captureAslLogs();
  // Turns one record into a message and logs it; records without "Message"
  // are ignored.
  void aslMessageReceived(const ConsoleRecord& record);

  const std::string& queueLabel() const { return queue_.label(); }

 private:
  void receive(const ConsoleRecord& record);

  const std::shared_ptr<OrvoLog> log_;
  mutable std::mutex mutex_;
  bool started_ = false;
  uint64_t listenerToken_ = 0;
  std::deque<ConsoleRecord> received_;  // not yet seen by captureAslLogs
  // Last, so it is destroyed first and its remaining blocks still find the
  // members above alive.
  SerialQueue queue_{"com.velmar.logs.capture"};
};

}  // namespace nudora
