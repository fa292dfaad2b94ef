#pragma once
// Decodes any video the machine's ffmpeg can read into 8-bit luma frames:
// ffprobe for the size and frame rate, then ffmpeg writing raw grey frames
// into a pipe. Frames stay in their stored orientation (no automatic
// rotation), so the size ffprobe reports is the size that arrives.

#include <cstdint>
#include <string>
#include <vector>

#include "quality/Subprocess.h"

namespace nudora::quality {

class VideoGrayReader {
 public:
  VideoGrayReader() = default;
  ~VideoGrayReader();
  VideoGrayReader(const VideoGrayReader&) = delete;
  VideoGrayReader& operator=(const VideoGrayReader&) = delete;

  // False, with error() set, when the file is missing, has no video stream
  // or ffmpeg cannot be run.
  bool open(const std::string& path);
  // The next frame, width() x height() bytes with no padding; false at the
  // end (or on a short read, which error() then names).
  bool next(std::vector<uint8_t>& frame);
  // ffmpeg's exit status once the stream ended; 0 means every frame came.
  int close();

  int width() const { return width_; }
  int height() const { return height_; }
  // Average frame rate, or 0 when the file does not say.
  double fps() const { return fps_; }
  const std::string& error() const { return error_; }

  // Parses "num/den" or a plain number; 0 when it is neither.
  static double parseRate(const std::string& text);

 private:
  Subprocess decoder_;
  bool running_ = false;
  int width_ = 0;
  int height_ = 0;
  double fps_ = 0.0;
  std::string path_;
  std::string error_;
};

}  // namespace nudora::quality
