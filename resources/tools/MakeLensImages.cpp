// Writes the lens filters' images into the "Textures" resources:
//
//   nudora_make_lens_images OUTDIR
//
// frosted.jpg: 1024 x 576 grey. Frost on a window pane: 0 where the glass is
// clear (the middle), up to white where ice crystals grew (the edges and the
// corners, with branching crystals reaching inwards). The snowy lens lays it
// over the picture as the amount of frost.
//
// rain.jpg: 1024 x 576. Water drops on a window, as refraction data: red and
// green are the drop surface's slope across and down (128 = flat, 0 and 255
// the steepest, at a drop's rim), blue is how much water lies there (0 dry
// glass, 255 inside a drop). Large drops run down and leave trails of small
// ones. The rainy lens bends the picture through the drops by the slopes.
//
// TV_noise.jpg: 512 x 512 grey, a 4 x 4 grid of 128 x 128 tiles of analogue
// television static (snow smeared along the lines, with a few brighter
// streaks); the TV and night-vision lenses pick one tile per frame.
//
// blood.jpg: 1024 x 576. Dark red blood running down from the top edge,
// premultiplied on black: black means no blood, and red never falls below
// 35% of its full value inside the blood, so red / 0.35 (at most 1) gives
// the coverage back.
//
// matrix.png: 128 x 128, 16 x 16 cells of 8 x 8 pixels, each holding one
// green glyph of our own pixel design on black. Glyphs are sorted by how much
// ink they hold: column 0 the sparsest, column 15 the densest; the 16 cells
// of a column are variants of about the same density.
//
// displacement_test.jpg: 512 x 512. A smooth displacement field: red and
// green are the x and y offsets, 128 meaning none, blue stays 128.
//
// Everything random comes from fixed-seed generators and plain arithmetic, so
// running this again writes the same bytes. The output is committed; run this
// again after changing an image.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "FixedRandom.h"

#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb_image_write.h>

namespace {

constexpr double kPi = 3.14159265358979323846;


uint8_t byteOf(double v) { return static_cast<uint8_t>(std::lround(std::clamp(v, 0.0, 255.0))); }

double smoothstep(double e0, double e1, double x) {
  const double t = std::clamp((x - e0) / (e1 - e0), 0.0, 1.0);
  return t * t * (3 - 2 * t);
}

// A float canvas of one value per pixel.
struct Canvas {
  int width, height;
  std::vector<double> v;
  Canvas(int w, int h, double fill = 0.0) : width(w), height(h), v(static_cast<size_t>(w) * h, fill) {}
  bool inside(int x, int y) const { return x >= 0 && y >= 0 && x < width && y < height; }
  double& at(int x, int y) { return v[static_cast<size_t>(y) * width + x]; }
  double at(int x, int y) const { return v[static_cast<size_t>(y) * width + x]; }
};

// Smooth value noise on a lattice of the given cell size in pixels.
class ValueNoise {
 public:
  ValueNoise(uint32_t seed, int lattice) : lattice_(lattice), values_(lattice * lattice) {
    Random random(seed);
    for (double& v : values_) v = random.uniform();
  }
  // In [0, 1], repeating every lattice cells.
  double at(double x, double y) const {
    const double fx = std::floor(x), fy = std::floor(y);
    const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
    const double ax = smoothstep(0, 1, x - fx), ay = smoothstep(0, 1, y - fy);
    auto value = [&](int i, int j) {
      return values_[static_cast<size_t>(((j % lattice_) + lattice_) % lattice_) * lattice_ +
                     ((i % lattice_) + lattice_) % lattice_];
    };
    const double top = value(ix, iy) + (value(ix + 1, iy) - value(ix, iy)) * ax;
    const double bottom = value(ix, iy + 1) + (value(ix + 1, iy + 1) - value(ix, iy + 1)) * ax;
    return top + (bottom - top) * ay;
  }
  // Four octaves, in [0, 1].
  double fractal(double x, double y) const {
    double sum = 0, weight = 0, amplitude = 1;
    for (int octave = 0; octave < 4; ++octave) {
      sum += amplitude * at(x, y);
      weight += amplitude;
      x = x * 2.03 + 17.0;
      y = y * 2.03 + 31.0;
      amplitude *= 0.5;
    }
    return sum / weight;
  }

