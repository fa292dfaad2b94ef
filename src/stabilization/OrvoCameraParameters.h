#pragma once
// Optics and timing of a camera that the built-in device table does not know
// (every camera on Linux). A host sets them on the camera motion estimator,
// which then uses them in place of the table.
//
// Only ratios matter to the stabiliser: the visible sensor extent
// (sensorWidth * sensorCropWidth, sensorHeight * sensorCropHeight) against
// focalLength. Millimetres are the customary unit, but any unit used for all
// three serves.

#include <string>

namespace nudora {

struct OrvoCameraParameters {
  float focalLength = 0.0f;       // mm
  float sensorWidth = 0.0f;       // mm, full sensor in landscape orientation
  float sensorHeight = 0.0f;      // mm
  float sensorCropWidth = 1.0f;   // fraction of the sensor width the video covers, (0, 1]
  float sensorCropHeight = 1.0f;  // fraction of the sensor height the video covers, (0, 1]
  float frameReadoutTime = 0.0f;  // s from the first to the last row of a full frame, >= 0 (0: global shutter)
  double gyroToFrameDelay = 0.01;  // s added to a frame's presentation time to reach gyro time (may be negative)

  // Parameters from a calibrated focal length in pixels at a video size of
  // videoWidth x videoHeight pixels (the size the frames arrive in). The
  // sensor is taken as exactly the video frame at a nominal 1 um pixel pitch,
  // so the crop fractions are 1.
  static OrvoCameraParameters fromFocalLengthInPixels(float focalLengthPixels, float videoWidth, float videoHeight,
                                                      float frameReadoutTime, double gyroToFrameDelay);

  // Empty when the values are usable, else a sentence naming the first bad one.
  std::string problem() const;
};

}  // namespace nudora
