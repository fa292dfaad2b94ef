#include "stabilization/VideoMotionMeasurer.h"

#include <cmath>

#include "platform/Console.h"
#include "stabilization/FrameMotionEstimator.h"

namespace nudora {
namespace {

// Large frames are measured at a quarter of 1920 across rather than a third:
// the fit needs the motion, not its last hundredth of a pixel, and a 10 s
// 1080p clip then measures in well under its own length.
constexpr int kLargeFrameWidth = 1280;
constexpr int kLargeWorkWidth = 480;
constexpr int kMinSide = 32;

}  // namespace

VideoMotionMeasurer::VideoMotionMeasurer() = default;
VideoMotionMeasurer::~VideoMotionMeasurer() = default;

bool VideoMotionMeasurer::addFrame(const uint8_t* luma, int width, int height, int stride, double timestamp) {
  if (!luma || width < kMinSide || height < kMinSide || stride < width) {
    consoleLogLevel(kConsoleError, "VideoMotionMeasurer: bad frame (%dx%d, stride %d%s)", width, height, stride,
                    luma ? "" : ", no data");
    return false;
  }
  if (!std::isfinite(timestamp) || (havePrevious_ && !(timestamp > lastTimestamp_))) {
    consoleLogLevel(kConsoleError, "VideoMotionMeasurer: frame time %.6f s is not after the previous one (%.6f s)",
                    timestamp, lastTimestamp_);
    return false;
  }
  if (!estimator_ || width != width_ || height != height_) {
    FrameMotionEstimator::Options options;
    if (width > kLargeFrameWidth) options.maxWorkWidth = kLargeWorkWidth;
    estimator_ = std::make_unique<FrameMotionEstimator>(options);
    width_ = width;
    height_ = height;
  }
  const auto measured = estimator_->addFrame(luma, width, height, stride);
  if (measured) {
    GyroVideoSync::FramePair pair;
    pair.t0 = lastTimestamp_;
    pair.t1 = timestamp;
    pair.dx = measured->dx;
    pair.dy = measured->dy;
    pair.roll = measured->roll;
    pair.skewX = measured->skewX;
    pair.skewY = measured->skewY;
    pair.valid = measured->valid && std::isfinite(measured->skewX);
    pairs_.push_back(pair);
  }
  lastTimestamp_ = timestamp;
  havePrevious_ = true;
  return true;
}

GyroVideoSync::Options VideoMotionMeasurer::syncOptions() const {
  GyroVideoSync::Options options;
  if (width_ > 0) options.frameWidth = width_, options.frameHeight = height_;
  const double border = estimator_ ? estimator_->options().cropBorder : FrameMotionEstimator::Options{}.cropBorder;
  options.trackedWidth = options.trackedHeight = 1.0 - 2.0 * border;
  return options;
}

void VideoMotionMeasurer::reset() {
  estimator_.reset();
  pairs_.clear();
  width_ = height_ = 0;
  lastTimestamp_ = 0.0;
  havePrevious_ = false;
}

}  // namespace nudora
