#include "synth/SyntheticScene.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "common/BgraSampling.h"
#include "common/EveryCore.h"
#include "synth/SynthRandom.h"

namespace nudora::tool {
namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kCell = 0.28;       // pattern patches
constexpr double kBlobGrid = 0.11;   // one blob at most per grid square
constexpr double kTextLine = 0.032;  // text-like rows
constexpr double kGlyph = 0.022;

double unit(uint64_t h) { return static_cast<double>(h >> 11) * 0x1.0p-53; }

// A second independent value in [0, 1) from one hash.
double unit(uint64_t h, int64_t salt) { return unit(SynthRandom::hash(static_cast<int64_t>(h), salt, 0x5A17)); }

double smooth(double u) { return u * u * (3.0 - 2.0 * u); }

// Value noise: random values on the integer lattice, smoothly interpolated.
double valueNoise(uint64_t seed, double x, double y) {
  const double fx = std::floor(x), fy = std::floor(y);
  const auto ix = static_cast<int64_t>(fx), iy = static_cast<int64_t>(fy);
  const double u = smooth(x - fx), v = smooth(y - fy);
  const double n00 = unit(SynthRandom::hash(ix, iy, seed));
  const double n10 = unit(SynthRandom::hash(ix + 1, iy, seed));
  const double n01 = unit(SynthRandom::hash(ix, iy + 1, seed));
  const double n11 = unit(SynthRandom::hash(ix + 1, iy + 1, seed));
  return (n00 * (1 - u) + n10 * u) * (1 - v) + (n01 * (1 - u) + n11 * u) * v;
}

// One of five patch patterns, 0 (dark) .. 1 (light), at patch-local (u, v).
double patchPattern(uint64_t h, uint64_t seed, int64_t ci, int64_t cj, double u, double v) {
  const double period = 0.015 + 0.04 * unit(SynthRandom::hash(ci, cj, seed ^ 0xA5));
  switch (h % 5) {
    case 0:  // checker
      return ((static_cast<int64_t>(std::floor(u / period)) + static_cast<int64_t>(std::floor(v / period))) & 1) ? 1.0
                                                                                                                 : 0.0;
    case 1: {  // stripes at an angle
      const double angle = unit(h, 1) * kPi;
      const double s = (u * std::cos(angle) + v * std::sin(angle)) / period;
      return s - std::floor(s) < 0.5 ? 1.0 : 0.0;
    }
    case 2: {  // rings around the patch centre
      const double r = std::hypot(u - kCell * 0.5, v - kCell * 0.5);
      return 0.5 + 0.5 * std::cos(2.0 * kPi * r / period);
    }
    case 3: {  // rows of glyphs: 3 x 5 dot-matrix marks with word gaps
      const double lineF = v / kTextLine, glyphF = u / kGlyph;
      const auto line = static_cast<int64_t>(std::floor(lineF));
      const auto glyph = static_cast<int64_t>(std::floor(glyphF));
      const double yl = lineF - std::floor(lineF), xl = glyphF - std::floor(glyphF);
      if (yl < 0.15 || yl >= 0.85 || xl < 0.1 || xl >= 0.8) return 1.0;
      const uint64_t word = SynthRandom::hash(line * 131 + ci, glyph + cj * 977, seed ^ 0x7E);
      if (word % 6 == 0) return 1.0;  // a space
      const int row = static_cast<int>((yl - 0.15) / 0.7 * 5.0), col = static_cast<int>((xl - 0.1) / 0.7 * 3.0);
      return (word >> (8 + row * 3 + col)) & 1 ? 0.08 : 1.0;
    }
    default: {  // dots
      const double du = u / period - std::floor(u / period) - 0.5, dv = v / period - std::floor(v / period) - 0.5;
      return std::hypot(du, dv) < 0.3 ? 0.0 : 1.0;
    }
  }
}

}  // namespace

