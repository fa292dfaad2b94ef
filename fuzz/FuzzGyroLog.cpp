// Any bytes as a gyro log (.gcsv or plain CSV): the reader either loads
// readings with finite, non-decreasing times or names a file and line.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/GyroLog.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  nudora::GyroLog log;
  std::string error;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (log.parse(text, "fuzz.gcsv", &error)) {
    double last = -INFINITY;
    for (size_t i = 0; i < log.size(); ++i) {
      const auto& r = log.readings()[i];
      if (!std::isfinite(r.t) || r.t < last || !std::isfinite(r.x) || !std::isfinite(r.y) || !std::isfinite(r.z)) {
        std::abort();
      }
      last = r.t;
      (void)log.deviceReading(i);
    }
  } else if (error.rfind("fuzz.gcsv:", 0) != 0) {
    std::abort();
  }
  return 0;
}
