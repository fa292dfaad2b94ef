// VideoWriter -> VideoReader round trips (exact when lossless, within H.264's
// loss otherwise) and the reader's refusals; audio is checked through process.
#include <cmath>

#include "ToolTestSupport.h"
#include "video/FfmpegText.h"
#include "video/VideoWriter.h"

namespace nudora {
namespace {

using tool::VideoReader;
using tool::VideoWriter;

constexpr int kW = 96, kH = 64, kFrames = 7;

// Smooth colour waves moving with the frame number, plus a sharp square.
std::shared_ptr<PixelBuffer> frameAt(int i) {
  auto f = PixelBuffer::create(kW, kH);
  for (int y = 0; y < kH; ++y) {
    for (int x = 0; x < kW; ++x) {
      uint8_t* p = f->row(y) + x * 4;
      p[0] = static_cast<uint8_t>(128 + 100 * std::sin(0.11 * x + 0.3 * i));
      p[1] = static_cast<uint8_t>(128 + 100 * std::cos(0.13 * y - 0.2 * i));
      p[2] = static_cast<uint8_t>(128 + 90 * std::sin(0.07 * (x + y)));
      p[3] = 255;
      if (x >= 10 + 4 * i && x < 30 + 4 * i && y >= 20 && y < 40) p[0] = p[1] = p[2] = 240;
    }
  }
  return f;
}

std::vector<uint8_t> packed(const PixelBuffer& f) {
  std::vector<uint8_t> out;
  for (int y = 0; y < f.height(); ++y) out.insert(out.end(), f.row(y), f.row(y) + f.width() * 4);
  return out;
}

class VideoFileTest : public ::testing::Test {
 protected:
  void SetUp() override { tool::quietFfmpegLog(); }
  // Writes the kFrames test frames at 25 fps; the writer's error when it refuses.
  std::string write(const std::string& path, bool lossless, std::optional<std::array<int32_t, 9>> displayMatrix = {}) {
    VideoWriter::Settings s;
    s.displayMatrix = displayMatrix;
    s.width = kW;
    s.height = kH;
    s.timeBase = {1, 25};
    s.frameRate = {25, 1};
    s.lossless = lossless;
    std::string error;
    auto writer = VideoWriter::open(path, s, &error);
    if (!writer) return error;
    for (int i = 0; i < kFrames; ++i) {
      if (!writer->writeFrame(*frameAt(i), i, &error)) return error;
    }
    return writer->finish(&error) ? "" : error;
  }

  test::TempDir dir_;
};

TEST_F(VideoFileTest, LosslessRoundTripGivesTheFramesAndTimesBack) {
  const std::string path = dir_.path + "/clip.mkv";
  ASSERT_EQ(write(path, true), "");
  int w = 0, h = 0;
  const auto frames = test::decodeAll(path, &w, &h);
  ASSERT_EQ(w, kW);
  ASSERT_EQ(h, kH);
  ASSERT_EQ(frames.size(), static_cast<size_t>(kFrames));
  for (int i = 0; i < kFrames; ++i) {
    EXPECT_NEAR(frames[i].seconds, i / 25.0, 1e-3) << i;  // Matroska keeps milliseconds
    EXPECT_EQ(test::maxDifference(frames[i].bgra, packed(*frameAt(i))), 0) << "frame " << i;
  }
}

TEST_F(VideoFileTest, H264RoundTripStaysWithinTheCodecsLoss) {
  if (!VideoWriter::hasH264Encoder()) GTEST_SKIP() << "this FFmpeg has no libx264";
  const std::string path = dir_.path + "/clip.mp4";
  // A portrait phone clip: landscape frames that players turn a quarter.
  const std::array<int32_t, 9> quarterTurn = {0, 65536, 0, -65536, 0, 0, 0, 0, 1 << 30};
  ASSERT_EQ(write(path, false, quarterTurn), "");
  std::string error;
  auto reader = VideoReader::open(path, &error);
  ASSERT_TRUE(reader) << error;
  EXPECT_STREQ(reader->codecName(), "h264");
  ASSERT_TRUE(reader->displayMatrix());
  EXPECT_EQ(*reader->displayMatrix(), quarterTurn);
  EXPECT_NEAR(av_q2d(reader->frameRate()), 25.0, 1e-6);
  const auto frames = test::decodeAll(path);
  ASSERT_EQ(frames.size(), static_cast<size_t>(kFrames));
  for (int i = 0; i < kFrames; ++i) {
    EXPECT_NEAR(frames[i].seconds, i / 25.0, 1e-6) << i;
    // yuv420p halves the chroma resolution and crf 18 quantises lightly:
    // close, never exact, and a wrong matrix, range or channel order would
    // cost far more than this.
    EXPECT_GT(test::psnr(frames[i].bgra, packed(*frameAt(i))), 32.0) << "frame " << i;
  }
}

TEST_F(VideoFileTest, UnusableFilesAreRefusedWithTheirNameAndReason) {
  std::string error;
  EXPECT_FALSE(VideoReader::open(dir_.path + "/absent.mp4", &error));
  EXPECT_NE(error.find("absent.mp4"), std::string::npos) << error;
  EXPECT_NE(error.find("No such file"), std::string::npos) << error;

  EXPECT_FALSE(VideoReader::open(dir_.write("notes.mp4", "not a video at all\n"), &error));
  EXPECT_NE(error.find("notes.mp4"), std::string::npos) << error;

  // A sound file: a valid container with no video stream in it.
  std::string wav = "RIFF";
  auto le = [&](uint32_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) wav.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
  };
  le(36 + 1600, 4);
  wav += "WAVEfmt ";
  le(16, 4), le(1, 2), le(1, 2), le(8000, 4), le(16000, 4), le(2, 2), le(16, 2);
  wav += "data";
  le(1600, 4);
  wav += std::string(1600, '\0');
  EXPECT_FALSE(VideoReader::open(dir_.write("sound.wav", wav), &error));
  EXPECT_NE(error.find("has no video stream"), std::string::npos) << error;
}

}  // namespace
}  // namespace nudora
