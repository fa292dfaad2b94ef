#include "platform/Console.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <time.h>
#include <vector>

namespace nudora {
namespace {

struct ConsoleState {
  std::mutex mutex;
  uint64_t nextToken = 1;
  std::vector<std::pair<uint64_t, Console::Listener>> listeners;
  std::function<void(const std::string&)> sink;
};

ConsoleState& state() {
  static ConsoleState s;
  return s;
}

thread_local bool tlsSuppressed = false;

std::string vformat(const char* format, va_list args) {
  va_list copy;
  va_copy(copy, args);
  int n = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  if (n <= 0) return {};
  std::string out(static_cast<size_t>(n), '\0');
  std::vsnprintf(out.data(), out.size() + 1, format, args);
  return out;
}

}  // namespace

uint64_t Console::addListener(Listener listener) {
  auto& s = state();
  std::lock_guard lock(s.mutex);
  uint64_t token = s.nextToken++;
  s.listeners.emplace_back(token, std::move(listener));
  return token;
}

void Console::removeListener(uint64_t token) {
  auto& s = state();
  std::lock_guard lock(s.mutex);
  std::erase_if(s.listeners, [token](const auto& entry) { return entry.first == token; });
}

void Console::setSinkForTesting(std::function<void(const std::string&)> sink) {
  auto& s = state();
  std::lock_guard lock(s.mutex);
  s.sink = std::move(sink);
}

void Console::write(int level, const std::string& line) {
  std::string text = line;
  if (text.empty() || text.back() != '\n') text.push_back('\n');

  auto& s = state();
  std::vector<Listener> listeners;
  std::function<void(const std::string&)> sink;
  {
    std::lock_guard lock(s.mutex);
    sink = s.sink;
    if (!tlsSuppressed) {
      for (auto& entry : s.listeners) listeners.push_back(entry.second);
    }
  }
  if (sink) {
    sink(text);
  } else {
    std::fputs(text.c_str(), stderr);
  }
  if (listeners.empty()) return;

  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  ConsoleRecord record;
  record.keys["Message"] = line;
  record.keys["Level"] = std::to_string(level);
  record.keys["Time"] = std::to_string(static_cast<long long>(now.tv_sec));
  record.keys["TimeNanoSec"] = std::to_string(static_cast<long long>(now.tv_nsec));

  CaptureSuppressor guard;  // a listener that logs must not feed itself
  for (auto& listener : listeners) listener(record);
}

Console::CaptureSuppressor::CaptureSuppressor() : previous_(tlsSuppressed) { tlsSuppressed = true; }
Console::CaptureSuppressor::~CaptureSuppressor() { tlsSuppressed = previous_; }

void consoleLog(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string line = vformat(format, args);
  va_end(args);
  Console::write(kConsoleWarning, line);
}

void consoleLogLevel(int level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string line = vformat(format, args);
  va_end(args);
  Console::write(level, line);
}

}  // namespace nudora
