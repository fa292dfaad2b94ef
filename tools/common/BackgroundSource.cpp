#include "common/BackgroundSource.h"

#include "common/FileChecks.h"
#include "platform/Image.h"
#include "platform/PixelBuffer.h"
#include "video/FfmpegText.h"
#include "video/VideoReader.h"

namespace nudora::tool {

BackgroundSource::~BackgroundSource() = default;

std::unique_ptr<BackgroundSource> BackgroundSource::open(const std::string& path, int maxSide, std::string* error) {
  if (std::string problem = fileProblem("background", path); !problem.empty()) {
    *error = problem;
    return nullptr;
  }
  std::unique_ptr<BackgroundSource> source(new BackgroundSource());
  source->path_ = path;
  if (pictureProblem("background", path, maxSide).empty()) {
    auto image = Image::load(path);
    source->picture_ = image ? image->toPixelBuffer() : nullptr;
    if (!source->picture_) {
      *error = "background '" + path + "' could not be decoded";
      return nullptr;
    }
    return source;
  }
  std::string why;
  quietFfmpegLog();  // the line below says what went wrong
  source->video_ = VideoReader::open(path, &why);
  if (!source->video_) {
    *error = "background '" + path + "' is neither a PNG or JPEG picture nor a readable video (" + why + ")";
    return nullptr;
  }
  if (source->video_->width() > maxSide || source->video_->height() > maxSide) {
    *error = "background '" + path + "' is larger than " + std::to_string(maxSide) + " pixels on a side";
    return nullptr;
  }
  source->frame_ = PixelBuffer::create(source->video_->width(), source->video_->height());
  // The first frame proves the video decodes before any work starts.
  if (!source->next(error)) return nullptr;
  source->video_ = VideoReader::open(path, error);
  if (!source->video_) return nullptr;
  return source;
}

int BackgroundSource::width() const { return video_ ? video_->width() : picture_->width(); }
int BackgroundSource::height() const { return video_ ? video_->height() : picture_->height(); }

std::shared_ptr<PixelBuffer> BackgroundSource::next(std::string* error) {
  if (!video_) return picture_;
  VideoReader::FrameTime time;
  if (video_->readFrame(*frame_, &time)) return frame_;
  if (video_->failed()) {
    *error = "background: " + video_->error();
    return nullptr;
  }
  // The end: start over from the first frame.
  std::string why;
  auto again = VideoReader::open(path_, &why);
  if (!again || !again->readFrame(*frame_, &time)) {
    *error = "background '" + path_ + "' has no frame to loop back to" + (why.empty() ? "" : " (" + why + ")");
    return nullptr;
  }
  video_ = std::move(again);
  return frame_;
}

}  // namespace nudora::tool
