// `nudora process` on small synthetic clips: frames, times, audio and gyro data
// come back; bad input gets one error line, a failing exit and no file.
#include "ToolTestSupport.h"
#include "platform/EglContext.h"
#include "video/FfmpegText.h"
#include "video/VideoWriter.h"

namespace nudora {
namespace {

namespace fs = std::filesystem;
using test::has;
using test::shellQuoted;

constexpr int kFrames = 36;  // 1.2 s at 30 fps

struct Clips {
  test::TempDir dir;
  std::string lossless, h264, gyro;
};

// Writes decoded frames at 30 fps, with PCM audio packets 0..audioPackets-1 beside them when asked.
void writeClip(const std::string& path, const std::vector<test::DecodedFrame>& frames, int w, int h, bool lossless,
               int audioPackets = 0) {
  test::PcmAudio audio;
  tool::VideoWriter::Settings s;
  s.width = w;
  s.height = h;
  s.timeBase = {1, 30};
  s.lossless = lossless;
  if (audioPackets > 0) s.audio = audio.parameters, s.audioTimeBase = test::PcmAudio::kTimeBase;
  std::string error;
  auto writer = tool::VideoWriter::open(path, s, &error);
  ASSERT_TRUE(writer) << error;
  auto buffer = PixelBuffer::create(w, h);
  for (size_t i = 0; i < frames.size(); ++i) {
    for (int y = 0; y < h; ++y) std::copy_n(&frames[i].bgra[static_cast<size_t>(y) * w * 4], w * 4, buffer->row(y));
    ASSERT_TRUE(writer->writeFrame(*buffer, static_cast<int64_t>(i), &error)) << error;
    if (static_cast<int>(i) < audioPackets) {
      ASSERT_TRUE(writer->writeAudio(test::PcmAudio::packet(static_cast<int>(i)).get(), &error)) << error;
    }
  }
  ASSERT_TRUE(writer->finish(&error)) << error;
}

class ProcessCommandTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (!fs::exists(test::nudoraProgram())) return;
    tool::quietFfmpegLog();
    clips_ = std::make_unique<Clips>();
    const std::string d = clips_->dir.path, args = "--size 96x64 --seconds 1.2 --seed 2";
    ASSERT_TRUE(test::synth(d, args + " --lossless", d));
    clips_->lossless = d + "/input.mkv";
    clips_->gyro = d + "/gyro.gcsv";
    if (tool::VideoWriter::hasH264Encoder()) {
      ASSERT_TRUE(test::synth(d + "/h264", args, d));
      clips_->h264 = d + "/h264/input.mp4";
    }
  }
  static void TearDownTestSuite() { clips_.reset(); }
  void SetUp() override {
    if (!clips_) GTEST_SKIP() << "the nudora program was not built";
  }
  test::ProgramRun process(const std::string& args, const std::string& env = "") {
    return test::runNudora("process " + args, logs_.path, env);
  }

  static std::unique_ptr<Clips> clips_;
  test::TempDir out_, logs_;
};
std::unique_ptr<Clips> ProcessCommandTest::clips_;

TEST_F(ProcessCommandTest, LosslessRunGivesTheFramesBackWithGyroOnEveryFrame) {
  const std::string in = shellQuoted(clips_->lossless) + " -o " + shellQuoted(out_.path) + "/";
  const std::string gyro =
      " --lossless --gyro " + shellQuoted(clips_->gyro) + " --focal-px 76.8 --readout-ms 20 --gyro-delay-ms 0";
  const auto frames = test::decodeAll(clips_->lossless);
  ASSERT_EQ(frames.size(), static_cast<size_t>(kFrames));
  for (int api : {3, 2}) {
    if (!EglContext::create(api)) continue;  // the machine lacks this level
    const std::string out = "out" + std::to_string(api) + ".mkv";
    auto run = process(in + out + gyro, "NUDORA_GLES_MAX_API=" + std::to_string(api));
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(has(run.out, std::to_string(kFrames) + " frames 96x64 -> 96x64"));
    EXPECT_TRUE(has(run.out, "frames without gyro data: 0;"));
    EXPECT_TRUE(has(run.out, "OpenGL ES " + std::to_string(api)));
    const auto back = test::decodeAll(out_.path + "/" + out);
    ASSERT_EQ(back.size(), frames.size());
    for (size_t i = 0; i < frames.size(); ++i) {
      EXPECT_NEAR(back[i].seconds, frames[i].seconds, 1e-3) << i;
      EXPECT_LE(test::maxDifference(back[i].bgra, frames[i].bgra), 1) << "API " << api << ", frame " << i;
    }
  }
  // With the stabiliser every frame still comes out; without a log no frame has gyro data.
  auto run = process(in + "stable.mkv --stabilize" + gyro);
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(has(run.out, "frames without gyro data: 0;"));
  EXPECT_EQ(test::decodeAll(out_.path + "/stable.mkv").size(), static_cast<size_t>(kFrames));
  run = process(in + "nogyro.mkv --lossless");
  EXPECT_TRUE(has(run.out, "frames without gyro data: " + std::to_string(kFrames)));
}

