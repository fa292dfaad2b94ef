// nudora synth: a synthetic shaky clip with its gyro log and its true camera
// path, the built-in input of the stabiliser's demo and benchmarks.
//
// A pinhole rolling-shutter camera turns along CameraPath in front of the
// procedural SyntheticScene. Row r of frame i is captured at
// pts_i + readout * r / height, with pts_i the capture time of row 0, and
// drawn under the orientation of that instant. The gyro log holds the
// path's body rates in device axes (device x = image y, device y = -image x,
// device z = image z) plus a constant bias and white noise, on the video's
// own clock (process with --gyro-delay-ms 0 and no offset).
//
// With --noise SIGMA the frames of input.mp4 carry sensor-like noise
// (Gaussian, independent per pixel and channel, of standard deviation SIGMA
// 8-bit levels at mid-grey and growing with the square root of the level,
// as photon noise does), and DIR/clean.mp4 holds the same frames without it:
// the truth that denoisers are measured against. The noise depends only on
// the seed, the frame and the row.
//
// Files: DIR/input.mp4 (DIR/input.mkv when lossless), DIR/clean.mp4 (with
// --noise), DIR/gyro.gcsv, DIR/truth.csv. Each is written under a temporary
// name and renamed into place, so a failed run leaves none half-written.
#include <CLI/CLI.hpp>

extern "C" {
#include <libavutil/rational.h>
}

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <sstream>
#include <string>

#include "Commands.h"
#include "common/TemporaryFile.h"
#include "platform/GyroLog.h"
#include "synth/CameraPath.h"
#include "synth/SyntheticBurst.h"
#include "synth/SynthRandom.h"
#include "synth/SyntheticScene.h"
#include "video/FfmpegText.h"
#include "video/VideoWriter.h"