std::array<float, 3> SyntheticScene::pattern(uint64_t seed, double a, double b) {
  // Colour noise, six octaves from about a third of a unit down to a few pixels.
  double base[3];
  for (int c = 0; c < 3; ++c) {
    double sum = 0.0, amplitude = 0.5, total = 0.0, frequency = 3.0;
    for (int octave = 0; octave < 6; ++octave) {
      sum += amplitude * valueNoise(seed + static_cast<uint64_t>(c * 101 + octave * 7), a * frequency + c * 17.3,
                                    b * frequency - octave * 5.1);
      total += amplitude;
      amplitude *= 0.6;
      frequency *= 2.03;
    }
    base[c] = std::clamp(0.5 + (sum / total - 0.5) * 2.2, 0.05, 1.0);
  }

  // A patch pattern over the noise.
  const auto ci = static_cast<int64_t>(std::floor(a / kCell)), cj = static_cast<int64_t>(std::floor(b / kCell));
  const double u = a - static_cast<double>(ci) * kCell, v = b - static_cast<double>(cj) * kCell;
  const uint64_t h = SynthRandom::hash(ci, cj, seed ^ 0xCE11);
  const double p = patchPattern(h, seed, ci, cj, u, v);
  double rgb[3];
  if (h % 5 == 3) {
    // Text: dark ink on a pale, tinted paper.
    for (int c = 0; c < 3; ++c) rgb[c] = p * (0.7 + 0.3 * base[c]);
  } else {
    for (int c = 0; c < 3; ++c) rgb[c] = base[c] * (0.3 + 0.7 * p);
  }
  // Thin dark lines along the patch borders.
  const double edge = std::min(std::min(u, kCell - u), std::min(v, kCell - v));
  if (edge < 0.0025) {
    for (double& c : rgb) c *= 0.2;
  }

  // Coloured blobs with soft edges, one per grid square at most.
  const auto gi = static_cast<int64_t>(std::floor(a / kBlobGrid)), gj = static_cast<int64_t>(std::floor(b / kBlobGrid));
  for (int64_t j = gj - 1; j <= gj + 1; ++j) {
    for (int64_t i = gi - 1; i <= gi + 1; ++i) {
      const uint64_t bh = SynthRandom::hash(i, j, seed ^ 0xB10B);
      if (bh % 3 == 0) continue;
      const double cx = (static_cast<double>(i) + 0.2 + 0.6 * unit(bh, 1)) * kBlobGrid;
      const double cy = (static_cast<double>(j) + 0.2 + 0.6 * unit(bh, 2)) * kBlobGrid;
      const double radius = 0.012 + 0.03 * unit(bh, 3);
      const double d = std::hypot(a - cx, b - cy);
      if (d >= radius) continue;
      const double w = std::clamp((radius - d) / (0.3 * radius), 0.0, 1.0);
      const double hue = unit(bh, 4) * 6.0;
      for (int c = 0; c < 3; ++c) {
        // A saturated colour from the hue: each channel a triangle wave.
        const double k = std::fmod(hue + 4.0 - 2.0 * c + 6.0, 6.0);
        const double colour = std::clamp(std::fabs(k - 3.0) - 1.0, 0.0, 1.0);
        rgb[c] = rgb[c] * (1.0 - w) + (0.1 + 0.85 * colour) * w;
      }
    }
  }
  return {static_cast<float>(rgb[0]), static_cast<float>(rgb[1]), static_cast<float>(rgb[2])};
}

SyntheticScene::SyntheticScene(uint64_t seed, double aMin, double aMax, double bMin, double bMax, double density)
    : seed_(seed), aMin_(aMin), bMax_(bMax), density_(density) {
  width_ = std::max(2, static_cast<int>(std::ceil((aMax - aMin) * density)));
  height_ = std::max(2, static_cast<int>(std::ceil((bMax - bMin) * density)));
  texels_.resize(static_cast<size_t>(width_) * height_ * 4);
  auto fill = [this](int first, int step) {
    for (int y = first; y < height_; y += step) {
      uint8_t* row = texels_.data() + static_cast<size_t>(y) * width_ * 4;
      const double b = bMax_ - (y + 0.5) / density_;
      for (int x = 0; x < width_; ++x) {
        const auto rgb = pattern(seed_, aMin_ + (x + 0.5) / density_, b);
        row[x * 4 + 0] = static_cast<uint8_t>(std::lround(rgb[2] * 255.0f));
        row[x * 4 + 1] = static_cast<uint8_t>(std::lround(rgb[1] * 255.0f));
        row[x * 4 + 2] = static_cast<uint8_t>(std::lround(rgb[0] * 255.0f));
        row[x * 4 + 3] = 255;
      }
    }
  };
  onEveryCore(fill);
}

