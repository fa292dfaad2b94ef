#pragma once
// Finds how a separate gyro log lines up with a video: the log's axis
// orientation, the clock offset between log and video, the sensor's
// rolling-shutter readout time and, when unknown, the focal length in pixels.
//
// The host measures the image motion between consecutive frames itself (any
// tracker will do) and hands it in with the log's readings; fit() compares it
// with the motion the gyro predicts through imageMotion() for every candidate
// and answers the best one with a quality figure.
//
// Clocks: video time t corresponds to log time t + offset. A frame whose
// first row is read at video time t exposes row y at t + readout * y / height.
//
// Thread rules: everything is static and pure; callable from any thread at
// once. Nothing is kept between calls.

#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "platform/GyroLog.h"

namespace nudora {

class GyroVideoSync {
 public:
  // The image motion measured between two frames of the video.
  struct FramePair {
    // Video-clock seconds at which the first row of each frame was read.
    double t0 = 0.0, t1 = 0.0;
    // Content motion from the earlier to the later frame at the centre row,
    // pixels, x to the right, y down.
    double dx = 0.0, dy = 0.0;
    // Rotation of the content from earlier to later frame, radians,
    // clockwise on screen.
    double roll = 0.0;
    // Rolling-shutter skew: how far the bottom row is displaced against the
    // top row, later frame minus earlier frame, pixels. NaN when not measured.
    double skewX = std::numeric_limits<double>::quiet_NaN();
    double skewY = std::numeric_limits<double>::quiet_NaN();
    // False for a pair the tracker could not measure; it is skipped.
    bool valid = true;
  };

  struct Options {
    // Size of the video frames (places the centre row inside the readout).
    int frameWidth = 1920;
    int frameHeight = 1080;
    // The centred part of the frame, as fractions of its width and height,
    // over which the tracker averaged dx and dy and fitted the skews' lines
    // through its rows. A wide lens moves the content off-centre further
    // than at the centre, so a wider area reads the motion long; the fit
    // allows for it. 0.8 matches VideoMotionMeasurer; a tracker of single
    // points near the centre gives 0.
    double trackedWidth = 0.8;
    double trackedHeight = 0.8;
    // Focal length in pixels; 0 estimates it from the data.
    double focalPx = 0.0;
    // Searched clock offsets, seconds.
    double offsetMin = -0.5, offsetMax = 0.5;
    // Searched readout times, seconds; readoutGiven >= 0 fixes it instead.
    double readoutMin = 0.0, readoutMax = 0.050;
    double readoutGiven = -1.0;
    // Fixes the log's orientation instead of searching all 48; the margin
    // then says how much better it fits than the best other one, and a
    // small margin is no failure.
    std::optional<GyroLog::Orientation> orientationGiven;
    // Fewer valid pairs than this cannot decide.
    int minPairs = 20;
    // Below either RMS the clip holds too little motion: gyro rate over the
    // video's span (rad/s), image motion per pair (pixels).
    double minGyroRms = 0.02;
    double minImageRms = 0.3;
    // A best fit below this quality most likely pairs the log with another clip.
    double minQuality = 0.5;
    // The best orientation must beat the runner-up's quality by this much.
    double minMargin = 0.05;
  };

  enum class Status {
    kOk,
    kBadInput,         // no readings, a bad option or a malformed pair
    kTooFewPairs,      // fewer than minPairs valid pairs
    kTooLittleMotion,  // a still scene, or a log with no rotation
    kLogNotCovering,   // no searched offset puts the whole video inside the log
    kPoorFit,          // the best candidate explains too little of the motion
    kAmbiguous,        // two orientations fit about equally (motion about one axis only)
  };

  struct Result {
    Status status = Status::kBadInput;
    // Empty on success; else one line saying what went wrong.
    std::string message;
    // Device axis i = sign[i] * log axis source[i], as GyroLog::Orientation.
    GyroLog::Orientation orientation;
    // The best orientation of another axis assignment, for diagnostics.
    GyroLog::Orientation runnerUp;
    // Video time t corresponds to log time t + offset.
    double offset = 0.0;
    double readout = 0.0;
    double focalPx = 0.0;
    // 1 - residual energy / signal energy of dx, dy, roll in angle units
    // (1 is a perfect fit, 0 no better than predicting no motion).
    double quality = 0.0;
    // quality minus the runner-up orientation's quality.
    double margin = 0.0;
    int pairsUsed = 0;
  };

  // Image motion predicted for a small camera rotation.
  struct ImageMotion {
    double dx = 0.0, dy = 0.0, roll = 0.0;
  };

  // The camera model at the centre of the picture: the content motion caused
  // by rotating the camera by the small angles angle[0..2] (radians, device
  // axes: x towards the top of the picture, y towards its left, z backwards
  // out of the lens). dx and dy are proportional to focalPx, roll does not
  // depend on it; fit() relies on that and on the model being linear in the
  // angles, and scales dx and dy for the tracked area's perspective.
  static ImageMotion imageMotion(const double angle[3], double focalPx);

  // Fits orientation, offset, readout and (unless given) focal length. On any
  // failure the status says why and a console line repeats the message; the
  // numbers then hold the best candidate found so far, if any.
  static Result fit(const std::vector<FramePair>& pairs, const std::vector<GyroLog::Reading>& readings,
                    const Options& options);
  static Result fit(const std::vector<FramePair>& pairs, const std::vector<GyroLog::Reading>& readings) {
    return fit(pairs, readings, Options());
  }

  static const char* statusName(Status status);
};

}  // namespace nudora
