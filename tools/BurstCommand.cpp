// nudora burst: one low-noise picture from a burst of frames, each aligned
// to the first and averaged (OrvoMultiFrameSynthesis).
//
//   nudora burst FRAME... -o OUT.png [--gyro LOG --frame-times FILE
//                [--focal-px F] [--readout-ms R] [--gyro-orientation O]]
//   nudora burst VIDEO --frames N --start S -o OUT.png [--gyro LOG ...]
//
// With a gyro log the frames are aligned as on the phone: the log is
// replayed on the virtual clock up to each frame, the estimator's rotation
// gives the start and the aligner's image comparison refines it. The
// frames' times come from --frame-times (pictures) or from the video. The
// aligner turns each frame as a whole; with a rolling-shutter readout
// every later frame is first resampled on the CPU to bend as the first
// frame does (ReadoutMatcher), so that one turn then fits all its rows.
//
// Without a log the aligner compares images alone, and its search reaches
// only about five steps of 0.00036 (some 0.7 mrad, a few pixels) either
// way, less than a hand shakes during a burst. So each frame's motion
// against the first is measured first on the CPU (FrameMotionEstimator:
// an exhaustive search on a coarse pyramid level, refined level by level,
// which reaches a quarter of the frame) and turned into the rotation the
// aligner starts from: a shift of (dx, dy) pixels is the rotation
// (dy / 2f, dx / 2f, 0, 1) at focal length f in pixels, and the measured
// roll r (clockwise) adds r / 2 about the viewing axis, which the aligner's
// search does not cover. The same measurement gives the rolling-shutter
// bend of the frame against the first (how much further its bottom row
// moved than its top row); the frame is resampled to undo it first.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "Commands.h"
#include "common/FileChecks.h"
#include "common/ReadoutMatcher.h"
#include "common/TemporaryFile.h"
#include "multiframe/OrvoMultiFrameSynthesis.h"
#include "platform/Clock.h"
#include "platform/EglContext.h"
#include "platform/GyroLog.h"
#include "platform/GyroLogSource.h"
#include "platform/Image.h"
#include "platform/MotionManager.h"
#include "platform/SampleBuffer.h"
#include "stabilization/FrameMotionEstimator.h"
#include "stabilization/GrayImage.h"
#include "stabilization/OrvoCameraMotionEstimator.h"
#include "stabilization/OrvoFrameAligner.h"
#include "stabilization/OrvoFrameMotion.h"
#include "video/FfmpegText.h"
#include "video/VideoReader.h"

