#include "common/VideoFrameMotion.h"

#include <cmath>

#include "quality/FrameMotionEstimator.h"
#include "quality/VideoGrayReader.h"

namespace nudora::tool {

bool measureVideoFrameMotion(const std::string& path, double maxSeconds, VideoFrameMotion* out, std::string* error) {
  quality::VideoGrayReader reader;
  if (!reader.open(path)) {
    *error = "cannot decode '" + path + "': " + reader.error();
    return false;
  }
  if (!(reader.fps() > 0.0)) {
    *error = "'" + path + "' does not say its frame rate";
    return false;
  }
  VideoFrameMotion motion;
  motion.width = reader.width();
  motion.height = reader.height();
  motion.fps = reader.fps();
  // Large frames are measured at a quarter of 1920 across rather than a
  // third: the fit needs the motion, not the last hundredth of a pixel, and
  // a 10 s 1080p clip then measures in well under its own length.
  quality::FrameMotionEstimator::Options estimatorOptions;
  if (motion.width > 1280) estimatorOptions.maxWorkWidth = 480;
  quality::FrameMotionEstimator estimator(estimatorOptions);
  std::vector<uint8_t> bytes;
  for (int i = 0; reader.next(bytes); ++i) {
    if (maxSeconds > 0.0 && i / motion.fps > maxSeconds) break;
    auto measured = estimator.addFrame(quality::GrayImage::fromBytes(bytes.data(), motion.width, motion.height,
                                                                     motion.width));
    if (!measured) continue;
    GyroVideoSync::FramePair pair;
    pair.t0 = (i - 1) / motion.fps;
    pair.t1 = i / motion.fps;
    pair.dx = measured->dx;
    pair.dy = measured->dy;
    pair.roll = measured->roll;
    pair.skewX = measured->skewX;
    pair.skewY = measured->skewY;
    pair.valid = measured->valid && std::isfinite(measured->skewX);
    motion.pairs.push_back(pair);
  }
  reader.close();
  if (motion.pairs.empty()) {
    *error = "'" + path + "' holds fewer than two frames";
    return false;
  }
  *out = std::move(motion);
  return true;
}

}  // namespace nudora::tool
