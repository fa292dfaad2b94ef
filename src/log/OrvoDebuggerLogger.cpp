#include "log/OrvoDebuggerLogger.h"

namespace nudora {

OrvoDebuggerLogger::OrvoDebuggerLogger() : OrvoDebuggerLogger(kOrvoLogLevelAll) {}

OrvoDebuggerLogger::OrvoDebuggerLogger(int64_t level) : OrvoDebuggerLogger(level, nullptr) {}

OrvoDebuggerLogger::OrvoDebuggerLogger(int64_t level, FILE* output) : level_(level), output_(output) {}

void OrvoDebuggerLogger::logMessage(const std::shared_ptr<OrvoLogMessage>& message) {
  if (!message) return;
  FILE* out = output_ ? output_ : stderr;
  std::string text = message->formattedMessage();
  // Messages that already end a line (captured console lines often do) must
  // not leave an empty line behind.
  if (!text.empty() && text.back() == '\n') {
    std::fprintf(out, "%s", text.c_str());
  } else {
    std::fprintf(out, "%s\n", text.c_str());
  }
}

void OrvoDebuggerLogger::flush() { std::fflush(output_ ? output_ : stderr); }

}  // namespace nudora
