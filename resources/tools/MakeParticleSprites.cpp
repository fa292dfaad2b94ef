// Writes the particle lens filters' sprite images into the "Textures" resources:
//
//   nudora_make_particle_sprites OUTDIR
//
// All four are RGBA PNGs with straight (not premultiplied) alpha; the
// library premultiplies on upload. Sprite sheets are 4 x 4 grids of equal
// cells, cell k at column k % 4 and row k / 4 from the top, each with a
// transparent rim so that neighbouring cells never bleed into each other
// under linear filtering. A sprite is drawn upright: row 0 is its top.
//
// light.png: 128 x 128. One out-of-focus light as a fast lens draws it: a
// warm disc with a soft edge, a slightly brighter rim and a faint halo.
//
// sakura.png: 512 x 512, 16 cells of 128. Cherry blossoms: cells 0 .. 5 are
// five-petalled flowers (turned and tilted, pink with a darker heart and
// stamens), cells 6 .. 15 single notched petals seen at varied angles, as
// they tumble down.
//
// rain.png: 512 x 512, 16 cells of 128. Rain streaks: one thin, slightly
// slanted, translucent bluish-white streak per cell, 40 to 110 pixels long,
// fading out towards its upper end.
//
// wolfclaws.png: 1024 x 1024, cells of 256. Cells 0 .. 7 (the upper half)
// hold claw marks: three or four parallel torn slashes in dark red, with
// ragged edges, a few drips and specks. The lower half is left empty: the
// claw-mark emitter uses eight variants. The cells are larger than the other
// sheets' because claw marks are drawn at the largest point size there is.
//
// Everything random comes from fixed-seed generators and plain arithmetic, so
// running this again writes the same bytes. The output is committed; run this
// again after changing an image.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "FixedRandom.h"

#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb_image_write.h>

namespace {

constexpr double kPi = 3.14159265358979323846;

double smoothstep(double e0, double e1, double x) {
  const double t = std::clamp((x - e0) / (e1 - e0), 0.0, 1.0);
  return t * t * (3 - 2 * t);
}

struct Rgb {
  double r, g, b;
};

Rgb mix(Rgb a, Rgb b, double t) { return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t}; }

// Colour (0 .. 1, straight) and coverage of a shape at one point.
struct Paint {
  Rgb colour;
  double alpha;
};

// A premultiplied RGBA canvas; shapes are laid over it one after another.
class Canvas {
 public:
  Canvas(int width, int height) : width_(width), height_(height), v_(static_cast<size_t>(width) * height * 4, 0.0) {}

  // Lays a shape over the pixels of the box [x0, x1) x [y0, y1), averaging
  // samples x samples points per pixel. The shape gets pixel coordinates.
  void paint(int x0, int y0, int x1, int y1, int samples, const std::function<Paint(double, double)>& shape) {
    x0 = std::max(x0, 0), y0 = std::max(y0, 0), x1 = std::min(x1, width_), y1 = std::min(y1, height_);
    const double n = samples * samples;
    for (int y = y0; y < y1; ++y) {
      for (int x = x0; x < x1; ++x) {
        double r = 0, g = 0, b = 0, a = 0;
        for (int j = 0; j < samples; ++j) {
          for (int i = 0; i < samples; ++i) {
            const Paint p = shape(x + (i + 0.5) / samples, y + (j + 0.5) / samples);
            if (p.alpha <= 0) continue;
            r += p.colour.r * p.alpha, g += p.colour.g * p.alpha, b += p.colour.b * p.alpha, a += p.alpha;
          }
        }
        if (a <= 0) continue;
        double* d = &v_[(static_cast<size_t>(y) * width_ + x) * 4];
        const double keep = 1.0 - a / n;
        d[0] = r / n + d[0] * keep, d[1] = g / n + d[1] * keep, d[2] = b / n + d[2] * keep, d[3] = a / n + d[3] * keep;
      }
    }
  }

