#include "video/VideoWriter.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include <cstring>
#include <filesystem>

// Stream side data moved into the codec parameters in FFmpeg 6.1.
#define NUDORA_CODECPAR_SIDE_DATA (LIBAVFORMAT_VERSION_INT >= AV_VERSION_INT(60, 15, 100))

#include "video/FfmpegText.h"

namespace nudora::tool {
namespace {

// FFV1 keeps BGRA as it is (it codes RGB planes losslessly), so the lossless
// path returns the very bytes it was given.
AVPixelFormat losslessPixelFormat(const AVCodec* codec) {
  for (const AVPixelFormat* f = codec->pix_fmts; f && *f != AV_PIX_FMT_NONE; ++f) {
    if (*f == AV_PIX_FMT_BGRA) return AV_PIX_FMT_BGRA;
  }
  return codec->pix_fmts ? codec->pix_fmts[0] : AV_PIX_FMT_BGRA;
}

std::string extensionOf(const std::string& name) {
  const std::string ext = std::filesystem::path(name).extension().string();
  return ext.empty() ? "(no extension)" : ext;
}

}  // namespace

bool VideoWriter::hasH264Encoder() { return avcodec_find_encoder_by_name("libx264") != nullptr; }

std::unique_ptr<VideoWriter> VideoWriter::open(const std::string& path, const Settings& s, std::string* error) {
  auto writer = std::make_unique<VideoWriter>(Key{});
  writer->path_ = path;
  const std::string quoted = "'" + path + "'";
  auto refuse = [&](const std::string& why) {
    if (error) *error = "cannot write " + quoted + ": " + why;
    return nullptr;
  };
  const std::string formatName = s.formatName.empty() ? path : s.formatName;
  const AVOutputFormat* container = av_guess_format(nullptr, formatName.c_str(), nullptr);
  if (!container) {
    return refuse("no video container is known for " + extensionOf(formatName) + " (use .mp4, .mov or .mkv)");
  }
  if (s.width <= 0 || s.height <= 0)
    return refuse("frame size " + std::to_string(s.width) + "x" + std::to_string(s.height) + " is empty");
  if (s.timeBase.num <= 0 || s.timeBase.den <= 0) return refuse("no time base for the frames");

  // The codec: H.264 unless lossless was asked for or there is no H.264
  // encoder, and only one that the container can hold.
  const bool h264 = !s.lossless && hasH264Encoder();
  const AVCodec* codec = h264 ? avcodec_find_encoder_by_name("libx264") : avcodec_find_encoder(AV_CODEC_ID_FFV1);
  if (!codec) return refuse("this FFmpeg has neither the libx264 nor the FFV1 encoder");
  if (avformat_query_codec(container, codec->id, FF_COMPLIANCE_NORMAL) == 0) {
    if (h264) return refuse(std::string("a ") + container->name + " file cannot hold H.264 video");
    return refuse(
        std::string(s.lossless ? "lossless FFV1 video" : "FFV1 video (this FFmpeg has no libx264 for H.264)") +
        " cannot be stored in " + extensionOf(formatName) + " files; write a .mkv file");
  }
  const AVPixelFormat pixelFormat = h264 ? AV_PIX_FMT_YUV420P : losslessPixelFormat(codec);
  const AVPixFmtDescriptor* pixel = av_pix_fmt_desc_get(pixelFormat);
  if (pixel && ((s.width & ((1 << pixel->log2_chroma_w) - 1)) || (s.height & ((1 << pixel->log2_chroma_h) - 1)))) {
    return refuse("H.264 (yuv420p) needs an even frame size, not " + std::to_string(s.width) + "x" +
                  std::to_string(s.height));
  }
  writer->lossless_ = !h264;

  int rc = avformat_alloc_output_context2(&writer->format_, container, nullptr, path.c_str());
  if (rc < 0 || !writer->format_) return refuse(ffmpegErrorText(rc));
  writer->encoder_ = avcodec_alloc_context3(codec);
  writer->frame_ = av_frame_alloc();
  writer->packet_ = av_packet_alloc();
  if (!writer->encoder_ || !writer->frame_ || !writer->packet_) return refuse("out of memory");

  AVCodecContext* enc = writer->encoder_;
  enc->width = s.width;
  enc->height = s.height;
  enc->pix_fmt = pixelFormat;
  enc->time_base = s.timeBase;
  enc->framerate = s.frameRate.num > 0 && s.frameRate.den > 0 ? s.frameRate : av_inv_q(s.timeBase);
  enc->sample_aspect_ratio = {1, 1};
  enc->thread_count = 0;
  if (h264) {
    enc->colorspace = AVCOL_SPC_SMPTE170M;
    enc->color_range = AVCOL_RANGE_MPEG;
  }
  if (container->flags & AVFMT_GLOBALHEADER) enc->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  AVDictionary* options = nullptr;
  if (h264) {
    av_dict_set(&options, "preset", s.preset.c_str(), 0);
    av_dict_set_int(&options, "crf", s.crf, 0);
  } else {
    // Version 3 codes slices in parallel and checks them with CRCs.
    av_dict_set(&options, "level", "3", 0);
    av_dict_set(&options, "slicecrc", "1", 0);
  }
  rc = avcodec_open2(enc, codec, &options);
  av_dict_free(&options);
  if (rc < 0)
    return refuse(std::string("the ") + codec->name + " encoder refused the settings (" + ffmpegErrorText(rc) + ")");

  AVStream* video = avformat_new_stream(writer->format_, nullptr);
  if (!video) return refuse("out of memory");
  writer->videoStream_ = video->index;
  video->time_base = enc->time_base;
  video->avg_frame_rate = enc->framerate;
  rc = avcodec_parameters_from_context(video->codecpar, enc);
  if (rc < 0) return refuse(ffmpegErrorText(rc));
  if (s.displayMatrix) {
    const size_t size = sizeof(int32_t) * 9;
#if NUDORA_CODECPAR_SIDE_DATA
    AVPacketSideData* side = av_packet_side_data_new(
        &video->codecpar->coded_side_data, &video->codecpar->nb_coded_side_data, AV_PKT_DATA_DISPLAYMATRIX, size, 0);
    uint8_t* matrix = side ? side->data : nullptr;
#else
    uint8_t* matrix = av_stream_new_side_data(video, AV_PKT_DATA_DISPLAYMATRIX, size);
#endif
    if (!matrix) return refuse("out of memory");
    std::memcpy(matrix, s.displayMatrix->data(), size);
  }

  if (s.audio) {
    if (avformat_query_codec(container, s.audio->codec_id, FF_COMPLIANCE_NORMAL) == 0) {
      return refuse(std::string("the input's audio (") + avcodec_get_name(s.audio->codec_id) +
                    ") cannot be stored in " + extensionOf(formatName) + " files; write a .mkv file");
    }
    AVStream* audio = avformat_new_stream(writer->format_, nullptr);
    if (!audio) return refuse("out of memory");
    rc = avcodec_parameters_copy(audio->codecpar, s.audio);
    if (rc < 0) return refuse(ffmpegErrorText(rc));
    audio->codecpar->codec_tag = 0;  // the new container picks its own tag
    audio->time_base = s.audioTimeBase;
    writer->audioStream_ = audio->index;
    writer->audioTimeBase_ = s.audioTimeBase;
  }

  writer->frame_->format = pixelFormat;
  writer->frame_->width = s.width;
  writer->frame_->height = s.height;
  rc = av_frame_get_buffer(writer->frame_, 0);
  if (rc < 0) return refuse(ffmpegErrorText(rc));
  if (pixelFormat != AV_PIX_FMT_BGRA) {
    writer->sws_ = sws_getContext(s.width, s.height, AV_PIX_FMT_BGRA, s.width, s.height, pixelFormat, SWS_BILINEAR,
                                  nullptr, nullptr, nullptr);
    if (!writer->sws_) return refuse("cannot convert BGRA to the encoder's pixel format");
    // Full-range RGB in, BT.601 limited-range YUV out, as the stream is tagged.
    const int* coefficients = sws_getCoefficients(SWS_CS_ITU601);
    sws_setColorspaceDetails(writer->sws_, coefficients, 1, coefficients, 0, 0, 1 << 16, 1 << 16);
  }

  if (!(container->flags & AVFMT_NOFILE)) {
    rc = avio_open(&writer->format_->pb, path.c_str(), AVIO_FLAG_WRITE);
    if (rc < 0) return refuse(ffmpegErrorText(rc));
  }
  rc = avformat_write_header(writer->format_, nullptr);
  if (rc < 0) return refuse(ffmpegErrorText(rc));
  writer->headerWritten_ = true;
  return writer;
}

VideoWriter::~VideoWriter() {
  if (format_ && format_->pb && !(format_->oformat->flags & AVFMT_NOFILE)) avio_closep(&format_->pb);
  sws_freeContext(sws_);
  av_packet_free(&packet_);
  av_frame_free(&frame_);
  avcodec_free_context(&encoder_);
  avformat_free_context(format_);
}

const char* VideoWriter::codecName() const { return encoder_ && encoder_->codec ? encoder_->codec->name : "?"; }

bool VideoWriter::failed(const std::string& what, int code, std::string* error) {
  if (error) *error = "cannot write '" + path_ + "': " + what + " (" + ffmpegErrorText(code) + ")";
  return false;
}

bool VideoWriter::drain(std::string* error) {
  for (;;) {
    int rc = avcodec_receive_packet(encoder_, packet_);
    if (rc == AVERROR(EAGAIN) || rc == AVERROR_EOF) return true;
    if (rc < 0) return failed("encoding failed", rc, error);
    av_packet_rescale_ts(packet_, encoder_->time_base, format_->streams[videoStream_]->time_base);
    packet_->stream_index = videoStream_;
    rc = av_interleaved_write_frame(format_, packet_);
    if (rc < 0) return failed("writing failed", rc, error);
  }
}

bool VideoWriter::writeFrame(const PixelBuffer& frame, int64_t pts, std::string* error) {
  if (finished_ || !headerWritten_) {
    if (error) *error = "cannot write '" + path_ + "': the file is already closed";
    return false;
  }
  if (frame.width() != encoder_->width || frame.height() != encoder_->height) {
    if (error) {
      *error = "cannot write '" + path_ + "': a " + std::to_string(frame.width()) + "x" +
               std::to_string(frame.height()) + " frame in a " + std::to_string(encoder_->width) + "x" +
               std::to_string(encoder_->height) + " video";
    }
    return false;
  }
  int rc = av_frame_make_writable(frame_);
  if (rc < 0) return failed("out of frame memory", rc, error);
  if (sws_) {
    const uint8_t* src[4] = {frame.baseAddress(), nullptr, nullptr, nullptr};
    const int srcStride[4] = {static_cast<int>(frame.bytesPerRow()), 0, 0, 0};
    sws_scale(sws_, src, srcStride, 0, frame.height(), frame_->data, frame_->linesize);
  } else {
    for (int y = 0; y < frame.height(); ++y) {
      std::memcpy(frame_->data[0] + static_cast<ptrdiff_t>(y) * frame_->linesize[0], frame.row(y),
                  static_cast<size_t>(frame.width()) * 4);
    }
  }
  if (framesWritten_ > 0 && pts <= lastPts_) pts = lastPts_ + 1;
  frame_->pts = pts;
  lastPts_ = pts;
  rc = avcodec_send_frame(encoder_, frame_);
  if (rc < 0) return failed("encoding failed", rc, error);
  ++framesWritten_;
  return drain(error);
}

bool VideoWriter::writeAudio(AVPacket* packet, std::string* error) {
  if (audioStream_ < 0 || finished_ || !packet) return true;
  av_packet_rescale_ts(packet, audioTimeBase_, format_->streams[audioStream_]->time_base);
  packet->stream_index = audioStream_;
  packet->pos = -1;
  const int rc = av_interleaved_write_frame(format_, packet);
  if (rc < 0) return failed("writing the audio failed", rc, error);
  return true;
}

bool VideoWriter::finish(std::string* error) {
  if (finished_) return true;
  finished_ = true;
  int rc = avcodec_send_frame(encoder_, nullptr);
  if (rc < 0 && rc != AVERROR_EOF) return failed("encoding failed", rc, error);
  if (!drain(error)) return false;
  rc = av_write_trailer(format_);
  if (rc < 0) return failed("finishing the file failed", rc, error);
  if (format_->pb && !(format_->oformat->flags & AVFMT_NOFILE)) {
    rc = avio_closep(&format_->pb);
    if (rc < 0) return failed("closing the file failed", rc, error);
  }
  return true;
}

}  // namespace nudora::tool
