// nudora process: a video file through the real-time pipeline, stabilised
// with its gyro log when asked, into a new video file with the audio kept.
//
// Three threads share the work: one decodes frames to BGRA, this one replays
// the gyro log up to each frame and hands the frame to the processor (which
// itself runs it on its processing queue), one encodes and writes. Frames
// and audio packets pass between them through small bounded queues and
// reused buffers, in order.
//
// Time: the video's presentation times are the uptime clock (uptime = pts),
// and a gyro reading at log time t belongs at uptime t + --gyro-offset-s.
// The replay drives the virtual clock: before a frame is processed, every
// reading up to the end of its readout (pts + delay + readout + a margin)
// has been delivered, as it would have on the device.
//
// Every argument and file is checked before any frame is processed; the
// output is written under a temporary name and renamed into place at the
// end, so a failed or interrupted run leaves no output behind.
#include <CLI/CLI.hpp>
#include <stb_image.h>

extern "C" {
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "Commands.h"
#include "common/BackgroundSource.h"
#include "common/BlueScreenOptions.h"
#include "common/FileChecks.h"
#include "common/EffectOptions.h"
#include "common/FilterOptions.h"
#include "common/VideoFrameMotion.h"
#include "common/BoundedQueue.h"
#include "common/TemporaryFile.h"
#include "filters/CubeLookupTable.h"
#include "filters/OrvoFilterDescriptor.h"
#include "multiframe/OrvoTimeDomainDenoising.h"
#include "pipeline/OrvoRealTimeProcessor.h"
#include "platform/Clock.h"
#include "platform/EglContext.h"
#include "platform/GyroLog.h"
#include "platform/GyroLogSource.h"
#include "platform/HostGyroSource.h"
#include "platform/Image.h"
#include "platform/MotionManager.h"
#include "platform/SampleBuffer.h"
#include "process/CameraFile.h"
#include "process/ProgressMeter.h"
#include "stabilization/OrvoCameraMotionEstimator.h"
#include "stabilization/OrvoVideoStabilizer.h"
#include "video/FfmpegText.h"
#include "video/VideoReader.h"
#include "video/VideoWriter.h"

namespace nudora::tool {
namespace {

namespace fs = std::filesystem;

constexpr int kMaxSide = 8192;
// Frames in flight between the threads: enough to keep all three busy.
constexpr size_t kQueueDepth = 3;
constexpr size_t kBuffers = kQueueDepth + 2;
// Readings are delivered this far past a frame's readout at least, so the
// estimator finds one beyond the end to interpolate with.
constexpr double kMinReplayMargin = 0.02;
// --auto-sync measures this much of the video from its start.
constexpr double kAutoSyncSeconds = 20.0;

struct Options {
  std::string input;
  std::string output;
  std::string gyro;
  bool stabilize = false;
  bool denoise = false;
  double cropping = 0.85;
  bool noDigitalAdjustment = false;
  double focalPx = 0.0;
  std::string camera;
  double readoutMs = 0.0;
  double gyroDelayMs = 0.0;
  double gyroOffsetS = 0.0;
  std::string gyroOrientation;
  bool autoSync = false;
  int64_t style = 0;
  int64_t lens = 0;
  EffectOptions effects;
  BlueScreenOptions blueScreen;
  int64_t beauty = 0;
  double zoom = 1.0;
  std::string watermark;
  std::string lut;
  std::string size;
  int crf = 18;
  std::string preset = "veryfast";
  bool lossless = false;
  bool quiet = false;
  // Which of the options above were given.
  bool hasFocal = false, hasReadout = false, hasDelay = false;
};

void fail(const std::string& message) { std::fprintf(stderr, "nudora process: %s\n", message.c_str()); }
void warn(const std::string& message) { std::fprintf(stderr, "nudora process: warning: %s\n", message.c_str()); }

std::string number(double v, int digits = 3) {
  char text[64];
  std::snprintf(text, sizeof(text), "%.*f", digits, v);
  return text;
}

// A value as the user would have typed it.
std::string plain(double v) {
  char text[64];
  std::snprintf(text, sizeof(text), "%g", v);
  return text;
}

std::atomic<bool> gInterrupted{false};
extern "C" void onInterrupt(int) { gInterrupted = true; }

// Ctrl-C and kill end the run through the normal failure path, so the
// temporary output is removed; the previous handlers return afterwards.
class InterruptGuard {
 public:
  InterruptGuard() {
    gInterrupted = false;
    previousInt_ = std::signal(SIGINT, onInterrupt);
    previousTerm_ = std::signal(SIGTERM, onInterrupt);
  }
  ~InterruptGuard() {
    std::signal(SIGINT, previousInt_);
    std::signal(SIGTERM, previousTerm_);
  }
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;

 private:
  void (*previousInt_)(int);
  void (*previousTerm_)(int);
};

bool parseSize(const std::string& text, int* w, int* h) {
  char x = 0, extra = 0;
  std::istringstream in(text);
  return static_cast<bool>(in >> *w >> x >> *h) && (x == 'x' || x == 'X') && !(in >> extra);
}

bool checkOptions(const Options& o) {
  std::string problem = filterOptionProblem(o.style, o.lens, o.beauty, o.zoom);
  if (problem.empty()) problem = effectOptionProblem(o.effects);
  if (problem.empty()) problem = blueScreenOptionProblem(o.blueScreen);
  if (problem.empty() && o.blueScreen.on() && o.lens != 0) {
    problem = "--lens cannot be combined with --blue-screen (the blue screen takes the lens's place)";
  }
  if (!problem.empty()) {
    fail(problem);
    return false;
  }
  if (!(o.cropping > 0.0 && o.cropping <= 1.0)) {
    fail("cropping " + plain(o.cropping) + " must lie in (0, 1] (the part of the field of view kept)");
    return false;
  }
  if (o.hasFocal && !(o.focalPx > 0.0 && o.focalPx <= 1e6)) {
    fail("focal length " + plain(o.focalPx) + " px must lie in (0, 1000000]");
    return false;
  }
  if (o.hasFocal && !o.camera.empty()) {
    fail("give either --focal-px or --camera, not both");
    return false;
  }
  if (o.hasReadout && !(o.readoutMs >= 0.0 && o.readoutMs <= 1000.0)) {
    fail("readout " + plain(o.readoutMs) + " ms must lie between 0 and 1000");
    return false;
  }
  if (o.hasDelay && !(std::fabs(o.gyroDelayMs) <= 10000.0)) {
    fail("gyro delay " + plain(o.gyroDelayMs) + " ms must lie between -10000 and 10000");
    return false;
  }
  if (!std::isfinite(o.gyroOffsetS)) {
    fail("gyro offset must be a finite number of seconds");
    return false;
  }
  GyroLog::Orientation orientation;
  if (!o.gyroOrientation.empty() && !GyroLog::Orientation::parse(o.gyroOrientation, &orientation)) {
    fail("gyro orientation '" + o.gyroOrientation +
         "' must be three letters naming x, y and z once each, a lowercase letter negated (e.g. XYZ, YxZ)");
    return false;
  }
  if (o.stabilize && o.gyro.empty()) {
    fail("--stabilize needs a gyro log (--gyro LOG)");
    return false;
  }
  if (o.autoSync && o.gyro.empty()) {
    fail("--auto-sync needs a gyro log (--gyro LOG)");
    return false;
  }
  if (o.crf < 0 || o.crf > 51) {
    fail("crf " + std::to_string(o.crf) + " must lie in 0..51");
    return false;
  }
  static const char* const kPresets[] = {"ultrafast", "superfast", "veryfast", "faster",   "fast",
                                         "medium",    "slow",      "slower",   "veryslow", "placebo"};
  if (std::find_if(std::begin(kPresets), std::end(kPresets), [&](const char* p) { return o.preset == p; }) ==
      std::end(kPresets)) {
    fail("unknown preset '" + o.preset + "' (" +
         "ultrafast, superfast, veryfast, faster, fast, medium, slow, slower, veryslow, placebo)");
    return false;
  }
  int w = 0, h = 0;
  if (!o.size.empty() && (!parseSize(o.size, &w, &h) || w < 16 || h < 16 || w > kMaxSide || h > kMaxSide)) {
    fail("size '" + o.size + "' must be WxH, from 16x16 to " + std::to_string(kMaxSide) + "x" +
         std::to_string(kMaxSide));
    return false;
  }
  return true;
}

// A plain, non-empty file, or one line saying what it is not.
bool checkFile(const std::string& role, const std::string& path) {
  if (std::string problem = fileProblem(role, path); !problem.empty()) {
    fail(problem);
    return false;
  }
  return true;
}

// A readable, well-formed .cube grade, or one line naming the problem (for a
// malformed table, the file and line).
bool checkLookupTable(const std::string& path) {
  std::string problem = fileProblem("lookup table", path);
  if (problem.empty() && CubeLookupTable::load(path, &problem)) return true;
  fail(problem);
  return false;
}

bool checkWatermark(const std::string& path) {
  if (std::string problem = pictureProblem("watermark", path, kMaxSide); !problem.empty()) {
    fail(problem);
    return false;
  }
  return true;
}

// The gyro log's readings on the uptime clock, for coverage questions.
class LogCoverage {
 public:
  LogCoverage(const GyroLog& log, double offset) {
    times_.reserve(log.size());
    for (const auto& r : log.readings()) times_.push_back(r.t + offset);
    std::vector<double> gaps;
    for (size_t i = 1; i < times_.size() && i <= 2000; ++i) gaps.push_back(times_[i] - times_[i - 1]);
    if (!gaps.empty()) {
      std::nth_element(gaps.begin(), gaps.begin() + static_cast<ptrdiff_t>(gaps.size() / 2), gaps.end());
      interval_ = gaps[gaps.size() / 2];
    }
  }
  double start() const { return times_.empty() ? 0.0 : times_.front(); }
  double end() const { return times_.empty() ? 0.0 : times_.back(); }
  double interval() const { return interval_; }

  // Whether readings reach from before `from` to after `to` with no gap
  // longer than a few reading intervals.
  bool covers(double from, double to) const {
    if (times_.empty() || times_.front() > from || times_.back() < to) return false;
    const double longest = std::max(5.0 * interval_, 0.05);
    auto it = std::upper_bound(times_.begin(), times_.end(), from);
    if (it != times_.begin()) --it;
    for (; it + 1 != times_.end() && *it < to; ++it) {
      if (it[1] - it[0] > longest) return false;
    }
    return true;
  }

 private:
  std::vector<double> times_;
  double interval_ = 0.0;
};

// Failure shared by the three threads: the first one wins.
class RunState {
 public:
  void fail(const std::string& message) {
    std::lock_guard lock(mutex_);
    if (error_.empty()) error_ = message;
    failed_ = true;
  }
  bool failed() const { return failed_.load(); }
  std::string error() const {
    std::lock_guard lock(mutex_);
    return error_;
  }

 private:
  mutable std::mutex mutex_;
  std::string error_;
  std::atomic<bool> failed_{false};
};

struct Decoded {
  std::shared_ptr<PixelBuffer> frame;  // null: the end of the stream
  VideoReader::FrameTime time;
  std::deque<PacketPtr> audio;  // audio met before this frame
};

struct Rendered {
  std::shared_ptr<PixelBuffer> frame;  // null: only audio
  int64_t ticks = 0;
  std::deque<PacketPtr> audio;
};

int run(const Options& o) {
  quietFfmpegLog();
  if (!checkOptions(o)) return 1;
  if (!checkFile("input", o.input)) return 1;
  if (!o.lut.empty() && !checkLookupTable(o.lut)) return 1;

  // The output: a file name in a folder that takes it, and not the input.
  std::error_code ec;
  if (o.output.empty() || fs::path(o.output).filename().empty() || fs::is_directory(o.output, ec)) {
    fail("cannot write output '" + o.output + "': not a file name");
    return 1;
  }
  if (fs::exists(o.output, ec) && fs::equivalent(o.input, o.output, ec)) {
    fail("output '" + o.output + "' is the input; write to another file");
    return 1;
  }
  if (!av_guess_format(nullptr, o.output.c_str(), nullptr)) {
    fail("cannot write output '" + o.output + "': no video container is known for its extension " +
         "(use .mp4, .mov or .mkv)");
    return 1;
  }
  TemporaryFile temporary(o.output, "process");
  std::string error;
  if (!temporary.probe(&error)) {
    fail(error);
    return 1;
  }

  auto reader = VideoReader::open(o.input, &error);
  if (!reader) {
    fail(error);
    return 1;
  }
  const int inW = reader->width(), inH = reader->height();
  int outW = inW, outH = inH;
  if (!o.size.empty()) parseSize(o.size, &outW, &outH);

  // The gyro log, with the axis override checked above.
  std::shared_ptr<GyroLog> log;
  if (!o.gyro.empty()) {
    if (!checkFile("gyro log", o.gyro)) return 1;
    log = std::make_shared<GyroLog>();
    if (!log->load(o.gyro)) return 1;  // the parser has printed "<file>:<line>: <what>"
    if (!o.gyroOrientation.empty()) log->setOrientation(o.gyroOrientation);
  }

  // --auto-sync: the log's axes, delay, readout and focal length found from
  // the video's own motion over its first seconds; options given explicitly
  // win over what it finds.
  std::optional<GyroVideoSync::Result> synced;
  if (o.autoSync) {
    VideoFrameMotion motion;
    if (!measureVideoFrameMotion(o.input, kAutoSyncSeconds, &motion, &error)) {
      fail(error);
      return 1;
    }
    std::vector<GyroLog::Reading> readings = log->readings();
    for (auto& r : readings) r.t += o.gyroOffsetS;  // onto the video's clock, as the source will put them
    GyroVideoSync::Options options = motion.syncOptions;
    if (o.hasFocal) options.focalPx = o.focalPx;
    if (o.hasReadout) options.readoutGiven = o.readoutMs / 1000.0;
    if (!o.gyroOrientation.empty()) options.orientationGiven = log->orientation();
    synced = GyroVideoSync::fit(motion.pairs, readings, options);
    if (synced->status != GyroVideoSync::Status::kOk) return 1;  // the fit has said why
    if (o.gyroOrientation.empty()) log->setOrientation(synced->orientation.text());
    if (!o.quiet) {
      std::printf("auto-sync: --gyro-orientation %s --gyro-delay-ms %s --readout-ms %s --focal-px %s (fit quality %s)\n",
                  o.gyroOrientation.empty() ? synced->orientation.text().c_str() : o.gyroOrientation.c_str(),
                  plain(o.hasDelay ? o.gyroDelayMs : synced->offset * 1000.0).c_str(),
                  plain(o.hasReadout ? o.readoutMs : synced->readout * 1000.0).c_str(),
                  plain(o.hasFocal ? o.focalPx : synced->focalPx).c_str(), plain(synced->quality).c_str());
    }
  }

  // Camera parameters: --focal-px or --camera, else the built-in table; the
  // readout from the options, the camera file, the log's header or the
  // table, in that order; the delay likewise without the log.
  auto estimator = OrvoCameraMotionEstimator::sharedInstance();
  double readout = estimator->frameReadoutTime();
  double delay = estimator->gyroToFrameDelay();
  CameraFile cameraFile;
  if (!o.camera.empty()) {
    if (!checkFile("camera file", o.camera)) return 1;
    if (!CameraFile::load(o.camera, &cameraFile, &error)) {
      fail(error);
      return 1;
    }
  }
  if (log) {
    auto it = log->header().find("frame_readout_time");  // milliseconds, as Gyroflow writes it
    double ms = 0.0;
    if (it != log->header().end()) {
      std::istringstream in(it->second);
      if (in >> ms && ms >= 0.0 && ms <= 1000.0) readout = ms / 1000.0;
    }
  }
  readout = cameraFile.frameReadoutTime.value_or(readout);
  delay = cameraFile.gyroToFrameDelay.value_or(delay);
  if (synced) {
    readout = synced->readout;
    delay = synced->offset;
  }
  if (o.hasReadout) readout = o.readoutMs / 1000.0;
  if (o.hasDelay) delay = o.gyroDelayMs / 1000.0;
  const double focalPx = o.hasFocal ? o.focalPx : (synced && o.camera.empty() ? synced->focalPx : 0.0);
  std::optional<OrvoCameraParameters> camera;
  if (focalPx > 0.0) {
    camera = OrvoCameraParameters::fromFocalLengthInPixels(static_cast<float>(focalPx), static_cast<float>(inW),
                                                           static_cast<float>(inH), static_cast<float>(readout), delay);
  } else if (!o.camera.empty()) {
    camera = cameraFile.parameters(inW, inH, readout, delay);
  } else if (std::fabs(readout - estimator->frameReadoutTime()) > 1e-9 ||
             std::fabs(delay - estimator->gyroToFrameDelay()) > 1e-12) {
    camera = OrvoCameraParameters{estimator->focalLength(),
                                  estimator->sensorWidth(),
                                  estimator->sensorHeight(),
                                  estimator->sensorCropWidth(),
                                  estimator->sensorCropHeight(),
                                  static_cast<float>(readout),
                                  delay};
  }
  if (camera) {
    if (const std::string problem = camera->problem(); !problem.empty()) {
      fail("unusable camera parameters: " + problem);
      return 1;
    }
  }

  // The log must meet the video somewhere; partial cover is allowed (the
  // summary counts the frames without gyro data).
  std::optional<LogCoverage> coverage;
  if (log) {
    coverage.emplace(*log, o.gyroOffsetS);
    const double videoStart = reader->startSeconds();
    const double videoEnd = videoStart + reader->durationSeconds();
    if (reader->durationSeconds() > 0.0 &&
        (coverage->end() < videoStart + delay || coverage->start() > videoEnd + delay + readout)) {
      fail("gyro log '" + o.gyro + "' does not overlap the video: it covers " + number(coverage->start()) + " to " +
           number(coverage->end()) + " s, the frames need " + number(videoStart + delay) + " to " +
           number(videoEnd + delay + readout) + " s (shift the log with --gyro-offset-s)");
      return 1;
    }
  }

  // The blue-screen background and key colour; auto reads the key from the
  // first frame's border.
  std::unique_ptr<BackgroundSource> background;
  OrvoColor keyColor;
  if (o.blueScreen.on()) {
    if (o.blueScreen.type == 0 && !(background = BackgroundSource::open(o.blueScreen.background, kMaxSide, &error))) {
      fail(error);
      return 1;
    }
    if (o.blueScreen.keyColor == "auto") {
      auto first = VideoReader::open(o.input, &error);
      auto frame = PixelBuffer::create(inW, inH);
      VideoReader::FrameTime time;
      if (!first || !frame || !first->readFrame(*frame, &time)) {
        fail(first && first->failed() ? first->error() : "'" + o.input + "' has no video frames");
        return 1;
      }
      keyColor = borderKeyColor(*frame);
    } else {
      parseKeyColor(o.blueScreen.keyColor, &keyColor);
    }
    if (o.stabilize || o.denoise) warn("stabilisation and denoising are not applied on the blue-screen path");
  }

  std::shared_ptr<Image> watermark;
  if (!o.watermark.empty()) {
    if (!checkWatermark(o.watermark)) return 1;
    if (!(watermark = Image::load(o.watermark))) return 1;  // Image::load said why
  }

  VideoWriter::Settings settings;
  settings.width = outW;
  settings.height = outH;
  settings.timeBase = reader->timeBase();
  settings.frameRate = reader->frameRate();
  settings.crf = o.crf;
  settings.preset = o.preset;
  settings.lossless = o.lossless;
  settings.formatName = o.output;
  settings.displayMatrix = reader->displayMatrix();
  if (reader->hasAudio()) {
    settings.audio = reader->audioParameters();
    settings.audioTimeBase = reader->audioTimeBase();
  }
  auto writer = VideoWriter::open(temporary.path(), settings, &error);
  if (!writer) {
    // The writer names the file it was given: the temporary one.
    const std::string temp = "'" + temporary.path() + "'";
    if (auto at = error.find(temp); at != std::string::npos) error.replace(at, temp.size(), "'" + o.output + "'");
    fail(error);
    return 1;
  }

  // The pipeline, on OpenGL ES 3 where the machine has it.
  auto processor = OrvoRealTimeProcessor::sharedInstance();
  if (watermark) processor->setWatermarkImage(watermark);  // before set-up: the stage takes it then
  if (!processor->setupWithAvailableAPI()) {
    fail("no OpenGL ES context could be made (API 3 or 2)");
    return 1;
  }
  processor->setStyleFilter(o.style);
  processor->setLensFilter(o.lens);
  processor->setBeauty(o.beauty);
  processor->setDigitalZoom(static_cast<float>(o.zoom));
  applyEffectOptions(*processor, o.effects, o.lens);
  if (o.blueScreen.on()) {
    if (!processor->isGLES3()) {
      fail("the blue screen needs OpenGL ES 3 and this context is ES " + std::to_string(processor->context()->api()));
      return 1;
    }
    applyBlueScreenOptions(*processor, o.blueScreen, keyColor);
  }
  // Checked above; this fails only if the file changed since, and the
  // processor has then named the file and line.
  if (!o.lut.empty() && !processor->loadCubeLookupTable(o.lut)) return 1;
  processor->setStabilization(o.stabilize);
  const auto& stabilizer = processor->videoStabilizer();
  if (stabilizer) {
    stabilizer->setCropping(static_cast<float>(o.cropping));
    stabilizer->setDigital_adjustment(!o.noDigitalAdjustment);
  } else if (o.stabilize) {
    warn("stabilisation needs OpenGL ES 3 and this context is ES " + std::to_string(processor->context()->api()) +
         "; the frames pass unstabilised");
  }
  // On ES 2 there is no denoiser, and the pipeline would end every frame
  // at the denoise step without drawing: the flag stays off there.
  const auto& denoiser = processor->tdDenoising();
  processor->setDenoise(o.denoise && denoiser);
  if (denoiser) {
    // A file has no frame deadline: every frame gets the full-quality blend.
    denoiser->setAutoDegrade(false);
  } else if (o.denoise) {
    warn("denoising needs OpenGL ES 3 and this context is ES " + std::to_string(processor->context()->api()) +
         "; the frames pass undenoised");
  }
  if (!estimator->setCameraParameters(camera)) return 1;  // refused with a console line

  std::shared_ptr<GyroLogSource> source;
  std::shared_ptr<HostGyroSource> silentGyro;
  if (log) {
    source = std::make_shared<GyroLogSource>(log, o.gyroOffsetS);
    MotionManager::sharedInstance()->setSource(source);
  } else if (o.denoise && denoiser) {
    // The denoiser needs a running gyro; one that never delivers gives every
    // frame a zero shift, and keeps a sensor of this machine out of a file's
    // processing.
    silentGyro = std::make_shared<HostGyroSource>();
    MotionManager::sharedInstance()->setSource(silentGyro);
    warn("no gyro log: denoising blends the frames without motion compensation (zero shifts), which suits a "
         "still camera; give --gyro LOG for a moving one");
  }
  const double replayMargin = coverage ? std::max(kMinReplayMargin, 3.0 * coverage->interval()) : 0.0;
  bool gyroRunning = false;

  // Buffers go round: pool -> reader -> processor -> writer -> pool.
  BoundedQueue<std::shared_ptr<PixelBuffer>> inputPool(kBuffers), outputPool(kBuffers);
  for (size_t i = 0; i < kBuffers; ++i) {
    auto in = PixelBuffer::create(inW, inH);
    auto out = PixelBuffer::create(outW, outH);
    if (!in || !out) {
      fail("out of memory for " + std::to_string(inW) + "x" + std::to_string(inH) + " frames");
      return 1;
    }
    inputPool.push(std::move(in));
    outputPool.push(std::move(out));
  }
  BoundedQueue<Decoded> decoded(kQueueDepth);
  BoundedQueue<Rendered> rendered(kQueueDepth);
  RunState state;
  auto stopAll = [&] {
    inputPool.close();
    outputPool.close();
    decoded.close();
    rendered.close();
  };
  double decodeSeconds = 0.0, processSeconds = 0.0, encodeSeconds = 0.0;

  InterruptGuard interruptGuard;
  ProgressMeter progress(reader->frameCountEstimate(), !o.quiet);
  const double wallStart = Clock::monotonic();

  std::thread readThread([&] {
    for (;;) {
      auto buffer = inputPool.pop();
      if (!buffer) break;
      Decoded item;
      const double t0 = Clock::monotonic();
      const bool got = reader->readFrame(**buffer, &item.time);
      decodeSeconds += Clock::monotonic() - t0;
      item.audio = reader->takeAudioPackets();
      if (got) item.frame = std::move(*buffer);
      if (!got && reader->failed()) {
        state.fail(reader->error());
        stopAll();
        break;
      }
      if (!decoded.push(std::move(item)) || !got) break;
    }
    decoded.close();
  });
  std::thread writeThread([&] {
    while (auto item = rendered.pop()) {
      const double t0 = Clock::monotonic();
      std::string why;
      bool ok = true;
      for (auto& packet : item->audio) ok = ok && writer->writeAudio(packet.get(), &why);
      if (ok && item->frame) ok = writer->writeFrame(*item->frame, item->ticks, &why);
      encodeSeconds += Clock::monotonic() - t0;
      if (!ok) {
        state.fail(why);
        stopAll();
        break;
      }
      if (item->frame) outputPool.push(std::move(item->frame));
    }
  });

  int64_t frames = 0, withoutGyro = 0;
  while (auto item = decoded.pop()) {
    if (gInterrupted) {
      state.fail("interrupted; nothing written");
      stopAll();
      break;
    }
    if (!item->frame) {  // the end: only the last audio
      if (!item->audio.empty()) rendered.push(Rendered{nullptr, 0, std::move(item->audio)});
      break;
    }
    const double pts = item->time.seconds;
    if (source) {
      if (!gyroRunning) {
        // The replay starts just before the first frame's readout, as a
        // live gyro would be started with the camera: older readings are
        // skipped, and the estimator counts its first interval from here.
        Clock::startVirtual(std::max(coverage->start(), pts + std::min(0.0, delay) - replayMargin));
        gyroRunning = estimator->enable();
        if (!gyroRunning) {
          state.fail("the gyro log could not be replayed");
          stopAll();
          break;
        }
      }
      source->advanceTo(pts + delay + readout + replayMargin);
    }
    auto out = outputPool.pop();
    if (!out) break;
    const double t0 = Clock::monotonic();
    std::shared_ptr<PixelBuffer> backgroundFrame;
    if (background && !(backgroundFrame = background->next(&error))) {
      state.fail(error);
      stopAll();
      break;
    }
    processor->effectPixelBuffer(SampleBuffer::create(item->frame, pts), *out, backgroundFrame, false, false,
                                 OrvoBaseProcessor::kOrientationUpright, 0.0, 0.0);
    processSeconds += Clock::monotonic() - t0;
    if (!source || !estimator->hasValidGyroData() || !coverage->covers(pts + delay, pts + delay + readout)) {
      ++withoutGyro;
    }
    inputPool.push(std::move(item->frame));
    if (!rendered.push(Rendered{std::move(*out), item->time.ticks, std::move(item->audio)})) break;
    ++frames;
    progress.update(frames);
  }
  rendered.close();
  writeThread.join();
  inputPool.close();
  decoded.close();
  readThread.join();
  progress.finish();
  if (gyroRunning) estimator->disable();
  if (source || silentGyro) MotionManager::sharedInstance()->setSource(nullptr);
  Clock::stopVirtual();

  if (!state.failed() && frames == 0) state.fail("'" + o.input + "' has no video frames");
  // Caught before the run where the container tells the video's length;
  // this is for the files that do not.
  if (!state.failed() && log && withoutGyro == frames) {
    state.fail("no frame of the video has gyro data from '" + o.gyro + "' (it covers " + number(coverage->start()) +
               " to " + number(coverage->end()) + " s; shift it with --gyro-offset-s)");
  }
  if (!state.failed() && !writer->finish(&error)) state.fail(error);
  if (!state.failed() && !temporary.commit(&error)) state.fail(error);
  if (state.failed()) {
    std::string message = state.error();
    const std::string temp = "'" + temporary.path() + "'";
    if (auto at = message.find(temp); at != std::string::npos) message.replace(at, temp.size(), "'" + o.output + "'");
    fail(message);
    return gInterrupted ? 130 : 1;
  }

  const double wall = Clock::monotonic() - wallStart;
  if (!o.quiet) {
    auto perFrame = [&](double seconds) { return number(seconds * 1000.0 / static_cast<double>(frames), 1); };
    std::printf(
        "process: %lld frames %dx%d -> %dx%d in %s s, %s fps (per frame: decode %s ms, pipeline %s ms, "
        "encode %s ms); frames without gyro data: %lld%s; stabilisation %s, denoising %s, OpenGL ES %d; %s -> %s\n",
        static_cast<long long>(frames), inW, inH, outW, outH, number(wall, 2).c_str(),
        number(static_cast<double>(frames) / wall, 1).c_str(), perFrame(decodeSeconds).c_str(),
        perFrame(processSeconds).c_str(), perFrame(encodeSeconds).c_str(), static_cast<long long>(withoutGyro),
        log ? "" : " (no gyro log)", o.stabilize && stabilizer ? "on" : "off", processor->denoise() ? "on" : "off",
        processor->context()->api(),
        writer->codecName(), o.output.c_str());
  }
  return 0;
}

}  // namespace

void addProcessCommand(CLI::App& app) {
  auto options = std::make_shared<Options>();
  auto* cmd = app.add_subcommand(
      "process", "Process a video file through the real-time pipeline (gyro stabilisation, filters), keeping its audio");
  cmd->add_option("input", options->input, "video file to process")->required();
  cmd->add_option("-o,--output", options->output, "video file to write (.mp4, .mov or .mkv)")->required();
  cmd->add_option("--gyro", options->gyro, "gyro log (Gyroflow .gcsv or plain CSV t,gx,gy,gz)");
  cmd->add_flag("--stabilize", options->stabilize, "stabilise with the gyro log");
  cmd->add_flag("--denoise", options->denoise,
                "time-domain denoising: each frame blended with up to seven earlier ones, shifted by the gyro's "
                "motion (zero shifts without --gyro)");
  cmd->add_option("--cropping", options->cropping,
                  "part of the field of view kept when stabilising, in (0, 1] (default 0.85)");
  cmd->add_flag("--no-digital-adjustment", options->noDigitalAdjustment,
                "use the gyro alone, without the image-based refinement");
  auto* focal = cmd->add_option("--focal-px", options->focalPx, "focal length in pixels at the video's width");
  cmd->add_option("--camera", options->camera, "camera parameters as JSON (the fields of OrvoCameraParameters)");
  auto* readout = cmd->add_option("--readout-ms", options->readoutMs, "rolling-shutter readout, first to last row");
  auto* delay = cmd->add_option("--gyro-delay-ms", options->gyroDelayMs, "delay from a frame's time to gyro time");
  cmd->add_option("--gyro-offset-s", options->gyroOffsetS, "seconds added to the log's times to reach video time");
  cmd->add_option("--gyro-orientation", options->gyroOrientation,
                  "log axes as in .gcsv (e.g. YxZ: lowercase negated); overrides the log's own");
  cmd->add_flag("--auto-sync", options->autoSync,
                "find the log's axes, delay, readout and focal length from the video first (as nudora sync); "
                "options given explicitly win");
  cmd->add_option("--style", options->style, "style look by number or name (0 = none; 'nudora styles' lists them)")
      ->transform(CLI::Validator(styleNameToNumber, "NUMBER|NAME"));
  cmd->add_option("--lens", options->lens, "lens filter by number or name (0 = none; 'nudora lenses' lists them)")
      ->transform(CLI::Validator(lensNameToNumber, "NUMBER|NAME"));
  addEffectOptions(*cmd, options->effects);
  addBlueScreenOptions(*cmd, options->blueScreen);
  cmd->add_option("--beauty", options->beauty, "beauty level, 0 to 4");
  cmd->add_option("--zoom", options->zoom, "digital zoom factor (1 = none)");
  cmd->add_option("--watermark", options->watermark, "PNG to draw as a watermark");
  cmd->add_option("--lut", options->lut,
                  ".cube 3D lookup table to grade with, in place of the style's own table (alone when no style)");
  cmd->add_option("--size", options->size, "output size WxH (default: the input's)");
  cmd->add_option("--crf", options->crf, "H.264 quality, 0 (best) to 51 (default 18)");
  cmd->add_option("--preset", options->preset, "libx264 speed preset (default veryfast)");
  cmd->add_flag("--lossless", options->lossless, "write lossless FFV1 (needs .mkv) instead of H.264");
  cmd->add_flag("--quiet", options->quiet, "no progress bar and no summary");
  cmd->callback([options, focal, readout, delay] {
    options->hasFocal = focal->count() > 0;
    options->hasReadout = readout->count() > 0;
    options->hasDelay = delay->count() > 0;
    setExitCode(run(*options));
  });
}

}  // namespace nudora::tool
