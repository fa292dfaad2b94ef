// Any bytes as a .cube 3D lookup table: parsed and baked, or refused with a
// message naming the file.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "filters/CubeLookupTable.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::string error;
  auto table = nudora::CubeLookupTable::parse(text, "fuzz.cube", &error);
  if (!table && error.find("fuzz.cube") == std::string::npos) std::abort();
  return 0;
}
