#include "stabilization/GyroVideoSync.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "platform/Console.h"

namespace nudora {
namespace {

using Vec3 = std::array<double, 3>;

// Coarse offset grid; fine enough that the residual's basin (tens of
// milliseconds wide for hand shake) is never stepped over.
constexpr double kCoarseStep = 0.002;
constexpr double kReadoutStep = 0.0005;
constexpr int kGoldenIterations = 40;

double dot(const Vec3& a, const Vec3& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

// The angle turned about each log axis since the first reading, for the gyro
// rates interpolated linearly between readings. The running sums make every
// interval integral a binary search plus a quadratic.
class GyroIntegral {
 public:
  explicit GyroIntegral(const std::vector<GyroLog::Reading>& readings) : r_(readings), sum_(readings.size()) {
    for (size_t i = 1; i < r_.size(); ++i) {
      const double h = 0.5 * (r_[i].t - r_[i - 1].t);
      sum_[i] = {sum_[i - 1][0] + h * (r_[i - 1].x + r_[i].x), sum_[i - 1][1] + h * (r_[i - 1].y + r_[i].y),
                 sum_[i - 1][2] + h * (r_[i - 1].z + r_[i].z)};
    }
  }
  double start() const { return r_.front().t; }
  double end() const { return r_.back().t; }

  Vec3 at(double t) const {
    auto it = std::upper_bound(r_.begin(), r_.end(), t, [](double v, const GyroLog::Reading& r) { return v < r.t; });
    size_t j = static_cast<size_t>(std::clamp<long>(static_cast<long>(it - r_.begin()) - 1, 0, long(r_.size()) - 2));
    const GyroLog::Reading& a = r_[j];
    const GyroLog::Reading& b = r_[j + 1];
    const double s = t - a.t;
    const double dt = b.t - a.t;
    const double k = dt > 0.0 ? 0.5 * s * s / dt : 0.0;
    return {sum_[j][0] + a.x * s + k * (b.x - a.x), sum_[j][1] + a.y * s + k * (b.y - a.y),
            sum_[j][2] + a.z * s + k * (b.z - a.z)};
  }
  Vec3 between(double a, double b) const {
    Vec3 p = at(a), q = at(b);
    return {q[0] - p[0], q[1] - p[1], q[2] - p[2]};
  }

 private:
  const std::vector<GyroLog::Reading>& r_;
  std::vector<Vec3> sum_;
};

// Sums over the pairs that the least-squares score of every orientation is
// made of, for one candidate offset (I = the log-axis angle of a pair).
struct PairSums {
  Vec3 dxI{}, dyI{}, rollI{};
  double gram[3][3] = {};
  double quadratic(const Vec3& u) const {
    double s = 0.0;
    for (int a = 0; a < 3; ++a)
      for (int b = 0; b < 3; ++b) s += u[a] * gram[a][b] * u[b];
    return s;
  }
};

// One candidate orientation as three row vectors over the log axes: the
// camera model's dx, dy (at focal 1) and roll per unit log-axis angle.
struct Candidate {
  GyroLog::Orientation orientation;
  Vec3 u{}, v{}, w{};
};

std::vector<Candidate> allOrientations() {
  double model[3][3];  // model[row][device axis]; rows dx, dy, roll
  for (int i = 0; i < 3; ++i) {
    double e[3] = {0.0, 0.0, 0.0};
    e[i] = 1.0;
    GyroVideoSync::ImageMotion m = GyroVideoSync::imageMotion(e, 1.0);
    model[0][i] = m.dx;
    model[1][i] = m.dy;
    model[2][i] = m.roll;
  }
  std::vector<Candidate> out;
  int perm[3] = {0, 1, 2};
  do {
    for (int signs = 0; signs < 8; ++signs) {
      Candidate c;
      for (int i = 0; i < 3; ++i) {
        c.orientation.source[i] = perm[i];
        c.orientation.sign[i] = (signs >> i) & 1 ? -1.0 : 1.0;
        // device i = sign * log source[i]
        c.u[perm[i]] += model[0][i] * c.orientation.sign[i];
        c.v[perm[i]] += model[1][i] * c.orientation.sign[i];
        c.w[perm[i]] += model[2][i] * c.orientation.sign[i];
      }
      out.push_back(c);
    }
  } while (std::next_permutation(perm, perm + 3));
  return out;
}

// Golden-section search for the maximum of g on [a, b].
template <typename F>
double goldenMax(double a, double b, F g) {
  const double k = 0.5 * (std::sqrt(5.0) - 1.0);
  double x1 = b - k * (b - a), x2 = a + k * (b - a);
  double g1 = g(x1), g2 = g(x2);
  for (int i = 0; i < kGoldenIterations && b - a > 1e-6 * std::max(1.0, std::fabs(b)); ++i) {
    if (g1 > g2) {
      b = x2, x2 = x1, g2 = g1;
      x1 = b - k * (b - a), g1 = g(x1);
    } else {
      a = x1, x1 = x2, g1 = g2;
      x2 = a + k * (b - a), g2 = g(x2);
    }
  }
  return 0.5 * (a + b);
}

// Pixels of content motion per radian of camera turn, for focal length f,
// averaged the way the tracker averages. Turning about the picture's up axis
// moves a point u pixels right of the centre by f (1 + u^2 / f^2) across;
// over the tracked width that averages f + E[u^2] / f. Rows fare alike for
// a tilt. A skew is the slope of a line through the rows' vertical
// displacements, which weights the outer rows by v^2 once more:
// E[v^4] / E[v^2] = 0.15 h^2 for rows spread evenly over a height h.
struct Gains {
  double x = 0.0, y = 0.0, skewY = 0.0;
};

struct Problem {
  const std::vector<GyroVideoSync::FramePair>& pairs;  // valid ones only
  const GyroIntegral& gyro;
  double givenFocal;  // 0: fitted
  double trackedWidthPx, trackedHeightPx;
  double energyXY = 0.0, energyRoll = 0.0;

  Gains gains(double f) const {
    const double w2 = trackedWidthPx * trackedWidthPx, h2 = trackedHeightPx * trackedHeightPx;
    return {f + w2 / 12.0 / f, f + h2 / 12.0 / f, f + 0.15 * h2 / f};
  }

  // Where the tracked rows lie, as fractions of the frame height from its
  // centre, and the readout that spreads them in time (0 until known).
  std::vector<double> rows;
  double readout = 0.0;

  // The angle turned between the two frames of a pair as the tracker sees
  // it. It measures the rows' mean displacement: for a steady turn, the
  // turn between the two centre rows, read `centre` after each first row;
  // for a shake, that averaged over the tracked rows' read times, which
  // softens it by a percent or two at a long readout.
  Vec3 pairAngle(const GyroVideoSync::FramePair& p, double centre) const {
    if (readout <= 0.0) return gyro.between(p.t0 + centre, p.t1 + centre);
    Vec3 sum{};
    for (double row : rows) {
      const Vec3 d = gyro.between(p.t0 + centre + readout * row, p.t1 + centre + readout * row);
      for (int a = 0; a < 3; ++a) sum[a] += d[a] / rows.size();
    }
    return sum;
  }

  PairSums sums(double centre) const {
    PairSums s;
    for (const auto& p : pairs) {
      const Vec3 I = pairAngle(p, centre);
      for (int a = 0; a < 3; ++a) {
        s.dxI[a] += p.dx * I[a];
        s.dyI[a] += p.dy * I[a];
        s.rollI[a] += p.roll * I[a];
        for (int b = 0; b < 3; ++b) s.gram[a][b] += I[a] * I[b];
      }
    }
    return s;
  }

  // Squared pixel residual of the translations at focal length f.
  double residualXY(const PairSums& s, const Candidate& c, double f) const {
    const Gains g = gains(f);
    return energyXY - 2.0 * (g.x * dot(c.u, s.dxI) + g.y * dot(c.v, s.dyI)) +
           g.x * g.x * s.quadratic(c.u) + g.y * g.y * s.quadratic(c.v);
  }

  // The focal length that explains the translations best, or 0 when they run
  // against the gyro. With the perspective gains above f the best focal is
  // found between the gains' turning point (f = tracked size / sqrt 12, far
  // shorter than any lens that fits the tracked area) and a little beyond the
  // single gain that ignores perspective.
  double focal(const PairSums& s, const Candidate& c) const {
    if (givenFocal > 0.0) return givenFocal;
    const double q = s.quadratic(c.u) + s.quadratic(c.v);
    const double f0 = q > 0.0 ? (dot(c.u, s.dxI) + dot(c.v, s.dyI)) / q : 0.0;
    if (!(f0 > 0.0)) return 0.0;
    const double lo = std::max(std::max(trackedWidthPx, trackedHeightPx) / std::sqrt(12.0), 0.05 * f0);
    const double hi = 1.2 * f0;
    if (!(lo < hi)) return f0;
    return goldenMax(lo, hi, [&](double f) { return -residualXY(s, c, f); });
  }

  // Quality in angle units (translations divided by the focal length) and
  // the focal length that goes with it.
  double quality(const PairSums& s, const Candidate& c, double* focalOut) const {
    const double f = focal(s, c);
    if (focalOut) *focalOut = f;
    if (!(f > 0.0)) return -1.0;  // the translations run against the gyro
    const double resXY = residualXY(s, c, f);
    const double resRoll = energyRoll - 2.0 * dot(c.w, s.rollI) + s.quadratic(c.w);
    const double signal = energyXY / (f * f) + energyRoll;
    return signal > 0.0 ? 1.0 - (resXY / (f * f) + resRoll) / signal : -1.0;
  }
};

// Time after the first row at which a row of a frame is read.
double rowDelay(double readout, double row, int height) { return readout * row / height; }

GyroVideoSync::Result failWith(GyroVideoSync::Result r, GyroVideoSync::Status status, const std::string& message) {
  r.status = status;
  r.message = message;
  consoleLogLevel(kConsoleError, "GyroVideoSync: %s", message.c_str());
  return r;
}

std::string fmt(const char* format, double a, double b = 0.0, double c = 0.0) {
  char buffer[256];
  std::snprintf(buffer, sizeof buffer, format, a, b, c);
  return buffer;
}

}  // namespace

// Derivation, for a pinhole camera looking along -z with picture right = -y
// and picture down = -x: a point at camera coordinates p projects to
// u = f * (-p.y) / (-p.z), v = f * (-p.x) / (-p.z) (pixels right and down of
// the centre). Turning the camera by the small rotation vector a moves a
// fixed world point, in camera coordinates, by -a x p. For the point on the
// axis, p = (0, 0, -D): -a x p = (D * a.y, -D * a.x, 0), so
//   dx = f * (D * a.x) / D = f * a.x   (turning about x, the picture's up,
//        swings the view to the left: the content moves right)
//   dy = -f * a.y                      (turning about y, the picture's left,
//        tilts the view down: the content moves up)
// and for a point above the centre, p = (D * h, 0, -D), turning about z moves
// it by (0, -D * h * a.z, 0), i.e. to the right by f * h * a.z: the content
// turns clockwise on screen by roll = a.z.
GyroVideoSync::ImageMotion GyroVideoSync::imageMotion(const double angle[3], double focalPx) {
  ImageMotion m;
  m.dx = focalPx * angle[0];
  m.dy = -focalPx * angle[1];
  m.roll = angle[2];
  return m;
}

const char* GyroVideoSync::statusName(Status status) {
  switch (status) {
    case Status::kOk: return "ok";
    case Status::kBadInput: return "bad input";
    case Status::kTooFewPairs: return "too few pairs";
    case Status::kTooLittleMotion: return "too little motion";
    case Status::kLogNotCovering: return "log not covering the video";
    case Status::kPoorFit: return "poor fit";
    case Status::kAmbiguous: return "ambiguous orientation";
  }
  return "unknown";
}

GyroVideoSync::Result GyroVideoSync::fit(const std::vector<FramePair>& pairs,
                                         const std::vector<GyroLog::Reading>& readings, const Options& o) {
  Result result;
  const bool readoutGiven = o.readoutGiven >= 0.0;
  const double rMin = readoutGiven ? o.readoutGiven : o.readoutMin;
  const double rMax = readoutGiven ? o.readoutGiven : o.readoutMax;
  if (readings.size() < 2) return failWith(result, Status::kBadInput, "the gyro log needs at least two readings");
  if (o.frameWidth <= 0 || o.frameHeight <= 0 || !(o.trackedWidth >= 0.0 && o.trackedWidth <= 1.0) ||
      !(o.trackedHeight > 0.0 && o.trackedHeight <= 1.0) || !(o.focalPx >= 0.0) || !(o.offsetMin <= o.offsetMax) || !(rMin >= 0.0) ||
      !(rMin <= rMax)) {
    return failWith(result, Status::kBadInput, "bad options (frame size, tracked area, focal length or a search range)");
  }
  for (size_t i = 1; i < readings.size(); ++i) {
    if (!(readings[i].t >= readings[i - 1].t)) {
      return failWith(result, Status::kBadInput, fmt("gyro reading %.0f goes back in time", double(i)));
    }
  }
  // The centre row's delay c = offset + its share of the readout is all the
  // translations and roll can see; the skews separate the two afterwards.
  const double half = rowDelay(1.0, 0.5 * o.frameHeight, o.frameHeight);
  const GyroIntegral gyro(readings);
  const double needBefore = half * rMax, needAfter = (1.0 - half) * rMax;
  const double cLo = o.offsetMin + half * rMin, cHi = o.offsetMax + half * rMax;
  // Only pairs the log covers at every searched offset and readout take
  // part, so that every candidate is scored on the same pairs; a log that
  // starts after the video or ends before it costs only its ends.
  int uncovered = 0;
  std::vector<FramePair> valid;
  for (size_t i = 0; i < pairs.size(); ++i) {
    const FramePair& p = pairs[i];
    if (!p.valid) continue;
    if (!std::isfinite(p.t0) || !std::isfinite(p.dx) || !std::isfinite(p.dy) || !std::isfinite(p.roll) ||
        !(p.t1 > p.t0)) {
      return failWith(result, Status::kBadInput,
                      fmt("frame pair %.0f is marked valid but has a non-finite value or t1 <= t0", double(i)));
    }
    if (p.t0 + cLo - needBefore < gyro.start() || p.t1 + cHi + needAfter > gyro.end()) {
      ++uncovered;
      continue;
    }
    valid.push_back(p);
  }
  result.pairsUsed = static_cast<int>(valid.size());
  if (result.pairsUsed < std::max(o.minPairs, 2) && uncovered > 0) {
    return failWith(result, Status::kLogNotCovering,
                    fmt("the gyro log (%.3f..%.3f s) covers only %.0f frame pairs of the video at every searched "
                        "offset; it may not belong to this video",
                        gyro.start(), gyro.end(), result.pairsUsed));
  }
  if (result.pairsUsed < std::max(o.minPairs, 2)) {
    return failWith(result, Status::kTooFewPairs,
                    fmt("only %.0f valid frame pairs, at least %.0f needed", result.pairsUsed, o.minPairs));
  }

  double first = valid.front().t0, last = valid.front().t1;
  for (const auto& p : valid) first = std::min(first, p.t0), last = std::max(last, p.t1);

  double rateSq = 0.0;
  int rateCount = 0;
  for (const auto& r : readings) {
    if (r.t < first + cLo || r.t > last + cHi) continue;
    rateSq += r.x * r.x + r.y * r.y + r.z * r.z;
    ++rateCount;
  }
  Problem problem{valid, gyro, o.focalPx, o.trackedWidth * o.frameWidth, o.trackedHeight * o.frameHeight, 0.0, 0.0, {}, 0.0};
  for (const auto& p : valid) {
    problem.energyXY += p.dx * p.dx + p.dy * p.dy;
    problem.energyRoll += p.roll * p.roll;
  }
  const double gyroRms = rateCount ? std::sqrt(rateSq / rateCount) : 0.0;
  const double imageRms = std::sqrt(problem.energyXY / valid.size());
  if (gyroRms < o.minGyroRms || imageRms < o.minImageRms) {
    return failWith(result, Status::kTooLittleMotion,
                    fmt("too little motion to decide: gyro %.4f rad/s, image %.3f px per frame RMS", gyroRms,
                        imageRms));
  }

  // Coarse search: every orientation at every grid offset.
  std::vector<Candidate> candidates = allOrientations();
  if (o.orientationGiven) {
    // The given orientation is fitted alone; the best of the others stays
    // as the runner-up, for the margin.
    auto given = std::find_if(candidates.begin(), candidates.end(), [&](const Candidate& c) {
      return c.orientation.text() == o.orientationGiven->text();
    });
    if (given == candidates.end()) return failWith(result, Status::kBadInput, "the given orientation is no rotation");
    std::iter_swap(candidates.begin(), given);
  }
  std::vector<double> bestQuality(candidates.size(), -2.0), bestCentre(candidates.size(), cLo);
  const int steps = static_cast<int>(std::floor((cHi - cLo) / kCoarseStep)) + 1;
  for (int s = 0; s < steps; ++s) {
    const double c = std::min(cLo + s * kCoarseStep, cHi);
    const PairSums sums = problem.sums(c);
    for (size_t k = 0; k < candidates.size(); ++k) {
      const double q = problem.quality(sums, candidates[k], nullptr);
      if (q > bestQuality[k]) bestQuality[k] = q, bestCentre[k] = c;
    }
  }
  std::vector<size_t> order(candidates.size());
  for (size_t k = 0; k < order.size(); ++k) order[k] = k;
  std::sort(order.begin() + (o.orientationGiven ? 1 : 0), order.end(),
            [&](size_t a, size_t b) { return bestQuality[a] > bestQuality[b]; });

  // Refine the two leaders' offsets; the margin compares refined figures.
  constexpr int kRows = 9;
  for (int k = 0; k < kRows; ++k) problem.rows.push_back(o.trackedHeight * (k / double(kRows - 1) - 0.5));
  double refined[2] = {0.0, 0.0}, centre[2] = {0.0, 0.0}, focal[2] = {0.0, 0.0};
  auto refine = [&](int i, double around, double reach) {
    const Candidate& cand = candidates[order[i]];
    auto q = [&](double c) { return problem.quality(problem.sums(c), cand, nullptr); };
    centre[i] = goldenMax(std::max(cLo, around - reach), std::min(cHi, around + reach), q);
    refined[i] = problem.quality(problem.sums(centre[i]), cand, &focal[i]);
  };
  if (readoutGiven) problem.readout = rMin;
  for (int i = 0; i < 2; ++i) refine(i, bestCentre[order[i]], kCoarseStep);
  const Candidate& best = candidates[order[0]];

  // Readout: the skews see how the motion differs across one frame's
  // readout, centred on the centre row already placed. The tracker fits a
  // line through the displacements of the tracked rows; the prediction does
  // the same with the gyro's angles at those rows, so that a shake whose
  // turn is not steady over the readout compares like with like.
  double spread = 0.0;
  for (double row : problem.rows) spread += row * row;
  auto skewResidual = [&](double c, double f, double r, int* used) {
    const Gains gain = problem.gains(f);
    double res = 0.0;
    int n = 0;
    for (const auto& p : valid) {
      if (!std::isfinite(p.skewX) && !std::isfinite(p.skewY)) continue;
      Vec3 slope{};
      for (double row : problem.rows) {
        const Vec3 d = gyro.between(p.t0 + c + r * row, p.t1 + c + r * row);
        for (int a = 0; a < 3; ++a) slope[a] += row / spread * d[a];
      }
      if (std::isfinite(p.skewX)) res += std::pow(p.skewX - gain.x * dot(best.u, slope), 2.0), ++n;
      if (std::isfinite(p.skewY)) res += std::pow(p.skewY - gain.skewY * dot(best.v, slope), 2.0), ++n;
    }
    if (used) *used = n;
    return res;
  };
  int skewCount = 0;
  skewResidual(centre[0], focal[0], rMin, &skewCount);
  auto findReadout = [&]() {
    const double c = centre[0], f = focal[0];
    double bestR = rMin, bestRes = skewResidual(c, f, rMin, nullptr);
    for (double r = rMin + kReadoutStep; r <= rMax + 1e-12; r += kReadoutStep) {
      const double res = skewResidual(c, f, r, nullptr);
      if (res < bestRes) bestRes = res, bestR = r;
    }
    return goldenMax(std::max(rMin, bestR - kReadoutStep), std::min(rMax, bestR + kReadoutStep),
                     [&](double r) { return -skewResidual(c, f, r, nullptr); });
  };
  double readout = 0.5 * (rMin + rMax);
  if (readoutGiven) {
    readout = rMin;
  } else if (skewCount > 0) {
    // The centre row and focal length were fitted as if every row were read
    // at once; with the readout found, fit them again over the rows' times
    // and the readout once more.
    readout = findReadout();
    problem.readout = readout;
    for (int i = 0; i < 2; ++i) refine(i, centre[i], 0.5 * kCoarseStep);
    readout = findReadout();
  }
  result.orientation = best.orientation;
  result.runnerUp = candidates[order[1]].orientation;
  result.quality = refined[0];
  result.margin = refined[0] - refined[1];
  result.focalPx = focal[0];
  result.readout = readout;
  result.offset = centre[0] - rowDelay(readout, 0.5 * o.frameHeight, o.frameHeight);

  if (result.quality < o.minQuality) {
    return failWith(result, Status::kPoorFit,
                    fmt("the best fit explains only %.0f%% of the image motion (need %.0f%%); the log probably "
                        "belongs to another clip",
                        100.0 * std::max(0.0, result.quality), 100.0 * o.minQuality));
  }
  if (!o.orientationGiven && result.margin < o.minMargin) {
    return failWith(result, Status::kAmbiguous,
                    "orientations " + result.orientation.text() + " and " + result.runnerUp.text() +
                        " fit about equally; the clip needs rotation about all three axes");
  }
  if (!readoutGiven && skewCount == 0) {
    consoleLogLevel(kConsoleWarning, "GyroVideoSync: no skew measured; readout set to the middle of its range");
  }
  result.status = Status::kOk;
  return result;
}

}  // namespace nudora
