// `--lut FILE.cube` on `nudora still` and `nudora process`: a grade agrees with
// FFmpeg's lut3d (tetrahedral) to 40 dB on ES 3 and ES 2, a video is graded frame
// by frame, and a bad table is refused with one line naming the file and line.
#include <algorithm>
#include <cmath>
#include <iostream>
#include <sstream>

#include "ToolTestSupport.h"
#include "filters/CubeLookupTable.h"
#include "platform/EglContext.h"
#include "platform/Image.h"
#include "platform/Resources.h"

namespace nudora {
namespace {

namespace fs = std::filesystem;
using test::shellQuoted;

// A grade a colourist might make: an S-shaped contrast curve, highlights
// pushed warm and shadows cool, and a quarter more saturation.
std::array<double, 3> grade(double r, double g, double b) {
  auto contrast = [](double x) { return 0.4 * x + 0.6 * x * x * (3.0 - 2.0 * x); };
  double c[3] = {contrast(r), contrast(g), contrast(b)};
  const double luma = 0.2126 * c[0] + 0.7152 * c[1] + 0.0722 * c[2];
  c[0] += 0.06 * (luma - 0.5);
  c[2] -= 0.06 * (luma - 0.5);
  for (double& v : c) v = luma + 1.25 * (v - luma);
  return {c[0], c[1], c[2]};
}

std::string gradeCube(int n) {
  std::ostringstream text;
  text.precision(7);
  text << "TITLE \"warm contrast\"\nLUT_3D_SIZE " << n << "\n";
  for (int b = 0; b < n; ++b) {
    for (int g = 0; g < n; ++g) {
      for (int r = 0; r < n; ++r) {
        const auto v = grade(r / (n - 1.0), g / (n - 1.0), b / (n - 1.0));
        text << std::fixed << v[0] << " " << v[1] << " " << v[2] << "\n";
      }
    }
  }
  return text.str();
}

std::vector<uint8_t> bytesOf(const Image& image) {
  return {image.data(), image.data() + static_cast<size_t>(image.width()) * image.height() * 4};
}

class LutOptionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(test::nudoraProgram())) GTEST_SKIP() << "the nudora program was not built";
    scene_ = Resources::folder() + "/samples/scene.png";
    ASSERT_TRUE(fs::exists(scene_)) << scene_;
    cube_ = dir_.write("grade.cube", gradeCube(33));
  }
  size_t files(const std::string& folder) const {
    return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
  }

  test::TempDir dir_, out_, logs_;
  std::string scene_, cube_;
};

TEST_F(LutOptionTest, StillAgreesWithFfmpegLut3dOnTheSamplePicture) {
  if (std::system("command -v ffmpeg >/dev/null 2>&1") != 0) GTEST_SKIP() << "ffmpeg is not on PATH";
  const std::string theirs = out_.path + "/ffmpeg.png";
  const std::string command = "ffmpeg -nostdin -loglevel error -y -i " + shellQuoted(scene_) + " -vf " +
                              shellQuoted("lut3d=file=" + cube_ + ":interp=tetrahedral") + " " + shellQuoted(theirs);
  ASSERT_EQ(std::system(command.c_str()), 0) << command;
  auto reference = Image::load(theirs);
  ASSERT_TRUE(reference);
  for (int api : {3, 2}) {
    if (!EglContext::create(api)) continue;  // the machine lacks this level
    const std::string ours = out_.path + "/ours" + std::to_string(api) + ".png";
    auto run = test::runNudora("still " + shellQuoted(scene_) + " -o " + shellQuoted(ours) + " --lut " +
                                   shellQuoted(cube_),
                               logs_.path, "NUDORA_GLES_MAX_API=" + std::to_string(api));
    ASSERT_EQ(run.status, 0) << run.err;
    auto graded = Image::load(ours);
    ASSERT_TRUE(graded && graded->width() == reference->width() && graded->height() == reference->height());
    const double psnr = test::psnr(bytesOf(*graded), bytesOf(*reference));
    RecordProperty("psnr_es" + std::to_string(api), std::to_string(psnr));
    std::cout << "[ PSNR     ] nudora still --lut vs ffmpeg lut3d tetrahedral, size-33 cube, ES " << api << ": "
              << psnr << " dB\n";
    EXPECT_GE(psnr, 40.0) << "API " << api;
  }
}

