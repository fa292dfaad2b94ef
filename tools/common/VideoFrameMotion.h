#pragma once
// The frame-to-frame image motion of a video file, as the gyro fit
// (GyroVideoSync) takes it: decoded to luma by ffmpeg and measured by the
// library's VideoMotionMeasurer (global translation, roll and
// rolling-shutter skew of each consecutive pair).

#include <string>
#include <vector>

#include "stabilization/GyroVideoSync.h"

namespace nudora::tool {

struct VideoFrameMotion {
  std::vector<GyroVideoSync::FramePair> pairs;
  int width = 0;
  int height = 0;
  double fps = 0.0;
  // The fit's options for these measurements (frame size, tracked area).
  GyroVideoSync::Options syncOptions;
};

// Measures the first maxSeconds of the video (all of it when 0). Frame i is
// taken as read at i / fps (constant frame rate). False with error set when
// the file cannot be decoded or holds fewer than two frames.
bool measureVideoFrameMotion(const std::string& path, double maxSeconds, VideoFrameMotion* out, std::string* error);

}  // namespace nudora::tool