  // Straight-alpha RGBA bytes; fully transparent pixels are black.
  std::vector<uint8_t> bytes() const {
    std::vector<uint8_t> out(v_.size());
    for (size_t i = 0; i < v_.size(); i += 4) {
      const double a = std::clamp(v_[i + 3], 0.0, 1.0);
      const uint8_t alpha = static_cast<uint8_t>(std::lround(a * 255.0));
      out[i + 3] = alpha;
      if (alpha == 0) continue;
      for (int c = 0; c < 3; ++c) {
        out[i + c] = static_cast<uint8_t>(std::lround(std::clamp(v_[i + c] / a, 0.0, 1.0) * 255.0));
      }
    }
    return out;
  }

  bool write(const std::string& dir, const char* file) const {
    const std::string path = dir + "/" + file;
    const std::vector<uint8_t> rgba = bytes();
    if (!stbi_write_png(path.c_str(), width_, height_, 4, rgba.data(), width_ * 4)) {
      std::fprintf(stderr, "nudora_make_particle_sprites: cannot write %s\n", path.c_str());
      return false;
    }
    return true;
  }

 private:
  int width_, height_;
  std::vector<double> v_;
};

// Distance from p to the segment a-b, and where along it (0 .. 1) the closest point lies.
double segmentDistance(double px, double py, double ax, double ay, double bx, double by, double* along = nullptr) {
  const double dx = bx - ax, dy = by - ay, len2 = dx * dx + dy * dy;
  const double t = len2 > 0 ? std::clamp(((px - ax) * dx + (py - ay) * dy) / len2, 0.0, 1.0) : 0.0;
  if (along) *along = t;
  return std::hypot(px - ax - t * dx, py - ay - t * dy);
}

// A smooth random curve over 0 .. 1 with values in -1 .. 1: linear between knots.
class Wobble {
 public:
  Wobble(Random& random, int knots) : v_(knots + 1) {
    for (double& v : v_) v = random.between(-1.0, 1.0);
  }
  double at(double t) const {
    const double x = std::clamp(t, 0.0, 1.0) * (v_.size() - 1);
    const size_t i = std::min(static_cast<size_t>(x), v_.size() - 2);
    return v_[i] + (v_[i + 1] - v_[i]) * (x - i);
  }

 private:
  std::vector<double> v_;
};

// --- light.png -------------------------------------------------------------

bool writeLight(const std::string& dir) {
  constexpr int kSide = 128;
  constexpr double kCentre = kSide / 2.0, kRadius = 46.0;
  const Rgb core{1.0, 0.95, 0.84}, rim{1.0, 0.72, 0.42};
  Canvas canvas(kSide, kSide);
  canvas.paint(0, 0, kSide, kSide, 4, [&](double x, double y) {
    const double d = std::hypot(x - kCentre, y - kCentre);
    // The disc of the aperture, a little brighter towards its rim as real
    // out-of-focus highlights are, with a thin soft edge.
    const double disc = smoothstep(kRadius + 1.5, kRadius - 1.5, d);
    const double body = 0.62 + 0.22 * smoothstep(0.55 * kRadius, kRadius, d) + 0.16 * std::exp(-std::pow(d / 14.0, 2));
    // A faint halo just outside, gone before the sprite's edge.
    const double halo = 0.22 * std::exp(-std::pow((d - kRadius) / 6.0, 2)) * smoothstep(kCentre, kCentre - 6.0, d);
    const double alpha = std::min(1.0, disc * body + (1.0 - disc) * halo);
    return Paint{mix(core, rim, smoothstep(0.0, kRadius + 6.0, d)), alpha};
  });
  return canvas.write(dir, "light.png");
}

// --- sakura.png ------------------------------------------------------------

// Maps pixel offsets from a shape's centre into its own frame: turned by
// `turn`, and squashed by `tilt` along the axis at angle `axis`, as a flat
// blossom seen at a slant.
struct View {
  double cx, cy, turn, axis, tilt;
  void toShape(double x, double y, double* u, double* v) const {
    x -= cx, y -= cy;
    // Undo the squash along the axis...
    const double ca = std::cos(axis), sa = std::sin(axis);
    double a = x * ca + y * sa, b = -x * sa + y * ca;
    b /= tilt;
    x = a * ca - b * sa, y = a * sa + b * ca;
    // ...then the turn.
    const double ct = std::cos(turn), st = std::sin(turn);
    *u = x * ct + y * st;
    *v = -x * st + y * ct;
  }
};

