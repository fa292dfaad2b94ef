#pragma once
// What OrvoLog hands messages to. A logger receives only messages whose flag
// shares a bit with its level.
//
// Thread rules: OrvoLog calls logMessage and flush only on its log queue, one
// call at a time, so a logger needs no locking of its own for that. level()
// is read on the log queue for every message.

#include <cstdint>
#include <memory>

#include "log/OrvoLogMessage.h"

namespace nudora {

class OrvoLogger {
 public:
  virtual ~OrvoLogger() = default;
  virtual void logMessage(const std::shared_ptr<OrvoLogMessage>& message) = 0;
  virtual int64_t level() const = 0;
  // Loggers that buffer write out here; the default has nothing to write.
  virtual void flush() {}
};

}  // namespace nudora
