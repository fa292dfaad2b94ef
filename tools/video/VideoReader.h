#pragma once
// Reads a video file with FFmpeg: every frame of its (best) video stream,
// converted to 32-bit BGRA with its presentation time, and the packets of
// its first audio stream as they are, for copying into another file.
//
//   std::string error;
//   auto reader = VideoReader::open("clip.mp4", &error);   // nullptr: error says why
//   auto frame = PixelBuffer::create(reader->width(), reader->height());
//   VideoReader::FrameTime time;
//   while (reader->readFrame(*frame, &time)) { ... }
//   if (reader->failed()) ... reader->error() ...
//
// Presentation times are the stream's own, unshifted: a file whose first
// frame is stamped 0.0 gives 0.0. Colours are converted with the matrix and
// range the stream declares (BT.601 limited range when it declares none).
//
// Thread rules: one thread at a time.

#include <libavutil/rational.h>

#include <array>
#include <cstdint>
#include <deque>
#include <optional>
#include <memory>
#include <string>

#include "platform/PixelBuffer.h"

struct AVCodecContext;
struct AVCodecParameters;
struct AVFormatContext;
struct AVFrame;
struct AVPacket;
struct SwsContext;

namespace nudora::tool {

// An owned FFmpeg packet.
struct PacketDeleter {
  void operator()(AVPacket* packet) const;
};
using PacketPtr = std::unique_ptr<AVPacket, PacketDeleter>;

class VideoReader {
  // Only open() makes readers.
  class Key {
    friend class VideoReader;
    Key() = default;
  };

 public:
  struct FrameTime {
    int64_t ticks = 0;     // in timeBase()
    double seconds = 0.0;  // ticks * timeBase()
  };

  // Opens the file and its video decoder; nullptr with a one-line reason
  // ("cannot read 'x': ...", "'x' has no video stream") on failure.
  static std::unique_ptr<VideoReader> open(const std::string& path, std::string* error);
  explicit VideoReader(Key) {}
  ~VideoReader();
  VideoReader(const VideoReader&) = delete;
  VideoReader& operator=(const VideoReader&) = delete;

  const std::string& path() const { return path_; }
  int width() const { return width_; }
  int height() const { return height_; }
  AVRational timeBase() const { return timeBase_; }
  // The stream's nominal rate; 0/1 when the file does not say.
  AVRational frameRate() const { return frameRate_; }
  // Presentation time of the first frame as the container declares it, and
  // the stream's length; seconds, 0 when unknown.
  double startSeconds() const { return startSeconds_; }
  double durationSeconds() const { return durationSeconds_; }
  // Frames the container declares, else duration times rate; 0 when unknown.
  int64_t frameCountEstimate() const { return frameCountEstimate_; }
  const char* codecName() const;
  // The stream's display matrix (how players rotate the picture; phones
  // store portrait video as landscape frames with one), when it has one.
  const std::optional<std::array<int32_t, 9>>& displayMatrix() const { return displayMatrix_; }

  bool hasAudio() const { return audioStream_ >= 0; }
  const AVCodecParameters* audioParameters() const;
  AVRational audioTimeBase() const { return audioTimeBase_; }

  // Decodes the next frame into `into` (width() x height(), BGRA) and its
  // time. False at the end of the stream or on an error (failed() tells).
  bool readFrame(PixelBuffer& into, FrameTime* time);
  // Audio packets met so far, in file order, in audioTimeBase().
  std::deque<PacketPtr> takeAudioPackets();

  bool failed() const { return !error_.empty(); }
  const std::string& error() const { return error_; }

 private:
  bool fail(const std::string& what, int code);
  bool convert(const AVFrame& frame, PixelBuffer& into);

  std::string path_;
  AVFormatContext* format_ = nullptr;
  AVCodecContext* decoder_ = nullptr;
  AVFrame* frame_ = nullptr;
  AVPacket* packet_ = nullptr;
  SwsContext* sws_ = nullptr;
  int videoStream_ = -1;
  int audioStream_ = -1;
  int width_ = 0;
  int height_ = 0;
  AVRational timeBase_{0, 1};
  AVRational frameRate_{0, 1};
  AVRational audioTimeBase_{0, 1};
  double startSeconds_ = 0.0;
  double durationSeconds_ = 0.0;
  int64_t frameCountEstimate_ = 0;
  std::optional<std::array<int32_t, 9>> displayMatrix_;
  int64_t lastTicks_ = 0;
  int64_t frameTicks_ = 0;  // one frame at the nominal rate, for frames without a time
  bool haveFrame_ = false;
  bool draining_ = false;
  bool finished_ = false;
  std::deque<PacketPtr> audio_;
  std::string error_;
};

}  // namespace nudora::tool
