#pragma once
// Turns a video's frame-to-frame motions into the few numbers that say how
// steady it looks.
//
// The camera path is the running sum of the frame-to-frame translations.
// Its low-frequency part is a Gaussian-weighted local linear fit (sigma
// seconds wide, default 0.2 s: a full width at half maximum of about half a
// second), which follows pans exactly, ends included, and passes hand shake
// of 1 Hz and more only weakly (gain exp(-2 pi^2 f^2 sigma^2), 0.45 at 1 Hz,
// under 0.01 at 3 Hz). What the path does beyond it is shake; the residual
// shake is the root mean square of that shake's frame-to-frame steps, in
// pixels: the jitter a viewer sees, independent of how slowly the view is
// allowed to drift. The low-frequency figure is the root mean square of the
// smoothed path about its mean: how far the view wanders.

#include <vector>

#include "stabilization/PairMotion.h"

namespace nudora::quality {

struct ShakeSummary {
  int frames = 0;      // frames measured (pairs + 1)
  int unmeasured = 0;  // pairs with too little texture, counted as no motion
  double hfRms = 0.0;  // residual shake, pixels per frame (x and y together)
  double hfRmsX = 0.0;
  double hfRmsY = 0.0;
  double skewRms = 0.0;  // pixels per frame height (x and y together)
  double skewRmsX = 0.0;
  double skewRmsY = 0.0;
  double lfRms = 0.0;  // smoothed path about its mean, pixels
};

class ShakeStatistics {
 public:
  // Running sum of the steps, starting at 0: one value per frame.
  static std::vector<double> cumulativePath(const std::vector<double>& steps);
  // Gaussian-weighted local linear fit of the path at every sample, the
  // kernel cut at 4 sigma. sigmaFrames <= 0 returns the path.
  static std::vector<double> smoothPath(const std::vector<double>& path, double sigmaFrames);
  // RMS of the frame-to-frame steps of path - smoothPath(path).
  static double highFrequencyRms(const std::vector<double>& path, double sigmaFrames);
  static ShakeSummary summarize(const std::vector<PairMotion>& pairs, double fps, double sigmaSeconds = 0.2);
};

}  // namespace nudora::quality
