#pragma once
// The console line function: every fixed diagnostic text of the library goes
// through consoleLog, which writes one line to standard error and hands the
// line, as a record, to whoever captures the console (the log capture).
//
// Thread rules: callable from any thread. Listeners run on the calling thread
// and must not call consoleLog themselves (a thread already delivering a
// record does not deliver the records it produces, which breaks such loops).

#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace nudora {

// Levels follow the system-log numbering: 0 emergency .. 7 debug.
enum ConsoleLevel : int {
  kConsoleEmergency = 0,
  kConsoleAlert = 1,
  kConsoleCritical = 2,
  kConsoleError = 3,
  kConsoleWarning = 4,
  kConsoleNotice = 5,
  kConsoleInfo = 6,
  kConsoleDebug = 7,
};

// One captured console line. Keys: "Message", "Level" (decimal), "Time" (whole
// seconds since 1970, decimal) and "TimeNanoSec" (decimal). A key may be absent.
struct ConsoleRecord {
  std::map<std::string, std::string> keys;
  const std::string* get(const std::string& key) const {
    auto it = keys.find(key);
    return it == keys.end() ? nullptr : &it->second;
  }
};

class Console {
 public:
  using Listener = std::function<void(const ConsoleRecord&)>;

  // Registers a listener for every later line; returns a token for removal.
  static uint64_t addListener(Listener listener);
  static void removeListener(uint64_t token);

  // Writes the line (a trailing line feed is added when missing) and delivers it.
  static void write(int level, const std::string& line);

  // Lines written while this is alive on a thread reach standard error but no
  // listener. The log queue holds one while it runs loggers.
  class CaptureSuppressor {
   public:
    CaptureSuppressor();
    ~CaptureSuppressor();
    CaptureSuppressor(const CaptureSuppressor&) = delete;
    CaptureSuppressor& operator=(const CaptureSuppressor&) = delete;

   private:
    bool previous_;
  };

  // Redirects the standard-error half, for tests; nullptr restores stderr.
  static void setSinkForTesting(std::function<void(const std::string&)> sink);
};

// printf-style line at warning level, as the platform's NSLog.
void consoleLog(const char* format, ...) __attribute__((format(printf, 1, 2)));
// printf-style line at a given level.
void consoleLogLevel(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));

}  // namespace nudora
