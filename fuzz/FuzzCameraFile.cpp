// Any bytes as a camera parameter file (JSON): read into parameters that
// pass their own check, or refused with a message naming the file.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "process/CameraFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  nudora::tool::CameraFile file;
  std::string error;
  if (nudora::tool::CameraFile::parse(text, "fuzz.json", &file, &error)) {
    (void)file.parameters(1920, 1080, 0.02, 0.0);
  } else if (error.find("fuzz.json") == std::string::npos) {
    std::abort();
  }
  return 0;
}
