// bench_sync: how well the gyro-to-video fit finds what a synthetic clip was
// made with.
//
//   bench_sync [--nudora PROGRAM] [--quick] [--keep DIR]
//
// Makes clips with `nudora synth` (seeds, sizes and readouts vary; the log
// is written in device axes on the video's clock), measures each clip's
// frame motion once, then fits it against its own log rewritten in every
// one of the 48 axis orientations and shifted by several clock offsets, as
// a separate gyro would have recorded it. Prints, per clip, how many
// orientations came out exact, the worst and mean offset error, the worst
// readout and focal-length errors and the time taken; then the time of
// `nudora sync` on a 10 s 1080p clip.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/GyroLog.h"
#include "quality/Subprocess.h"
#include "quality/VideoGrayReader.h"
#include "stabilization/GyroVideoSync.h"
#include "stabilization/VideoMotionMeasurer.h"

namespace fs = std::filesystem;
using nudora::GyroLog;
using nudora::GyroVideoSync;
using nudora::VideoMotionMeasurer;
using nudora::quality::Subprocess;
using nudora::quality::VideoGrayReader;

namespace {

struct Clip {
  int seed;
  const char* size;
  double readoutMs;
  double seconds;
};

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::vector<GyroLog::Orientation> allOrientations() {
  std::vector<GyroLog::Orientation> out;
  int perm[3] = {0, 1, 2};
  do {
    for (int signs = 0; signs < 8; ++signs) {
      GyroLog::Orientation o;
      for (int i = 0; i < 3; ++i) o.source[i] = perm[i], o.sign[i] = (signs >> i) & 1 ? -1.0 : 1.0;
      out.push_back(o);
    }
  } while (std::next_permutation(perm, perm + 3));
  return out;
}

// The device-axis log as a gyro mounted in orientation o would write it
// (device i = sign[i] * log[source[i]]), on a clock `offset` ahead.
std::vector<GyroLog::Reading> scrambled(const std::vector<GyroLog::Reading>& device, const GyroLog::Orientation& o,
                                        double offset) {
  std::vector<GyroLog::Reading> out = device;
  for (auto& r : out) {
    const double d[3] = {r.x, r.y, r.z};
    double l[3];
    for (int i = 0; i < 3; ++i) l[o.source[i]] = o.sign[i] * d[i];
    r.t += offset;
    r.x = l[0], r.y = l[1], r.z = l[2];
  }
  return out;
}

bool makeClip(const std::string& nudora, const Clip& clip, const std::string& dir, double* focal) {
  char readout[32], seconds[32];
  std::snprintf(readout, sizeof readout, "%g", clip.readoutMs);
  std::snprintf(seconds, sizeof seconds, "%g", clip.seconds);
  std::string printed;
  const int rc = Subprocess::run({nudora, "synth", "-o", dir, "--seed", std::to_string(clip.seed), "--size",
                                  clip.size, "--seconds", seconds, "--readout-ms", readout},
                                 &printed);
  const auto at = printed.find("focal ");
  if (rc != 0 || at == std::string::npos) {
    std::fprintf(stderr, "bench_sync: nudora synth failed (%d):\n%s", rc, printed.c_str());
    return false;
  }
  *focal = std::atof(printed.c_str() + at + 6);
  return true;
}

bool measure(const std::string& video, VideoMotionMeasurer* measurer) {
  VideoGrayReader reader;
  if (!reader.open(video)) {
    std::fprintf(stderr, "bench_sync: %s\n", reader.error().c_str());
    return false;
  }
  std::vector<uint8_t> frame;
  for (int i = 0; reader.next(frame); ++i) {
    measurer->addFrame(frame.data(), reader.width(), reader.height(), reader.width(), i / reader.fps());
  }
  return reader.close() == 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::string nudora = "build/tools/nudora", keep;
  bool quick = false;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--nudora" && i + 1 < argc) {
      nudora = argv[++i];
    } else if (arg == "--keep" && i + 1 < argc) {
      keep = argv[++i];
    } else if (arg == "--quick") {
      quick = true;
    } else {
      std::fprintf(stderr, "usage: bench_sync [--nudora PROGRAM] [--quick] [--keep DIR]\n");
      return 2;
    }
  }
  const fs::path work = keep.empty() ? fs::temp_directory_path() / ("bench_sync." + std::to_string(::getpid()))
                                     : fs::path(keep);
  fs::create_directories(work);

  const std::vector<Clip> clips = quick ? std::vector<Clip>{{1, "640x360", 20, 6}}
                                        : std::vector<Clip>{{1, "640x360", 10, 6},   {2, "640x360", 33, 6},
                                                            {3, "960x540", 20, 6},   {4, "1280x720", 10, 6},
                                                            {5, "1280x720", 33, 6},  {6, "1920x1080", 25, 6}};
  const double offsets[] = {-0.050, -0.0173, 0.0086, 0.050};
  const auto orientations = allOrientations();

  std::printf("%-4s %-9s %7s %6s %5s %9s %9s %9s %9s %8s %8s %7s\n", "seed", "size", "readout", "pairs", "fits",
              "orient ok", "off max", "off mean", "ro max%", "ro mean%", "f max%", "fit ms");
  bool allGood = true;
  for (const Clip& clip : clips) {
    const std::string dir = (work / ("seed" + std::to_string(clip.seed))).string();
    double focal = 0.0;
    if (!makeClip(nudora, clip, dir, &focal)) return 1;
    VideoMotionMeasurer measurer;
    std::string video = fs::exists(dir + "/input.mp4") ? dir + "/input.mp4" : dir + "/input.mkv";
    if (!measure(video, &measurer)) return 1;
    auto log = GyroLog::open(dir + "/gyro.gcsv");
    if (!log) return 1;

    int fits = 0, exact = 0;
    double offMax = 0.0, offSum = 0.0, roMax = 0.0, roSum = 0.0, fMax = 0.0, fitSeconds = 0.0;
    for (const auto& o : orientations) {
      for (double offset : offsets) {
        const auto readings = scrambled(log->readings(), o, offset);
        const auto start = std::chrono::steady_clock::now();
        const auto r = GyroVideoSync::fit(measurer.pairs(), readings, measurer.syncOptions());
        fitSeconds += secondsSince(start);
        ++fits;
        if (r.status != GyroVideoSync::Status::kOk || r.orientation.text() != o.text()) {
          std::printf("     %s +%.1f ms: found %s (%s)\n", o.text().c_str(), offset * 1000,
                      r.orientation.text().c_str(), GyroVideoSync::statusName(r.status));
          continue;
        }
        ++exact;
        const double offErr = std::fabs(r.offset - offset) * 1000.0;
        const double roErr = std::fabs(r.readout * 1000.0 / clip.readoutMs - 1.0) * 100.0;
        offMax = std::max(offMax, offErr), offSum += offErr;
        roMax = std::max(roMax, roErr), roSum += roErr;
        fMax = std::max(fMax, std::fabs(r.focalPx / focal - 1.0) * 100.0);
      }
    }
    std::printf("%-4d %-9s %5.0fms %6zu %5d %6d/%-2d %7.3fms %7.3fms %8.2f%% %8.2f%% %7.2f%% %7.1f\n", clip.seed,
                clip.size, clip.readoutMs, measurer.pairs().size(), fits, exact, fits, offMax,
                exact ? offSum / exact : 0.0, roMax, exact ? roSum / exact : 0.0, fMax, 1000.0 * fitSeconds / fits);
    std::fflush(stdout);
    allGood = allGood && exact == fits && offMax < 1.0 && roMax < 10.0;
    if (keep.empty()) fs::remove_all(dir);
  }

  if (!quick) {
    const std::string dir = (work / "hd10").string();
    double focal = 0.0;
    if (!makeClip(nudora, {7, "1920x1080", 20, 10}, dir, &focal)) return 1;
    std::string printed;
    const auto start = std::chrono::steady_clock::now();
    const int rc = Subprocess::run({nudora, "sync", dir + "/input.mp4", "--gyro", dir + "/gyro.gcsv"}, &printed);
    std::printf("nudora sync, 10 s of 1920x1080: %.2f s (exit %d)\n%s", secondsSince(start), rc, printed.c_str());
    if (keep.empty()) fs::remove_all(dir);
  }
  if (keep.empty()) fs::remove_all(work);
  std::printf("%s: every orientation exact, offsets within 1 ms, readouts within 10%%\n",
              allGood ? "PASS" : "FAIL");
  return allGood ? 0 : 1;
}
