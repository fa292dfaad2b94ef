#pragma once
// Measures a video's frame-to-frame image motion from its pictures, in the
// form GyroVideoSync::fit() takes: a host that wants to line a gyro log up
// with its own frames hands each frame's luma here, then fits.
//
//   VideoMotionMeasurer measurer;
//   for each frame: measurer.addFrame(y, width, height, stride, seconds);
//   auto result = GyroVideoSync::fit(measurer.pairs(), log.readings(),
//                                    measurer.syncOptions());
//
// The frames are measured by FrameMotionEstimator (global translation, roll
// and rolling-shutter skew over the centred 80% of the frame, on a
// downscaled copy): frames wider than 1280 pixels are worked at 480 pixels
// across, smaller ones at up to 640. A frame of 1080p costs about 6 ms on
// one core. Timestamps may be spaced unevenly (variable frame rate).
//
// Not thread-safe; one measurer per video. Keeps one downscaled frame.

#include <cstdint>
#include <memory>
#include <vector>

#include "stabilization/GyroVideoSync.h"

namespace nudora {

class FrameMotionEstimator;

class VideoMotionMeasurer {
 public:
  VideoMotionMeasurer();
  ~VideoMotionMeasurer();
  VideoMotionMeasurer(const VideoMotionMeasurer&) = delete;
  VideoMotionMeasurer& operator=(const VideoMotionMeasurer&) = delete;

  // Takes the next frame: 8-bit luma rows `stride` bytes apart, and the
  // video-clock time in seconds at which its first row was read. A frame of
  // another size than the last starts a new sequence (no pair across the
  // change). Returns false and keeps nothing of the frame for null data, a
  // frame under 32 x 32, a stride below the width, or a timestamp that is
  // not finite or not after the previous frame's; a console line says which.
  bool addFrame(const uint8_t* luma, int width, int height, int stride, double timestamp);

  // One entry per consecutive pair since the last reset; a pair the
  // estimator could not measure (a flat or black frame) is marked invalid.
  const std::vector<GyroVideoSync::FramePair>& pairs() const { return pairs_; }
  // Options for fit() describing these measurements: the frame size of the
  // last frame and the tracked area; the search ranges keep their defaults.
  GyroVideoSync::Options syncOptions() const;
  int frameWidth() const { return width_; }
  int frameHeight() const { return height_; }

  // Forgets every frame and pair.
  void reset();

 private:
  std::unique_ptr<FrameMotionEstimator> estimator_;
  std::vector<GyroVideoSync::FramePair> pairs_;
  int width_ = 0;
  int height_ = 0;
  double lastTimestamp_ = 0.0;
  bool havePrevious_ = false;
};

}  // namespace nudora
