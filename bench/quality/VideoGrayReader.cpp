#include "quality/VideoGrayReader.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace nudora::quality {

VideoGrayReader::~VideoGrayReader() { close(); }

double VideoGrayReader::parseRate(const std::string& text) {
  char* end = nullptr;
  double num = std::strtod(text.c_str(), &end);
  if (end == text.c_str()) return 0.0;
  if (*end == '/') {
    const char* denText = end + 1;
    double den = std::strtod(denText, &end);
    if (end == denText || den == 0.0) return 0.0;
    return num / den;
  }
  return num;
}

bool VideoGrayReader::open(const std::string& path) {
  close();
  error_.clear();
  path_ = path;
  std::error_code ec;
  if (!std::filesystem::is_regular_file(path, ec)) {
    error_ = path + ": no such file";
    return false;
  }
  std::string probe;
  int status =
      Subprocess::run({"ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries",
                       "stream=width,height,avg_frame_rate,r_frame_rate", "-of", "default=noprint_wrappers=1", path},
                      &probe);
  if (status != 0) {
    error_ = path + ": ffprobe could not read it (exit status " + std::to_string(status) + ")";
    return false;
  }
  width_ = height_ = 0;
  fps_ = 0.0;
  double realRate = 0.0;
  std::istringstream lines(probe);
  for (std::string line; std::getline(lines, line);) {
    size_t eq = line.find('=');
    if (eq == std::string::npos) continue;
    std::string key = line.substr(0, eq);
    std::string value = line.substr(eq + 1);
    if (key == "width") width_ = std::atoi(value.c_str());
    if (key == "height") height_ = std::atoi(value.c_str());
    if (key == "avg_frame_rate") fps_ = parseRate(value);
    if (key == "r_frame_rate") realRate = parseRate(value);
  }
  if (fps_ <= 0.0) fps_ = realRate;
  if (width_ <= 0 || height_ <= 0) {
    error_ = path + ": no video stream";
    return false;
  }
  if (!decoder_.start({"ffmpeg", "-v", "error", "-nostdin", "-noautorotate", "-i", path, "-map", "0:v:0", "-f",
                       "rawvideo", "-pix_fmt", "gray", "-"})) {
    error_ = decoder_.error();
    return false;
  }
  running_ = true;
  return true;
}

bool VideoGrayReader::next(std::vector<uint8_t>& frame) {
  if (!running_) return false;
  size_t size = static_cast<size_t>(width_) * height_;
  frame.resize(size);
  size_t got = decoder_.read(frame.data(), size);
  if (got == size) return true;
  if (got != 0) error_ = path_ + ": the last frame was cut short";
  return false;
}

int VideoGrayReader::close() {
  if (!running_) return 0;
  running_ = false;
  int status = decoder_.finish();
  if (status != 0 && error_.empty()) error_ = path_ + ": ffmpeg stopped with exit status " + std::to_string(status);
  return status;
}

}  // namespace nudora::quality