// One cherry petal along +u from its base at the origin: narrow at the
// base, widest two thirds out, with the small notch at its tip that tells a
// cherry petal from any other. Answers the coverage (0 or 1) and colour.
Paint petal(double u, double v, double length, double width, const Rgb& base, const Rgb& tip) {
  if (u <= 0 || u >= length) return {base, 0.0};
  const double t = u / length;
  const double half = width * std::pow(t, 0.6) * std::sqrt(std::max(0.0, 1.0 - std::pow(t, 4)));
  if (std::abs(v) > half) return {base, 0.0};
  constexpr double kNotchDepth = 0.14;
  if (t > 1.0 - kNotchDepth && std::abs(v) < 0.3 * width * (t - (1.0 - kNotchDepth)) / kNotchDepth) return {base, 0.0};
  Rgb colour = mix(base, tip, smoothstep(0.0, 0.75, t));
  // A faint middle vein and slightly deeper edges.
  const double vein = 0.10 * std::exp(-std::pow(v / (0.07 * width), 2)) * (1.0 - t);
  const double edge = 0.06 * smoothstep(0.75, 1.0, std::abs(v) / std::max(half, 1e-6));
  colour = mix(colour, base, std::min(1.0, vein + edge));
  return {colour, 0.96};
}

void drawFlower(Canvas& canvas, int x0, int y0, int side, Random& random) {
  const View view{x0 + side / 2.0 + random.between(-3, 3), y0 + side / 2.0 + random.between(-3, 3),
                  random.between(0, 2 * kPi), random.between(0, kPi), random.between(0.65, 1.0)};
  const double length = random.between(0.40, 0.46) * side, width = length * random.between(0.42, 0.5);
  const Rgb base{0.93, 0.50, 0.66}, tip{1.0, 0.88, 0.92};
  for (int k = 0; k < 5; ++k) {
    const double angle = k * 2 * kPi / 5 + random.between(-0.12, 0.12);
    const double grow = random.between(0.9, 1.05);
    canvas.paint(x0, y0, x0 + side, y0 + side, 4, [&](double x, double y) {
      double u, v;
      view.toShape(x, y, &u, &v);
      const double c = std::cos(angle), s = std::sin(angle);
      return petal(u * c + v * s, -u * s + v * c, length * grow, width, base, tip);
    });
  }
  // The blossom's heart: a deeper pink eye and a ring of stamens with pale
  // yellow anthers.
  const double eye = 0.13 * length;
  canvas.paint(x0, y0, x0 + side, y0 + side, 4, [&](double x, double y) {
    double u, v;
    view.toShape(x, y, &u, &v);
    const double d = std::hypot(u, v);
    return Paint{mix(Rgb{0.72, 0.18, 0.38}, Rgb{0.86, 0.36, 0.52}, d / eye), smoothstep(eye, eye * 0.7, d) * 0.95};
  });
  const int stamens = 12 + random.below(5);
  for (int k = 0; k < stamens; ++k) {
    const double angle = k * 2 * kPi / stamens + random.between(-0.15, 0.15);
    const double reach = length * random.between(0.26, 0.36);
    const double ex = reach * std::cos(angle), ey = reach * std::sin(angle);
    canvas.paint(x0, y0, x0 + side, y0 + side, 4, [&](double x, double y) {
      double u, v;
      view.toShape(x, y, &u, &v);
      const double stalk = segmentDistance(u, v, 0, 0, ex, ey);
      const double anther = std::hypot(u - ex, v - ey);
      if (anther < 2.2) return Paint{{0.98, 0.86, 0.52}, 0.95};
      if (stalk < 0.6) return Paint{{0.80, 0.30, 0.45}, 0.8};
      return Paint{{0, 0, 0}, 0.0};
    });
  }
}

void drawPetal(Canvas& canvas, int x0, int y0, int side, Random& random) {
  const View view{x0 + side / 2.0, y0 + side / 2.0, random.between(0, 2 * kPi), random.between(0, kPi),
                  random.between(0.45, 1.0)};
  const double length = random.between(0.55, 0.72) * side, width = length * random.between(0.36, 0.46);
  const Rgb base{0.95, 0.58, 0.72}, tip{1.0, 0.9, 0.94};
  canvas.paint(x0, y0, x0 + side, y0 + side, 4, [&](double x, double y) {
    double u, v;
    view.toShape(x, y, &u, &v);
    // Centred on the sprite: the petal's middle, not its base, at the centre.
    return petal(u + length / 2, v, length, width, base, tip);
  });
}

