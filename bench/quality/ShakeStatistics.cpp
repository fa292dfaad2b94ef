#include "quality/ShakeStatistics.h"

#include <algorithm>
#include <cmath>

namespace nudora::quality {
namespace {

double rms(const std::vector<double>& values) {
  if (values.empty()) return 0.0;
  double sum = 0.0;
  for (double v : values) sum += v * v;
  return std::sqrt(sum / static_cast<double>(values.size()));
}

std::vector<double> highFrequencySteps(const std::vector<double>& path, double sigmaFrames) {
  std::vector<double> smooth = ShakeStatistics::smoothPath(path, sigmaFrames);
  std::vector<double> steps;
  for (size_t i = 1; i < path.size(); ++i) steps.push_back((path[i] - smooth[i]) - (path[i - 1] - smooth[i - 1]));
  return steps;
}

}  // namespace

std::vector<double> ShakeStatistics::cumulativePath(const std::vector<double>& steps) {
  std::vector<double> path(steps.size() + 1, 0.0);
  for (size_t i = 0; i < steps.size(); ++i) path[i + 1] = path[i] + steps[i];
  return path;
}

std::vector<double> ShakeStatistics::smoothPath(const std::vector<double>& path, double sigmaFrames) {
  if (sigmaFrames <= 0.0 || path.size() < 3) return path;
  const int n = static_cast<int>(path.size());
  const int reach = static_cast<int>(std::ceil(4.0 * sigmaFrames));
  std::vector<double> kernel(reach + 1);
  for (int k = 0; k <= reach; ++k) kernel[k] = std::exp(-0.5 * k * k / (sigmaFrames * sigmaFrames));
  std::vector<double> out(path.size());
  for (int i = 0; i < n; ++i) {
    // Weighted line through the neighbours, read at i. Near the ends the
    // window is one-sided, and a plain weighted mean would bend a pan.
    double s0 = 0.0, s1 = 0.0, s2 = 0.0, t0 = 0.0, t1 = 0.0;
    for (int j = std::max(0, i - reach); j <= std::min(n - 1, i + reach); ++j) {
      double w = kernel[std::abs(j - i)];
      double d = j - i;
      s0 += w;
      s1 += w * d;
      s2 += w * d * d;
      t0 += w * path[j];
      t1 += w * d * path[j];
    }
    double det = s0 * s2 - s1 * s1;
    out[i] = det > 1e-12 ? (s2 * t0 - s1 * t1) / det : t0 / s0;
  }
  return out;
}

double ShakeStatistics::highFrequencyRms(const std::vector<double>& path, double sigmaFrames) {
  return rms(highFrequencySteps(path, sigmaFrames));
}

ShakeSummary ShakeStatistics::summarize(const std::vector<PairMotion>& pairs, double fps, double sigmaSeconds) {
  ShakeSummary summary;
  summary.frames = pairs.empty() ? 0 : static_cast<int>(pairs.size()) + 1;
  std::vector<double> dx;
  std::vector<double> dy;
  std::vector<double> kx;
  std::vector<double> ky;
  for (const PairMotion& m : pairs) {
    if (!m.valid) ++summary.unmeasured;
    dx.push_back(m.valid ? m.dx : 0.0);
    dy.push_back(m.valid ? m.dy : 0.0);
    if (std::isfinite(m.skewX) && std::isfinite(m.skewY)) {
      kx.push_back(m.skewX);
      ky.push_back(m.skewY);
    }
  }
  double sigma = sigmaSeconds * (fps > 0.0 ? fps : 30.0);
  std::vector<double> px = cumulativePath(dx);
  std::vector<double> py = cumulativePath(dy);
  summary.hfRmsX = highFrequencyRms(px, sigma);
  summary.hfRmsY = highFrequencyRms(py, sigma);
  summary.hfRms = std::hypot(summary.hfRmsX, summary.hfRmsY);
  summary.skewRmsX = rms(kx);
  summary.skewRmsY = rms(ky);
  summary.skewRms = std::hypot(summary.skewRmsX, summary.skewRmsY);
  std::vector<double> sx = smoothPath(px, sigma);
  std::vector<double> sy = smoothPath(py, sigma);
  double mx = 0.0, my = 0.0;
  for (size_t i = 0; i < sx.size(); ++i) {
    mx += sx[i];
    my += sy[i];
  }
  mx /= static_cast<double>(sx.size());
  my /= static_cast<double>(sy.size());
  double lf = 0.0;
  for (size_t i = 0; i < sx.size(); ++i) lf += (sx[i] - mx) * (sx[i] - mx) + (sy[i] - my) * (sy[i] - my);
  summary.lfRms = std::sqrt(lf / static_cast<double>(sx.size()));
  return summary;
}

}  // namespace nudora::quality
