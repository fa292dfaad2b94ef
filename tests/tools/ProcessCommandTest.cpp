// `nudora process` run as a program on small synthetic clips: without
// filters the pipeline hands the frames back (exactly but for rounding on the
// lossless path, within the codec's loss on H.264), with the frame count and
// times kept, the audio copied and the gyro log replayed over every frame;
// bad input is turned away with one error line, a failing exit and no file.
#include "ToolTestSupport.h"
#include "platform/EglContext.h"
#include "video/FfmpegText.h"
#include "video/VideoWriter.h"

namespace nudora {
namespace {

namespace fs = std::filesystem;
using test::shellQuoted;

constexpr int kFrames = 36;  // 1.2 s at 30 fps

struct Clips {
  test::TempDir dir;
  std::string lossless, h264, gyro;
};

class ProcessCommandTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (!fs::exists(test::nudoraProgram())) return;
    tool::quietFfmpegLog();
    clips_ = std::make_unique<Clips>();
    const std::string d = clips_->dir.path;
    auto run = test::runNudora("synth -o " + shellQuoted(d) + " --size 96x64 --seconds 1.2 --lossless --seed 2", d);
    ASSERT_EQ(run.status, 0) << run.err;
    clips_->lossless = d + "/input.mkv";
    clips_->gyro = d + "/gyro.gcsv";
    if (tool::VideoWriter::hasH264Encoder()) {
      run = test::runNudora("synth -o " + shellQuoted(d + "/h264") + " --size 96x64 --seconds 1.2 --seed 2", d);
      ASSERT_EQ(run.status, 0) << run.err;
      clips_->h264 = d + "/h264/input.mp4";
    }
  }
  static void TearDownTestSuite() { clips_.reset(); }
  void SetUp() override {
    if (!clips_) GTEST_SKIP() << "the nudora program was not built";
  }
  test::ProgramRun process(const std::string& args) { return test::runNudora("process " + args, logs_.path); }

  static std::unique_ptr<Clips> clips_;
  test::TempDir out_, logs_;
};
std::unique_ptr<Clips> ProcessCommandTest::clips_;

TEST_F(ProcessCommandTest, LosslessRunGivesTheFramesBackWithGyroOnEveryFrame) {
  const std::string gyro =
      " --gyro " + shellQuoted(clips_->gyro) + " --focal-px 76.8 --readout-ms 20 --gyro-delay-ms 0";
  const auto in = test::decodeAll(clips_->lossless);
  for (int api : {3, 2}) {
    if (!EglContext::create(api)) continue;  // the machine lacks this level
    const std::string out = out_.path + "/out" + std::to_string(api) + ".mkv";
    auto run =
        test::runNudora("process " + shellQuoted(clips_->lossless) + " -o " + shellQuoted(out) + " --lossless" + gyro,
                        logs_.path, "NUDORA_GLES_MAX_API=" + std::to_string(api));
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find(std::to_string(kFrames) + " frames 96x64 -> 96x64"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("frames without gyro data: 0;"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("OpenGL ES " + std::to_string(api)), std::string::npos) << run.out;
    const auto back = test::decodeAll(out);
    ASSERT_EQ(back.size(), static_cast<size_t>(kFrames));
    ASSERT_EQ(in.size(), back.size());
    for (size_t i = 0; i < in.size(); ++i) {
      EXPECT_NEAR(back[i].seconds, in[i].seconds, 1e-3) << i;
      EXPECT_LE(test::maxDifference(back[i].bgra, in[i].bgra), 1) << "API " << api << ", frame " << i;
    }
  }

  // The same with the stabiliser switched on: every frame still comes out
  // (where it runs, its picture is its own tests' business).
  auto run = process(shellQuoted(clips_->lossless) + " -o " + shellQuoted(out_.path + "/stable.mkv") +
                     " --lossless --stabilize" + gyro);
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("frames without gyro data: 0;"), std::string::npos) << run.out;
  EXPECT_EQ(test::decodeAll(out_.path + "/stable.mkv").size(), static_cast<size_t>(kFrames));

  // Without a log no frame has gyro data.
  run = process(shellQuoted(clips_->lossless) + " -o " + shellQuoted(out_.path + "/nogyro.mkv") + " --lossless");
  EXPECT_NE(run.out.find("frames without gyro data: " + std::to_string(kFrames)), std::string::npos) << run.out;
}