bool writeSakura(const std::string& dir) {
  constexpr int kCell = 128, kSheet = 512;
  Canvas canvas(kSheet, kSheet);
  Random random(0x5a4b);
  for (int k = 0; k < 16; ++k) {
    const int x0 = k % 4 * kCell, y0 = k / 4 * kCell;
    if (k < 6) {
      drawFlower(canvas, x0, y0, kCell, random);
    } else {
      drawPetal(canvas, x0, y0, kCell, random);
    }
  }
  return canvas.write(dir, "sakura.png");
}

// --- rain.png --------------------------------------------------------------

bool writeRain(const std::string& dir) {
  constexpr int kCell = 128, kSheet = 512;
  Canvas canvas(kSheet, kSheet);
  Random random(0x7261);
  for (int k = 0; k < 16; ++k) {
    const int x0 = k % 4 * kCell, y0 = k / 4 * kCell;
    const double length = random.between(40.0, 110.0);
    // Wind pushes the drops: the streak leans with its top to the right.
    const double lean = random.between(6.0, 14.0) * kPi / 180.0;
    const double half = random.between(0.7, 1.5);
    const double peak = random.between(0.55, 0.85);
    const double cx = x0 + kCell / 2.0 + random.between(-6, 6), cy = y0 + kCell / 2.0 + random.between(-4, 4);
    const double dx = std::sin(lean) * length / 2, dy = std::cos(lean) * length / 2;
    const double topX = cx + dx, topY = cy - dy, bottomX = cx - dx, bottomY = cy + dy;
    canvas.paint(x0, y0, x0 + kCell, y0 + kCell, 4, [&](double x, double y) {
      double t;
      const double d = segmentDistance(x, y, topX, topY, bottomX, bottomY, &t);
      // Faint towards the top where the drop has been, brightest near its
      // head, with a short rounded fall-off at the head itself.
      const double along = smoothstep(0.0, 0.6, t) * smoothstep(1.0, 0.9, t);
      const double across = std::exp(-std::pow(d / half, 2));
      const Rgb colour = mix(Rgb{0.78, 0.86, 1.0}, Rgb{0.96, 0.98, 1.0}, across);
      return Paint{colour, peak * along * across};
    });
  }
  return canvas.write(dir, "rain.png");
}

// --- wolfclaws.png ---------------------------------------------------------

// One torn slash along a quadratic curve: thick in the middle, pointed at
// both ends, each edge ragged on its own.
struct Slash {
  std::array<double, 6> control;  // start, bend, end (x, y)
  double width;                   // largest half-width in pixels
  Wobble left, right, fine;

  Slash(Random& random, std::array<double, 6> points, double halfWidth)
      : control(points), width(halfWidth), left(random, 14), right(random, 14), fine(random, 60) {}

  void point(double t, double* x, double* y) const {
    const double a = (1 - t) * (1 - t), b = 2 * (1 - t) * t, c = t * t;
    *x = a * control[0] + b * control[2] + c * control[4];
    *y = a * control[1] + b * control[3] + c * control[5];
  }

  Paint at(double x, double y) const {
    constexpr int kSteps = 48;
    double best = 1e9, bestT = 0, side = 1;
    double px, py;
    point(0, &px, &py);
    for (int i = 1; i <= kSteps; ++i) {
      double qx, qy, along;
      point(static_cast<double>(i) / kSteps, &qx, &qy);
      const double d = segmentDistance(x, y, px, py, qx, qy, &along);
      if (d < best) {
        best = d;
        bestT = (i - 1 + along) / kSteps;
        side = (qx - px) * (y - py) - (qy - py) * (x - px) >= 0 ? 1 : -1;
      }
      px = qx, py = qy;
    }
    const Wobble& edge = side > 0 ? left : right;
    const double half = width * std::pow(std::sin(kPi * bestT), 0.7) *
                        (1.0 + 0.28 * edge.at(bestT) + 0.12 * fine.at(bestT) * (side > 0 ? 1 : -1));
    if (half <= 0) return {{0, 0, 0}, 0.0};
    const double inside = 1.0 - best / half;
    // Raw and dark in the deep middle of the cut, brighter red at its torn lips.
    const Rgb colour = mix(Rgb{0.62, 0.06, 0.06}, Rgb{0.30, 0.01, 0.02}, smoothstep(0.0, 0.75, inside));
    return {colour, 0.96 * smoothstep(half + 0.8, half - 0.8, best)};
  }
};