namespace nudora::tool {
namespace {

namespace fs = std::filesystem;

constexpr int kMaxSide = 16384;
// Readings replayed beyond each frame's readout, so that the estimator
// finds one past its end to interpolate with.
constexpr double kReplayMargin = 0.05;
// The preview the estimator sees before a burst with a gyro log.
constexpr double kPreviewSeconds = 3.0;
constexpr double kPreviewInterval = 1.0 / 30.0;
// Without a log, a measured rolling-shutter bend smaller than this (pixels
// from the top row to the bottom) is left alone: resampling the frame would
// soften it more than the bend costs.
constexpr double kLeastBend = 0.1;

struct Options {
  std::vector<std::string> inputs;
  std::string output;
  std::string gyro;
  std::string frameTimes;
  double focalPx = 0.0;  // 0: 0.8 x width, as nudora synth makes them
  double readoutMs = -1.0;  // < 0: the log's header, else 0
  double gyroDelayMs = 0.0;
  std::string gyroOrientation;
  int frames = 8;
  double start = 0.0;
};

struct Burst {
  std::vector<std::shared_ptr<PixelBuffer>> frames;
  std::vector<double> times;
  std::vector<std::string> names;
};

int fail(const std::string& message) {
  std::fprintf(stderr, "nudora burst: %s\n", message.c_str());
  return 1;
}

bool isPicture(const std::string& path) {
  std::string ext = fs::path(path).extension().string();
  std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
  return ext == ".png" || ext == ".jpg" || ext == ".jpeg";
}

std::string sizeText(const PixelBuffer& b) { return std::to_string(b.width()) + "x" + std::to_string(b.height()); }

bool readPictures(const Options& o, Burst* burst, std::string* error) {
  for (const std::string& path : o.inputs) {
    if (std::string problem = pictureProblem("frame", path, kMaxSide); !problem.empty()) {
      *error = problem;
      return false;
    }
    auto image = Image::load(path);
    auto frame = image ? image->toPixelBuffer() : nullptr;
    if (!frame) {
      *error = "cannot decode frame '" + path + "'";
      return false;
    }
    if (!burst->frames.empty() && (frame->width() != burst->frames[0]->width() ||
                                   frame->height() != burst->frames[0]->height())) {
      *error = "frame '" + path + "' is " + sizeText(*frame) + " but '" + burst->names[0] + "' is " +
               sizeText(*burst->frames[0]) + "; every frame of a burst must have the same size";
      return false;
    }
    burst->frames.push_back(std::move(frame));
    burst->names.push_back(path);
    burst->times.push_back(static_cast<double>(burst->times.size()) / 30.0);
  }
  return true;
}

bool readVideo(const Options& o, Burst* burst, std::string* error) {
  quietFfmpegLog();
  auto reader = VideoReader::open(o.inputs[0], error);
  if (!reader) return false;
  VideoReader::FrameTime time;
  while (static_cast<int>(burst->frames.size()) < o.frames) {
    auto frame = PixelBuffer::create(reader->width(), reader->height());
    if (!frame || !reader->readFrame(*frame, &time)) break;
    if (time.seconds < o.start - 1e-6) continue;
    burst->frames.push_back(std::move(frame));
    burst->times.push_back(time.seconds);
    burst->names.push_back(o.inputs[0] + " at " + std::to_string(time.seconds) + " s");
  }
  if (reader->failed()) {
    *error = reader->error();
    return false;
  }
  if (burst->frames.empty()) {
    *error = "'" + o.inputs[0] + "' has no video frame at or after " + std::to_string(o.start) + " s";
    return false;
  }
  if (static_cast<int>(burst->frames.size()) < o.frames) {
    std::fprintf(stderr, "nudora burst: '%s' ends after %zu frames from %g s; merging those\n", o.inputs[0].c_str(),
                 burst->frames.size(), o.start);
  }
  return true;
}

// One presentation time per line, in seconds; blank lines and lines
// starting with '#' are skipped.
bool readFrameTimes(const std::string& path, size_t count, std::vector<double>* times, std::string* error) {
  if (std::string problem = fileProblem("frame times", path); !problem.empty()) {
    *error = problem;
    return false;
  }
  std::ifstream in(path);
  std::string line;
  std::vector<double> read;
  for (int number = 1; std::getline(in, line); ++number) {
    const size_t first = line.find_first_not_of(" \t\r");
    if (first == std::string::npos || line[first] == '#') continue;
    std::istringstream values(line);
    double t = 0.0;
    std::string rest;
    if (!(values >> t) || (values >> rest) || !std::isfinite(t)) {
      *error = path + ":" + std::to_string(number) + ": expected one time in seconds, got '" + line + "'";
      return false;
    }
    read.push_back(t);
  }
  if (read.size() != count) {
    *error = "'" + path + "' gives " + std::to_string(read.size()) + " frame times for " + std::to_string(count) +
             " frames";
    return false;
  }
  *times = std::move(read);
  return true;
}

// 8-bit luma of a BGRA frame, for the coarse measurement.
GrayImage lumaOf(const PixelBuffer& frame) {
  std::vector<uint8_t> luma(static_cast<size_t>(frame.width()) * frame.height());
  for (int y = 0; y < frame.height(); ++y) {
    const uint8_t* p = frame.row(y);
    for (int x = 0; x < frame.width(); ++x, p += 4) {
      luma[static_cast<size_t>(y) * frame.width() + x] =
          static_cast<uint8_t>((29 * p[0] + 150 * p[1] + 77 * p[2] + 128) >> 8);
    }
  }
  return GrayImage::fromBytes(luma.data(), frame.width(), frame.height(), frame.width());
}

// The rotation under which the aligner sees the frame shifted by (dx, dy)
// pixels and turned clockwise by roll against the reference.
glm::quat rotationForShift(const PairMotion& m, double focalPx) {
  return quaternionNormalize(quaternionMake(static_cast<float>(m.dy / (2.0 * focalPx)),
                                            static_cast<float>(m.dx / (2.0 * focalPx)),
                                            static_cast<float>(m.roll / 2.0), 1.0f));
}

int run(const Options& o) {
  if (!o.gyro.empty() && !o.gyroOrientation.empty()) {
    GyroLog::Orientation parsed;
    if (!GyroLog::Orientation::parse(o.gyroOrientation, &parsed)) {
      return fail("gyro orientation '" + o.gyroOrientation + "' must be three letters naming x, y and z once each");
    }
  }
  if (o.frames < 1 || o.frames > OrvoMultiFrameSynthesis::kMaxFrames) {
    return fail("--frames must lie in 1.." + std::to_string(OrvoMultiFrameSynthesis::kMaxFrames));
  }
  if (!(o.focalPx >= 0.0 && std::isfinite(o.focalPx))) return fail("--focal-px must be a positive number of pixels");
  if (!(o.readoutMs <= 1000.0) || !(std::fabs(o.gyroDelayMs) <= 1000.0)) {
    return fail("--readout-ms and --gyro-delay-ms must lie within a second");
  }
  const bool video = o.inputs.size() == 1 && !isPicture(o.inputs[0]);
  if (video) {
    if (std::string problem = fileProblem("video", o.inputs[0]); !problem.empty()) return fail(problem);
  }

  Burst burst;
  std::string error;
  if (!(video ? readVideo(o, &burst, &error) : readPictures(o, &burst, &error))) return fail(error);
  const size_t count = burst.frames.size();
  if (static_cast<int>(count) > OrvoMultiFrameSynthesis::kMaxFrames) {
    return fail("a burst holds at most " + std::to_string(OrvoMultiFrameSynthesis::kMaxFrames) + " frames, not " +
                std::to_string(count));
  }
  if (!video && !o.frameTimes.empty() && !readFrameTimes(o.frameTimes, count, &burst.times, &error)) {
    return fail(error);
  }

  std::shared_ptr<GyroLog> log;
  if (!o.gyro.empty()) {
    if (!video && o.frameTimes.empty()) {
      return fail("--gyro needs --frame-times for pictures: each frame's time on the log's clock");
    }
    if (std::string problem = fileProblem("gyro log", o.gyro); !problem.empty()) return fail(problem);
    if (!(log = GyroLog::open(o.gyro))) return 1;  // the parser has named the file and line
    if (!o.gyroOrientation.empty()) log->setOrientation(o.gyroOrientation);
  }

  TemporaryFile output(o.output, "burst");
  if (!output.probe(&error)) return fail(error);

  const int width = burst.frames[0]->width(), height = burst.frames[0]->height();
  const double focal = o.focalPx > 0.0 ? o.focalPx : 0.8 * width;
  double readout = 0.0;
  if (o.readoutMs >= 0.0) {
    readout = o.readoutMs / 1000.0;
  } else if (log) {
    auto it = log->header().find("frame_readout_time");  // milliseconds, as Gyroflow writes it
    double ms = 0.0;
    if (it != log->header().end() && std::istringstream(it->second) >> ms && ms >= 0.0 && ms <= 1000.0) {
      readout = ms / 1000.0;
    }
  }
  const double delay = o.gyroDelayMs / 1000.0;
  auto estimator = OrvoCameraMotionEstimator::sharedInstance();
  if (!estimator->setCameraParameters(OrvoCameraParameters::fromFocalLengthInPixels(
          static_cast<float>(focal), static_cast<float>(width), static_cast<float>(height),
          static_cast<float>(readout), delay))) {
    return 1;  // refused with a console line
  }

  auto context = EglContext::create(3);
  if (!context) return fail("merging a burst needs OpenGL ES 3, and no ES 3 context could be made");
  auto synthesis = std::make_unique<OrvoMultiFrameSynthesis>();
  if (!synthesis->setupGL(context.get())) return fail("the burst programs could not be built");

  // The replay starts up to kPreviewSeconds before the first frame, as a
  // phone's gyro runs during the preview before a burst, and the estimator
  // sees the preview's frames (at 30 fps): where the camera rested there it
  // learns the gyro's zero drift, which the image comparison could not
  // correct in roll. This program's own share keeps the gyro running while
  // the aligner waits for, and later hands back, its share.
  std::shared_ptr<GyroLogSource> source;
  bool gyroRunning = false;
  auto stopGyro = [&] {
    if (gyroRunning) estimator->disable();
    if (source) MotionManager::sharedInstance()->setSource(nullptr);
    Clock::stopVirtual();
  };
  if (log) {
    source = std::make_shared<GyroLogSource>(log);
    MotionManager::sharedInstance()->setSource(source);
    const double previewStart = std::max(log->startTime(), burst.times[0] - kPreviewSeconds);
    Clock::startVirtual(std::max(log->startTime(), previewStart + std::min(0.0, delay) - kReplayMargin));
    if (!(gyroRunning = estimator->enable())) {
      stopGyro();
      return fail("the gyro log '" + o.gyro + "' could not be replayed");
    }
    for (double t = previewStart; t < burst.times[0] - kPreviewInterval; t += kPreviewInterval) {
      source->advanceTo(t + delay + readout + kReplayMargin);
      OrvoFrameMotion motion;
      estimator->estimateFrameMotion(&motion, t, 1.0f);
    }
    source->advanceTo(burst.times[0] + delay + readout + kReplayMargin);
    if (!estimator->hasValidGyroData()) {
      stopGyro();
      return fail("the gyro log '" + o.gyro + "' has no reading before the first frame's time " +
                  std::to_string(burst.times[0]) + " s");
    }
    synthesis->frameAligner()->setUseGyro(true);
  }

  // With a rolling shutter every frame gets the first frame's bend first
  // (see ReadoutMatcher): the aligner turns a frame as a whole.
  double matchSeconds = 0.0;
  size_t matched = 0;
  if (log && readout > 0.0) {
    const double matchStarted = Clock::monotonic();
    const ReadoutMatcher matcher(log, readout, delay, focal);
    for (size_t i = 1; i < count; ++i) {
      if (auto frame = matcher.match(*burst.frames[i], burst.times[i], burst.times[0])) {
        burst.frames[i] = std::move(frame);
        ++matched;
      }
    }
    matchSeconds = Clock::monotonic() - matchStarted;
  }
  const double started = Clock::monotonic();
  GrayImage reference;
  FrameMotionEstimator coarse;
  double largestShift = 0.0;
  int unmeasured = 0;
  int unbentFrames = 0;
  synthesis->start();
  for (size_t i = 0; i < count; ++i) {
    if (source) {
      source->advanceTo(burst.times[i] + delay + readout + kReplayMargin);
    } else if (i == 0) {
      reference = lumaOf(*burst.frames[0]);
    } else {
      const PairMotion m = coarse.measure(reference, lumaOf(*burst.frames[i]));
      // The bend against the first frame, where there is one to undo.
      if (m.valid && std::isfinite(m.skewX) && std::isfinite(m.skewY) &&
          std::max(std::fabs(m.skewX), std::fabs(m.skewY)) >= kLeastBend) {
        if (auto unbent = ReadoutMatcher::matchShear(*burst.frames[i], m.skewX, m.skewY)) {
          burst.frames[i] = std::move(unbent);
          ++unbentFrames;
        }
      }
      if (m.valid) {
        largestShift = std::max(largestShift, std::hypot(m.dx, m.dy));
        estimator->resetRotation();
        estimator->adjustMotion(quaternionInvert(rotationForShift(m, focal)));
      } else {
        ++unmeasured;  // the aligner starts from the last frame's rotation
      }
    }
    synthesis->process(SampleBuffer::create(burst.frames[i], burst.times[i]), static_cast<int>(i), false, 1.0f);
  }
  std::shared_ptr<PixelBuffer> merged;
  synthesis->end([&](const std::shared_ptr<PixelBuffer>& result) { merged = result; });
  const double seconds = Clock::monotonic() - started;
  stopGyro();
  if (!merged || synthesis->frameCount() != static_cast<int>(count)) {
    return fail("the burst could not be merged (" + std::to_string(synthesis->frameCount()) + " of " +
                std::to_string(count) + " frames taken)");
  }

  auto image = Image::fromPixelBuffer(*merged);
  if (!image || !image->write(output.path())) return fail("cannot write '" + o.output + "'");
  if (!output.commit(&error)) return fail(error);
  std::string how;
  if (log) {
    how = "the gyro log and the image";
    if (readout > 0.0) {
      how += " (rolling shutter of " + std::to_string(matched) + " of " + std::to_string(count - 1) +
             " frames matched to the first in " + std::to_string(std::lround(matchSeconds * 1000.0)) + " ms)";
    }
  } else {
    how = "the image alone (coarse shifts up to " + std::to_string(std::lround(largestShift)) + " px" +
          (unmeasured ? ", " + std::to_string(unmeasured) + " frames too flat to measure" : "") +
          (unbentFrames ? ", rolling-shutter bend undone in " + std::to_string(unbentFrames) + " frames" : "") + ")";
  }
  std::printf("burst: %zu frames %dx%d merged in %.0f ms, aligned by %s -> %s\n", count, width, height,
              seconds * 1000.0, how.c_str(), o.output.c_str());
  return 0;
}

}  // namespace

void addBurstCommand(CLI::App& app) {
  auto options = std::make_shared<Options>();
  auto* cmd = app.add_subcommand("burst", "Merge a burst of frames (pictures or a stretch of a video) into one "
                                          "low-noise picture, each frame aligned to the first");
  cmd->add_option("inputs", options->inputs, "the burst's pictures in order (PNG or JPEG), or one video file")
      ->required();
  cmd->add_option("-o,--output", options->output, "picture to write (.png, else JPEG)")->required();
  cmd->add_option("--gyro", options->gyro, "gyro log (Gyroflow .gcsv or plain CSV t,gx,gy,gz) to align with");
  cmd->add_option("--frame-times", options->frameTimes,
                  "the pictures' times on the log's clock, one per line in seconds");
  cmd->add_option("--focal-px", options->focalPx, "focal length in pixels (default 0.8 x width)");
  cmd->add_option("--readout-ms", options->readoutMs, "rolling-shutter readout (default: the log's, else 0)");
  cmd->add_option("--gyro-delay-ms", options->gyroDelayMs, "delay from a frame's time to gyro time (default 0)");
  cmd->add_option("--gyro-orientation", options->gyroOrientation,
                  "log axes as in .gcsv (e.g. YxZ: lowercase negated); overrides the log's own");
  cmd->add_option("--frames", options->frames, "frames to take from a video (default 8)");
  cmd->add_option("--start", options->start, "time in the video of the first frame, seconds (default 0)");
  cmd->callback([options] { setExitCode(run(*options)); });
}

}  // namespace nudora::tool
