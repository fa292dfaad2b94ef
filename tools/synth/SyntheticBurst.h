#pragma once
// A handheld burst of still frames for the burst merge: the synthetic scene
// seen by the shaking camera of the synthetic clip (CameraPath), with
// sensor-like noise, the gyro log of the whole take, the frames'
// presentation times and the clean truth of the first (reference) frame.
// The camera is held still: no pans, and the clip's hand shake scaled down
// (shake 1 is the walking clip's, about 10 deg/s per axis; the default
// 0.25, about 2.6 deg/s, is a phone held out at arm's length). The scene
// is softened by a Gaussian of lensBlur pixels, as a lens and the pixels'
// area soften a real camera's picture.
//
// Files in the folder: frame_000.png ... (the noisy frames, lossless),
// truth.png (frame 0 without noise), gyro.gcsv (device-axis rates with a
// bias and white noise, on the frames' clock: no delay), frames.txt (one
// presentation time per line, seconds). The burst starts after a second
// of rest and half a second of shake onset. Each file
// is written under a temporary name and renamed into place.

#include <cstdint>
#include <string>

namespace nudora::tool {

struct SyntheticBurstSettings {
  std::string dir;
  int width = 0;
  int height = 0;
  int frames = 8;
  double fps = 30.0;
  double readoutMs = 20.0;
  double focalPx = 0.0;  // > 0
  double gyroRate = 200.0;
  uint64_t seed = 1;
  double noise = 0.0;  // levels at mid-grey, growing with the square root of the level
  double shake = 0.25;  // times the walking clip's hand shake
  double lensBlur = 0.6;  // Gaussian sigma of lens and pixel, pixels
};

// Writes the burst; 0 on success, else 1 after one line on standard error.
// Prints a summary and the command that merges it.
int writeSyntheticBurst(const SyntheticBurstSettings& settings);

}  // namespace nudora::tool
