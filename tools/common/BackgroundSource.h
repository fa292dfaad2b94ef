#pragma once
// The background of the blue-screen path: one picture for every frame, or
// the frames of a video in turn, starting over at its end so that a shorter
// video loops. Frames keep the background's own size; the compositing pass
// fits it to the frame.

#include <memory>
#include <string>

namespace nudora {
class PixelBuffer;
}

namespace nudora::tool {

class VideoReader;

class BackgroundSource {
 public:
  // A PNG or JPEG picture, else a video file; nullptr with one line in
  // *error saying why neither could be read.
  static std::unique_ptr<BackgroundSource> open(const std::string& path, int maxSide, std::string* error);
  ~BackgroundSource();
  BackgroundSource(const BackgroundSource&) = delete;
  BackgroundSource& operator=(const BackgroundSource&) = delete;

  // The background for the next frame; nullptr with *error set when the
  // video cannot be read on.
  std::shared_ptr<PixelBuffer> next(std::string* error);
  bool isVideo() const { return video_ != nullptr; }
  int width() const;
  int height() const;

 private:
  BackgroundSource() = default;

  std::string path_;
  std::shared_ptr<PixelBuffer> picture_;
  std::unique_ptr<VideoReader> video_;
  std::shared_ptr<PixelBuffer> frame_;
};

}  // namespace nudora::tool
