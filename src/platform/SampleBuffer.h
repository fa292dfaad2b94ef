#pragma once
// A camera frame: its pixel buffer and its presentation time, in seconds on
// the uptime clock (Clock::uptime), the clock that gyro readings carry too.

#include <memory>

#include "platform/PixelBuffer.h"

namespace nudora {

class SampleBuffer {
 public:
  SampleBuffer(std::shared_ptr<PixelBuffer> imageBuffer, double presentationSeconds)
      : imageBuffer_(std::move(imageBuffer)), presentationSeconds_(presentationSeconds) {}

  static std::shared_ptr<SampleBuffer> create(std::shared_ptr<PixelBuffer> imageBuffer, double presentationSeconds) {
    return std::make_shared<SampleBuffer>(std::move(imageBuffer), presentationSeconds);
  }

  const std::shared_ptr<PixelBuffer>& imageBuffer() const { return imageBuffer_; }
  double presentationSeconds() const { return presentationSeconds_; }

 private:
  std::shared_ptr<PixelBuffer> imageBuffer_;
  double presentationSeconds_;
};

}  // namespace nudora
