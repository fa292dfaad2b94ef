#include "stabilization/FrameMotionEstimator.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace nudora {
namespace {

// Smallest pyramid level kept: the coarse search needs some picture left.
constexpr int kMinLevelWidth = 48;
constexpr int kMinLevelHeight = 24;
// A band this thin at the level where its alignment starts is too little to
// pin four parameters.
constexpr int kMinStripRows = 12;
// Mean squared gradient, in grey levels per pixel, below which a region
// counts as flat. Only truly blank areas (black borders, fades) fall under
// it; even sensor noise gives more.
constexpr double kMinTexture = 0.05;

using Params = std::array<double, 4>;

// Solves the n x n system m . x = v (n <= 4) by elimination with partial
// pivoting; false when it is singular.
bool solve(std::array<std::array<double, 4>, 4> m, std::array<double, 4> v, int n, std::array<double, 4>& x) {
  for (int c = 0; c < n; ++c) {
    int pivot = c;
    for (int r = c + 1; r < n; ++r) {
      if (std::abs(m[r][c]) > std::abs(m[pivot][c])) pivot = r;
    }
    if (std::abs(m[pivot][c]) < 1e-12) return false;
    std::swap(m[c], m[pivot]);
    std::swap(v[c], v[pivot]);
    for (int r = c + 1; r < n; ++r) {
      double f = m[r][c] / m[c][c];
      for (int k = c; k < n; ++k) m[r][k] -= f * m[c][k];
      v[r] -= f * v[c];
    }
  }
  for (int r = n - 1; r >= 0; --r) {
    double s = v[r];
    for (int k = r + 1; k < n; ++k) s -= m[r][k] * x[k];
    x[r] = s / m[r][r];
  }
  return true;
}

struct Alignment {
  bool ok = false;
  double meanRow = 0.0;  // mean row of the pixels that took part
  double texture = 0.0;  // smaller eigenvalue of the translation block, per pixel
};

// Gauss-Newton alignment of rows [y0, y1) of `a` onto `b` at one level:
// finds p such that b(x + p0 + p2.xn, y + p1 + p3.xn) ~ a(x, y), with
// xn = (x - centre) / width. n = 2 fits the translation only. The gradient is
// the mean of both pictures' (the efficient second-order form), which
// converges in a few steps from a start within a couple of pixels.
Alignment align(const GrayImage& a, const GrayImage& agx, const GrayImage& agy, const GrayImage& b,
                const GrayImage& bgx, const GrayImage& bgy, int y0, int y1, int n, Params& p, int iterations) {
  Alignment result;
  const int w = a.width();
  const int h = a.height();
  const double centre = 0.5 * (w - 1);
  const double invW = 1.0 / w;
  const float maxX = static_cast<float>(w - 1);
  const float maxY = static_cast<float>(h - 1);
  if (w < 2 || h < 2) return result;
  const float* bp = b.row(0);
  const float* bxp = bgx.row(0);
  const float* byp = bgy.row(0);
  for (int it = 0; it < iterations; ++it) {
    std::array<std::array<double, 4>, 4> m{};
    std::array<double, 4> v{};
    double count = 0.0;
    double rowSum = 0.0;
    for (int y = y0; y < y1; ++y) {
      const float* ar = a.row(y);
      const float* axr = agx.row(y);
      const float* ayr = agy.row(y);
      for (int x = 0; x < w; ++x) {
        double xn = (x - centre) * invW;
        float X = static_cast<float>(x + p[0] + p[2] * xn);
        float Y = static_cast<float>(y + p[1] + p[3] * xn);
        if (X < 0.0f || Y < 0.0f || X > maxX || Y > maxY) continue;
        // One set of bilinear weights serves the picture and its gradients.
        int ix = std::min(static_cast<int>(X), w - 2);
        int iy = std::min(static_cast<int>(Y), h - 2);
        float fx = X - static_cast<float>(ix);
        float fy = Y - static_cast<float>(iy);
        size_t i00 = static_cast<size_t>(iy) * w + ix;
        size_t i10 = i00 + w;
        float w00 = (1.0f - fx) * (1.0f - fy);
        float w01 = fx * (1.0f - fy);
        float w10 = (1.0f - fx) * fy;
        float w11 = fx * fy;
        auto bilinear = [&](const float* q) {
          return w00 * q[i00] + w01 * q[i00 + 1] + w10 * q[i10] + w11 * q[i10 + 1];
        };
        double e = bilinear(bp) - ar[x];
        double gx = 0.5 * (axr[x] + bilinear(bxp));
        double gy = 0.5 * (ayr[x] + bilinear(byp));
        std::array<double, 4> j = {gx, gy, gx * xn, gy * xn};
        for (int r = 0; r < n; ++r) {
          for (int c = r; c < n; ++c) m[r][c] += j[r] * j[c];
          v[r] -= j[r] * e;
        }
        count += 1.0;
        rowSum += y;
      }
    }
    if (count < 16.0) return {};
    for (int r = 0; r < n; ++r) {
      for (int c = 0; c < r; ++c) m[r][c] = m[c][r];
    }
    double tr = m[0][0] + m[1][1];
    double det = m[0][0] * m[1][1] - m[0][1] * m[0][1];
    result.texture = 0.5 * (tr - std::sqrt(std::max(0.0, tr * tr - 4.0 * det))) / count;
    result.meanRow = rowSum / count;
    if (result.texture < kMinTexture) return {};
    std::array<double, 4> step{};
    if (!solve(m, v, n, step)) return {};
    for (int r = 0; r < n; ++r) p[r] += step[r];
    result.ok = true;
    if (std::abs(step[0]) < 1e-3 && std::abs(step[1]) < 1e-3 && std::abs(step[2]) < 2e-3 && std::abs(step[3]) < 2e-3) {
      break;
    }
  }
  return result;
}

// Whole-pixel shift of b against a with the least mean squared difference
// over their overlap (at least 40% of the picture), within +-range.
std::array<int, 2> coarseShift(const GrayImage& a, const GrayImage& b, int range) {
  const int w = a.width();
  const int h = a.height();
  double best = std::numeric_limits<double>::infinity();
  std::array<int, 2> shift = {0, 0};
  for (int sy = -range; sy <= range; ++sy) {
    for (int sx = -range; sx <= range; ++sx) {
      int x0 = std::max(0, -sx);
      int x1 = std::min(w, w - sx);
      int y0 = std::max(0, -sy);
      int y1 = std::min(h, h - sy);
      if ((x1 - x0) * (y1 - y0) * 10 < w * h * 4) continue;
      double sum = 0.0;
      for (int y = y0; y < y1; ++y) {
        const float* ar = a.row(y);
        const float* br = b.row(y + sy);
        for (int x = x0; x < x1; ++x) {
          double d = br[x + sx] - ar[x];
          sum += d * d;
        }
      }
      // Prefer the smaller shift on ties so that a flat picture stays at 0.
      double score = sum / ((x1 - x0) * (y1 - y0)) * (1.0 + 1e-6 * (sx * sx + sy * sy));
      if (score < best) {
        best = score;
        shift = {sx, sy};
      }
    }
  }
  return shift;
}

// Least-squares line through (row, value): its slope and its value at row
// `at`.
struct Line {
  double slope = std::numeric_limits<double>::quiet_NaN();
  double value = std::numeric_limits<double>::quiet_NaN();
};
Line fitLine(const std::vector<double>& rows, const std::vector<double>& values, double at) {
  double mr = 0.0;
  double mv = 0.0;
  for (size_t i = 0; i < rows.size(); ++i) {
    mr += rows[i];
    mv += values[i];
  }
  mr /= static_cast<double>(rows.size());
  mv /= static_cast<double>(rows.size());
  double num = 0.0;
  double den = 0.0;
  for (size_t i = 0; i < rows.size(); ++i) {
    num += (rows[i] - mr) * (values[i] - mv);
    den += (rows[i] - mr) * (rows[i] - mr);
  }
  if (den <= 0.0) return {};
  return {num / den, mv + num / den * (at - mr)};
}

}  // namespace

