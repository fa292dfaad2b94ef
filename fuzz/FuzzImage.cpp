// Any bytes as a picture file (PNG through libpng, JPEG through libjpeg-turbo): decoded
// into a picture of positive size with all its pixels, or refused.
#include <cstdint>
#include <cstdlib>

#include "platform/Image.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  auto image = nudora::Image::decode(data, size);
  if (image) {
    if (image->width() <= 0 || image->height() <= 0) std::abort();
    volatile uint8_t last = *image->pixel(image->width() - 1, image->height() - 1);
    (void)last;
  }
  return 0;
}
