#pragma once
// Writes BGRA frames to a video file with FFmpeg: H.264 (libx264, yuv420p,
// constant quality) where this FFmpeg has the encoder, else, or on request,
// lossless FFV1, which needs a container that takes it (.mkv). An audio
// stream can be copied in unchanged, packet by packet, beside the video.
//
//   VideoWriter::Settings s;
//   s.width = 1280; s.height = 720; s.timeBase = {1, 30}; s.frameRate = {30, 1};
//   std::string error;
//   auto writer = VideoWriter::open("out.mp4", s, &error);   // nullptr: error says why
//   writer->writeFrame(frame, pts, &error);                   // pts in s.timeBase
//   writer->finish(&error);                                   // the file is complete only now
//
// A writer destroyed before finish() leaves an incomplete file, which the
// caller removes. The container comes from the file name's extension (or
// from Settings::formatName), so a temporary name can stand in for the
// final one. yuv420p stores BT.601 limited range and says so in the stream.
//
// Thread rules: one thread at a time.

#include <libavutil/rational.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/PixelBuffer.h"

struct AVCodecContext;
struct AVCodecParameters;
struct AVFormatContext;
struct AVFrame;
struct AVPacket;
struct SwsContext;

namespace nudora::tool {

class VideoWriter {
  // Only open() makes writers.
  class Key {
    friend class VideoWriter;
    Key() = default;
  };

 public:
  struct Settings {
    int width = 0;
    int height = 0;
    AVRational timeBase{0, 1};        // unit of the pts given to writeFrame
    AVRational frameRate{0, 1};       // nominal rate; 0/1 takes 1 / timeBase
    int crf = 18;                     // H.264 quality, 0 (best) to 51
    std::string preset = "veryfast";  // libx264 speed preset
    bool lossless = false;            // FFV1 even where H.264 is available
    // Audio to copy: the source stream's parameters and time base (null: none).
    const AVCodecParameters* audio = nullptr;
    AVRational audioTimeBase{0, 1};
    // A file name whose extension picks the container (empty: the path's own).
    std::string formatName;
    // Display matrix to store with the video (players rotate by it), where
    // the container keeps one.
    std::optional<std::array<int32_t, 9>> displayMatrix;
  };

  // Whether this FFmpeg can encode H.264 (libx264).
  static bool hasH264Encoder();

  // Creates the file and writes its header; nullptr with a one-line reason
  // ("cannot write 'x': ...") when the container, the codec, the size or
  // the file itself will not do.
  static std::unique_ptr<VideoWriter> open(const std::string& path, const Settings& settings, std::string* error);
  explicit VideoWriter(Key) {}
  ~VideoWriter();
  VideoWriter(const VideoWriter&) = delete;
  VideoWriter& operator=(const VideoWriter&) = delete;

  // Encodes one frame of settings.width x settings.height. pts must grow; a
  // pts not above the previous one is moved one tick past it.
  bool writeFrame(const PixelBuffer& frame, int64_t pts, std::string* error);
  // Copies one packet of the audio stream (time stamps in audioTimeBase);
  // the packet's data is taken over.
  bool writeAudio(AVPacket* packet, std::string* error);
  // Drains the encoder and completes the file.
  bool finish(std::string* error);

  bool lossless() const { return lossless_; }
  const char* codecName() const;
  int64_t framesWritten() const { return framesWritten_; }

 private:
  bool drain(std::string* error);
  bool failed(const std::string& what, int code, std::string* error);

  std::string path_;
  AVFormatContext* format_ = nullptr;
  AVCodecContext* encoder_ = nullptr;
  AVFrame* frame_ = nullptr;
  AVPacket* packet_ = nullptr;
  SwsContext* sws_ = nullptr;
  int videoStream_ = -1;
  int audioStream_ = -1;
  AVRational audioTimeBase_{0, 1};
  bool lossless_ = false;
  bool headerWritten_ = false;
  bool finished_ = false;
  int64_t lastPts_ = 0;
  int64_t framesWritten_ = 0;
};

}  // namespace nudora::tool
