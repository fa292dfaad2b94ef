#pragma once
// A camera description for `nudora process --camera FILE.json`: one flat
// JSON object with the fields of OrvoCameraParameters, e.g.
//
//   {"focalLength": 4.25, "sensorWidth": 5.6, "sensorHeight": 4.2,
//    "sensorCropWidth": 1.0, "sensorCropHeight": 0.75,
//    "frameReadoutTime": 0.016, "gyroToFrameDelay": 0.01}
//
// or, in place of the three optics fields, "focalLengthPixels": the focal
// length in pixels at the video's width (then the sensor is the frame).
// Times are in seconds. Unknown keys are refused, to catch misspellings.

#include <optional>
#include <string>

#include "stabilization/OrvoCameraParameters.h"

namespace nudora::tool {

struct CameraFile {
  std::optional<double> focalLengthPixels;
  std::optional<double> focalLength, sensorWidth, sensorHeight, sensorCropWidth, sensorCropHeight;
  std::optional<double> frameReadoutTime, gyroToFrameDelay;

  // Parses text; false with a one-line reason naming `name`.
  static bool parse(const std::string& text, const std::string& name, CameraFile* out, std::string* error);
  // Reads and parses a file.
  static bool load(const std::string& path, CameraFile* out, std::string* error);

  // The parameters for a video of the given size, with a readout and delay
  // to use where the file gives none.
  OrvoCameraParameters parameters(int videoWidth, int videoHeight, double readoutDefault, double delayDefault) const;
};

}  // namespace nudora::tool
