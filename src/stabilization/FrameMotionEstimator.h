#pragma once
// Measures, from the pictures alone, how a video moves from one frame to the
// next: the global translation and the rolling-shutter skew. It knows
// nothing of gyro data or of how the video was made, so it scores any
// stabiliser (ours, vidstab, deshake) and the shaky input the same way.
//
// Method. Each frame is cropped to its centre (cropBorder of the width and
// height cut from every side, so that the borders a stabiliser fills or
// crops do not dominate), box-downscaled by a whole factor to at most
// maxWorkWidth pixels wide, lightly blurred, and built into a pyramid (each
// level half the last, down to about 48 x 24).
//  - Global translation: an exhaustive integer search on the coarsest level
//    (up to a quarter of its height: some 140 video pixels at 720p, 210 at
//    1080p) gives the start; Gauss-Newton image alignment (Lucas-Kanade with
//    the averaged gradient of both frames and bilinear resampling) refines
//    it level by level over the whole crop.
//  - Strips: the crop is cut into `strips` horizontal bands; each band is
//    aligned on its own, starting from the global translation, with a
//    four-parameter model u = tx + a.x, v = ty + b.x (x across the band) so
//    that an in-plane rotation or zoom does not leak into the translations.
//    Least-squares lines through the bands' tx and ty against their mean
//    row give the horizontal shear and vertical stretch between the frames,
//    and, read at the crop's centre row, the reported translation (the
//    whole-crop fit leans towards whichever rows stayed in view). A rigid
//    rotation shears too (u changes with the row), so the rotation seen
//    across each band (mean of b) is added back, and the zoom (mean of a)
//    is taken from the stretch: what remains is the part of the motion that
//    differs between the top and bottom of the frame and is not a rigid
//    move, which for a rotating camera is the rolling-shutter wobble.
//
// Limits. It measures residual image motion, what a viewer sees, not
// camera rotation: parallax, moving objects and large flat areas bias it,
// and a rotation is reported as roll but does not enter the translation.
// The skew of a pair is the change of the in-frame shear between the two
// frames: a steady pan with a constant lean scores 0, shake scores its
// wobble. Under fast vertical shake a rolling-shutter frame is stretched,
// so the content at its centre row is not the content at the next frame's
// centre row; the summed path then drifts slowly (second order: readout
// time x squared speed), which the smoothed path absorbs. Perspective terms
// of a wide lens are symmetric about the crop's centre and cancel to first
// order. On detailed pictures the translation is good to about 0.01
// working pixels and the skew to about 0.02 pixels per frame height; a
// working pixel is downscale() video pixels.
//
// Not thread-safe; one estimator per video.

#include <cstdint>
#include <optional>
#include <vector>

#include "stabilization/GrayImage.h"
#include "stabilization/PairMotion.h"

namespace nudora {

class FrameMotionEstimator {
 public:
  struct Options {
    double cropBorder = 0.10;  // fraction of width and of height cut from each side
    int strips = 8;
    int maxWorkWidth = 640;
  };

  FrameMotionEstimator() : FrameMotionEstimator(Options{}) {}
  explicit FrameMotionEstimator(Options options);

  // Takes the next frame of a sequence (8-bit luma as floats); returns its
  // motion from the previous one, nullopt for the first frame or after a
  // change of frame size (which starts a new sequence).
  std::optional<PairMotion> addFrame(const GrayImage& frame);
  // The same from 8-bit luma rows `stride` bytes apart, reading only the
  // measured part of the frame (cheaper for large frames).
  std::optional<PairMotion> addFrame(const uint8_t* luma, int width, int height, int stride);
  // The motion between two frames, without touching the sequence.
  PairMotion measure(const GrayImage& previous, const GrayImage& current);

  // Video pixels per working pixel of the last frame.
  int downscale() const { return factor_; }
  const Options& options() const { return options_; }

 private:
  struct Level {
    GrayImage image;
    GrayImage gx;
    GrayImage gy;
  };
  using Pyramid = std::vector<Level>;

  int cropX(int width) const;
  int cropY(int height) const;
  int factorFor(int cropWidth) const;
  Pyramid build(const GrayImage& frame);
  Pyramid build(const uint8_t* luma, int width, int height, int stride);
  static Pyramid pyramidFrom(GrayImage base);
  std::optional<PairMotion> addPyramid(int width, int height, Pyramid current);
  PairMotion compare(const Pyramid& previous, const Pyramid& current) const;

  Options options_;
  Pyramid previous_;
  int frameWidth_ = 0;
  int frameHeight_ = 0;
  int factor_ = 1;
};

}  // namespace nudora
