// nudora sync: finds how a separate gyro log lines up with a video (the
// log's axis orientation, the clock offset, the rolling-shutter readout and
// the focal length when not given) from the video's own motion, and prints
// them as the options of nudora process, or as JSON.
#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>
#include <memory>
#include <string>

#include "Commands.h"
#include "common/FileChecks.h"
#include "common/VideoFrameMotion.h"
#include "platform/GyroLog.h"
#include "stabilization/GyroVideoSync.h"

namespace nudora::tool {
namespace {

struct Options {
  std::string video;
  std::string gyro;
  std::string orientation;
  double focalPx = 0.0;
  double readoutMs = -1.0;
  double seconds = 20.0;
  double searchMs = 500.0;
  bool json = false;
};

void fail(const std::string& message) { std::fprintf(stderr, "nudora sync: %s\n", message.c_str()); }

std::string number(double value, int digits) {
  char text[64];
  std::snprintf(text, sizeof(text), "%.*f", digits, value);
  return text;
}

// Text as a JSON string's contents.
std::string jsonEscaped(const std::string& text) {
  std::string out;
  for (char c : text) {
    if (c == '"' || c == '\\') out += '\\';
    if (static_cast<unsigned char>(c) >= 0x20) out += c;
  }
  return out;
}

int run(const Options& o) {
  if (!(o.focalPx >= 0.0 && o.focalPx <= 1e6)) {
    fail("focal length " + number(o.focalPx, 1) + " px must lie in (0, 1000000]");
    return 1;
  }
  if (o.readoutMs > 100.0 || !std::isfinite(o.readoutMs)) {
    fail("readout " + number(o.readoutMs, 2) + " ms must lie between 0 and 100");
    return 1;
  }
  if (!(o.seconds >= 0.0) || !(o.searchMs > 0.0 && o.searchMs <= 5000.0)) {
    fail("seconds must be 0 or more and the offset search between 0 and 5000 ms");
    return 1;
  }
  for (const auto& [role, path] : {std::pair<std::string, std::string>{"video", o.video}, {"gyro log", o.gyro}}) {
    if (std::string problem = fileProblem(role, path); !problem.empty()) {
      fail(problem);
      return 1;
    }
  }
  GyroLog::Orientation orientation;
  if (!o.orientation.empty() && !GyroLog::Orientation::parse(o.orientation, &orientation)) {
    fail("gyro orientation '" + o.orientation +
         "' must be three letters naming x, y and z once each, a lowercase letter negated (e.g. XYZ, YxZ)");
    return 1;
  }
  std::string error;
  auto log = GyroLog::open(o.gyro);
  if (!log) return 1;  // the parser has named the file and line
  VideoFrameMotion motion;
  if (!measureVideoFrameMotion(o.video, o.seconds, &motion, &error)) {
    fail(error);
    return 1;
  }
  GyroVideoSync::Options options = motion.syncOptions;
  options.focalPx = o.focalPx;
  options.offsetMin = -o.searchMs / 1000.0;
  options.offsetMax = o.searchMs / 1000.0;
  if (o.readoutMs >= 0.0) options.readoutGiven = o.readoutMs / 1000.0;
  if (!o.orientation.empty()) options.orientationGiven = orientation;
  const auto result = GyroVideoSync::fit(motion.pairs, log->readings(), options);
  const bool ok = result.status == GyroVideoSync::Status::kOk;

  if (o.json) {
    std::printf("{\"status\": \"%s\", \"message\": \"%s\", \"gyro_orientation\": \"%s\", \"gyro_delay_ms\": %s, "
                "\"readout_ms\": %s, \"focal_px\": %s, \"quality\": %s, \"margin\": %s, \"runner_up\": \"%s\", "
                "\"pairs\": %d}\n",
                GyroVideoSync::statusName(result.status), jsonEscaped(result.message).c_str(), result.orientation.text().c_str(),
                number(result.offset * 1000.0, 2).c_str(), number(result.readout * 1000.0, 2).c_str(),
                number(result.focalPx, 1).c_str(), number(result.quality, 4).c_str(),
                number(result.margin, 3).c_str(), result.runnerUp.text().c_str(), result.pairsUsed);
  } else if (ok) {
    std::printf("sync: %d frame pairs of %dx%d; fit quality %s (1 is perfect), margin %s over %s\n",
                result.pairsUsed, motion.width, motion.height, number(result.quality, 4).c_str(),
                number(result.margin, 3).c_str(), result.runnerUp.text().c_str());
    std::printf("process with: --gyro-orientation %s --gyro-delay-ms %s --readout-ms %s --focal-px %s\n",
                result.orientation.text().c_str(), number(result.offset * 1000.0, 2).c_str(),
                number(result.readout * 1000.0, 2).c_str(), number(result.focalPx, 1).c_str());
  }
  // A failed fit has printed its reason on the console already.
  return ok ? 0 : 1;
}

}  // namespace

void addSyncCommand(CLI::App& app) {
  auto options = std::make_shared<Options>();
  auto* cmd = app.add_subcommand(
      "sync", "Find a gyro log's axis orientation, clock offset and readout from the video's own motion");
  cmd->add_option("video", options->video, "the video the log was recorded with")->required();
  cmd->add_option("--gyro", options->gyro, "gyro log (.gcsv or CSV t,gx,gy,gz)")->required();
  cmd->add_option("--gyro-orientation", options->orientation, "the log's axis orientation, when known (found when not given)");
  cmd->add_option("--focal-px", options->focalPx, "focal length in pixels at the video's width (found when not given)");
  cmd->add_option("--readout-ms", options->readoutMs, "rolling-shutter readout (found when not given)");
  cmd->add_option("--seconds", options->seconds, "measure this much of the video from its start (default 20; 0: all)");
  cmd->add_option("--search-ms", options->searchMs, "largest clock offset searched either way (default 500)");
  cmd->add_flag("--json", options->json, "print the result as one JSON object");
  cmd->callback([options] { setExitCode(run(*options)); });
}

}  // namespace nudora::tool