TEST_F(LutOptionTest, ProcessGradesEveryFrameAsTheCubeSays) {
  const std::string clip = out_.path + "/clip";
  ASSERT_TRUE(test::synth(clip, "--size 64x48 --seconds 0.2 --lossless", logs_.path));
  const auto cube = CubeLookupTable::load(cube_);
  ASSERT_TRUE(cube);
  const auto in = test::decodeAll(clip + "/input.mkv");
  ASSERT_FALSE(in.empty());
  // Both API levels draw the table alike (the still test shows it); here: every frame is graded.
  const std::string out = out_.path + "/graded.mkv";
  const auto run = test::runNudora("process " + shellQuoted(clip + "/input.mkv") + " -o " + shellQuoted(out) +
                            " --lossless --quiet --lut " + shellQuoted(cube_),
                        logs_.path);
  ASSERT_EQ(run.status, 0) << run.err;
  const auto back = test::decodeAll(out);
  ASSERT_EQ(back.size(), in.size());
  // Two levels for the baked table and sampler, one for the lossless path's rounding.
  for (size_t f = 0; f < in.size(); ++f) {
    const auto& px = in[f].bgra;
    int worst = 0;
    for (size_t i = 0; i + 3 < px.size(); i += 4) {
      const auto v = cube->evaluate(px[i + 2] / 255.0, px[i + 1] / 255.0, px[i] / 255.0);
      for (int c = 0; c < 3; ++c) {
        const double want = std::clamp(v[2 - c], 0.0, 1.0) * 255.0;
        worst = std::max(worst, static_cast<int>(std::ceil(std::abs(back[f].bgra[i + c] - want))));
      }
    }
    EXPECT_LE(worst, 3) << "frame " << f;
  }
}

TEST_F(LutOptionTest, MissingOrMalformedTableGetsOneLineAFailingExitAndNothingWritten) {
  const std::string malformed = dir_.write("bad.cube", "# grade\r\nLUT_3D_SIZE 2\r\n0 0 0\r\n1 0\r\n");
  const std::string oneD = dir_.write("shaper.cube", "LUT_1D_SIZE 3\n0 0 0\n0.5 0.5 0.5\n1 1 1\n");
  const std::string video = dir_.write("in.mkv", "not looked at before the table");
  const std::pair<std::string, std::string> tables[] = {
      {dir_.path + "/absent.cube", "no such file"},
      {malformed, malformed + " line 4: expected three numbers, got 2"},
      {oneD, oneD + " line 1: 1D tables (LUT_1D_SIZE) are not supported"},
  };
  for (const auto& [table, says] : tables) {
    const std::pair<std::string, std::string> commands[] = {
        {"still " + shellQuoted(scene_) + " -o " + shellQuoted(out_.path + "/out.png"), "nudora still: "},
        {"process " + shellQuoted(video) + " -o " + shellQuoted(out_.path + "/out.mkv") + " --lossless",
         "nudora process: "},
    };
    for (const auto& [command, prefix] : commands) {
      auto run = test::runNudora(command + " --lut " + shellQuoted(table), logs_.path);
      EXPECT_EQ(run.status, 1) << command;
      test::expectRefusal(run, says, command);
      EXPECT_EQ(run.err.rfind(prefix, 0), 0u) << run.err;
      EXPECT_EQ(files(out_.path), 0u) << command << " left a file behind";
    }
  }
}

}  // namespace
}  // namespace nudora
