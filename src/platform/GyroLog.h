#pragma once
// A recorded gyro log, loaded whole into memory. Two text formats:
//
// 1. Gyroflow's .gcsv: the line "GYROFLOW IMU LOG" (or "CAMERA IMU LOG"),
//    then "key,value" header lines, then the column line "t,gx,gy,gz"
//    (the first column may be called "time"), optionally followed by
//    ",ax,ay,az" and then ",mx,my,mz", then numeric rows. The keys version,
//    id, orientation, tscale (seconds per time unit) and gscale (rad/s per
//    gyro unit) are required; other keys (ascale, note, fwversion,
//    timestamp, vendor, videofilename, lensprofile, lens_info,
//    frame_readout_time, frame_readout_direction, ...) are kept as text.
//    Accelerometer and magnetometer columns are checked but not kept.
// 2. Plain CSV: rows "t,gx,gy,gz" in seconds and rad/s, with or without the
//    header line "t,gx,gy,gz". Its axes are taken as device axes (XYZ).
//
// Blank lines are skipped; CR LF line ends and a UTF-8 byte order mark are
// accepted. A log that fails to load (unreadable file, bad or missing
// header, a field that is not a finite number, a wrong column count, time
// going backwards, no readings) gives an error "<file>:<line>: <what>" and
// leaves the log object as it was: nothing is half-loaded.
//
// Thread rules: const members may be called from any thread at once; load,
// parse and the orientation setters must not overlap any other call.

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/MotionManager.h"

namespace nudora {

class GyroLog {
 public:
  enum class Format { kGcsv, kPlainCsv };

  // One reading in the log's own axes: t in seconds of log time, rates in rad/s.
  struct Reading {
    double t = 0.0;
    double x = 0.0, y = 0.0, z = 0.0;
  };

  // How the log's axes map into device axes, written as Gyroflow writes its
  // IMU orientation: three letters, one per output axis in the order x, y, z,
  // each naming the log axis that feeds it; uppercase takes that axis as it
  // is, lowercase negated. "XYZ" is the identity; "YxZ" gives
  // device x = log y, device y = -log x, device z = log z.
  //
  // Gyroflow's output frame, for a camera held level with its picture upright
  // (landscape, as the sensor reads out), has x towards the top of the
  // picture, y towards its left and z pointing backwards out of the lens,
  // towards the operator. On a phone whose camera reads out in landscape with
  // the device's right edge on top, those are exactly our device axes (x to
  // the right edge, y to the top edge, z out of the screen), so a .gcsv
  // orientation string applies to our device axes unchanged.
  struct Orientation {
    int source[3] = {0, 1, 2};
    double sign[3] = {1.0, 1.0, 1.0};

    // False for anything but three letters from x, y, z (either case) that
    // name each axis once.
    static bool parse(std::string_view text, Orientation* out);
    std::string text() const;
    // out may alias in.
    void apply(const double in[3], double out[3]) const;
  };

  GyroLog() = default;

  // Loads a file into a new log; nullptr (with a console line) on failure.
  static std::shared_ptr<GyroLog> open(const std::string& path, std::string* error = nullptr);

  // Replace this log's contents with the file's, or, on failure, log the
  // error to the console, store it in error when given, and change nothing.
  bool load(const std::string& path, std::string* error = nullptr);
  // As load, from text already in memory; name stands for the file in errors.
  bool parse(std::string_view text, const std::string& name, std::string* error = nullptr);

  const std::string& path() const { return path_; }
  Format format() const { return format_; }
  bool empty() const { return readings_.empty(); }
  size_t size() const { return readings_.size(); }
  const std::vector<Reading>& readings() const { return readings_; }
  double startTime() const { return readings_.empty() ? 0.0 : readings_.front().t; }
  double endTime() const { return readings_.empty() ? 0.0 : readings_.back().t; }
  // The .gcsv header lines by key (empty for plain CSV).
  const std::map<std::string, std::string>& header() const { return header_; }

  // The orientation the log declares ("XYZ" for plain CSV).
  const Orientation& fileOrientation() const { return fileOrientation_; }
  // The orientation in effect: the override when set, else the file's.
  const Orientation& orientation() const { return hasOverride_ ? override_ : fileOrientation_; }
  // Overrides the file's orientation; false, with a console line, for a
  // malformed string (the setting is then unchanged).
  bool setOrientation(const std::string& letters);
  void clearOrientation() { hasOverride_ = false; }

  // Reading i in device axes under orientation(); timestamp is log time.
  // An index past the end gives an all-zero reading.
  GyroData deviceReading(size_t i) const { return deviceReading(i, orientation()); }
  GyroData deviceReading(size_t i, const Orientation& orientation) const;

 private:
  std::string path_;
  Format format_ = Format::kPlainCsv;
  std::vector<Reading> readings_;
  std::map<std::string, std::string> header_;
  Orientation fileOrientation_;
  Orientation override_;
  bool hasOverride_ = false;
};

}  // namespace nudora
