#pragma once
// One log entry: severity flag, origin, text, calling function, creation time
// and the label of the queue it was made on. Immutable once made, so it can be
// handed between the producer, the log queue and every logger without locks.
//
// Thread rules: every member is callable from any thread.

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace nudora {

using OrvoTimeStamp = std::chrono::system_clock::time_point;

// Severity flags. A logger's level is a mask of them; a message's flag is
// normally one of them, but any value is carried through (3 reaches loggers
// whose mask has bit 1 or 2, and has no letter or word).
enum OrvoLogFlag : int64_t {
  kOrvoLogFlagCritical = 1,
  kOrvoLogFlagError = 2,
  kOrvoLogFlagWarning = 4,
  kOrvoLogFlagInfo = 8,
  kOrvoLogFlagDebug = 16,
};
inline constexpr int64_t kOrvoLogLevelAll = 31;

enum OrvoLogSource : int64_t {
  kOrvoLogSourceCode = 0,       // the library's own log calls
  kOrvoLogSourceSystemLog = 1,  // console lines captured by OrvoSystemLogCapture
};

class OrvoLogMessage {
 public:
  // Letters and words of flags and sources; nullptr for a value outside the
  // tables. Formatting prints nullptr as "(null)".
  static const char* flagLetter(int64_t flag);
  static const char* flagWord(int64_t flag);
  static const char* sourceLetter(int64_t source);

  // Timestamp = now.
  static std::shared_ptr<OrvoLogMessage> messageWithSource(int64_t source, int64_t flag, std::string message,
                                                           const char* function);
  static std::shared_ptr<OrvoLogMessage> messageWithSource(int64_t source, int64_t flag, std::string message,
                                                           const char* function, OrvoTimeStamp timeStamp);

  // function may be nullptr (kept as "(null)"). The queue label is taken from
  // the queue (or thread) the constructor runs on.
  OrvoLogMessage(int64_t source, int64_t flag, std::string message, const char* function, OrvoTimeStamp timeStamp);

  // "yyyy-MM-dd HH:mm:ss.SSS" in local time, milliseconds truncated.
  static std::string timeStampString(OrvoTimeStamp timeStamp);

  // "<time> [<source letter>:<flag letter>:<queue label>] =<function>= <message>"
  std::string formattedMessage() const;
  // Multi-line dump of every field; the timestamp is shown the way the
  // platform prints a bare date: UTC, "yyyy-MM-dd HH:mm:ss +0000".
  std::string description() const;

  int64_t source() const { return source_; }
  int64_t flag() const { return flag_; }
  const std::string& message() const { return message_; }
  const std::string& function() const { return function_; }
  OrvoTimeStamp timestamp() const { return timestamp_; }
  const std::string& queueLabel() const { return queueLabel_; }

 private:
  const int64_t source_;
  const int64_t flag_;
  const std::string message_;
  const std::string function_;
  const OrvoTimeStamp timestamp_;
  const std::string queueLabel_;
};

}  // namespace nudora