// --denoise with the gyro log and without one (zero shifts, said once):
// the frames come out closer to the clean ones than they went in.
TEST_F(ProcessCommandTest, DenoiseBringsANoisyClipCloserToTheCleanFrames) {
  if (!EglContext::create(3)) GTEST_SKIP() << "denoising needs OpenGL ES 3";
  const std::string d = out_.path + "/noisy";
  ASSERT_TRUE(test::synth(d, "--size 96x64 --seconds 1.2 --lossless --seed 2 --noise 10", logs_.path));
  const auto in = test::decodeAll(d + "/input.mkv"), clean = test::decodeAll(d + "/clean.mkv");
  ASSERT_EQ(in.size(), clean.size());
  const std::string withLog = " --gyro " + shellQuoted(d + "/gyro.gcsv") + " --focal-px 76.8 --gyro-delay-ms 0";
  for (const std::string& gyro : {withLog, std::string()}) {
    const auto run = process(shellQuoted(d + "/input.mkv") + " -o " + shellQuoted(out_.path + "/denoised.mkv") +
                             " --lossless --denoise" + gyro);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(has(run.out, "denoising on"));
    const size_t first = run.err.find("no gyro log");
    EXPECT_EQ(first != std::string::npos, gyro.empty()) << run.err;
    EXPECT_EQ(run.err.find("no gyro log", first + 1), std::string::npos) << "said more than once: " << run.err;
    const auto out = test::decodeAll(out_.path + "/denoised.mkv");
    ASSERT_EQ(out.size(), in.size());
    double gain = 0.0;  // mean, once the history is full
    for (size_t i = 8; i < out.size(); ++i) {
      gain += test::psnr(out[i].bgra, clean[i].bgra) - test::psnr(in[i].bgra, clean[i].bgra);
    }
    EXPECT_GT(gain / static_cast<double>(out.size() - 8), 3.0) << (gyro.empty() ? "without" : "with") << " the log";
  }
}

TEST_F(ProcessCommandTest, H264RunStaysWithinTheCodecsLoss) {
  if (clips_->h264.empty()) GTEST_SKIP() << "this FFmpeg has no libx264";
  const std::string out = out_.path + "/out.mp4", reference = out_.path + "/reference.mp4";
  const auto run = process(shellQuoted(clips_->h264) + " -o " + shellQuoted(out) + " --quiet");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "");
  int w = 0, h = 0;
  const auto in = test::decodeAll(clips_->h264, &w, &h), back = test::decodeAll(out);
  ASSERT_EQ(back.size(), static_cast<size_t>(kFrames));
  ASSERT_EQ(in.size(), back.size());
  // The codec's own loss: the decoded input encoded once more with the default settings, without the pipeline.
  writeClip(reference, in, w, h, false);
  const auto codecOnly = test::decodeAll(reference);
  ASSERT_EQ(codecOnly.size(), in.size());
  for (size_t i = 0; i < in.size(); ++i) {
    EXPECT_NEAR(back[i].seconds, in[i].seconds, 1e-6) << i;
    // A shift, flip, channel swap or colour-matrix mix-up costs many dB more than the codec.
    const double expected = test::psnr(codecOnly[i].bgra, in[i].bgra);
    EXPECT_GT(expected, 24.0) << "frame " << i;
    EXPECT_GT(test::psnr(back[i].bgra, in[i].bgra), expected - 1.0) << "frame " << i;
  }
}

