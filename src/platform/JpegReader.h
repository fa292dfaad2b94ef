#pragma once
// JPEG decoding through libjpeg-turbo, for pictures from outside: a corrupt
// or hostile file is refused with libjpeg's reason, never read out of
// bounds, a header that claims more than maxSide pixels a side is refused
// before any pixel memory is taken, and so is a file that ends before its
// picture does.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace nudora {

class JpegReader {
 public:
  // True for bytes that start as a JPEG file does.
  static bool looksLikeJpeg(const uint8_t* bytes, size_t size);
  // Decodes into RGBA rows, top row first; false with the reason in why.
  static bool decode(const uint8_t* bytes, size_t size, int maxSide, std::vector<uint8_t>* rgba, int* width,
                     int* height, std::string* why);
};

}  // namespace nudora
