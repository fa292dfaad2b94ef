#pragma once
// Shared by the tests of the nudora program: running it, decoding what it
// wrote, comparing frames.

#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include "TestSupport.h"
#include "platform/PixelBuffer.h"
#include "video/VideoReader.h"

namespace nudora::test {

inline std::string shellQuoted(const std::filesystem::path& p) { return "'" + p.string() + "'"; }

// The program built beside the tests: <build>/tools/nudora next to <build>/tests/.
inline std::filesystem::path nudoraProgram() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "tools" / "nudora";
}

struct ProgramRun {
  int status = -1;
  std::string out, err;
  long errLines() const { return std::count(err.begin(), err.end(), '\n'); }
};

// Runs `nudora args` with its output streams caught in files of logDir,
// which also takes any settings the run stores (the gyro zero drift); env
// is put before the command ("NAME=value ...").
inline ProgramRun runNudora(const std::string& args, const std::string& logDir, const std::string& env = "") {
  const std::filesystem::path out = std::filesystem::path(logDir) / "stdout",
                              err = std::filesystem::path(logDir) / "stderr";
  const int raw =
      std::system((env + " NUDORA_CONFIG_DIR=" + shellQuoted(std::filesystem::path(logDir) / "config") + " " +
                   shellQuoted(nudoraProgram()) + " " + args + " >" + shellQuoted(out) + " 2>" + shellQuoted(err))
                      .c_str());
  ProgramRun run;
  run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  std::stringstream o, e;
  o << std::ifstream(out).rdbuf();
  e << std::ifstream(err).rdbuf();
  run.out = o.str();
  run.err = e.str();
  return run;
}

// True when text holds part; otherwise says what it holds instead.
inline ::testing::AssertionResult has(const std::string& text, const std::string& part) {
  if (text.find(part) != std::string::npos) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "no \"" << part << "\" in:\n" << text;
}

// How every command turns bad input away: a failing exit and one error line naming the problem.
inline void expectRefusal(const ProgramRun& run, const std::string& mentions, const std::string& what) {
  EXPECT_NE(run.status, 0) << what;
  EXPECT_EQ(run.errLines(), 1) << what << ": " << run.err;
  EXPECT_TRUE(has(run.err, mentions)) << what;
}

// Runs `nudora synth -o folder args`; false (with a failure) when it fails.
inline bool synth(const std::string& folder, const std::string& args, const std::string& logDir) {
  const ProgramRun run = runNudora("synth -o " + shellQuoted(folder) + " " + args, logDir);
  EXPECT_EQ(run.status, 0) << run.err;
  return run.status == 0;
}

struct DecodedFrame {
  std::vector<uint8_t> bgra;  // tightly packed rows
  double seconds = 0.0;
};

// Every frame of a video file; empty (with a failure) when it cannot be read.
inline std::vector<DecodedFrame> decodeAll(const std::string& path, int* width = nullptr, int* height = nullptr) {
  std::string error;
  auto reader = tool::VideoReader::open(path, &error);
  EXPECT_TRUE(reader) << error;
  if (!reader) return {};
  if (width) *width = reader->width();
  if (height) *height = reader->height();
  auto buffer = PixelBuffer::create(reader->width(), reader->height());
  std::vector<DecodedFrame> frames;
  tool::VideoReader::FrameTime time;
  while (reader->readFrame(*buffer, &time)) {
    DecodedFrame f;
    f.seconds = time.seconds;
    for (int y = 0; y < buffer->height(); ++y)
      f.bgra.insert(f.bgra.end(), buffer->row(y), buffer->row(y) + buffer->width() * 4);
    frames.push_back(std::move(f));
  }
  EXPECT_FALSE(reader->failed()) << reader->error();
  return frames;
}

// Peak signal-to-noise ratio of the colour channels, dB (alpha ignored).
inline double psnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
  double sum = 0.0;
  size_t n = 0;
  for (size_t i = 0; i < a.size() && i < b.size(); ++i) {
    if (i % 4 == 3) continue;
    const double d = static_cast<double>(a[i]) - b[i];
    sum += d * d;
    ++n;
  }
  return sum == 0.0 ? 99.0 : 10.0 * std::log10(255.0 * 255.0 / (sum / static_cast<double>(n)));
}

inline int maxDifference(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
  int worst = a.size() == b.size() ? 0 : 255;
  for (size_t i = 0; i < a.size() && i < b.size(); ++i) worst = std::max(worst, std::abs(a[i] - b[i]));
  return worst;
}

// Mono 16-bit PCM at 8 kHz in 0.1 s packets, to check that audio is copied.
struct PcmAudio {
  AVCodecParameters* parameters = avcodec_parameters_alloc();
  PcmAudio() {
    parameters->codec_type = AVMEDIA_TYPE_AUDIO;
    parameters->codec_id = AV_CODEC_ID_PCM_S16LE;
    parameters->format = AV_SAMPLE_FMT_S16;
    parameters->sample_rate = 8000;
    av_channel_layout_default(&parameters->ch_layout, 1);
    parameters->bits_per_coded_sample = 16;
    parameters->block_align = 2;
  }
  ~PcmAudio() { avcodec_parameters_free(&parameters); }
  PcmAudio(const PcmAudio&) = delete;
  PcmAudio& operator=(const PcmAudio&) = delete;

  static constexpr AVRational kTimeBase{1, 8000};
  // Packet i: its bytes, at i * 0.1 s.
  static std::vector<uint8_t> payload(int i) {
    std::vector<uint8_t> bytes(1600);
    for (size_t k = 0; k < bytes.size(); ++k) bytes[k] = static_cast<uint8_t>(k * 7 + i * 31);
    return bytes;
  }
  static tool::PacketPtr packet(int i) {
    const auto bytes = payload(i);
    tool::PacketPtr p(av_packet_alloc());
    av_new_packet(p.get(), static_cast<int>(bytes.size()));
    std::copy(bytes.begin(), bytes.end(), p->data);
    p->pts = p->dts = i * 800;
    p->duration = 800;
    return p;
  }
};

// Every audio packet of a file, in order.
inline std::vector<tool::PacketPtr> audioPackets(const std::string& path, double* timeBase = nullptr) {
  std::string error;
  auto reader = tool::VideoReader::open(path, &error);
  std::vector<tool::PacketPtr> packets;
  if (!reader || !reader->hasAudio()) return packets;
  if (timeBase) *timeBase = av_q2d(reader->audioTimeBase());
  auto frame = PixelBuffer::create(reader->width(), reader->height());
  tool::VideoReader::FrameTime time;
  for (bool more = true; more;) {
    more = reader->readFrame(*frame, &time);
    for (auto& p : reader->takeAudioPackets()) packets.push_back(std::move(p));
  }
  return packets;
}

}  // namespace nudora::test
