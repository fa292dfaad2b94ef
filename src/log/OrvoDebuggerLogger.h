#pragma once
// Writes each message's formattedMessage to standard error, one line each.
//
// Thread rules: called by OrvoLog on its log queue only.

#include <cstdio>

#include "log/OrvoLogger.h"

namespace nudora {

class OrvoDebuggerLogger : public OrvoLogger {
 public:
  // Accepts every flag (kOrvoLogLevelAll): a debugger console is where one
  // wants to see everything unless told otherwise.
  OrvoDebuggerLogger();
  explicit OrvoDebuggerLogger(int64_t level);
  // Writes to output instead of stderr; the caller keeps output open while
  // this logger lives.
  OrvoDebuggerLogger(int64_t level, FILE* output);

  int64_t level() const override { return level_; }
  void logMessage(const std::shared_ptr<OrvoLogMessage>& message) override;
  void flush() override;

 private:
  const int64_t level_;
  FILE* const output_;
};

}  // namespace nudora