FrameMotionEstimator::FrameMotionEstimator(Options options) : options_(options) {
  options_.cropBorder = std::clamp(options_.cropBorder, 0.0, 0.45);
  options_.strips = std::max(options_.strips, 3);
  options_.maxWorkWidth = std::max(options_.maxWorkWidth, 2 * kMinLevelWidth);
}

int FrameMotionEstimator::cropX(int width) const {
  return static_cast<int>(std::lround(width * options_.cropBorder));
}

int FrameMotionEstimator::cropY(int height) const {
  return static_cast<int>(std::lround(height * options_.cropBorder));
}

int FrameMotionEstimator::factorFor(int cropWidth) const {
  return std::max(1, (cropWidth + options_.maxWorkWidth - 1) / options_.maxWorkWidth);
}

FrameMotionEstimator::Pyramid FrameMotionEstimator::build(const GrayImage& frame) {
  const int cx = cropX(frame.width()), cy = cropY(frame.height());
  GrayImage crop = frame.cropped(cx, cy, frame.width() - 2 * cx, frame.height() - 2 * cy);
  factor_ = factorFor(crop.width());
  return pyramidFrom(crop.boxDownscaled(factor_).blurred());
}

FrameMotionEstimator::Pyramid FrameMotionEstimator::build(const uint8_t* luma, int width, int height, int stride) {
  const int cx = cropX(width), cy = cropY(height);
  factor_ = factorFor(width - 2 * cx);
  return pyramidFrom(
      GrayImage::fromBytesDownscaled(luma, stride, cx, cy, width - 2 * cx, height - 2 * cy, factor_).blurred());
}

FrameMotionEstimator::Pyramid FrameMotionEstimator::pyramidFrom(GrayImage base) {
  Pyramid pyramid;
  while (!base.empty()) {
    Level level;
    level.gx = base.gradientX();
    level.gy = base.gradientY();
    bool last = base.width() / 2 < kMinLevelWidth || base.height() / 2 < kMinLevelHeight;
    GrayImage next = last ? GrayImage() : base.halved();
    level.image = std::move(base);
    pyramid.push_back(std::move(level));
    base = std::move(next);
  }
  return pyramid;
}

