#include "log/OrvoLogMessage.h"

#include <time.h>

#include <cstdio>

#include "platform/SerialQueue.h"

namespace nudora {
namespace {

// Text of a missing letter, word or C string, as the platform's string
// formatting prints a null object.
constexpr const char* kNullText = "(null)";

const char* orNull(const char* text) { return text ? text : kNullText; }

struct SplitTime {
  time_t seconds;
  int milliseconds;
};

// Floors to whole milliseconds so that times before 1970 keep a
// non-negative millisecond part, as a calendar shows them.
SplitTime split(OrvoTimeStamp timeStamp) {
  using namespace std::chrono;
  auto ms = floor<milliseconds>(timeStamp.time_since_epoch());
  auto s = floor<seconds>(ms);
  return {static_cast<time_t>(s.count()), static_cast<int>((ms - s).count())};
}

// Reads the time zone once, when first used; later changes of TZ are not
// followed, so every time stamp of a run is written in the same zone.
class TimeStampFormatter {
 public:
  TimeStampFormatter() { tzset(); }

  std::string format(OrvoTimeStamp timeStamp) const {
    SplitTime t = split(timeStamp);
    tm local{};
    localtime_r(&t.seconds, &local);
    char text[64];
    size_t n = strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &local);
    std::snprintf(text + n, sizeof(text) - n, ".%03d", t.milliseconds);
    return text;
  }
};

const TimeStampFormatter& sharedFormatter() {
  static const TimeStampFormatter formatter;
  return formatter;
}

// A bare date printed with "%@": UTC, whole seconds, "+0000".
std::string dateDescription(OrvoTimeStamp timeStamp) {
  SplitTime t = split(timeStamp);
  tm utc{};
  gmtime_r(&t.seconds, &utc);
  char text[64];
  strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S +0000", &utc);
  return text;
}

}  // namespace

const char* OrvoLogMessage::flagLetter(int64_t flag) {
  switch (flag) {
    case kOrvoLogFlagCritical: return "C";
    case kOrvoLogFlagError: return "E";
    case kOrvoLogFlagWarning: return "W";
    case kOrvoLogFlagInfo: return "I";
    case kOrvoLogFlagDebug: return "D";
    default: return nullptr;
  }
}

const char* OrvoLogMessage::flagWord(int64_t flag) {
  switch (flag) {
    case kOrvoLogFlagCritical: return "Critical";
    case kOrvoLogFlagError: return "Error";
    case kOrvoLogFlagWarning: return "Warning";
    case kOrvoLogFlagInfo: return "Info";
    case kOrvoLogFlagDebug: return "Debug";
    default: return nullptr;
  }
}

const char* OrvoLogMessage::sourceLetter(int64_t source) {
  switch (source) {
    case kOrvoLogSourceCode: return "C";
    case kOrvoLogSourceSystemLog: return "S";
    default: return nullptr;
  }
}

std::shared_ptr<OrvoLogMessage> OrvoLogMessage::messageWithSource(int64_t source, int64_t flag, std::string message,
                                                                  const char* function) {
  return messageWithSource(source, flag, std::move(message), function, std::chrono::system_clock::now());
}

std::shared_ptr<OrvoLogMessage> OrvoLogMessage::messageWithSource(int64_t source, int64_t flag, std::string message,
                                                                  const char* function, OrvoTimeStamp timeStamp) {
  return std::make_shared<OrvoLogMessage>(source, flag, std::move(message), function, timeStamp);
}

OrvoLogMessage::OrvoLogMessage(int64_t source, int64_t flag, std::string message, const char* function,
                               OrvoTimeStamp timeStamp)
    : source_(source),
      flag_(flag),
      message_(std::move(message)),
      function_(orNull(function)),
      timestamp_(timeStamp),
      queueLabel_(SerialQueue::currentLabel()) {}

std::string OrvoLogMessage::timeStampString(OrvoTimeStamp timeStamp) { return sharedFormatter().format(timeStamp); }

std::string OrvoLogMessage::formattedMessage() const {
  std::string out = timeStampString(timestamp_);
  out += " [";
  out += orNull(sourceLetter(source_));
  out += ':';
  out += orNull(flagLetter(flag_));
  out += ':';
  out += queueLabel_;
  out += "] =";
  out += function_;
  out += "= ";
  out += message_;
  return out;
}

std::string OrvoLogMessage::description() const {
  std::string out = "{\n";
  out += "\tSource      : " + std::string(orNull(sourceLetter(source_))) + ",\n";
  out += "\tFlag        : " + std::string(orNull(flagWord(flag_))) + ",\n";
  out += "\tTimestamp   : " + dateDescription(timestamp_) + ",\n";
  out += "\tFunction    : " + function_ + ",\n";
  out += "\tQueue Label : " + queueLabel_ + ",\n";
  out += "\tMessage     : " + message_ + ",\n";
  out += "}";
  return out;
}

}  // namespace nudora
