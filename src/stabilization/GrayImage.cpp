#include "stabilization/GrayImage.h"

#include <algorithm>
#include <cmath>

namespace nudora {

GrayImage::GrayImage(int width, int height, float fill)
    : width_(std::max(0, width)), height_(std::max(0, height)), pixels_(static_cast<size_t>(width_) * height_, fill) {}

GrayImage GrayImage::fromBytes(const uint8_t* bytes, int width, int height, int stride) {
  GrayImage image(width, height);
  for (int y = 0; y < image.height_; ++y) {
    const uint8_t* src = bytes + static_cast<size_t>(y) * stride;
    float* dst = image.pixels_.data() + static_cast<size_t>(y) * image.width_;
    for (int x = 0; x < image.width_; ++x) dst[x] = src[x];
  }
  return image;
}

GrayImage GrayImage::fromBytesDownscaled(const uint8_t* bytes, int stride, int x0, int y0, int width, int height,
                                         int factor) {
  factor = std::max(factor, 1);
  GrayImage out(width / factor, height / factor);
  const float scale = 1.0f / static_cast<float>(factor * factor);
  std::vector<uint32_t> sums(static_cast<size_t>(out.width_));
  for (int y = 0; y < out.height_; ++y) {
    std::fill(sums.begin(), sums.end(), 0u);
    for (int j = 0; j < factor; ++j) {
      const uint8_t* src = bytes + static_cast<size_t>(y0 + y * factor + j) * stride + x0;
      for (int x = 0; x < out.width_; ++x, src += factor) {
        uint32_t s = 0;
        for (int i = 0; i < factor; ++i) s += src[i];
        sums[x] += s;
      }
    }
    float* dst = out.pixels_.data() + static_cast<size_t>(y) * out.width_;
    for (int x = 0; x < out.width_; ++x) dst[x] = static_cast<float>(sums[x]) * scale;
  }
  return out;
}

float GrayImage::sample(float x, float y) const {
  int x0 = std::clamp(static_cast<int>(std::floor(x)), 0, width_ - 1);
  int y0 = std::clamp(static_cast<int>(std::floor(y)), 0, height_ - 1);
  int x1 = std::min(x0 + 1, width_ - 1);
  int y1 = std::min(y0 + 1, height_ - 1);
  float fx = x - static_cast<float>(x0);
  float fy = y - static_cast<float>(y0);
  const float* r0 = row(y0);
  const float* r1 = row(y1);
  float top = r0[x0] + (r0[x1] - r0[x0]) * fx;
  float bottom = r1[x0] + (r1[x1] - r1[x0]) * fx;
  return top + (bottom - top) * fy;
}

GrayImage GrayImage::cropped(int x0, int y0, int w, int h) const {
  x0 = std::clamp(x0, 0, width_);
  y0 = std::clamp(y0, 0, height_);
  w = std::clamp(w, 0, width_ - x0);
  h = std::clamp(h, 0, height_ - y0);
  GrayImage out(w, h);
  for (int y = 0; y < h; ++y) std::copy_n(row(y0 + y) + x0, w, out.pixels_.data() + static_cast<size_t>(y) * w);
  return out;
}

GrayImage GrayImage::boxDownscaled(int factor) const {
  if (factor <= 1) return *this;
  GrayImage out(width_ / factor, height_ / factor);
  float scale = 1.0f / static_cast<float>(factor * factor);
  for (int y = 0; y < out.height_; ++y) {
    for (int x = 0; x < out.width_; ++x) {
      float sum = 0.0f;
      for (int j = 0; j < factor; ++j) {
        const float* src = row(y * factor + j) + x * factor;
        for (int i = 0; i < factor; ++i) sum += src[i];
      }
      out.at(x, y) = sum * scale;
    }
  }
  return out;
}

GrayImage GrayImage::blurred() const {
  static constexpr float kTaps[5] = {1.0f / 16, 4.0f / 16, 6.0f / 16, 4.0f / 16, 1.0f / 16};
  GrayImage across(width_, height_);
  for (int y = 0; y < height_; ++y) {
    const float* src = row(y);
    for (int x = 0; x < width_; ++x) {
      float sum = 0.0f;
      for (int k = -2; k <= 2; ++k) sum += kTaps[k + 2] * src[std::clamp(x + k, 0, width_ - 1)];
      across.at(x, y) = sum;
    }
  }
  GrayImage out(width_, height_);
  for (int y = 0; y < height_; ++y) {
    for (int x = 0; x < width_; ++x) {
      float sum = 0.0f;
      for (int k = -2; k <= 2; ++k) sum += kTaps[k + 2] * across.at(x, std::clamp(y + k, 0, height_ - 1));
      out.at(x, y) = sum;
    }
  }
  return out;
}

GrayImage GrayImage::halved() const {
  GrayImage smooth = blurred();
  GrayImage out(width_ / 2, height_ / 2);
  // Sample between the two source pixels so that level pixel centres stay
  // aligned: level coordinate x covers source 2x .. 2x+1, centre 2x+0.5.
  for (int y = 0; y < out.height_; ++y) {
    for (int x = 0; x < out.width_; ++x) {
      out.at(x, y) = 0.25f * (smooth.at(2 * x, 2 * y) + smooth.at(2 * x + 1, 2 * y) + smooth.at(2 * x, 2 * y + 1) +
                              smooth.at(2 * x + 1, 2 * y + 1));
    }
  }
  return out;
}

GrayImage GrayImage::gradientX() const {
  GrayImage out(width_, height_);
  if (width_ < 2) return out;
  for (int y = 0; y < height_; ++y) {
    const float* src = row(y);
    for (int x = 0; x < width_; ++x) {
      int l = std::max(x - 1, 0);
      int r = std::min(x + 1, width_ - 1);
      out.at(x, y) = (src[r] - src[l]) / static_cast<float>(r - l);
    }
  }
  return out;
}

GrayImage GrayImage::gradientY() const {
  GrayImage out(width_, height_);
  if (height_ < 2) return out;
  for (int y = 0; y < height_; ++y) {
    int t = std::max(y - 1, 0);
    int b = std::min(y + 1, height_ - 1);
    float inv = 1.0f / static_cast<float>(b - t);
    for (int x = 0; x < width_; ++x) out.at(x, y) = (at(x, b) - at(x, t)) * inv;
  }
  return out;
}

}  // namespace nudora
