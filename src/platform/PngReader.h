#pragma once
// PNG decoding through libpng's simplified reader, for pictures from
// outside: a corrupt file is refused with libpng's reason, and a header that
// claims more than maxSide pixels a side is refused before any pixel memory
// is taken.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace nudora {

class PngReader {
 public:
  // True for bytes that start with the PNG signature.
  static bool looksLikePng(const uint8_t* bytes, size_t size);
  // Decodes into RGBA rows, top row first; false with the reason in why.
  static bool decode(const uint8_t* bytes, size_t size, int maxSide, std::vector<uint8_t>* rgba, int* width,
                     int* height, std::string* why);
};

}  // namespace nudora
