#pragma once
// A single-channel picture in floats (0..255 for 8-bit input), row 0 first,
// with the few operations the motion measurements need: cropping, integer
// downscaling, a light blur, halving for pyramids, bilinear sampling and
// gradients. Out-of-range reads clamp to the nearest edge pixel.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace nudora {

class GrayImage {
 public:
  GrayImage() = default;
  GrayImage(int width, int height, float fill = 0.0f);
  // Copies 8-bit luma rows (stride bytes apart).
  static GrayImage fromBytes(const uint8_t* bytes, int width, int height, int stride);
  // fromBytes(...).cropped(x0, y0, width, height).boxDownscaled(factor) in
  // one pass over the bytes, for large frames; the caller keeps the
  // rectangle inside the picture.
  static GrayImage fromBytesDownscaled(const uint8_t* bytes, int stride, int x0, int y0, int width, int height,
                                       int factor);

  int width() const { return width_; }
  int height() const { return height_; }
  bool empty() const { return width_ == 0 || height_ == 0; }
  float& at(int x, int y) { return pixels_[static_cast<std::size_t>(y) * width_ + x]; }
  float at(int x, int y) const { return pixels_[static_cast<std::size_t>(y) * width_ + x]; }
  const float* row(int y) const { return pixels_.data() + static_cast<std::size_t>(y) * width_; }
  // Bilinear; the caller keeps (x, y) inside [0, width-1] x [0, height-1].
  float sample(float x, float y) const;

  // The rectangle clipped to the picture.
  GrayImage cropped(int x0, int y0, int w, int h) const;
  // Mean of factor x factor blocks; a partial block at the right or bottom
  // edge is dropped.
  GrayImage boxDownscaled(int factor) const;
  // Separable binomial (1 4 6 4 1)/16 blur: takes the edge off noise and
  // compression blocks before gradients and interpolation.
  GrayImage blurred() const;
  // Blurred, then every second pixel: one pyramid level up.
  GrayImage halved() const;
  // Central differences (one-sided at the edges), in grey levels per pixel.
  GrayImage gradientX() const;
  GrayImage gradientY() const;

 private:
  int width_ = 0;
  int height_ = 0;
  std::vector<float> pixels_;
};

}  // namespace nudora
