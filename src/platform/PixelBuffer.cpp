#include "platform/PixelBuffer.h"

#include <cstring>
#include <limits>

namespace nudora {
namespace {
constexpr int kMaxSide = 16384;
}

std::shared_ptr<PixelBuffer> PixelBuffer::create(int width, int height) {
  if (width <= 0 || height <= 0 || width > kMaxSide || height > kMaxSide) return nullptr;
  std::shared_ptr<PixelBuffer> buffer(new PixelBuffer());
  buffer->width_ = width;
  buffer->height_ = height;
  buffer->bytesPerRow_ = (static_cast<size_t>(width) * 4 + 63) & ~static_cast<size_t>(63);
  size_t bytes = buffer->bytesPerRow_ * static_cast<size_t>(height);
  buffer->owned_ = std::make_unique<uint8_t[]>(bytes);  // value-initialised: zeros
  buffer->base_ = buffer->owned_.get();
  return buffer;
}

std::shared_ptr<PixelBuffer> PixelBuffer::wrap(void* base, int width, int height, size_t bytesPerRow,
                                               std::function<void()> release) {
  if (!base || width <= 0 || height <= 0 || width > kMaxSide || height > kMaxSide ||
      bytesPerRow < static_cast<size_t>(width) * 4) {
    return nullptr;
  }
  std::shared_ptr<PixelBuffer> buffer(new PixelBuffer());
  buffer->width_ = width;
  buffer->height_ = height;
  buffer->bytesPerRow_ = bytesPerRow;
  buffer->base_ = static_cast<uint8_t*>(base);
  buffer->release_ = std::move(release);
  return buffer;
}

PixelBuffer::~PixelBuffer() {
  if (release_) release_();
}

}  // namespace nudora