// --denoise on a noisy clip, with the gyro log and without one (zero shifts,
// said once): the frames come out closer to the clean ones than they went in.
TEST_F(ProcessCommandTest, DenoiseBringsANoisyClipCloserToTheCleanFrames) {
  if (!EglContext::create(3)) GTEST_SKIP() << "denoising needs OpenGL ES 3";
  const std::string d = out_.path + "/noisy";
  auto run = test::runNudora("synth -o " + shellQuoted(d) + " --size 96x64 --seconds 1.2 --lossless --seed 2 --noise 10",
                             logs_.path);
  ASSERT_EQ(run.status, 0) << run.err;
  const auto in = test::decodeAll(d + "/input.mkv"), clean = test::decodeAll(d + "/clean.mkv");
  ASSERT_EQ(in.size(), clean.size());
  const std::string withLog = " --gyro " + shellQuoted(d + "/gyro.gcsv") + " --focal-px 76.8 --gyro-delay-ms 0";
  for (const std::string& gyro : {withLog, std::string()}) {
    run = process(shellQuoted(d + "/input.mkv") + " -o " + shellQuoted(out_.path + "/denoised.mkv") +
                  " --lossless --denoise" + gyro);
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("denoising on"), std::string::npos) << run.out;
    size_t said = 0;
    for (size_t at = run.err.find("no gyro log"); at != std::string::npos; at = run.err.find("no gyro log", at + 1)) ++said;
    EXPECT_EQ(said, gyro.empty() ? 1u : 0u) << run.err;
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
  const std::string out = out_.path + "/out.mp4";
  const auto run = process(shellQuoted(clips_->h264) + " -o " + shellQuoted(out) + " --quiet");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "");
  int w = 0, h = 0;
  const auto in = test::decodeAll(clips_->h264, &w, &h), back = test::decodeAll(out);
  ASSERT_EQ(back.size(), static_cast<size_t>(kFrames));
  ASSERT_EQ(in.size(), back.size());

  // The codec's own loss on these frames: the decoded input encoded once
  // more with the tool's default settings, without the pipeline.
  const std::string reference = out_.path + "/reference.mp4";
  {
    tool::VideoWriter::Settings s;
    s.width = w;
    s.height = h;
    s.timeBase = {1, 30};
    std::string error;
    auto writer = tool::VideoWriter::open(reference, s, &error);
    ASSERT_TRUE(writer) << error;
    auto buffer = PixelBuffer::create(w, h);
    for (size_t i = 0; i < in.size(); ++i) {
      for (int y = 0; y < h; ++y) std::copy_n(&in[i].bgra[static_cast<size_t>(y) * w * 4], w * 4, buffer->row(y));
      ASSERT_TRUE(writer->writeFrame(*buffer, static_cast<int64_t>(i), &error)) << error;
    }
    ASSERT_TRUE(writer->finish(&error)) << error;
  }
  const auto codecOnly = test::decodeAll(reference);
  ASSERT_EQ(codecOnly.size(), in.size());
  for (size_t i = 0; i < in.size(); ++i) {
    EXPECT_NEAR(back[i].seconds, in[i].seconds, 1e-6) << i;
    // A shift, a flip, a channel swap or a colour-matrix mix-up would cost
    // many dB more than the codec does.
    const double expected = test::psnr(codecOnly[i].bgra, in[i].bgra);
    EXPECT_GT(expected, 24.0) << "frame " << i;
    EXPECT_GT(test::psnr(back[i].bgra, in[i].bgra), expected - 1.0) << "frame " << i;
  }
}

TEST_F(ProcessCommandTest, AudioIsCopiedAndTheSizeChanged) {
  // A clip with PCM audio: the synthetic frames with five packets beside them.
  const std::string in = out_.path + "/talk.mkv";
  {
    int w = 0, h = 0;
    const auto frames = test::decodeAll(clips_->lossless, &w, &h);
    test::PcmAudio audio;
    tool::VideoWriter::Settings s;
    s.width = w;
    s.height = h;
    s.timeBase = {1, 30};
    s.lossless = true;
    s.audio = audio.parameters;
    s.audioTimeBase = test::PcmAudio::kTimeBase;
    std::string error;
    auto writer = tool::VideoWriter::open(in, s, &error);
    ASSERT_TRUE(writer) << error;
    auto buffer = PixelBuffer::create(w, h);
    for (size_t i = 0; i < frames.size(); ++i) {
      for (int y = 0; y < h; ++y) std::copy_n(&frames[i].bgra[static_cast<size_t>(y) * w * 4], w * 4, buffer->row(y));
      ASSERT_TRUE(writer->writeFrame(*buffer, static_cast<int64_t>(i), &error)) << error;
      if (i < 5) {
        ASSERT_TRUE(writer->writeAudio(test::PcmAudio::packet(static_cast<int>(i)).get(), &error)) << error;
      }
    }
    ASSERT_TRUE(writer->finish(&error)) << error;
  }
  const std::string out = out_.path + "/small.mkv";
  const auto run = process(shellQuoted(in) + " -o " + shellQuoted(out) + " --lossless --size 48x32");
  ASSERT_EQ(run.status, 0) << run.err;
  int w = 0, h = 0;
  EXPECT_EQ(test::decodeAll(out, &w, &h).size(), static_cast<size_t>(kFrames));
  EXPECT_EQ(w, 48);
  EXPECT_EQ(h, 32);
  const auto packets = test::audioPackets(out);
  ASSERT_EQ(packets.size(), 5u);
  for (int i = 0; i < 5; ++i) {
    const auto bytes = test::PcmAudio::payload(i);
    ASSERT_EQ(packets[i]->size, static_cast<int>(bytes.size()));
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), packets[i]->data)) << "packet " << i;
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
      {good + " --zoom 1e9", "zoom"},
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
      {good + " --focal-px 1e12", "focal"},
      {good + " --focal-px 80 --camera " + shellQuoted(d + "/camera.json"), "not both"},
      {good + " --camera " + shellQuoted(d + "/typo.json"), "focalLenght"},
      {good + " --watermark " + shellQuoted(notes), "notes.txt"},
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
    const auto run = process(args);
    EXPECT_NE(run.status, 0) << args;
    EXPECT_EQ(run.errLines(), 1) << args << ": " << run.err;
    EXPECT_NE(run.err.find(mentions), std::string::npos) << args << ": " << run.err;
    EXPECT_EQ(listing(), before) << args << " left a file behind";
  }
  EXPECT_EQ(fs::file_size(clips_->lossless), inputSize);
}

}  // namespace
}  // namespace nudora
