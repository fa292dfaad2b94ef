#pragma once
// Reading BGRA pictures between their pixels.

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace nudora::tool {

// The colour at (x, y) in pixel-centre coordinates (pixel (0, 0) at 0, 0) of
// a BGRA picture at least 2 x 2, bilinear, the edge continued beyond the
// border; rounded to bytes.
inline void sampleBgraBilinear(const uint8_t* pixels, size_t bytesPerRow, int width, int height, double x, double y,
                               uint8_t out[4]) {
  x = std::clamp(x, 0.0, width - 1.0);
  y = std::clamp(y, 0.0, height - 1.0);
  const int x0 = std::min(static_cast<int>(x), width - 2), y0 = std::min(static_cast<int>(y), height - 2);
  const double fx = x - x0, fy = y - y0;
  const uint8_t* p00 = pixels + static_cast<size_t>(y0) * bytesPerRow + static_cast<size_t>(x0) * 4;
  const uint8_t* p01 = p00 + bytesPerRow;
  for (int c = 0; c < 4; ++c) {
    const double top = p00[c] + (p00[c + 4] - p00[c]) * fx;
    const double bottom = p01[c] + (p01[c + 4] - p01[c]) * fx;
    out[c] = static_cast<uint8_t>(top + (bottom - top) * fy + 0.5);
  }
}

}  // namespace nudora::tool