std::optional<PairMotion> FrameMotionEstimator::addFrame(const GrayImage& frame) {
  return addPyramid(frame.width(), frame.height(), build(frame));
}

std::optional<PairMotion> FrameMotionEstimator::addFrame(const uint8_t* luma, int width, int height, int stride) {
  return addPyramid(width, height, build(luma, width, height, stride));
}

std::optional<PairMotion> FrameMotionEstimator::addPyramid(int width, int height, Pyramid current) {
  bool sameSize = width == frameWidth_ && height == frameHeight_;
  frameWidth_ = width;
  frameHeight_ = height;
  std::optional<PairMotion> motion;
  if (sameSize && !previous_.empty()) motion = compare(previous_, current);
  previous_ = std::move(current);
  return motion;
}

PairMotion FrameMotionEstimator::measure(const GrayImage& previous, const GrayImage& current) {
  if (previous.width() != current.width() || previous.height() != current.height()) return {};
  frameHeight_ = current.height();
  return compare(build(previous), build(current));
}

PairMotion FrameMotionEstimator::compare(const Pyramid& previous, const Pyramid& current) const {
  PairMotion motion;
  if (previous.empty() || previous.size() != current.size()) return motion;
  const int top = static_cast<int>(previous.size()) - 1;
  const Level& pt = previous[top];
  const Level& ct = current[top];
  if (pt.image.width() < 8 || pt.image.height() < 8) return motion;

  auto run = [&](int level, int y0, int y1, int n, Params& p, int iterations) {
    const Level& a = previous[level];
    const Level& b = current[level];
    return align(a.image, a.gx, a.gy, b.image, b.gx, b.gy, y0, y1, n, p, iterations);
  };

  // Global translation, coarse to fine.
  std::array<int, 2> start = coarseShift(pt.image, ct.image, std::min(pt.image.width(), pt.image.height()) / 4);
  Params global = {double(start[0]), double(start[1]), 0.0, 0.0};
  Alignment fit;
  for (int level = top; level >= 0; --level) {
    fit = run(level, 0, previous[level].image.height(), 2, global, level == top ? 20 : 10);
    if (!fit.ok) return motion;
    if (level > 0) {
      global[0] *= 2.0;
      global[1] *= 2.0;
    }
  }
  motion.valid = true;
  motion.dx = global[0] * factor_;
  motion.dy = global[1] * factor_;

  // Bands, starting from the global translation at the coarsest level where
  // a band still has enough rows.
  const int strips = options_.strips;
  int stripLevel = 0;
  while (stripLevel < top && previous[stripLevel + 1].image.height() / strips >= kMinStripRows) ++stripLevel;
  const Level& base = previous[0];
  const double w0 = base.image.width();
  std::vector<double> rows;
  std::vector<double> tx;
  std::vector<double> ty;
  double zoom = 0.0;
  double turn = 0.0;
  for (int s = 0; s < strips; ++s) {
    double scale = std::ldexp(1.0, -stripLevel);
    Params p = {global[0] * scale, global[1] * scale, 0.0, 0.0};
    bool ok = true;
    for (int level = stripLevel; level >= 0 && ok; --level) {
      int h = previous[level].image.height();
      fit = run(level, s * h / strips, (s + 1) * h / strips, 4, p, 10);
      ok = fit.ok;
      if (level > 0) {
        for (double& q : p) q *= 2.0;
      }
    }
    // A band that wandered far from the whole frame's motion locked onto
    // something else (repeated texture, a flat patch).
    double bandHeight = base.image.height() / static_cast<double>(strips);
    if (!ok || std::hypot(p[0] - global[0], p[1] - global[1]) > bandHeight) continue;
    rows.push_back(fit.meanRow);
    tx.push_back(p[0]);
    ty.push_back(p[1]);
    zoom += p[2] / w0;
    turn += p[3] / w0;
  }
  motion.measuredStrips = static_cast<int>(rows.size());
  if (rows.size() < 3) return motion;
  zoom /= static_cast<double>(rows.size());
  turn /= static_cast<double>(rows.size());
  // A clockwise turn by r moves content by u = -r.y, v = r.x; a zoom by z
  // moves it by u = z.x, v = z.y. Both are rigid, so only what is left of
  // du/dy and dv/dy beyond them is skew.
  const double centre = 0.5 * (base.image.height() - 1);
  Line lx = fitLine(rows, tx, centre);
  Line ly = fitLine(rows, ty, centre);
  motion.roll = turn;
  motion.skewX = (lx.slope + turn) * frameHeight_;
  motion.skewY = (ly.slope - zoom) * frameHeight_;
  // When the motion differs along the rows, the whole-crop fit leans
  // towards the rows that stayed in view (those the move did not push out),
  // by about half the move times the skew; the bands' lines read at the
  // centre row do not.
  motion.dx = lx.value * factor_;
  motion.dy = ly.value * factor_;
  return motion;
}

}  // namespace nudora
