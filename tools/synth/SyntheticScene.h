#pragma once
// The scene of the synthetic clip: a far plane in front of the camera at
// rest (z = -1 in the reference frame), covered with a procedural pattern
// that gives block matching something to hold on to everywhere: colour
// value noise in six octaves, patches of checkers, stripes, rings, dots and
// rows of text-like glyphs, thin grid lines and scattered coloured blobs.
// No picture from outside is used; the seed decides everything.
//
// A point of the plane is named by (a, b) = (x / -z, y / -z) of the
// reference-frame ray through it: the tangents of its angles off the
// reference view axis, so one unit is f pixels at the centre of a camera of
// focal length f. The pattern is drawn once into texels over the region the
// clip looks at, and frames sample it bilinearly.
//
// Thread rules: const members may be called from any thread at once.

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "platform/PixelBuffer.h"
#include "synth/CameraPath.h"

namespace nudora::tool {

class SyntheticScene {
 public:
  // Draws the pattern over [aMin, aMax] x [bMin, bMax] at `density` texels
  // per unit, on every core.
  SyntheticScene(uint64_t seed, double aMin, double aMax, double bMin, double bMax, double density);

  // The procedural pattern at a plane point, RGB in 0..1.
  static std::array<float, 3> pattern(uint64_t seed, double a, double b);
  // The plane point that camera ray c (image axes) meets under orientation q;
  // false when the ray points away from the plane.
  static bool project(const Rotation& q, const std::array<double, 3>& c, double* a, double* b);

  // Softens the drawn pattern by a Gaussian of sigma texels, as a camera's
  // lens and sensor soften what they see: one texel is one pixel at the
  // centre of the frame.
  void blur(double sigmaTexels);

  // The colour at a plane point, bilinear between texels; BGRA bytes.
  // Outside the drawn region the border texels continue.
  void sample(double a, double b, uint8_t bgra[4]) const;

  // Renders a pinhole camera of focal length focalPx (pixels) into out,
  // each row r seen under orientation rowOrientation(r): a rolling shutter
  // when the orientations differ. Pixel (col, row) looks along
  // ((col + 0.5 - W/2) / f, (H/2 - row - 0.5) / f, -1).
  void render(PixelBuffer& out, double focalPx, const std::function<Rotation(int row)>& rowOrientation) const;

  int texelsWide() const { return width_; }
  int texelsHigh() const { return height_; }

 private:
  uint64_t seed_;
  double aMin_, bMax_, density_;
  int width_ = 0;
  int height_ = 0;
  std::vector<uint8_t> texels_;  // BGRA, row 0 at bMax
};

}  // namespace nudora::tool
