#include "platform/PngReader.h"

#include <png.h>

#include <cstring>

namespace nudora {

bool PngReader::looksLikePng(const uint8_t* bytes, size_t size) {
  return size >= 8 && png_sig_cmp(bytes, 0, 8) == 0;
}

bool PngReader::decode(const uint8_t* bytes, size_t size, int maxSide, std::vector<uint8_t>* rgba, int* width,
                       int* height, std::string* why) {
  png_image image;
  std::memset(&image, 0, sizeof image);
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_memory(&image, bytes, size)) {
    *why = image.message;
    return false;
  }
  if (image.width == 0 || image.height == 0 || image.width > static_cast<png_uint_32>(maxSide) ||
      image.height > static_cast<png_uint_32>(maxSide)) {
    png_image_free(&image);
    *why = "Very large image (corrupt?)";
    return false;
  }
  image.format = PNG_FORMAT_RGBA;
  rgba->assign(PNG_IMAGE_SIZE(image), 0);
  if (!png_image_finish_read(&image, nullptr, rgba->data(), 0, nullptr)) {
    *why = image.message;
    rgba->clear();
    return false;
  }
  *width = static_cast<int>(image.width);
  *height = static_cast<int>(image.height);
  return true;
}

}  // namespace nudora
