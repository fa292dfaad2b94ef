#include "synth/SyntheticBurst.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>
#include <memory>
#include <vector>

#include "common/TemporaryFile.h"
#include "platform/GyroLog.h"
#include "platform/Image.h"
#include "platform/PixelBuffer.h"
#include "synth/CameraPath.h"
#include "synth/SynthRandom.h"
#include "synth/SyntheticScene.h"

namespace nudora::tool {
namespace {

// A second at rest, then the shake fades in over half a second: the burst
// is taken after both.
constexpr double kRestSeconds = 1.0;
constexpr double kBurstStart = 2.0;
constexpr int kMaxFrames = 128;
constexpr double kGyroNoise = 0.003;  // rad/s, white, per axis
constexpr double kGyroTail = 0.1;
// Keeps the burst noise's random numbers apart from the scene's and the gyro's.
constexpr uint64_t kBurstNoiseStream = 0x6275727374ull;

int fail(const std::string& message) {
  std::fprintf(stderr, "nudora synth: %s\n", message.c_str());
  return 1;
}

// Photon-like noise: standard deviation sigma * sqrt(level / 128) per colour
// byte, rounded and clamped; it depends only on the seed, frame and row.
void addNoise(PixelBuffer& frame, double sigma, uint64_t seed, int index) {
  for (int y = 0; y < frame.height(); ++y) {
    SynthRandom random(SynthRandom::hash(index, y, seed ^ kBurstNoiseStream));
    uint8_t* p = frame.row(y);
    for (int x = 0; x < frame.width(); ++x, p += 4) {
      for (int c = 0; c < 3; ++c) {
        const double v = p[c] + sigma * std::sqrt(p[c] / 128.0) * random.gaussian();
        p[c] = static_cast<uint8_t>(std::clamp(std::lround(v), 0L, 255L));
      }
    }
  }
}

bool writePicture(const PixelBuffer& frame, TemporaryFile& file, std::string* error) {
  auto image = Image::fromPixelBuffer(frame);
  if (!image || !image->write(file.path())) {
    *error = "cannot write '" + file.destination() + "'";
    return false;
  }
  return true;
}

}  // namespace

int writeSyntheticBurst(const SyntheticBurstSettings& s) {
  if (s.frames < 1 || s.frames > kMaxFrames) {
    return fail("a burst has 1 to " + std::to_string(kMaxFrames) + " frames, not " + std::to_string(s.frames));
  }
  if (!(s.focalPx > 0.0)) return fail("the burst needs a positive focal length");
  const double frameSeconds = 1.0 / s.fps, readout = s.readoutMs / 1000.0;
  if (!(s.shake >= 0.0)) return fail("the shake is a factor of 0 or more");
  const CameraPath path(s.seed, kRestSeconds, s.shake, false);
  auto rowTime = [&](int frame, int row) { return kBurstStart + frame * frameSeconds + readout * row / s.height; };

  // The far plane's region the burst sees: both ends of every 8th row, under
  // that row's orientation, in every frame.
  double aMin = std::numeric_limits<double>::max(), aMax = -aMin, bMin = aMin, bMax = -aMin;
  for (int i = 0; i < s.frames; ++i) {
    for (int row = 0; row < s.height; row = row == s.height - 1 ? s.height : std::min(row + 8, s.height - 1)) {
      const Rotation q = path.orientation(rowTime(i, row));
      const double yc = (s.height * 0.5 - row - 0.5) / s.focalPx, xc = (s.width * 0.5) / s.focalPx;
      for (double x : {-xc, xc}) {
        double a = 0.0, b = 0.0;
        if (!SyntheticScene::project(q, {x, yc, -1.0}, &a, &b)) {
          return fail("the field of view is too wide for the scene plane; give a longer --focal-px");
        }
        aMin = std::min(aMin, a), aMax = std::max(aMax, a), bMin = std::min(bMin, b), bMax = std::max(bMax, b);
      }
    }
  }
  const double margin = 8.0 / s.focalPx;
  SyntheticScene scene(s.seed, aMin - margin, aMax + margin, bMin - margin, bMax + margin, s.focalPx);
  // A camera's lens and pixels blur what they see; without it every edge
  // of the pattern would be as sharp as one texel and alias differently at
  // every sub-pixel position, which no resampling of one frame onto
  // another can reproduce.
  scene.blur(s.lensBlur);

  std::vector<std::unique_ptr<TemporaryFile>> files;
  auto file = [&](const std::string& name) -> TemporaryFile& {
    files.push_back(std::make_unique<TemporaryFile>(s.dir + "/" + name, "synth"));
    return *files.back();
  };
  std::string error;
  auto frame = PixelBuffer::create(s.width, s.height);
  if (!frame) return fail("out of memory for " + std::to_string(s.width) + "x" + std::to_string(s.height) + " frames");
  for (int i = 0; i < s.frames; ++i) {
    scene.render(*frame, s.focalPx, [&](int row) { return path.orientation(rowTime(i, row)); });
    if (i == 0 && !writePicture(*frame, file("truth.png"), &error)) return fail(error);
    if (s.noise > 0.0) addNoise(*frame, s.noise, s.seed, i);
    char name[32];
    std::snprintf(name, sizeof(name), "frame_%03d.png", i);
    if (!writePicture(*frame, file(name), &error)) return fail(error);
  }

  TemporaryFile& times = file("frames.txt");
  std::ofstream timesOut(times.path());
  timesOut.precision(12);
  timesOut << "# presentation time of each burst frame (its first row), seconds on the gyro log's clock\n";
  for (int i = 0; i < s.frames; ++i) timesOut << rowTime(i, 0) << "\n";
  timesOut.close();
  if (!timesOut) return fail("cannot write '" + times.destination() + "'");

  // The gyro: device-axis rates (device x = image y, device y = -image x),
  // a constant bias and white noise, in microseconds and micro-radians per
  // second, from the start of the rest to past the last frame's readout.
  SynthRandom noise(s.seed * 0x2545F4914F6CDD1Dull + 11);
  double bias[3];
  for (double& b : bias) b = (noise.uniform() < 0.5 ? -1.0 : 1.0) * noise.uniform(0.003, 0.007);
  TemporaryFile& gyro = file("gyro.gcsv");
  std::ofstream gyroOut(gyro.path());
  gyroOut << "GYROFLOW IMU LOG\nversion,1.3\nid,nudora_synth_burst\norientation,XYZ\n"
          << "note,synthetic handheld burst seed " << s.seed << "\nvendor,nudora\nframe_readout_time," << s.readoutMs
          << "\nframe_readout_direction,0\ntscale,0.000001\ngscale,0.000001\nt,gx,gy,gz\n";
  const double end = rowTime(s.frames - 1, 0) + readout + kGyroTail;
  const int64_t readings = static_cast<int64_t>(std::ceil(end * s.gyroRate)) + 1;
  for (int64_t k = 0; k < readings; ++k) {
    const int64_t micros = std::llround(k * 1e6 / s.gyroRate);
    const auto w = path.bodyRate(micros * 1e-6);
    const double device[3] = {w[1], -w[0], w[2]};
    gyroOut << micros;
    for (int c = 0; c < 3; ++c) gyroOut << "," << std::llround((device[c] + bias[c] + kGyroNoise * noise.gaussian()) * 1e6);
    gyroOut << "\n";
  }
  gyroOut.close();
  if (!gyroOut) return fail("cannot write '" + gyro.destination() + "'");
  GyroLog check;
  if (!check.load(gyro.path())) return 1;  // the parser has named the line

  for (auto& f : files) {
    if (!f->commit(&error)) return fail(error);
  }
  std::printf("synth: burst of %d frames %dx%d at %g fps (readout %g ms, focal %g px, noise %g levels) -> %s\n",
              s.frames, s.width, s.height, s.fps, s.readoutMs, s.focalPx, s.noise, s.dir.c_str());
  std::printf("merge with: nudora burst %s/frame_*.png -o %s/merged.png --gyro %s/gyro.gcsv --frame-times "
              "%s/frames.txt --focal-px %g --readout-ms %g\n",
              s.dir.c_str(), s.dir.c_str(), s.dir.c_str(), s.dir.c_str(), s.focalPx, s.readoutMs);
  return 0;
}

}  // namespace nudora::tool
