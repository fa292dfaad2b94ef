// Decoding through the ffmpeg program: a generated clip comes back frame by
// frame at its size and rate; bad files give an error, not frames.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TestSupport.h"
#include "quality/Subprocess.h"
#include "quality/VideoGrayReader.h"

namespace nudora::quality {
namespace {

bool haveFfmpeg() {
  std::string out;
  return Subprocess::run({"ffmpeg", "-version"}, &out) == 0 && Subprocess::run({"ffprobe", "-version"}, &out) == 0;
}

TEST(VideoGrayReader, ReadsEveryFrameOfAClip) {
  if (!haveFfmpeg()) GTEST_SKIP() << "no ffmpeg/ffprobe on PATH";
  test::TempDir dir;
  std::string clip = dir.path + "/clip.mkv";
  std::string log;
  // Lossless, so that the grey levels survive: a plain grey frame of luma
  // 0x50 stays 80 in every pixel.
  ASSERT_EQ(Subprocess::run(
                {"ffmpeg", "-v", "error", "-nostdin", "-f", "lavfi", "-i", "color=c=0x505050:size=64x48:rate=12.5",
                 "-frames:v", "5", "-pix_fmt", "gray", "-c:v", "ffv1", clip},
                &log),
            0)
      << log;
  VideoGrayReader reader;
  ASSERT_TRUE(reader.open(clip)) << reader.error();
  EXPECT_EQ(reader.width(), 64);
  EXPECT_EQ(reader.height(), 48);
  EXPECT_DOUBLE_EQ(reader.fps(), 12.5);
  std::vector<uint8_t> frame;
  int frames = 0;
  while (reader.next(frame)) {
    ASSERT_EQ(frame.size(), 64u * 48u);
    EXPECT_EQ(frame[0], 0x50);
    EXPECT_EQ(frame[64 * 48 - 1], 0x50);
    ++frames;
  }
  EXPECT_EQ(frames, 5);
  EXPECT_EQ(reader.close(), 0);
}

TEST(VideoGrayReader, RefusesMissingAndNonVideoFiles) {
  VideoGrayReader reader;
  EXPECT_FALSE(reader.open("/nonexistent/clip.mp4"));
  EXPECT_NE(reader.error().find("/nonexistent/clip.mp4"), std::string::npos);
  std::vector<uint8_t> frame;
  EXPECT_FALSE(reader.next(frame));

  if (!haveFfmpeg()) GTEST_SKIP() << "no ffmpeg/ffprobe on PATH";
  test::TempDir dir;
  std::string text = dir.write("notes.mp4", "not a video\n");
  EXPECT_FALSE(reader.open(text));
  EXPECT_NE(reader.error().find("notes.mp4"), std::string::npos);
}

TEST(VideoGrayReader, ParsesFrameRates) {
  EXPECT_NEAR(VideoGrayReader::parseRate("30000/1001"), 29.97003, 1e-5);
  EXPECT_DOUBLE_EQ(VideoGrayReader::parseRate("25"), 25.0);
  EXPECT_EQ(VideoGrayReader::parseRate("0/0"), 0.0);
  EXPECT_EQ(VideoGrayReader::parseRate("n/a"), 0.0);
}

}  // namespace
}  // namespace nudora::quality