TEST_F(ProcessCommandTest, AudioIsCopiedAndTheSizeChanged) {
  const std::string in = out_.path + "/talk.mkv", out = out_.path + "/small.mkv";
  int w = 0, h = 0;
  const auto frames = test::decodeAll(clips_->lossless, &w, &h);
  writeClip(in, frames, w, h, true, 5);
  const auto run = process(shellQuoted(in) + " -o " + shellQuoted(out) + " --lossless --size 48x32");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(test::decodeAll(out, &w, &h).size(), static_cast<size_t>(kFrames));
  EXPECT_EQ(w, 48);
  EXPECT_EQ(h, 32);
  double timeBase = 0.0;
  const auto packets = test::audioPackets(out, &timeBase);
  ASSERT_EQ(packets.size(), 5u);
  for (int i = 0; i < 5; ++i) {
    const auto bytes = test::PcmAudio::payload(i);
    ASSERT_EQ(packets[i]->size, static_cast<int>(bytes.size()));
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), packets[i]->data)) << "packet " << i;
    EXPECT_NEAR(packets[i]->pts * timeBase, 0.1 * i, 1e-3) << i;
  }
}

TEST_F(ProcessCommandTest, BadInputGetsOneLineAFailingExitAndNoFile) {
  const std::string d = out_.path;
  const std::string notes = out_.write("notes.txt", "not a video, not a log\n");
  out_.write("empty.mkv", "");
  out_.write("typo.json", "{\"focalLenght\": 4.2, \"sensorWidth\": 5, \"sensorHeight\": 4}");
  out_.write("camera.json", "{\"focalLengthPixels\": 76.8}");
  const std::string in = shellQuoted(clips_->lossless), gyro = " --gyro " + shellQuoted(clips_->gyro);
  const std::string good = in + " -o " + shellQuoted(d + "/out.mkv") + " --lossless";
  const std::pair<std::string, const char*> cases[] = {
      {good + " --style 63", "style 63"},
      {good + " --lens 31", "lens 31"},
      {good + " --beauty 5", "beauty"},
      {good + " --zoom 0", "zoom"},
      {good + " --cropping 1.5", "cropping"},
      {good + " --crf 60", "crf"},
      {good + " --size 10x10", "size"},
      {good + " --preset warp", "preset"},
      {good + " --stabilize", "--gyro"},
      {good + " --gyro " + shellQuoted(d + "/absent.gcsv"), "absent.gcsv"},
      {good + " --gyro " + shellQuoted(notes), "notes.txt"},
      {good + gyro + " --gyro-offset-s 100", "does not overlap"},
      {good + gyro + " --gyro-orientation XXY", "XXY"},
      {good + " --focal-px -5", "focal"},
      {good + " --focal-px 80 --camera " + shellQuoted(d + "/camera.json"), "not both"},
      {good + " --camera " + shellQuoted(d + "/typo.json"), "focalLenght"},
      {shellQuoted(d + "/absent.mkv") + " -o " + shellQuoted(d + "/out.mkv"), "absent.mkv"},
      {shellQuoted(notes) + " -o " + shellQuoted(d + "/out.mkv"), "notes.txt"},
      {shellQuoted(d + "/empty.mkv") + " -o " + shellQuoted(d + "/out.mkv"), "empty"},
      {in + " -o " + shellQuoted(d + "/nowhere/out.mkv"), "nowhere"},
      {in + " -o " + shellQuoted(d + "/out.xyz"), "container"},
      {in + " -o " + shellQuoted(d + "/out.mp4") + " --lossless", ".mkv"},
      {in + " -o " + in, "is the input"},
  };
  auto listing = [&] {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(d)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  };
  const auto before = listing();
  const auto inputSize = fs::file_size(clips_->lossless);
  for (const auto& [args, mentions] : cases) {
    test::expectRefusal(process(args), mentions, args);
    EXPECT_EQ(listing(), before) << args << " left a file behind";
  }
  EXPECT_EQ(fs::file_size(clips_->lossless), inputSize);
}

}  // namespace
}  // namespace nudora
