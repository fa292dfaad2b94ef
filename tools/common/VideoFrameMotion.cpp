#include "common/VideoFrameMotion.h"

#include "quality/VideoGrayReader.h"
#include "stabilization/VideoMotionMeasurer.h"

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
  VideoMotionMeasurer measurer;
  std::vector<uint8_t> bytes;
  for (int i = 0; reader.next(bytes); ++i) {
    if (maxSeconds > 0.0 && i / motion.fps > maxSeconds) break;
    measurer.addFrame(bytes.data(), motion.width, motion.height, motion.width, i / motion.fps);
  }
  reader.close();
  if (measurer.pairs().empty()) {
    *error = "'" + path + "' holds fewer than two frames";
    return false;
  }
  motion.pairs = measurer.pairs();
  motion.syncOptions = measurer.syncOptions();
  *out = std::move(motion);
  return true;
}

}  // namespace nudora::tool
