#pragma once
// A 32-bit BGRA picture in memory, row 0 first, as the host's camera and
// output buffers are. Either the library allocates it, or it wraps memory
// the host owns (the host keeps that memory alive while the buffer lives and
// is told through the release callback when the buffer is gone).
//
// Thread rules: the object is immutable apart from its pixels; who writes the
// pixels is the caller's affair.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

namespace nudora {

class PixelBuffer {
 public:
  // A library-owned buffer, zero-filled, rows padded to 64 bytes.
  // nullptr when the size is not positive or too large.
  static std::shared_ptr<PixelBuffer> create(int width, int height);
  // Wraps host memory of at least bytesPerRow * height bytes.
  // nullptr when the size is not positive, base is null or bytesPerRow < 4 * width.
  static std::shared_ptr<PixelBuffer> wrap(void* base, int width, int height, size_t bytesPerRow,
                                           std::function<void()> release = {});

  ~PixelBuffer();
  PixelBuffer(const PixelBuffer&) = delete;
  PixelBuffer& operator=(const PixelBuffer&) = delete;

  int width() const { return width_; }
  int height() const { return height_; }
  size_t bytesPerRow() const { return bytesPerRow_; }
  uint8_t* baseAddress() const { return base_; }
  uint8_t* row(int y) const { return base_ + static_cast<size_t>(y) * bytesPerRow_; }
  bool ownsMemory() const { return owned_ != nullptr; }

 private:
  PixelBuffer() = default;

  int width_ = 0;
  int height_ = 0;
  size_t bytesPerRow_ = 0;
  uint8_t* base_ = nullptr;
  std::unique_ptr<uint8_t[]> owned_;
  std::function<void()> release_;
};

}  // namespace nudora