void SyntheticScene::blur(double sigma) {
  if (!(sigma > 0.0)) return;
  const int radius = static_cast<int>(std::ceil(3.0 * sigma));
  std::vector<float> kernel(2 * radius + 1);
  float total = 0.0f;
  for (int k = -radius; k <= radius; ++k) {
    total += kernel[k + radius] = static_cast<float>(std::exp(-0.5 * k * k / (sigma * sigma)));
  }
  for (float& k : kernel) k /= total;
  // One pass along rows into floats, one down the columns back into bytes;
  // the border texels continue beyond the edge.
  std::vector<float> across(texels_.size());
  auto alongRows = [&](int first, int step) {
    for (int y = first; y < height_; y += step) {
      const uint8_t* in = texels_.data() + static_cast<size_t>(y) * width_ * 4;
      float* out = across.data() + static_cast<size_t>(y) * width_ * 4;
      for (int x = 0; x < width_; ++x) {
        for (int c = 0; c < 3; ++c) {
          float s = 0.0f;
          for (int k = -radius; k <= radius; ++k) {
            s += kernel[k + radius] * in[std::clamp(x + k, 0, width_ - 1) * 4 + c];
          }
          out[x * 4 + c] = s;
        }
      }
    }
  };
  auto downColumns = [&](int first, int step) {
    for (int y = first; y < height_; y += step) {
      uint8_t* out = texels_.data() + static_cast<size_t>(y) * width_ * 4;
      for (int x = 0; x < width_; ++x) {
        for (int c = 0; c < 3; ++c) {
          float s = 0.0f;
          for (int k = -radius; k <= radius; ++k) {
            const size_t row = static_cast<size_t>(std::clamp(y + k, 0, height_ - 1));
            s += kernel[k + radius] * across[(row * width_ + x) * 4 + c];
          }
          out[x * 4 + c] = static_cast<uint8_t>(std::clamp(std::lround(s), 0L, 255L));
        }
      }
    }
  };
  onEveryCore(alongRows);
  onEveryCore(downColumns);
}

bool SyntheticScene::project(const Rotation& q, const std::array<double, 3>& c, double* a, double* b) {
  const auto d = q.rotate(c);
  if (!(-d[2] > 1e-9)) return false;
  *a = d[0] / -d[2];
  *b = d[1] / -d[2];
  return true;
}

void SyntheticScene::sample(double a, double b, uint8_t bgra[4]) const {
  sampleBgraBilinear(texels_.data(), static_cast<size_t>(width_) * 4, width_, height_, (a - aMin_) * density_ - 0.5,
                     (bMax_ - b) * density_ - 0.5, bgra);
}

void SyntheticScene::render(PixelBuffer& out, double focalPx,
                            const std::function<Rotation(int)>& rowOrientation) const {
  const int w = out.width(), h = out.height();
  auto rows = [&](int first, int step) {
    for (int y = first; y < h; y += step) {
      const Rotation q = rowOrientation(y);
      // The row's rays are c = (xc, yc, -1) with xc growing along the row,
      // so their reference-frame directions are M*c = xc*M0 + (yc*M1 - M2).
      const double xx = q.x * q.x, yy = q.y * q.y, zz = q.z * q.z;
      const double xy = q.x * q.y, xz = q.x * q.z, yz = q.y * q.z, wx = q.w * q.x, wy = q.w * q.y, wz = q.w * q.z;
      const double m[3][3] = {{1 - 2 * (yy + zz), 2 * (xy - wz), 2 * (xz + wy)},
                              {2 * (xy + wz), 1 - 2 * (xx + zz), 2 * (yz - wx)},
                              {2 * (xz - wy), 2 * (yz + wx), 1 - 2 * (xx + yy)}};
      const double yc = (h * 0.5 - y - 0.5) / focalPx;
      const double base[3] = {yc * m[0][1] - m[0][2], yc * m[1][1] - m[1][2], yc * m[2][1] - m[2][2]};
      uint8_t* px = out.row(y);
      for (int x = 0; x < w; ++x, px += 4) {
        const double xc = (x + 0.5 - w * 0.5) / focalPx;
        const double dx = base[0] + xc * m[0][0], dy = base[1] + xc * m[1][0], dz = base[2] + xc * m[2][0];
        if (!(-dz > 1e-9)) {
          px[0] = px[1] = px[2] = 0;
          px[3] = 255;
          continue;
        }
        sample(dx / -dz, dy / -dz, px);
      }
    }
  };
  onEveryCore(rows);
}

}  // namespace nudora::tool
