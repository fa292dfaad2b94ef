#include "video/VideoReader.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include <cmath>
#include <cstring>

// Stream side data moved into the codec parameters in FFmpeg 6.1.
#define NUDORA_CODECPAR_SIDE_DATA (LIBAVFORMAT_VERSION_INT >= AV_VERSION_INT(60, 15, 100))

#include "video/FfmpegText.h"

namespace nudora::tool {

void PacketDeleter::operator()(AVPacket* packet) const { av_packet_free(&packet); }

namespace {

double seconds(int64_t ticks, AVRational base) { return static_cast<double>(ticks) * av_q2d(base); }

// A stream that is only a cover picture (mp3 and m4a files carry them) is no
// video to process.
bool isMovingVideo(const AVStream* stream) {
  return stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO && !(stream->disposition & AV_DISPOSITION_ATTACHED_PIC);
}

bool isFullRangeFormat(int format) {
  return format == AV_PIX_FMT_YUVJ420P || format == AV_PIX_FMT_YUVJ422P || format == AV_PIX_FMT_YUVJ444P ||
         format == AV_PIX_FMT_YUVJ440P || format == AV_PIX_FMT_YUVJ411P;
}

}  // namespace

std::unique_ptr<VideoReader> VideoReader::open(const std::string& path, std::string* error) {
  auto reader = std::make_unique<VideoReader>(Key{});
  reader->path_ = path;
  auto refuse = [&](const std::string& why) {
    if (error) *error = why;
    return nullptr;
  };
  const std::string quoted = "'" + path + "'";

  auto unreadable = [&](int code) {
    return refuse(
        "cannot read " + quoted + ": " +
        (code == AVERROR_INVALIDDATA ? std::string("not a video file FFmpeg can read") : ffmpegErrorText(code)));
  };
  int rc = avformat_open_input(&reader->format_, path.c_str(), nullptr, nullptr);
  if (rc < 0) return unreadable(rc);
  rc = avformat_find_stream_info(reader->format_, nullptr);
  if (rc < 0) return unreadable(rc);

  AVFormatContext* format = reader->format_;
  int best = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (best >= 0 && !isMovingVideo(format->streams[best])) best = -1;
  for (unsigned i = 0; best < 0 && i < format->nb_streams; ++i) {
    if (isMovingVideo(format->streams[i])) best = static_cast<int>(i);
  }
  if (best < 0) return refuse(quoted + " has no video stream");
  reader->videoStream_ = best;
  AVStream* stream = format->streams[best];

  const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
  if (!codec) {
    return refuse("cannot read " + quoted + ": no decoder for its video codec '" +
                  avcodec_get_name(stream->codecpar->codec_id) + "' in this FFmpeg");
  }
  reader->decoder_ = avcodec_alloc_context3(codec);
  reader->frame_ = av_frame_alloc();
  reader->packet_ = av_packet_alloc();
  if (!reader->decoder_ || !reader->frame_ || !reader->packet_)
    return refuse("cannot read " + quoted + ": out of memory");
  rc = avcodec_parameters_to_context(reader->decoder_, stream->codecpar);
  if (rc >= 0) {
    reader->decoder_->thread_count = 0;  // as many as the machine has
    reader->decoder_->pkt_timebase = stream->time_base;
    rc = avcodec_open2(reader->decoder_, codec, nullptr);
  }
  if (rc < 0)
    return refuse("cannot read " + quoted + ": its video decoder failed to start (" + ffmpegErrorText(rc) + ")");

  reader->width_ = stream->codecpar->width;
  reader->height_ = stream->codecpar->height;
  if (reader->width_ <= 0 || reader->height_ <= 0)
    return refuse("cannot read " + quoted + ": its video has no frame size");

  reader->timeBase_ = stream->time_base;
  reader->frameRate_ = stream->avg_frame_rate.num > 0 ? stream->avg_frame_rate : stream->r_frame_rate;
  if (reader->frameRate_.num <= 0 || reader->frameRate_.den <= 0) reader->frameRate_ = {0, 1};
  if (stream->start_time != AV_NOPTS_VALUE) reader->startSeconds_ = seconds(stream->start_time, stream->time_base);
  if (stream->duration != AV_NOPTS_VALUE && stream->duration > 0) {
    reader->durationSeconds_ = seconds(stream->duration, stream->time_base);
  } else if (format->duration != AV_NOPTS_VALUE && format->duration > 0) {
    reader->durationSeconds_ = static_cast<double>(format->duration) / AV_TIME_BASE;
  }
  if (stream->nb_frames > 0) {
    reader->frameCountEstimate_ = stream->nb_frames;
  } else if (reader->frameRate_.num > 0) {
    reader->frameCountEstimate_ = std::llround(reader->durationSeconds_ * av_q2d(reader->frameRate_));
  }
#if NUDORA_CODECPAR_SIDE_DATA
  const AVPacketSideData* side = av_packet_side_data_get(
      stream->codecpar->coded_side_data, stream->codecpar->nb_coded_side_data, AV_PKT_DATA_DISPLAYMATRIX);
  const uint8_t* matrix = side ? side->data : nullptr;
  const size_t matrixSize = side ? side->size : 0;
#else
  size_t matrixSize = 0;
  const uint8_t* matrix = av_stream_get_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, &matrixSize);
#endif
  if (matrix && matrixSize >= sizeof(int32_t) * 9) {
    std::array<int32_t, 9> m{};
    std::memcpy(m.data(), matrix, sizeof(m));
    reader->displayMatrix_ = m;
  }
  const AVRational rate = reader->frameRate_.num > 0 ? reader->frameRate_ : AVRational{30, 1};
  reader->frameTicks_ = std::max<int64_t>(1, av_rescale_q(1, av_inv_q(rate), reader->timeBase_));

