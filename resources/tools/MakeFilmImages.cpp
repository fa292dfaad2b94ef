// Writes the film looks' images into the "Textures" resources:
//
//   nudora_make_film_images OUTDIR
//
// movie_noise_*.jpg: 768 x 768, a 4 x 4 grid of 192 x 192 tiles, each wrapping
// around seamlessly at its edges. The upper two rows hold grain alone, around
// mid grey (64 to 192); the film pieces repeat one of them at pixel scale. The
// lower two rows hold grain with the print's damage (dust, hairs, scratches),
// dark defects near 25 and bright ones near 232, outside the grain's values;
// the film pieces stretch one of them over the frame and keep only what lies
// outside the grain's values.
//
// lightleak*.jpg: 1024 x 576, black with soft coloured glows coming in from
// an edge or a corner; the light-leak looks screen them over the picture.
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
#include <random>
#include <string>
#include <vector>

#include "FixedRandom.h"

#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb_image_write.h>

namespace {

constexpr double kPi = 3.14159265358979323846;

// Fixed JPEG qualities: grain is noise and costs bytes, glows are smooth.
constexpr int kNoiseQuality = 85;
constexpr int kLeakQuality = 92;


// ---- Grain tiles ----

constexpr int kTile = 192;
constexpr int kGrid = 4;
constexpr int kNoiseSide = kTile * kGrid;

constexpr double kGrey = 128.0;
constexpr double kGrainLimit = 64.0;  // grain stays within grey +- this
constexpr double kDarkDefect = 25.0;
constexpr double kBrightDefect = 232.0;

// One tile of values 0..255 on a torus: x and y wrap around.
struct Tile {
  std::vector<double> v = std::vector<double>(kTile * kTile, kGrey);
  double& at(int x, int y) { return v[static_cast<size_t>((y + kTile) % kTile) * kTile + (x + kTile) % kTile]; }
};

// Gaussian blur that wraps around the tile's edges, so the result tiles too.
std::vector<double> blurWrapped(const std::vector<double>& in, double sigma) {
  if (sigma <= 0) return in;
  const int radius = static_cast<int>(std::ceil(sigma * 3.0));
  std::vector<double> kernel(2 * radius + 1);
  double sum = 0;
  for (int i = -radius; i <= radius; ++i) sum += kernel[i + radius] = std::exp(-0.5 * i * i / (sigma * sigma));
  for (double& k : kernel) k /= sum;
  std::vector<double> across(in.size()), out(in.size());
  auto wrap = [](int i) { return (i % kTile + kTile) % kTile; };
  for (int y = 0; y < kTile; ++y) {
    for (int x = 0; x < kTile; ++x) {
      double s = 0;
      for (int i = -radius; i <= radius; ++i) s += kernel[i + radius] * in[y * kTile + wrap(x + i)];
      across[y * kTile + x] = s;
    }
  }
  for (int y = 0; y < kTile; ++y) {
    for (int x = 0; x < kTile; ++x) {
      double s = 0;
      for (int i = -radius; i <= radius; ++i) s += kernel[i + radius] * across[wrap(y + i) * kTile + x];
      out[y * kTile + x] = s;
    }
  }
  return out;
}

// Noise blurred to the given grain size and scaled to unit deviation.
std::vector<double> grainField(Random& random, double sigma) {
  std::vector<double> noise(kTile * kTile);
  for (double& n : noise) n = random.bell();
  noise = blurWrapped(noise, sigma);
  double mean = 0, square = 0;
  for (double n : noise) mean += n;
  mean /= static_cast<double>(noise.size());
  for (double n : noise) square += (n - mean) * (n - mean);
  const double deviation = std::sqrt(square / static_cast<double>(noise.size()));
  for (double& n : noise) n = (n - mean) / deviation;
  return noise;
}

// A film stock's grain and the damage its prints carry.
struct Stock {
  const char* file;
  uint32_t seed;
  double grainSigma;    // pixels: the size of a grain
  double grainLevels;   // deviation around mid grey, in levels
  double clumpSigma;    // larger clumps laid over the grain (0 none) ...
  double clumpShare;    // ... and their share of the deviation
  // Damage of each tile of the lower rows:
  int specksMin, specksMax;
  double hairChance;
  double scratchChance;
};

// Paints value over the tile with coverage a (0..1) at x, y.
void paint(Tile& tile, int x, int y, double value, double a) {
  double& p = tile.at(x, y);
  p += (value - p) * std::clamp(a, 0.0, 1.0);
}

// A soft-edged disc centred at (cx, cy).
void disc(Tile& tile, double cx, double cy, double radius, double value) {
  const int r = static_cast<int>(std::ceil(radius + 1));
  for (int y = static_cast<int>(cy) - r; y <= static_cast<int>(cy) + r; ++y) {
    for (int x = static_cast<int>(cx) - r; x <= static_cast<int>(cx) + r; ++x) {
      const double d = std::hypot(x + 0.5 - cx, y + 0.5 - cy);
      paint(tile, x, y, value, radius + 0.5 - d);
    }
  }
}

// Dust: a few overlapping discs make an irregular speck.
void speck(Tile& tile, Random& random) {
  const double cx = random.between(0, kTile), cy = random.between(0, kTile);
  const double size = random.between(0.6, 2.2);
  const double value = random.chance(0.7) ? kDarkDefect : kBrightDefect;
  const int parts = 1 + random.below(3);
  for (int i = 0; i < parts; ++i) {
    disc(tile, cx + random.between(-size, size), cy + random.between(-size, size), size * random.between(0.5, 1.0),
         value);
  }
}

// A hair: a thin dark line that bends as it goes.
void hair(Tile& tile, Random& random) {
  double x = random.between(0, kTile), y = random.between(0, kTile);
  double angle = random.between(0, 2 * kPi), bend = random.between(-0.04, 0.04);
  const double length = random.between(20, 70), width = random.between(0.45, 0.7);
  for (double s = 0; s < length; s += 0.5) {
    disc(tile, x, y, width, kDarkDefect);
    x += 0.5 * std::cos(angle);
    y += 0.5 * std::sin(angle);
    bend += random.between(-0.004, 0.004);
    angle += bend;
  }
}

// A scratch along the film: the full tile height, so that it continues into
// the tile below; the sideways wobble has whole periods for the same reason.
void scratch(Tile& tile, Random& random) {
  const double x0 = random.between(0, kTile), amplitude = random.between(0.3, 2.5);
  const double periods = 1 + random.below(3), phase = random.between(0, 2 * kPi);
  const double width = random.between(0.35, 0.8);
  const double value = random.chance(0.65) ? kBrightDefect : kDarkDefect;
  const double fadePeriods = 1 + random.below(2), fadePhase = random.between(0, 2 * kPi);
  for (int y = 0; y < kTile; ++y) {
    const double t = 2 * kPi * y / kTile;
    const double cx = x0 + amplitude * std::sin(periods * t + phase);
    // The scratch comes and goes along its length.
    const double strength = std::clamp(0.5 + 0.8 * std::sin(fadePeriods * t + fadePhase), 0.0, 1.0);
    for (int x = static_cast<int>(cx) - 2; x <= static_cast<int>(cx) + 2; ++x) {
      paint(tile, x, y, value, (width + 0.5 - std::abs(x + 0.5 - cx)) * strength);
    }
  }
}

Tile makeTile(const Stock& stock, bool damaged, Random& random) {
  Tile tile;
  const auto grain = grainField(random, stock.grainSigma);
  std::vector<double> clumps(grain.size(), 0.0);
  if (stock.clumpSigma > 0) clumps = grainField(random, stock.clumpSigma);
  const double fine = std::sqrt(1 - stock.clumpShare * stock.clumpShare);
  for (size_t i = 0; i < grain.size(); ++i) {
    const double g = (fine * grain[i] + stock.clumpShare * clumps[i]) * stock.grainLevels;
    tile.v[i] = kGrey + std::clamp(g, -kGrainLimit, kGrainLimit);
  }
  if (!damaged) return tile;
  const int specks = stock.specksMin + random.below(stock.specksMax - stock.specksMin + 1);
  for (int i = 0; i < specks; ++i) speck(tile, random);
  if (random.chance(stock.hairChance)) hair(tile, random);
  if (random.chance(stock.scratchChance)) scratch(tile, random);
  if (random.chance(stock.scratchChance * 0.5)) scratch(tile, random);
  return tile;
}

uint8_t byteOf(double v) { return static_cast<uint8_t>(std::lround(std::clamp(v, 0.0, 255.0))); }

bool writeNoise(const std::string& dir, const Stock& stock) {
  Random random(stock.seed);
  std::vector<unsigned char> grey(static_cast<size_t>(kNoiseSide) * kNoiseSide);
  for (int ty = 0; ty < kGrid; ++ty) {
    for (int tx = 0; tx < kGrid; ++tx) {
      Tile tile = makeTile(stock, ty >= kGrid / 2, random);
      for (int y = 0; y < kTile; ++y) {
        for (int x = 0; x < kTile; ++x) {
          grey[static_cast<size_t>(ty * kTile + y) * kNoiseSide + tx * kTile + x] = byteOf(tile.at(x, y));
        }
      }
    }
  }
  const std::string path = dir + "/" + stock.file;
  if (!stbi_write_jpg(path.c_str(), kNoiseSide, kNoiseSide, 1, grey.data(), kNoiseQuality)) {
    std::fprintf(stderr, "nudora_make_film_images: cannot write %s\n", path.c_str());
    return false;
  }
  std::printf("%s\n", path.c_str());
  return true;
}

// clang-format off
const Stock kStocks[] = {
    // Silent-era prints: coarse, clumpy grain, much dust, hairs and scratches.
    {.file = "movie_noise_early.jpg", .seed = 1910, .grainSigma = 0.8, .grainLevels = 30,
     .clumpSigma = 2.0, .clumpShare = 0.3, .specksMin = 6, .specksMax = 14, .hairChance = 0.6,
     .scratchChance = 0.5},
    // Late silent and early sound film: medium grain, some dust, a scratch now and then.
    {.file = "movie_noise_1891.jpg", .seed = 1891, .grainSigma = 0.7, .grainLevels = 26,
     .clumpSigma = 1.8, .clumpShare = 0.2, .specksMin = 2, .specksMax = 6, .hairChance = 0.25,
     .scratchChance = 0.25},
    // 1940s stock: fine, even grain and clean prints.
    {.file = "movie_noise_1949.jpg", .seed = 1949, .grainSigma = 0.5, .grainLevels = 22,
     .clumpSigma = 0, .clumpShare = 0, .specksMin = 0, .specksMax = 2, .hairChance = 0,
     .scratchChance = 0},
};
// clang-format on

// ---- Light leaks ----

constexpr int kLeakWidth = 1024;
constexpr int kLeakHeight = 576;

struct Rgb {
  double r = 0, g = 0, b = 0;
};

Rgb operator*(Rgb c, double k) { return {c.r * k, c.g * k, c.b * k}; }

// A colour of the hue (degrees), full saturation.
Rgb hue(double degrees) {
  const double h = std::fmod(std::fmod(degrees, 360.0) + 360.0, 360.0) / 60.0;
  const double x = 1 - std::abs(std::fmod(h, 2.0) - 1);
  return h < 1 ? Rgb{1, x, 0} : h < 2 ? Rgb{x, 1, 0} : h < 3 ? Rgb{0, 1, x}
       : h < 4 ? Rgb{0, x, 1} : h < 5 ? Rgb{x, 0, 1} : Rgb{1, 0, x};
}

// Light falling on the film, in linear amounts that add up; x and y are in
// frame heights (x from 0 to 16/9), y down from the top.
using Light = std::function<Rgb(double x, double y)>;

// An elliptical glow around (cx, cy) that may lie outside the frame; rx and
// ry are its radii, turned by angle degrees.
Light glow(double cx, double cy, double rx, double ry, double angle, Rgb colour) {
  const double c = std::cos(angle * kPi / 180), s = std::sin(angle * kPi / 180);
  return [=](double x, double y) {
    const double dx = x - cx, dy = y - cy;
    const double u = (dx * c + dy * s) / rx, v = (-dx * s + dy * c) / ry;
    return colour * std::exp(-(u * u + v * v));
  };
}

// A soft band through (cx, cy) along angle degrees: width across it, fading
// out over length along it; the colour may change along the band.
Light band(double cx, double cy, double angle, double width, double length, std::function<Rgb(double along)> colour) {
  const double c = std::cos(angle * kPi / 180), s = std::sin(angle * kPi / 180);
  return [=](double x, double y) {
    const double dx = x - cx, dy = y - cy;
    const double along = (dx * c + dy * s) / length, across = (-dx * s + dy * c) / width;
    return colour(along) * std::exp(-across * across - along * along);
  };
}

struct Leak {
  const char* file;
  std::vector<Light> lights;
};

Rgb constant(double r, double g, double b) { return {r, g, b}; }

// The glows of each image. Amounts above 1 burn towards white in the core
// (see writeLeak), as overexposed film does.
std::vector<Leak> leaks() {
  const double right = 16.0 / 9.0;
  return {
      // Magenta-pink from the right edge, a violet bloom in the top right corner.
      {"lightleak1.jpg",
       {glow(right + 0.1, 0.55, 0.55, 0.75, 0, constant(1.3, 0.25, 0.9)),
        glow(right, -0.05, 0.45, 0.35, 20, constant(0.55, 0.2, 1.1))}},
      // Blue and cyan coming in from the left, a pale hot core low on the edge.
      {"lightleak2.jpg",
       {glow(-0.15, 0.45, 0.5, 0.8, 0, constant(0.15, 0.55, 1.4)),
        glow(-0.05, 0.75, 0.22, 0.2, 0, constant(0.9, 1.1, 1.3)),
        band(0.2, 0.3, 75, 0.08, 0.7, [](double) { return constant(0.1, 0.45, 0.7); })}},
      // The classic: orange and red burning in from the top left corner.
      {"lightleak3.jpg",
       {glow(-0.1, -0.1, 0.75, 0.6, 30, constant(1.6, 0.55, 0.1)),
        glow(0.3, -0.05, 0.5, 0.25, 10, constant(1.0, 0.15, 0.05))}},
      // A warm yellow strip down the right edge, where the film was fogged by the sprocket side.
      {"lightleak5.jpg",
       {band(right - 0.05, 0.5, 90, 0.18, 0.9, [](double along) { return constant(1.4, 1.0 - 0.2 * along, 0.25); }),
        glow(right + 0.05, 0.3, 0.3, 0.35, 0, constant(1.0, 0.55, 0.1))}},
      // Red-orange from the bottom left corner with a yellow core.
      {"lightleak6.jpg",
       {glow(0.0, 1.1, 0.8, 0.5, -25, constant(1.4, 0.3, 0.08)),
        glow(0.15, 1.0, 0.3, 0.2, -25, constant(0.9, 0.8, 0.2))}},
      // A rainbow streak from the top edge, as light split by the lens.
      {"lightleak9.jpg",
       {band(1.05, 0.15, 115, 0.11, 0.8, [](double along) { return hue(20 + 140 * along) * 1.5; }),
        glow(1.15, -0.12, 0.55, 0.3, 0, constant(1.0, 0.6, 0.2))}},
      // Deep red from both side edges, orange inside.
      {"lightleak10.jpg",
       {glow(-0.12, 0.5, 0.35, 0.9, 0, constant(1.3, 0.12, 0.05)),
        glow(right + 0.12, 0.4, 0.3, 0.7, 0, constant(1.2, 0.35, 0.05)),
        glow(-0.02, 0.55, 0.12, 0.3, 0, constant(0.6, 0.45, 0.1))}},
  };
}

bool writeLeak(const std::string& dir, const Leak& leak, uint32_t seed) {
  Random dither(seed);
  std::vector<unsigned char> rgb(static_cast<size_t>(kLeakWidth) * kLeakHeight * 3);
  for (int py = 0; py < kLeakHeight; ++py) {
    for (int px = 0; px < kLeakWidth; ++px) {
      const double x = (px + 0.5) / kLeakHeight, y = (py + 0.5) / kLeakHeight;
      Rgb sum;
      for (const auto& light : leak.lights) {
        const Rgb c = light(x, y);
        sum = {sum.r + c.r, sum.g + c.g, sum.b + c.b};
      }
      // Film saturates softly: 1 - e^-x keeps small amounts and rolls bright ones off.
      const std::array<double, 3> exposed = {1 - std::exp(-sum.r), 1 - std::exp(-sum.g), 1 - std::exp(-sum.b)};
      unsigned char* p = &rgb[(static_cast<size_t>(py) * kLeakWidth + px) * 3];
      // Half a level of dither keeps the soft gradients from banding.
      for (int c = 0; c < 3; ++c) p[c] = byteOf(exposed[c] * 255.0 + dither.uniform() - 0.5);
    }
  }
  const std::string path = dir + "/" + leak.file;
  if (!stbi_write_jpg(path.c_str(), kLeakWidth, kLeakHeight, 3, rgb.data(), kLeakQuality)) {
    std::fprintf(stderr, "nudora_make_film_images: cannot write %s\n", path.c_str());
    return false;
  }
  std::printf("%s\n", path.c_str());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: nudora_make_film_images OUTDIR\n");
    return 2;
  }
  for (const Stock& stock : kStocks) {
    if (!writeNoise(argv[1], stock)) return 1;
  }
  uint32_t seed = 1;
  for (const Leak& leak : leaks()) {
    if (!writeLeak(argv[1], leak, seed++)) return 1;
  }
  return 0;
}
