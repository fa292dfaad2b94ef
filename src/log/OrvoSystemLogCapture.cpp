#include "log/OrvoSystemLogCapture.h"

#include <chrono>
#include <cstdlib>

namespace nudora {
namespace {

// Seconds from 1970-01-01 to the platform's reference date 2001-01-01.
constexpr int64_t kReferenceDateOffset = 978307200;

// Record values are decimal texts; like the C library's own parsing, a text
// that does not start with a number reads as 0.
int64_t integerValue(const std::string& text) { return std::strtoll(text.c_str(), nullptr, 10); }

struct LevelMapping {
  int64_t flag;
  bool synchronize;
};

// Critical-or-worse lines (and lines of unknown level) are written before the
// capture goes on, so they are out even if the process dies right after.
LevelMapping mappingForLevel(const std::string* level) {
  if (!level) return {kOrvoLogFlagCritical, true};
  switch (integerValue(*level)) {
    case 0:
    case 1:
    case 2: return {kOrvoLogFlagCritical, true};
    case 3: return {kOrvoLogFlagError, false};
    case 4:
    case 5: return {kOrvoLogFlagWarning, false};
    case 6: return {kOrvoLogFlagInfo, false};
    default: return {kOrvoLogFlagDebug, false};
  }
}

}  // namespace

bool OrvoSystemLogCapture::AslQuery::matches(const ConsoleRecord& record) const {
  for (const auto& condition : conditions) {
    const std::string* value = record.get(condition.key);
    if (!value || integerValue(*value) > integerValue(condition.value)) return false;
  }
  return true;
}

std::shared_ptr<OrvoSystemLogCapture> OrvoSystemLogCapture::sharedInstance() {
  static const std::shared_ptr<OrvoSystemLogCapture> instance = std::make_shared<OrvoSystemLogCapture>();
  return instance;
}

OrvoSystemLogCapture::OrvoSystemLogCapture(std::shared_ptr<OrvoLog> log)
    : log_(log ? std::move(log) : OrvoLog::sharedInstance()) {
  // Makes the console's listener table exist before this object, so that it
  // is still there when a process-wide instance is destroyed at exit.
  Console::removeListener(0);
}

OrvoSystemLogCapture::~OrvoSystemLogCapture() { stop(); }

void OrvoSystemLogCapture::start() {
  std::lock_guard lock(mutex_);
  if (started_) return;
  started_ = true;
  std::weak_ptr<OrvoSystemLogCapture> weak = weak_from_this();
  listenerToken_ = Console::addListener([weak](const ConsoleRecord& record) {
    if (auto self = weak.lock()) self->receive(record);
  });
}

void OrvoSystemLogCapture::stop() {
  {
    std::lock_guard lock(mutex_);
    if (!started_) return;
    started_ = false;
    Console::removeListener(listenerToken_);
    listenerToken_ = 0;
  }
  // Lets captures already scheduled finish, so nothing of this capture
  // reaches the log once stop has returned.
  if (!queue_.isCurrent()) queue_.sync([] {});
}

bool OrvoSystemLogCapture::started() const {
  std::lock_guard lock(mutex_);
  return started_;
}

void OrvoSystemLogCapture::receive(const ConsoleRecord& record) {
  {
    std::lock_guard lock(mutex_);
    if (!started_) return;
    received_.push_back(record);
  }
  queue_.async([this] { captureAslLogs(); });
}

void OrvoSystemLogCapture::configureAslQuery(AslQuery& query) const { query.conditions.push_back({"Level", "7"}); }

void OrvoSystemLogCapture::captureAslLogs() {
  AslQuery query;
  configureAslQuery(query);
  std::deque<ConsoleRecord> records;
  {
    std::lock_guard lock(mutex_);
    records.swap(received_);
  }
  for (const auto& record : records) {
    if (query.matches(record)) aslMessageReceived(record);
  }
}

void OrvoSystemLogCapture::aslMessageReceived(const ConsoleRecord& record) {
  const std::string* text = record.get("Message");
  if (!text) return;
  const LevelMapping mapping = mappingForLevel(record.get("Level"));

  using namespace std::chrono;
  system_clock::time_point time;
  if (const std::string* timeText = record.get("Time")) {
    time = system_clock::time_point(duration_cast<system_clock::duration>(seconds(integerValue(*timeText))));
  } else {
    // The fallback subtracts the 1970-to-2001 offset from a time already
    // counted from 2001 instead of adding it, so these lines are dated about
    // 62 years early. Kept on purpose: the odd date marks lines whose record
    // carried no time of its own.
    time = system_clock::now() - std::chrono::seconds(2 * kReferenceDateOffset);
  }
  if (const std::string* nanos = record.get("TimeNanoSec")) {
    time += duration_cast<system_clock::duration>(nanoseconds(integerValue(*nanos)));
  }

  auto message =
      OrvoLogMessage::messageWithSource(kOrvoLogSourceSystemLog, mapping.flag, *text, __func__, time);
  log_->logMessage(message, mapping.synchronize);
}

}  // namespace nudora