  const int audio = av_find_best_stream(format, AVMEDIA_TYPE_AUDIO, -1, best, nullptr, 0);
  if (audio >= 0) {
    reader->audioStream_ = audio;
    reader->audioTimeBase_ = format->streams[audio]->time_base;
  }
  // Only the streams we use are demuxed in full.
  for (unsigned i = 0; i < format->nb_streams; ++i) {
    if (static_cast<int>(i) != reader->videoStream_ && static_cast<int>(i) != reader->audioStream_) {
      format->streams[i]->discard = AVDISCARD_ALL;
    }
  }
  return reader;
}

VideoReader::~VideoReader() {
  sws_freeContext(sws_);
  av_packet_free(&packet_);
  av_frame_free(&frame_);
  avcodec_free_context(&decoder_);
  avformat_close_input(&format_);
}

const char* VideoReader::codecName() const { return decoder_ && decoder_->codec ? decoder_->codec->name : "?"; }

const AVCodecParameters* VideoReader::audioParameters() const {
  return audioStream_ >= 0 ? format_->streams[audioStream_]->codecpar : nullptr;
}

bool VideoReader::fail(const std::string& what, int code) {
  error_ = what + " '" + path_ + "': " + ffmpegErrorText(code);
  return false;
}

bool VideoReader::convert(const AVFrame& frame, PixelBuffer& into) {
  if (into.width() != width_ || into.height() != height_) {
    error_ = "frame buffer of the wrong size for '" + path_ + "'";
    return false;
  }
  if (frame.format == AV_PIX_FMT_BGRA && frame.width == width_ && frame.height == height_) {
    for (int y = 0; y < height_; ++y) {
      std::memcpy(into.row(y), frame.data[0] + static_cast<ptrdiff_t>(y) * frame.linesize[0],
                  static_cast<size_t>(width_) * 4);
    }
    return true;
  }
  // A stream may change its frame size midway; such frames are scaled to the
  // size announced at the start, which every later stage was set up for.
  sws_ = sws_getCachedContext(sws_, frame.width, frame.height, static_cast<AVPixelFormat>(frame.format), width_,
                              height_, AV_PIX_FMT_BGRA, SWS_BILINEAR, nullptr, nullptr, nullptr);
  if (!sws_) {
    const char* name = av_get_pix_fmt_name(static_cast<AVPixelFormat>(frame.format));
    error_ = "cannot convert the frames of '" + path_ + "' (pixel format " + (name ? name : "unknown") + ") to BGRA";
    return false;
  }
  // The stream's own matrix and range; unspecified streams get BT.601
  // limited range, the usual default of encoders.
  int* invTable = nullptr;
  int srcRange = 0, *table = nullptr, dstRange = 0, brightness = 0, contrast = 0, saturation = 0;
  if (sws_getColorspaceDetails(sws_, &invTable, &srcRange, &table, &dstRange, &brightness, &contrast, &saturation) >=
      0) {
    const int fullRange = frame.color_range == AVCOL_RANGE_JPEG || isFullRangeFormat(frame.format) ? 1 : 0;
    sws_setColorspaceDetails(sws_, sws_getCoefficients(frame.colorspace), fullRange, table, 1, brightness, contrast,
                             saturation);
  }
  uint8_t* dst[4] = {into.baseAddress(), nullptr, nullptr, nullptr};
  int dstStride[4] = {static_cast<int>(into.bytesPerRow()), 0, 0, 0};
  if (sws_scale(sws_, frame.data, frame.linesize, 0, frame.height, dst, dstStride) != height_) {
    error_ = "cannot convert a frame of '" + path_ + "' to BGRA";
    return false;
  }
  return true;
}

bool VideoReader::readFrame(PixelBuffer& into, FrameTime* time) {
  if (finished_ || failed()) return false;
  for (;;) {
    int rc = avcodec_receive_frame(decoder_, frame_);
    if (rc == 0) {
      int64_t ticks = frame_->best_effort_timestamp;
      const bool converted = convert(*frame_, into);
      av_frame_unref(frame_);
      if (!converted) return false;
      if (ticks == AV_NOPTS_VALUE) ticks = haveFrame_ ? lastTicks_ + frameTicks_ : 0;
      haveFrame_ = true;
      lastTicks_ = ticks;
      if (time) *time = {ticks, seconds(ticks, timeBase_)};
      return true;
    }
    if (rc == AVERROR_EOF) {
      finished_ = true;
      return false;
    }
    if (rc != AVERROR(EAGAIN)) return fail("cannot decode the video of", rc);

    rc = av_read_frame(format_, packet_);
    if (rc == AVERROR_EOF) {
      if (draining_) {
        finished_ = true;
        return false;
      }
      draining_ = true;
      avcodec_send_packet(decoder_, nullptr);
      continue;
    }
    if (rc < 0) return fail("cannot read", rc);
    if (packet_->stream_index == videoStream_) {
      rc = avcodec_send_packet(decoder_, packet_);
      av_packet_unref(packet_);
      if (rc < 0 && rc != AVERROR(EAGAIN)) return fail("cannot decode the video of", rc);
    } else if (packet_->stream_index == audioStream_) {
      audio_.emplace_back(av_packet_alloc());
      av_packet_move_ref(audio_.back().get(), packet_);
    } else {
      av_packet_unref(packet_);
    }
  }
}

std::deque<PacketPtr> VideoReader::takeAudioPackets() {
  std::deque<PacketPtr> out;
  out.swap(audio_);
  return out;
}

}  // namespace nudora::tool