namespace nudora::tool {
namespace {

namespace fs = std::filesystem;

// Calibration wants a still camera first; a short clip keeps half of itself for motion.
constexpr double kRestSeconds = 1.5;
constexpr double kGyroNoise = 0.003;  // rad/s, white, per axis
// The log runs on past the last frame's readout so that every frame is covered.
constexpr double kGyroTail = 0.1;
constexpr double kMaxNoise = 100.0;
constexpr double kMaxLensBlur = 5.0;
// Keeps the noise's random numbers apart from the scene's and the gyro's.
constexpr uint64_t kNoiseStream = 0x6E6F697365ull;

struct Options {
  std::string dir;
  std::string size = "640x360";
  double fps = 30.0;
  double seconds = 8.0;
  double readoutMs = 20.0;
  uint64_t seed = 1;
  double focalPx = 0.0;  // 0: 0.8 x width
  double gyroRate = 200.0;
  int crf = 16;
  bool lossless = false;
  // A log as an unknown gyro would give it: axes that need this orientation
  // to reach device axes (the header still says XYZ), and a clock this far
  // ahead of the video's.
  std::string gyroAxes = "XYZ";
  double gyroOffsetMs = 0.0;
  double noise = 0.0;  // levels at mid-grey; 0: none
  int burst = 0;       // frames of a still burst instead of a clip; 0: a clip
  double shake = 0.25; // a burst's hand shake, times the clip's
  double lensBlur = 0.6;  // a burst's lens and pixel blur, pixels
};

void fail(const std::string& message) { std::fprintf(stderr, "nudora synth: %s\n", message.c_str()); }

bool parseSize(const std::string& text, int* w, int* h) {
  char x = 0, extra = 0;
  std::istringstream in(text);
  return static_cast<bool>(in >> *w >> x >> *h) && (x == 'x' || x == 'X') && !(in >> extra);
}

std::string fixed(double v, int digits) {
  char text[64];
  std::snprintf(text, sizeof(text), "%.*f", digits, v);
  return text;
}

// As a user would type it: no trailing zeros.
std::string plain(double v) {
  char text[64];
  std::snprintf(text, sizeof(text), "%.6g", v);
  return text;
}

// Adds the noise of frame `index` to a BGRA frame in place: standard
// deviation sigma * sqrt(level / 128) per colour byte, rounded and clamped.
void addNoise(PixelBuffer& frame, double sigma, uint64_t seed, int64_t index) {
  for (int y = 0; y < frame.height(); ++y) {
    SynthRandom random(SynthRandom::hash(index, y, seed ^ kNoiseStream));
    uint8_t* p = frame.row(y);
    for (int x = 0; x < frame.width(); ++x, p += 4) {
      for (int c = 0; c < 3; ++c) {
        const double v = p[c] + sigma * std::sqrt(p[c] / 128.0) * random.gaussian();
        p[c] = static_cast<uint8_t>(std::clamp(std::lround(v), 0L, 255L));
      }
    }
  }
}

std::string quote(const std::string& path) {
  return path.find_first_of(" '\"\\$`") == std::string::npos ? path : "'" + path + "'";
}

int run(const Options& o) {
  quietFfmpegLog();
  int width = 0, height = 0;
  if (!parseSize(o.size, &width, &height) || width < 16 || height < 16 || width > 7680 || height > 4320) {
    fail("size '" + o.size + "' must be WxH, from 16x16 to 7680x4320");
    return 1;
  }
  if (!o.lossless && ((width | height) & 1)) {
    fail("size " + o.size + " must be even for H.264 (yuv420p); use --lossless for odd sizes");
    return 1;
  }
  if (!(o.fps > 0.0 && o.fps <= 240.0)) {
    fail("fps " + std::to_string(o.fps) + " must lie in (0, 240]");
    return 1;
  }
  if (!(o.seconds > 0.0 && o.seconds <= 600.0)) {
    fail("seconds " + std::to_string(o.seconds) + " must lie in (0, 600]");
    return 1;
  }
  if (!(o.readoutMs >= 0.0 && o.readoutMs <= 1000.0 / o.fps)) {
    fail("readout " + std::to_string(o.readoutMs) + " ms must lie between 0 and one frame (" +
         fixed(1000.0 / o.fps, 2) + " ms)");
    return 1;
  }
  if (!(o.focalPx >= 0.0 && o.focalPx <= 1e6)) {
    fail("focal length must lie in (0, 1000000] pixels");
    return 1;
  }
  if (!(o.gyroRate >= 50.0 && o.gyroRate <= 10000.0)) {
    fail("gyro rate " + std::to_string(o.gyroRate) + " Hz must lie in [50, 10000]");
    return 1;
  }
  GyroLog::Orientation axes;
  if (!GyroLog::Orientation::parse(o.gyroAxes, &axes)) {
    fail("gyro axes '" + o.gyroAxes + "' must be three letters naming x, y and z once each (upper case +, lower case -)");
    return 1;
  }
  if (!(std::fabs(o.gyroOffsetMs) <= 1000.0)) {
    fail("gyro offset " + std::to_string(o.gyroOffsetMs) + " ms must lie between -1000 and 1000");
    return 1;
  }
  if (o.crf < 0 || o.crf > 51) {
    fail("crf " + std::to_string(o.crf) + " must lie in 0..51");
    return 1;
  }
  if (!(o.lensBlur >= 0.0 && o.lensBlur <= kMaxLensBlur)) {
    fail("lens blur " + plain(o.lensBlur) + " must lie between 0 and " + plain(kMaxLensBlur) + " pixels");
    return 1;
  }
  if (!(o.noise >= 0.0 && o.noise <= kMaxNoise)) {
    fail("noise " + plain(o.noise) + " must lie between 0 and " + plain(kMaxNoise) + " levels");
    return 1;
  }
  std::error_code ec;
  if (fs::exists(o.dir, ec) && !fs::is_directory(o.dir, ec)) {
    fail("cannot write into '" + o.dir + "': not a folder");
    return 1;
  }
  fs::create_directories(o.dir, ec);
  if (ec) {
    fail("cannot make folder '" + o.dir + "': " + ec.message());
    return 1;
  }

  const double focal = o.focalPx > 0.0 ? o.focalPx : 0.8 * width;
  if (o.burst > 0) {
    return writeSyntheticBurst(
        {o.dir, width, height, o.burst, o.fps, o.readoutMs, focal, o.gyroRate, o.seed, o.noise, o.shake, o.lensBlur});
  }
  const double readout = o.readoutMs / 1000.0;
  const bool lossless = o.lossless || !VideoWriter::hasH264Encoder();
  const AVRational rate = av_d2q(o.fps, 1001000);
  const AVRational timeBase = av_inv_q(rate);
  const double frameSeconds = av_q2d(timeBase);
  const int64_t frames = std::max<int64_t>(1, std::llround(o.seconds / frameSeconds));
  const CameraPath path(o.seed, std::min(kRestSeconds, 0.5 * o.seconds));
  auto rowTime = [&](int64_t frame, int row) { return frame * frameSeconds + readout * row / height; };

  // The region of the far plane the clip sees: the rays at both ends of
  // every 8th row, under that row's orientation, in every frame.
  double aMin = std::numeric_limits<double>::max(), aMax = -aMin, bMin = aMin, bMax = -aMin;
  for (int64_t i = 0; i < frames; ++i) {
    for (int row = 0; row < height; row = row == height - 1 ? height : std::min(row + 8, height - 1)) {
      const Rotation q = path.orientation(rowTime(i, row));
      const double yc = (height * 0.5 - row - 0.5) / focal, xc = (width * 0.5) / focal;
      for (double x : {-xc, xc}) {
        double a = 0.0, b = 0.0;
        if (!SyntheticScene::project(q, {x, yc, -1.0}, &a, &b)) {
          fail("the field of view is too wide for the scene plane; give a longer --focal-px");
          return 1;
        }
        aMin = std::min(aMin, a), aMax = std::max(aMax, a), bMin = std::min(bMin, b), bMax = std::max(bMax, b);
      }
    }
  }
  const double margin = 8.0 / focal;
  const SyntheticScene scene(o.seed, aMin - margin, aMax + margin, bMin - margin, bMax + margin, focal);

  const std::string videoName = lossless ? "input.mkv" : "input.mp4";
  const std::string cleanName = lossless ? "clean.mkv" : "clean.mp4";
  TemporaryFile video((fs::path(o.dir) / videoName).string(), "synth");
  TemporaryFile clean((fs::path(o.dir) / cleanName).string(), "synth");
  TemporaryFile gyro((fs::path(o.dir) / "gyro.gcsv").string(), "synth");
  TemporaryFile truth((fs::path(o.dir) / "truth.csv").string(), "synth");
  std::string error;

  VideoWriter::Settings settings;
  settings.width = width;
  settings.height = height;
  settings.timeBase = timeBase;
  settings.frameRate = rate;
  settings.crf = o.crf;
  settings.preset = "medium";  // the clip is made once and read often
  settings.lossless = lossless;
  settings.formatName = videoName;
  auto writer = VideoWriter::open(video.path(), settings, &error);
  if (!writer) {
    fail(error);
    return 1;
  }
  const bool noisy = o.noise > 0.0;
  std::unique_ptr<VideoWriter> cleanWriter;
  if (noisy) {
    settings.formatName = cleanName;
    if (!(cleanWriter = VideoWriter::open(clean.path(), settings, &error))) {
      fail(error);
      return 1;
    }
  }

  std::ofstream truthOut(truth.path());
  truthOut.precision(12);
  truthOut << "# nudora synth truth: width=" << width << ",height=" << height << ",fps=" << av_q2d(rate)
           << ",focal_px=" << focal << ",readout_s=" << readout << ",rest_s=" << path.restSeconds()
           << ",seed=" << o.seed << "\n"
           << "# orientation: quaternion (x, y, z, w) taking camera (image) axes to the camera at rest; "
              "row r is captured at pts + readout_s * r / height\n"
           << "frame,pts,row0_x,row0_y,row0_z,row0_w,last_x,last_y,last_z,last_w\n";
  auto frame = PixelBuffer::create(width, height);
  for (int64_t i = 0; i < frames; ++i) {
    scene.render(*frame, focal, [&](int row) { return path.orientation(rowTime(i, row)); });
    if (noisy) {
      if (!cleanWriter->writeFrame(*frame, i, &error)) {
        fail(error);
        return 1;
      }
      addNoise(*frame, o.noise, o.seed, i);
    }
    if (!writer->writeFrame(*frame, i, &error)) {
      fail(error);
      return 1;
    }
    const Rotation first = path.orientation(rowTime(i, 0)), last = path.orientation(rowTime(i, height - 1));
    truthOut << i << "," << i * frameSeconds << "," << first.x << "," << first.y << "," << first.z << "," << first.w
             << "," << last.x << "," << last.y << "," << last.z << "," << last.w << "\n";
  }
  if (!writer->finish(&error) || (cleanWriter && !cleanWriter->finish(&error))) {
    fail(error);
    return 1;
  }
  truthOut.close();
  if (!truthOut) {
    fail("cannot write '" + truth.destination() + "'");
    return 1;
  }

  // The gyro: device-axis rates, a constant bias and white noise, stamped in
  // microseconds and micro-radians per second.
  SynthRandom noise(o.seed * 0x2545F4914F6CDD1Dull + 7);
  double bias[3];
  for (double& b : bias) b = (noise.uniform() < 0.5 ? -1.0 : 1.0) * noise.uniform(0.003, 0.007);
  std::ofstream gyroOut(gyro.path());
  gyroOut << "GYROFLOW IMU LOG\nversion,1.3\nid,nudora_synth\norientation,XYZ\n"
          << "note,synthetic shaky clip seed " << o.seed << " bias " << fixed(bias[0], 6) << " " << fixed(bias[1], 6)
          << " " << fixed(bias[2], 6) << " rad/s\n"
          << "vendor,nudora\nvideofilename," << videoName << "\nframe_readout_time," << fixed(o.readoutMs, 4)
          << "\nframe_readout_direction,0\ntscale,0.000001\ngscale,0.000001\nt,gx,gy,gz\n";
  const double end = (frames - 1) * frameSeconds + readout + kGyroTail + std::max(0.0, o.gyroOffsetMs / 1000.0);
  const int64_t readings = static_cast<int64_t>(std::ceil(end * o.gyroRate)) + 1;
  for (int64_t k = 0; k < readings; ++k) {
    // Reading k is taken at log time k / rate, which is video time
    // k / rate - offset.
    const int64_t micros = std::llround(k * 1e6 / o.gyroRate);
    const auto w = path.bodyRate(micros * 1e-6 - o.gyroOffsetMs / 1000.0);
    const double device[3] = {w[1], -w[0], w[2]};
    double measured[3];
    for (int c = 0; c < 3; ++c) measured[c] = device[c] + bias[c] + kGyroNoise * noise.gaussian();
    // Applying `axes` to the log gives device[i] = sign[i] * log[source[i]].
    double log[3];
    for (int c = 0; c < 3; ++c) log[axes.source[c]] = axes.sign[c] * measured[c];
    gyroOut << micros;
    for (int c = 0; c < 3; ++c) gyroOut << "," << std::llround(log[c] * 1e6);
    gyroOut << "\n";
  }
  gyroOut.close();
  if (!gyroOut) {
    fail("cannot write '" + gyro.destination() + "'");
    return 1;
  }
  // The log must load as the process command will load it.
  GyroLog check;
  if (!check.load(gyro.path())) return 1;  // the parser has named the line

  for (TemporaryFile* file : {&video, &gyro, &truth, &clean}) {
    if (file == &clean && !noisy) continue;
    if (!file->commit(&error)) {
      fail(error);
      return 1;
    }
  }
  std::printf(
      "synth: %lld frames %dx%d at %s fps (%s, readout %s ms, focal %s px), %lld gyro readings at %s Hz -> %s\n",
      static_cast<long long>(frames), width, height, fixed(av_q2d(rate), 3).c_str(), writer->codecName(),
      fixed(o.readoutMs, 2).c_str(), fixed(focal, 2).c_str(), static_cast<long long>(readings),
      fixed(o.gyroRate, 0).c_str(), o.dir.c_str());
  if (noisy) {
    std::printf("noise: sigma %s levels at mid-grey in %s; the same frames without it in %s\n", plain(o.noise).c_str(),
                videoName.c_str(), cleanName.c_str());
  }
  std::printf(
      "stabilise with: nudora process %s -o %s --gyro %s --stabilize --focal-px %s --readout-ms %s "
      "--gyro-delay-ms %s%s\n",
      quote(video.destination()).c_str(),
      quote((fs::path(o.dir) / (lossless ? "output.mkv" : "output.mp4")).string()).c_str(),
      quote(gyro.destination()).c_str(), plain(focal).c_str(), plain(o.readoutMs).c_str(),
      plain(o.gyroOffsetMs).c_str(), o.gyroAxes == "XYZ" ? "" : (" --gyro-orientation " + o.gyroAxes).c_str());
  return 0;
}

}  // namespace

void addSynthCommand(CLI::App& app) {
  auto options = std::make_shared<Options>();
  auto* cmd = app.add_subcommand("synth", "Make a synthetic shaky clip with its gyro log and true camera path");
  cmd->add_option("-o,--output", options->dir, "folder for input.mp4, gyro.gcsv and truth.csv")->required();
  cmd->add_option("--size", options->size, "frame size WxH (default 640x360)");
  cmd->add_option("--fps", options->fps, "frames per second (default 30)");
  cmd->add_option("--seconds", options->seconds, "length in seconds (default 8)");
  cmd->add_option("--readout-ms", options->readoutMs, "rolling-shutter readout, first to last row (default 20)");
  cmd->add_option("--seed", options->seed, "varies the scene and the shake (default 1)");
  cmd->add_option("--focal-px", options->focalPx, "focal length in pixels (default 0.8 x width)");
  cmd->add_option("--gyro-rate", options->gyroRate, "gyro readings per second (default 200)");
  cmd->add_option("--crf", options->crf, "H.264 quality, 0 (best) to 51 (default 16)");
  cmd->add_flag("--lossless", options->lossless, "write lossless FFV1 (input.mkv) instead of H.264");
  cmd->add_option("--gyro-axes", options->gyroAxes,
                  "write the log in axes that need this --gyro-orientation to reach device axes (default XYZ)");
  cmd->add_option("--gyro-offset-ms", options->gyroOffsetMs,
                  "run the log's clock this far ahead of the video's (default 0)");
  cmd->add_option("--noise", options->noise,
                  "sensor-like noise of this many 8-bit levels (standard deviation) at mid-grey, and the clean "
                  "frames in clean.mp4 beside (default 0: none)");
  cmd->add_option("--burst", options->burst,
                  "write a handheld burst of this many still frames (PNG, with the clean first frame in truth.png "
                  "and the frame times in frames.txt) instead of a clip");
  cmd->add_option("--shake", options->shake,
                  "a burst's hand shake as a fraction of the clip's walking shake, held still without pans "
                  "(default 0.25)");
  cmd->add_option("--lens-blur", options->lensBlur,
                  "a burst's blur by lens and pixel, a Gaussian of this many pixels (default 0.6; 0: the scene's "
                  "edges as sharp as its texels)");
  cmd->callback([options] { setExitCode(run(*options)); });
}

}  // namespace nudora::tool