 private:
  int lattice_;
  std::vector<double> values_;
};

bool writeJpg(const std::string& dir, const char* file, int w, int h, int channels, const std::vector<uint8_t>& bytes,
              int quality) {
  const std::string path = dir + "/" + file;
  if (!stbi_write_jpg(path.c_str(), w, h, channels, bytes.data(), quality)) {
    std::fprintf(stderr, "nudora_make_lens_images: cannot write %s\n", path.c_str());
    return false;
  }
  std::printf("%s\n", path.c_str());
  return true;
}

std::vector<uint8_t> greyBytes(const Canvas& c) {
  std::vector<uint8_t> out(c.v.size());
  for (size_t i = 0; i < c.v.size(); ++i) out[i] = byteOf(c.v[i] * 255.0);
  return out;
}

// ---- Frost ----

constexpr int kWide = 1024;
constexpr int kWideHeight = 576;

// A soft line from (x0, y0) to (x1, y1) of the given half width, raising the
// canvas to value (the brightest stroke wins where strokes cross).
void stroke(Canvas& c, double x0, double y0, double x1, double y1, double halfWidth, double value) {
  const double length = std::hypot(x1 - x0, y1 - y0);
  const int steps = std::max(1, static_cast<int>(length * 2));
  for (int s = 0; s <= steps; ++s) {
    const double t = static_cast<double>(s) / steps;
    const double cx = x0 + (x1 - x0) * t, cy = y0 + (y1 - y0) * t;
    const int r = static_cast<int>(std::ceil(halfWidth + 1));
    for (int y = static_cast<int>(cy) - r; y <= static_cast<int>(cy) + r; ++y) {
      for (int x = static_cast<int>(cx) - r; x <= static_cast<int>(cx) + r; ++x) {
        if (!c.inside(x, y)) continue;
        const double d = std::hypot(x + 0.5 - cx, y + 0.5 - cy);
        const double a = std::clamp(halfWidth + 0.5 - d, 0.0, 1.0);
        c.at(x, y) = std::max(c.at(x, y), value * a);
      }
    }
  }
}

// A frost crystal: a stem with side branches at 60 degrees, each branch
// shorter the further out it sits, the branches branching once more.
void crystal(Canvas& c, Random& random, double x, double y, double angle, double length, double value, int depth) {
  const double ex = x + std::cos(angle) * length, ey = y + std::sin(angle) * length;
  stroke(c, x, y, ex, ey, depth == 0 ? 0.8 : 0.5, value);
  if (depth >= 2 || length < 6) return;
  const int branches = 2 + random.below(4);
  for (int b = 1; b <= branches; ++b) {
    const double t = static_cast<double>(b) / (branches + 1);
    const double bx = x + (ex - x) * t, by = y + (ey - y) * t;
    const double side = length * (1 - t) * random.between(0.3, 0.6);
    const double turn = kPi / 3 + random.between(-0.15, 0.15);
    crystal(c, random, bx, by, angle + turn, side, value * 0.9, depth + 1);
    crystal(c, random, bx, by, angle - turn, side * random.between(0.6, 1.0), value * 0.9, depth + 1);
  }
}

bool writeFrost(const std::string& dir) {
  Random random(2401);
  const ValueNoise edgeNoise(24, 16), grainNoise(2424, 64);
  Canvas frost(kWide, kWideHeight);
  // Distance from the nearest edge in frame heights, pushed about by noise so
  // that the frosted border is ragged; the corners are doubly covered.
  auto cover = [&](double x, double y) {
    const double u = x / kWideHeight, v = y / kWideHeight, w = static_cast<double>(kWide) / kWideHeight;
    const double edge = std::min(std::min(u, w - u), std::min(v, 1 - v));
    const double corner = std::hypot(std::min(u, w - u), std::min(v, 1 - v));
    const double d = std::min(edge * 1.25, corner * 0.8) + 0.3 * (edgeNoise.fractal(u * 4, v * 4) - 0.5);
    return 1 - smoothstep(0.04, 0.3, d);
  };
  for (int y = 0; y < kWideHeight; ++y) {
    for (int x = 0; x < kWide; ++x) {
      // A milky film of fine ice where the frost is thick.
      const double film = 0.55 * std::pow(cover(x, y), 1.5) * (0.55 + 0.45 * grainNoise.fractal(x / 6.0, y / 6.0));
      frost.at(x, y) = film;
    }
  }
  Canvas crystals(kWide, kWideHeight);
  for (int i = 0; i < 900; ++i) {
    const double x = random.between(0, kWide), y = random.between(0, kWideHeight);
    const double c = cover(x, y);
    if (!random.chance(c * c)) continue;
    // Crystals grow inwards, away from the nearest edge, and fan out.
    const double towardsCentre = std::atan2(kWideHeight * 0.5 - y, kWide * 0.5 - x);
    const double angle = towardsCentre + random.between(-1.1, 1.1);
    crystal(crystals, random, x, y, angle, random.between(12, 55) * (0.5 + c), random.between(0.55, 0.95), 0);
  }
  for (size_t i = 0; i < frost.v.size(); ++i) frost.v[i] = 1 - (1 - frost.v[i]) * (1 - crystals.v[i]);
  return writeJpg(dir, "frosted.jpg", kWide, kWideHeight, 1, greyBytes(frost), 88);
}

// ---- Rain ----

// Water on the glass as a height field in pixels; a drop is a paraboloid
// cap, slightly fuller at its lower side, as gravity pulls it.
void drop(Canvas& water, double cx, double cy, double radius) {
  const double rx = radius, ry = radius * 1.15;
  const int r = static_cast<int>(std::ceil(ry + 2));
  for (int y = static_cast<int>(cy) - r; y <= static_cast<int>(cy) + r; ++y) {
    for (int x = static_cast<int>(cx) - r; x <= static_cast<int>(cx) + r; ++x) {
      if (!water.inside(x, y)) continue;
      const double dx = (x + 0.5 - cx) / rx, dy = (y + 0.5 - cy) / ry;
      // Squeeze the upper half a little: a teardrop.
      const double dyShaped = dy < 0 ? dy * 1.2 : dy;
      const double d2 = dx * dx + dyShaped * dyShaped;
      if (d2 >= 1) continue;
      water.at(x, y) = std::max(water.at(x, y), radius * 0.5 * (1 - d2));
    }
  }
}

bool writeRain(const std::string& dir) {
  Random random(2525);
  Canvas water(kWide, kWideHeight);
  // A mist of tiny droplets.
  for (int i = 0; i < 1500; ++i) drop(water, random.between(0, kWide), random.between(0, kWideHeight), random.between(0.8, 2.4));
  // Middle-sized drops.
  for (int i = 0; i < 320; ++i) drop(water, random.between(0, kWide), random.between(0, kWideHeight), random.between(2.5, 7));
  // Large drops that ran down, each with a wavering trail of small ones above it.
  for (int i = 0; i < 34; ++i) {
    const double x = random.between(0, kWide), y = random.between(kWideHeight * 0.2, kWideHeight * 1.05);
    const double radius = random.between(7, 15);
    const double trail = random.between(60, 320);
    double tx = x;
    for (double t = radius; t < trail; t += random.between(5, 12)) {
      tx += random.between(-1.5, 1.5);
      drop(water, tx, y - t, std::max(1.0, radius * 0.35 * (1 - t / trail) + random.between(0.3, 1.4)));
    }
    drop(water, x, y, radius);
  }
  std::vector<uint8_t> rgb(static_cast<size_t>(kWide) * kWideHeight * 3);
  for (int y = 0; y < kWideHeight; ++y) {
    for (int x = 0; x < kWide; ++x) {
      auto h = [&](int i, int j) { return water.at(std::clamp(i, 0, kWide - 1), std::clamp(j, 0, kWideHeight - 1)); };
      // Slope by central differences: 0 on flat glass, up to about 1 at a rim.
      const double sx = (h(x + 1, y) - h(x - 1, y)) * 0.5, sy = (h(x, y + 1) - h(x, y - 1)) * 0.5;
      const double wet = std::clamp(h(x, y) * 4.0, 0.0, 1.0);
      uint8_t* p = &rgb[(static_cast<size_t>(y) * kWide + x) * 3];
      p[0] = byteOf(128 + 127 * std::clamp(sx, -1.0, 1.0));
      p[1] = byteOf(128 + 127 * std::clamp(sy, -1.0, 1.0));
      p[2] = byteOf(255 * wet);
    }
  }
  return writeJpg(dir, "rain.jpg", kWide, kWideHeight, 3, rgb, 88);
}

// ---- Television static ----

constexpr int kStaticTile = 128;
constexpr int kStaticGrid = 4;
constexpr int kStaticSide = kStaticTile * kStaticGrid;

bool writeStatic(const std::string& dir) {
  Random random(1936);
  Canvas snow(kStaticSide, kStaticSide);
  for (int y = 0; y < kStaticSide; ++y) {
    // The receiver smears the noise along the line it draws: each pixel keeps
    // part of the one before it.
    double previous = random.uniform();
    const double lineGain = random.chance(0.04) ? random.between(1.15, 1.4) : 1.0;
    for (int x = 0; x < kStaticSide; ++x) {
      const double fresh = random.uniform();
      previous = 0.45 * previous + 0.55 * fresh;
      snow.at(x, y) = previous;
    }
    // Stretch back to the full range (the smear narrows it) and brighten the odd line.
    for (int x = 0; x < kStaticSide; ++x) {
      snow.at(x, y) = std::clamp(0.5 + (snow.at(x, y) - 0.5) * 1.7 * lineGain + (lineGain - 1) * 0.3, 0.0, 1.0);
    }
  }
  return writeJpg(dir, "TV_noise.jpg", kStaticSide, kStaticSide, 1, greyBytes(snow), 90);
}

// ---- Blood ----

bool writeBlood(const std::string& dir) {
  Random random(1897);
  const ValueNoise rim(40, 64);
  Canvas cover(kWide, kWideHeight), shade(kWide, kWideHeight, 0.55);
  // The soaked band along the top edge, of ragged depth.
  for (int y = 0; y < kWideHeight; ++y) {
    for (int x = 0; x < kWide; ++x) {
      const double depth = 10 + 26 * rim.fractal(x / 40.0, 0.5);
      cover.at(x, y) = std::clamp(depth - y + 0.5, 0.0, 1.0);
      shade.at(x, y) = 0.45 + 0.2 * rim.fractal(x / 9.0, y / 9.0);
    }
  }
  // Drips: a run that narrows as it goes and ends in a round bead; lit from
  // the upper left, so the left side of each run catches a highlight.
  for (int i = 0; i < 30; ++i) {
    const double x0 = random.between(0, kWide), width = random.between(2.5, 9);
    const double length = random.chance(0.3) ? random.between(180, 420) : random.between(30, 160);
    const double wobble = random.between(0, 2 * kPi);
    auto centreAt = [&](double y) { return x0 + 2.5 * std::sin(y / 37.0 + wobble); };
    auto halfWidthAt = [&](double y) { return width * (1 - 0.45 * y / length); };
    const double bead = width * 1.35;
    for (int y = 0; y < static_cast<int>(length + bead + 2) && y < kWideHeight; ++y) {
      for (int x = static_cast<int>(x0 - bead - 5); x <= static_cast<int>(x0 + bead + 5); ++x) {
        if (!cover.inside(x, y)) continue;
        double across = 2.0, a = 0.0;
        if (y <= length) {
          across = (x + 0.5 - centreAt(y)) / halfWidthAt(y);
          a = std::clamp((1 - std::abs(across)) * halfWidthAt(y) + 0.5, 0.0, 1.0);
        }
        const double dx = x + 0.5 - centreAt(length), dy = y + 0.5 - length;
        const double d = std::hypot(dx, dy) / bead;
        if (d < 1.0 + 1.0 / bead) {
          const double ab = std::clamp((1 - d) * bead + 0.5, 0.0, 1.0);
          if (ab > a) {
            a = ab;
            across = dx / bead;
          }
        }
        if (a <= cover.at(x, y)) continue;
        cover.at(x, y) = a;
        const double light = std::max(0.0, 1 - (across + 0.4) * (across + 0.4) * 2.5);
        shade.at(x, y) = 0.45 + 0.45 * light * light;
      }
    }
  }
  std::vector<uint8_t> rgb(static_cast<size_t>(kWide) * kWideHeight * 3);
  for (size_t i = 0; i < cover.v.size(); ++i) {
    const double a = cover.v[i], s = shade.v[i];
    rgb[i * 3 + 0] = byteOf(255 * a * std::clamp(s, 0.35, 1.0));
    rgb[i * 3 + 1] = byteOf(255 * a * 0.05 * s * s);
    rgb[i * 3 + 2] = byteOf(255 * a * 0.06 * s * s);
  }
  return writeJpg(dir, "blood.jpg", kWide, kWideHeight, 3, rgb, 92);
}

// ---- Glyphs ----

constexpr int kGlyph = 8;
constexpr int kGlyphGrid = 16;
constexpr int kGlyphSheet = kGlyph * kGlyphGrid;

using Glyph = std::array<std::array<bool, kGlyph>, kGlyph>;

// A glyph on a 6 x 7 grid inside the 8 x 8 cell (a blank column and row keep
// neighbours apart): a few strokes from a small set (bars, hooks, diagonals,
// dots), sometimes mirrored, which reads as an unknown script.
Glyph makeGlyph(Random& random) {
  Glyph g{};
  auto set = [&](int x, int y) {
    if (x >= 0 && x < 6 && y >= 0 && y < 7) g[y + 1][x + 1] = true;
  };
  const int strokes = 1 + random.below(4);
  for (int s = 0; s < strokes; ++s) {
    const int kind = random.below(6);
    const int a = random.below(6), b = random.below(7);
    switch (kind) {
      case 0:  // vertical bar
        for (int y = random.below(3); y < 7 - random.below(2); ++y) set(a, y);
        break;
      case 1:  // horizontal bar
        for (int x = random.below(2); x < 6 - random.below(2); ++x) set(x, b);
        break;
      case 2:  // falling diagonal
        for (int i = 0; i < 4 + random.below(3); ++i) set(a - i, b + i - 3);
        break;
      case 3:  // hook: across then down
        for (int x = 0; x < 4; ++x) set(a - 3 + x, b - 3);
        for (int y = 0; y < 4; ++y) set(a, b - 3 + y);
        break;
      case 4:  // short tick
        set(a, b);
        set(a + 1, b + 1);
        break;
      default:  // box corner
        for (int i = 0; i < 3; ++i) {
          set(a + i, b);
          set(a, b + i);
        }
        break;
    }
  }
  if (random.chance(0.5)) {
    for (auto& row : g) std::reverse(row.begin() + 1, row.begin() + 7);
  }
  return g;
}

int ink(const Glyph& g) {
  int n = 0;
  for (const auto& row : g) n += static_cast<int>(std::count(row.begin(), row.end(), true));
  return n;
}

bool writeGlyphs(const std::string& dir) {
  Random random(1999);
  std::vector<Glyph> glyphs;
  while (glyphs.size() < kGlyphGrid * kGlyphGrid) {
    Glyph g = makeGlyph(random);
    if (ink(g) >= 4) glyphs.push_back(g);
  }
  std::stable_sort(glyphs.begin(), glyphs.end(), [](const Glyph& a, const Glyph& b) { return ink(a) < ink(b); });
  std::vector<uint8_t> rgb(static_cast<size_t>(kGlyphSheet) * kGlyphSheet * 3, 0);
  for (int i = 0; i < kGlyphGrid * kGlyphGrid; ++i) {
    const int column = i / kGlyphGrid, row = i % kGlyphGrid;
    for (int y = 0; y < kGlyph; ++y) {
      for (int x = 0; x < kGlyph; ++x) {
        if (!glyphs[i][y][x]) continue;
        uint8_t* p = &rgb[(static_cast<size_t>(row * kGlyph + y) * kGlyphSheet + column * kGlyph + x) * 3];
        p[0] = 70;
        p[1] = 255;
        p[2] = 110;
      }
    }
  }
  const std::string path = dir + "/matrix.png";
  if (!stbi_write_png(path.c_str(), kGlyphSheet, kGlyphSheet, 3, rgb.data(), kGlyphSheet * 3)) {
    std::fprintf(stderr, "nudora_make_lens_images: cannot write %s\n", path.c_str());
    return false;
  }
  std::printf("%s\n", path.c_str());
  return true;
}

// ---- Displacement ----

constexpr int kDisplacementSide = 512;

bool writeDisplacement(const std::string& dir) {
  Random random(3434);
  // Each offset is a sum of three plane waves of 1 to 3 cycles across the map.
  struct Wave {
    double fx, fy, phase, amplitude;
  };
  std::array<std::array<Wave, 3>, 2> waves{};
  for (auto& channel : waves) {
    for (auto& w : channel) {
      w = {random.between(-3, 3), random.between(-3, 3), random.between(0, 2 * kPi), random.between(0.5, 1.0)};
    }
  }
  std::vector<uint8_t> rgb(static_cast<size_t>(kDisplacementSide) * kDisplacementSide * 3);
  for (int y = 0; y < kDisplacementSide; ++y) {
    for (int x = 0; x < kDisplacementSide; ++x) {
      const double u = (x + 0.5) / kDisplacementSide, v = (y + 0.5) / kDisplacementSide;
      uint8_t* p = &rgb[(static_cast<size_t>(y) * kDisplacementSide + x) * 3];
      for (int c = 0; c < 2; ++c) {
        double sum = 0, total = 0;
        for (const Wave& w : waves[c]) {
          sum += w.amplitude * std::sin(2 * kPi * (w.fx * u + w.fy * v) + w.phase);
          total += w.amplitude;
        }
        p[c] = byteOf(128 + 110 * sum / total);
      }
      p[2] = 128;
    }
  }
  return writeJpg(dir, "displacement_test.jpg", kDisplacementSide, kDisplacementSide, 3, rgb, 95);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: nudora_make_lens_images OUTDIR\n");
    return 2;
  }
  const std::string dir = argv[1];
  const bool ok = writeFrost(dir) && writeRain(dir) && writeStatic(dir) && writeBlood(dir) && writeGlyphs(dir) &&
                  writeDisplacement(dir);
  return ok ? 0 : 1;
}
