#include "stabilization/OrvoCameraParameters.h"

#include <cmath>
#include <cstdio>

namespace nudora {
namespace {

constexpr float kNominalPixelPitchMm = 0.001f;

std::string describe(const char* field, double value, const char* wanted) {
  char text[160];
  std::snprintf(text, sizeof(text), "%s is %g; it must be %s", field, value, wanted);
  return text;
}

}  // namespace

OrvoCameraParameters OrvoCameraParameters::fromFocalLengthInPixels(float focalLengthPixels, float videoWidth,
                                                                   float videoHeight, float frameReadoutTime,
                                                                   double gyroToFrameDelay) {
  OrvoCameraParameters p;
  p.focalLength = focalLengthPixels * kNominalPixelPitchMm;
  p.sensorWidth = videoWidth * kNominalPixelPitchMm;
  p.sensorHeight = videoHeight * kNominalPixelPitchMm;
  p.sensorCropWidth = 1.0f;
  p.sensorCropHeight = 1.0f;
  p.frameReadoutTime = frameReadoutTime;
  p.gyroToFrameDelay = gyroToFrameDelay;
  return p;
}

std::string OrvoCameraParameters::problem() const {
  auto positive = [](double v) { return std::isfinite(v) && v > 0.0; };
  if (!positive(focalLength)) return describe("focalLength", focalLength, "positive");
  if (!positive(sensorWidth)) return describe("sensorWidth", sensorWidth, "positive");
  if (!positive(sensorHeight)) return describe("sensorHeight", sensorHeight, "positive");
  if (!positive(sensorCropWidth) || sensorCropWidth > 1.0f)
    return describe("sensorCropWidth", sensorCropWidth, "in (0, 1]");
  if (!positive(sensorCropHeight) || sensorCropHeight > 1.0f)
    return describe("sensorCropHeight", sensorCropHeight, "in (0, 1]");
  if (!std::isfinite(frameReadoutTime) || frameReadoutTime < 0.0f)
    return describe("frameReadoutTime", frameReadoutTime, "finite and not negative");
  if (!std::isfinite(gyroToFrameDelay)) return describe("gyroToFrameDelay", gyroToFrameDelay, "finite");
  return {};
}

}  // namespace nudora
