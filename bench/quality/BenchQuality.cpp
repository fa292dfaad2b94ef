// bench_quality: how steady videos look, measured from their pictures alone.
//
//   bench_quality [--crop-border P] [--smooth-s S] [--vidstab INPUT]
//                 [--plot FILE.png] [--csv FILE] LABEL=FILE ...
//
// Prints one line per video: frames, residual shake (RMS frame-to-frame
// motion beyond the smoothed path, pixels), rolling-shutter skew (RMS, pixels
// per frame height), how far the smoothed path wanders (pixels), and the
// shake and skew as ratios to the first video, which should be the input.
// With --vidstab INPUT, ffmpeg's own stabilisers (vidstabdetect +
// vidstabtransform, and deshake), where this ffmpeg has them, are run on
// INPUT in the same run and measured beside the rest.

#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "quality/PathPlot.h"
#include "quality/ShakeStatistics.h"
#include "quality/Subprocess.h"
#include "quality/VideoGrayReader.h"
#include "stabilization/FrameMotionEstimator.h"

using namespace nudora::quality;
using nudora::FrameMotionEstimator;
using nudora::GrayImage;
using nudora::PairMotion;

namespace {

struct Video {
  std::string label;
  std::string path;
};

struct Measured {
  Video video;
  bool ok = false;
  double fps = 0.0;
  int width = 0;
  int height = 0;
  std::vector<PairMotion> pairs;
  ShakeSummary summary;
};

void usage(FILE* to) {
  std::fprintf(to,
               "usage: bench_quality [--crop-border P] [--smooth-s S] [--vidstab INPUT] [--plot FILE.png]\n"
               "                     [--csv FILE] LABEL=FILE ...\n"
               "  --crop-border P  percent of the width and height left out on every side (default 10:\n"
               "                   the central 80%% is measured)\n"
               "  --smooth-s S     sigma of the Gaussian that separates slow camera moves from shake,\n"
               "                   seconds (default 0.2)\n"
               "  --vidstab INPUT  also run ffmpeg's vidstab (two passes) and deshake on INPUT and\n"
               "                   measure them; INPUT itself is measured first when no LABEL=FILE is given\n"
               "  --plot FILE.png  draw the measured horizontal and vertical camera paths\n"
               "  --csv FILE       per-frame measurements of every video\n"
               "The first video is the reference for the ratios.\n");
}

bool parseNumber(const char* text, double& value) {
  char* end = nullptr;
  value = std::strtod(text, &end);
  return end != text && *end == '\0' && std::isfinite(value);
}

Measured measure(const Video& video, const FrameMotionEstimator::Options& options, double smoothSeconds) {
  Measured m;
  m.video = video;
  VideoGrayReader reader;
  if (!reader.open(video.path)) {
    std::fprintf(stderr, "bench_quality: %s\n", reader.error().c_str());
    return m;
  }
  m.width = reader.width();
  m.height = reader.height();
  m.fps = reader.fps() > 0.0 ? reader.fps() : 30.0;
  FrameMotionEstimator estimator(options);
  std::vector<uint8_t> bytes;
  while (reader.next(bytes)) {
    if (auto pair = estimator.addFrame(GrayImage::fromBytes(bytes.data(), m.width, m.height, m.width))) {
      m.pairs.push_back(*pair);
    }
  }
  if (reader.close() != 0 || !reader.error().empty()) {
    std::fprintf(stderr, "bench_quality: %s\n", reader.error().c_str());
    return m;
  }
  if (m.pairs.empty()) {
    std::fprintf(stderr, "bench_quality: %s: fewer than two frames\n", video.path.c_str());
    return m;
  }
  m.summary = ShakeStatistics::summarize(m.pairs, m.fps, smoothSeconds);
  m.ok = true;
  return m;
}

bool ffmpegHas(const std::string& listing, const std::string& name) {
  // Lines read " ... name   V->V  description".
  return listing.find(" " + name + " ") != std::string::npos;
}

// Runs one ffmpeg command, saying what and how long; true on success.
bool runFfmpeg(const std::string& what, const std::vector<std::string>& args) {
  std::fprintf(stderr, "bench_quality: running %s ...\n", what.c_str());
  auto begin = std::chrono::steady_clock::now();
  int status = Subprocess::run(args, nullptr);
  double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  if (status != 0) {
    std::fprintf(stderr, "bench_quality: %s failed (exit status %d)\n", what.c_str(), status);
    return false;
  }
  std::fprintf(stderr, "bench_quality: %s took %.1f s\n", what.c_str(), seconds);
  return true;
}

// Runs ffmpeg's stabilisers on input into folder; the videos they made.
std::vector<Video> runReferenceStabilizers(const std::string& input, const std::string& folder) {
  std::vector<Video> made;
  std::string filters;
  std::string encoders;
  if (Subprocess::run({"ffmpeg", "-hide_banner", "-filters"}, &filters) != 0 ||
      Subprocess::run({"ffmpeg", "-hide_banner", "-encoders"}, &encoders) != 0) {
    std::fprintf(stderr, "bench_quality: cannot ask ffmpeg for its filters; no reference stabilisers\n");
    return made;
  }
  // Near-lossless H.264 where there is one, else lossless FFV1: the
  // comparison should not hinge on the encoder.
  bool x264 = ffmpegHas(encoders, "libx264");
  std::vector<std::string> encode =
      x264 ? std::vector<std::string>{"-c:v", "libx264", "-preset", "veryfast", "-crf", "14", "-pix_fmt", "yuv420p"}
           : std::vector<std::string>{"-c:v", "ffv1"};
  std::string ext = x264 ? ".mp4" : ".mkv";
  auto command = [&](const std::string& filter, const std::string& out) {
    std::vector<std::string> args = {"ffmpeg", "-v", "error", "-nostdin", "-y", "-i", input, "-vf", filter, "-an"};
    args.insert(args.end(), encode.begin(), encode.end());
    args.push_back(out);
    return args;
  };

  if (ffmpegHas(filters, "vidstabdetect") && ffmpegHas(filters, "vidstabtransform")) {
    std::string trf = folder + "/transforms.trf";
    std::string out = folder + "/vidstab" + ext;
    if (runFfmpeg("vidstabdetect (shakiness=8)", {"ffmpeg", "-v", "error", "-nostdin", "-y", "-i", input, "-vf",
                                                  "vidstabdetect=shakiness=8:result=" + trf, "-f", "null", "-"}) &&
        runFfmpeg("vidstabtransform (smoothing=15)", command("vidstabtransform=input=" + trf + ":smoothing=15", out))) {
      made.push_back({"vidstab", out});
    }
  } else {
    std::fprintf(stderr, "bench_quality: this ffmpeg has no vidstab filters; skipped\n");
  }
  if (ffmpegHas(filters, "deshake")) {
    std::string out = folder + "/deshake" + ext;
    if (runFfmpeg("deshake", command("deshake", out))) made.push_back({"deshake", out});
  } else {
    std::fprintf(stderr, "bench_quality: this ffmpeg has no deshake filter; skipped\n");
  }
  return made;
}

std::string ratio(double value, double reference) {
  char text[32];
  if (reference > 0.0) {
    std::snprintf(text, sizeof text, "%.3f", value / reference);
  } else {
    std::snprintf(text, sizeof text, "-");
  }
  return text;
}

bool writeCsv(const std::string& path, const std::vector<Measured>& all, double smoothSeconds) {
  std::ofstream out(path);
  out << "label,frame,time_s,dx_px,dy_px,skew_x_px_per_h,skew_y_px_per_h,roll_rad,path_x_px,path_y_px,"
         "smooth_x_px,smooth_y_px\n";
  for (const Measured& m : all) {
    if (!m.ok) continue;
    std::vector<double> dx, dy;
    for (const PairMotion& p : m.pairs) {
      dx.push_back(p.valid ? p.dx : 0.0);
      dy.push_back(p.valid ? p.dy : 0.0);
    }
    std::vector<double> px = ShakeStatistics::cumulativePath(dx);
    std::vector<double> py = ShakeStatistics::cumulativePath(dy);
    std::vector<double> sx = ShakeStatistics::smoothPath(px, smoothSeconds * m.fps);
    std::vector<double> sy = ShakeStatistics::smoothPath(py, smoothSeconds * m.fps);
    for (size_t f = 0; f < px.size(); ++f) {
      out << m.video.label << ',' << f << ',' << f / m.fps << ',';
      if (f == 0) {
        out << ",,,,,";
      } else {
        const PairMotion& p = m.pairs[f - 1];
        out << p.dx << ',' << p.dy << ',' << p.skewX << ',' << p.skewY << ',' << p.roll << ',';
      }
      out << px[f] << ',' << py[f] << ',' << sx[f] << ',' << sy[f] << '\n';
    }
  }
  out.close();
  if (!out) {
    std::fprintf(stderr, "bench_quality: %s: cannot write\n", path.c_str());
    return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  FrameMotionEstimator::Options options;
  double smoothSeconds = 0.2;
  std::string vidstabInput;
  std::string plotPath;
  std::string csvPath;
  std::vector<Video> videos;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    auto value = [&]() -> const char* {
      if (i + 1 >= argc) {
        std::fprintf(stderr, "bench_quality: %s needs a value\n", arg.c_str());
        std::exit(2);
      }
      return argv[++i];
    };
    double number = 0.0;
    if (arg == "-h" || arg == "--help") {
      usage(stdout);
      return 0;
    } else if (arg == "--crop-border") {
      const char* text = value();
      if (!parseNumber(text, number) || number < 0.0 || number >= 45.0) {
        std::fprintf(stderr, "bench_quality: --crop-border takes a percentage from 0 to 45, not '%s'\n", text);
        return 2;
      }
      options.cropBorder = number / 100.0;
    } else if (arg == "--smooth-s") {
      const char* text = value();
      if (!parseNumber(text, number) || number <= 0.0) {
        std::fprintf(stderr, "bench_quality: --smooth-s takes a positive number of seconds, not '%s'\n", text);
        return 2;
      }
      smoothSeconds = number;
    } else if (arg == "--vidstab") {
      vidstabInput = value();
    } else if (arg == "--plot") {
      plotPath = value();
    } else if (arg == "--csv") {
      csvPath = value();
    } else if (!arg.empty() && arg[0] == '-') {
      std::fprintf(stderr, "bench_quality: unknown option %s\n", arg.c_str());
      usage(stderr);
      return 2;
    } else {
      size_t eq = arg.find('=');
      if (eq == std::string::npos) {
        videos.push_back({std::filesystem::path(arg).stem().string(), arg});
      } else if (eq == 0 || eq + 1 == arg.size()) {
        std::fprintf(stderr, "bench_quality: '%s' is not LABEL=FILE\n", arg.c_str());
        return 2;
      } else {
        videos.push_back({arg.substr(0, eq), arg.substr(eq + 1)});
      }
    }
  }
  if (videos.empty() && vidstabInput.empty()) {
    usage(stderr);
    return 2;
  }

  std::string folder;
  if (!vidstabInput.empty()) {
    if (videos.empty()) videos.push_back({"input", vidstabInput});
    char pattern[] = "/tmp/bench-quality-XXXXXX";
    if (!mkdtemp(pattern)) {
      std::fprintf(stderr, "bench_quality: cannot make a temporary folder: %s\n", std::strerror(errno));
      return 1;
    }
    folder = pattern;
    for (Video& v : runReferenceStabilizers(vidstabInput, folder)) videos.push_back(v);
  }

  std::vector<Measured> all;
  for (const Video& v : videos) all.push_back(measure(v, options, smoothSeconds));
  if (!folder.empty()) {
    std::error_code ec;
    std::filesystem::remove_all(folder, ec);
  }

  std::printf("# central %.0f%% of each frame; shake = RMS frame-to-frame step of the path beyond a %.2f s Gaussian\n",
              100.0 * (1.0 - 2.0 * options.cropBorder), smoothSeconds);
  std::printf("%-12s %7s %10s %12s %10s %9s %9s\n", "label", "frames", "shake_px", "skew_px/H", "path_lf_px",
              "shake/in", "skew/in");
  const Measured& reference = all.front();
  bool failed = false;
  for (const Measured& m : all) {
    if (!m.ok) {
      std::printf("%-12s %7s   (could not be measured: %s)\n", m.video.label.c_str(), "-", m.video.path.c_str());
      failed = true;
      continue;
    }
    const ShakeSummary& s = m.summary;
    std::printf("%-12s %7d %10.3f %12.3f %10.2f %9s %9s", m.video.label.c_str(), s.frames, s.hfRms, s.skewRms, s.lfRms,
                reference.ok ? ratio(s.hfRms, reference.summary.hfRms).c_str() : "-",
                reference.ok ? ratio(s.skewRms, reference.summary.skewRms).c_str() : "-");
    if (s.unmeasured > 0) std::printf("   (%d pairs too flat to measure)", s.unmeasured);
    std::printf("\n");
  }
  std::fflush(stdout);

  if (!plotPath.empty()) {
    PathPlot plot;
    double fps = 0.0;
    for (const Measured& m : all) {
      if (!m.ok) continue;
      if (fps <= 0.0) fps = m.fps;
      std::vector<double> dx, dy;
      for (const PairMotion& p : m.pairs) {
        dx.push_back(p.valid ? p.dx : 0.0);
        dy.push_back(p.valid ? p.dy : 0.0);
      }
      plot.add(m.video.label, ShakeStatistics::cumulativePath(dx), ShakeStatistics::cumulativePath(dy));
    }
    if (!plot.write(plotPath, fps, "measured camera path (image motion, central crop)")) failed = true;
  }
  if (!csvPath.empty() && !writeCsv(csvPath, all, smoothSeconds)) failed = true;
  return failed ? 1 : 0;
}