void drawClaws(Canvas& canvas, int x0, int y0, int side, Random& random) {
  const int count = random.chance(0.4) ? 4 : 3;
  // The paw strikes from upper right to lower left, at a varying angle.
  const double angle = random.between(50.0, 72.0) * kPi / 180.0;
  const double dirX = -std::cos(angle), dirY = std::sin(angle);
  const double normX = dirY, normY = -dirX;
  const double spacing = side * random.between(0.11, 0.14);
  const double cx = x0 + side / 2.0, cy = y0 + side / 2.0;
  std::vector<Slash> slashes;
  for (int k = 0; k < count; ++k) {
    const double offset = (k - (count - 1) / 2.0) * spacing;
    // Outer claws are shorter and start a little later, as a paw's are.
    const double outer = std::abs(k - (count - 1) / 2.0) / std::max(1.0, (count - 1) / 2.0);
    const double length = side * random.between(0.62, 0.72) * (1.0 - 0.18 * outer);
    const double shift = side * random.between(-0.04, 0.04) + outer * side * 0.05;
    const double mx = cx + normX * offset + dirX * shift, my = cy + normY * offset + dirY * shift;
    const double bend = side * random.between(0.02, 0.06);
    slashes.emplace_back(random,
                         std::array<double, 6>{mx - dirX * length / 2, my - dirY * length / 2, mx + normX * bend,
                                               my + normY * bend, mx + dirX * length / 2, my + dirY * length / 2},
                         side * random.between(0.026, 0.04) * (1.0 - 0.25 * outer));
  }
  for (const Slash& slash : slashes) {
    canvas.paint(x0, y0, x0 + side, y0 + side, 1, [&](double x, double y) { return slash.at(x, y); });
  }
  // Blood runs down from a few points of the cuts, and flecks fly off them.
  const Rgb blood{0.45, 0.02, 0.03};
  for (const Slash& slash : slashes) {
    const int drips = random.below(3);
    for (int d = 0; d < drips; ++d) {
      double sx, sy;
      slash.point(random.between(0.3, 0.7), &sx, &sy);
      const double run = side * random.between(0.04, 0.11), thick = random.between(1.2, 2.2);
      canvas.paint(x0, y0, x0 + side, y0 + side, 4, [&](double x, double y) {
        double t;
        const double dist = segmentDistance(x, y, sx, sy, sx, sy + run, &t);
        const double drop = std::hypot(x - sx, y - sy - run);
        const double alpha = std::max(dist < thick * (1.0 - 0.4 * t) ? 0.9 : 0.0, drop < thick * 1.6 ? 0.92 : 0.0);
        return Paint{blood, alpha};
      });
    }
    const int flecks = 3 + random.below(5);
    for (int f = 0; f < flecks; ++f) {
      double sx, sy;
      slash.point(random.between(0.1, 0.9), &sx, &sy);
      sx += random.between(-0.07, 0.07) * side, sy += random.between(-0.07, 0.07) * side;
      const double r = random.between(0.8, 2.6);
      canvas.paint(x0, y0, x0 + side, y0 + side, 4,
                   [&](double x, double y) { return Paint{blood, std::hypot(x - sx, y - sy) < r ? 0.85 : 0.0}; });
    }
  }
}

bool writeClaws(const std::string& dir) {
  constexpr int kCell = 256, kSheet = 1024;
  Canvas canvas(kSheet, kSheet);
  Random random(0x776f);
  for (int k = 0; k < 8; ++k) drawClaws(canvas, k % 4 * kCell, k / 4 * kCell, kCell, random);
  return canvas.write(dir, "wolfclaws.png");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: nudora_make_particle_sprites OUTDIR\n");
    return 2;
  }
  const std::string dir = argv[1];
  const bool ok = writeLight(dir) && writeSakura(dir) && writeRain(dir) && writeClaws(dir);
  return ok ? 0 : 1;
}
