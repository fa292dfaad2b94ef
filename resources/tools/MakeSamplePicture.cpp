// Writes the built-in sample picture, resources/samples/scene.png:
//
//   nudora_make_sample OUT.png
//
// A procedural outdoor portrait: sky with clouds and a low sun, hazy
// mountains, green hills, a field with flowers, and a person in front with
// skin, hair and a red jacket. It holds what colour looks act on (skin,
// foliage, sky, deep shadows, highlights, saturated and neutral colours), so
// tests, the contact sheet and the demo have a natural picture without
// shipping a photograph. Deterministic: the same file on every run.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <vector>

#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb_image_write.h>

namespace {

constexpr int kWidth = 960;
constexpr int kHeight = 540;

struct Rgb {
  double r, g, b;
};

Rgb mix(Rgb a, Rgb b, double t) { return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t}; }
Rgb scale(Rgb a, double k) { return {a.r * k, a.g * k, a.b * k}; }
double smooth(double e0, double e1, double x) {
  double t = std::clamp((x - e0) / (e1 - e0), 0.0, 1.0);
  return t * t * (3.0 - 2.0 * t);
}

// Integer hash to [0, 1): the noise below is a pure function of its inputs.
double hash(int x, int y, int seed) {
  uint32_t h = static_cast<uint32_t>(x) * 374761393u + static_cast<uint32_t>(y) * 668265263u +
               static_cast<uint32_t>(seed) * 2246822519u;
  h = (h ^ (h >> 13)) * 1274126177u;
  h ^= h >> 16;
  return (h & 0xffffff) / 16777216.0;
}

double valueNoise(double x, double y, int seed) {
  int xi = static_cast<int>(std::floor(x)), yi = static_cast<int>(std::floor(y));
  double fx = x - xi, fy = y - yi;
  fx = fx * fx * (3 - 2 * fx);
  fy = fy * fy * (3 - 2 * fy);
  double a = hash(xi, yi, seed), b = hash(xi + 1, yi, seed);
  double c = hash(xi, yi + 1, seed), d = hash(xi + 1, yi + 1, seed);
  return (a + (b - a) * fx) * (1 - fy) + (c + (d - c) * fx) * fy;
}

// Fractal noise in 0..1, `octaves` layers each twice as fine.
double fbm(double x, double y, int octaves, int seed) {
  double sum = 0, amplitude = 0.5, total = 0;
  for (int i = 0; i < octaves; ++i) {
    sum += amplitude * valueNoise(x, y, seed + i * 17);
    total += amplitude;
    x *= 2.03;
    y *= 2.03;
    amplitude *= 0.5;
  }
  return sum / total;
}

// Linear-light colour of one point; u across 0..1, v down 0..1.
Rgb scene(double u, double v) {
  const double aspect = static_cast<double>(kWidth) / kHeight;
  // Sky: deep blue overhead to pale at the horizon, clouds, a low warm sun.
  Rgb sky = mix({0.10, 0.25, 0.62}, {0.62, 0.74, 0.86}, smooth(0.0, 0.5, v));
  double cloud = smooth(0.52, 0.78, fbm(u * 5.0, v * 12.0, 5, 11));
  sky = mix(sky, {0.95, 0.93, 0.90}, cloud * 0.85);
  double sunDist = std::hypot((u - 0.80) * aspect, v - 0.22);
  sky = mix(sky, {1.0, 0.95, 0.80}, std::exp(-sunDist * 9.0) * 0.9);
  if (sunDist < 0.035) sky = {1.0, 0.99, 0.94};
  Rgb color = sky;

  // Far mountains, blue with haze.
  double ridge = 0.42 - 0.22 * (fbm(u * 3.0, 0.5, 6, 23) - 0.25);
  if (v > ridge) {
    double shade = fbm(u * 30.0, v * 30.0, 4, 29);
    Rgb rock = mix({0.05, 0.08, 0.15}, {0.16, 0.19, 0.27}, shade);
    if (ridge < 0.36 && v < ridge + 0.025 * fbm(u * 40.0, v * 10.0, 3, 31)) rock = {0.88, 0.90, 0.94};  // snow
    color = mix(rock, sky, 0.22);
  }
  // Green hills.
  double hill = 0.52 - 0.07 * fbm(u * 2.5 + 3.0, 1.5, 4, 37);
  if (v > hill) {
    double leaf = fbm(u * 60.0, v * 60.0, 4, 41);
    color = mix({0.06, 0.20, 0.05}, {0.20, 0.42, 0.10}, leaf);
    double trees = fbm(u * 18.0, v * 9.0, 4, 43);
    if (trees > 0.58) color = scale(mix({0.02, 0.10, 0.03}, {0.08, 0.20, 0.06}, leaf), 1.0);
  }
  // Field: yellow-green grass with flowers, darker towards the viewer.
  if (v > 0.66) {
    double grass = fbm(u * 140.0, v * 40.0, 4, 47);
    color = mix({0.22, 0.30, 0.06}, {0.55, 0.55, 0.14}, grass);
    color = scale(color, 1.0 - 0.45 * smooth(0.66, 1.0, v));
    double flower = hash(static_cast<int>(u * 220), static_cast<int>(v * 120), 53);
    double inCell = std::hypot(std::fmod(u * 220, 1.0) - 0.5, std::fmod(v * 120, 1.0) - 0.5);
    if (flower > 0.93 && inCell < 0.32) color = flower > 0.965 ? Rgb{0.85, 0.08, 0.10} : Rgb{0.95, 0.80, 0.10};
  }

  // The person, left of centre: jacket, neck, face, hair.
  const double cx = 0.36;
  double dxBody = (u - cx) * aspect;
  double shoulders = 0.74 + 0.55 * dxBody * dxBody;
  if (v > shoulders && std::abs(dxBody) < 0.36) {
    double fold = fbm(u * 25.0, v * 25.0, 3, 59);
    Rgb jacket = mix({0.30, 0.02, 0.03}, {0.70, 0.06, 0.06}, fold);
    color = scale(jacket, 0.75 + 0.5 * (0.5 - dxBody));
    if (std::abs(dxBody) < 0.035) color = {0.80, 0.80, 0.78};  // shirt
  }
  double fx = dxBody / 0.105, fy = (v - 0.52) / 0.175;
  bool neck = std::abs(dxBody) < 0.045 && v > 0.66 && v < shoulders + 0.02;
  bool inFace = fx * fx + fy * fy < 1.0;
  if (inFace || neck) {
    // Skin lit from the sun's side, with a little blush and shadow under the chin.
    double light = 0.55 + 0.45 * std::clamp(0.6 * fx + 0.2 - 0.5 * fy * 0.3, -1.0, 1.0);
    if (neck && !inFace) light = 0.5;
    Rgb skin = scale({0.78, 0.50, 0.38}, light);
    double cheek = std::exp(-(std::pow(std::abs(fx) - 0.45, 2) + std::pow(fy - 0.25, 2)) * 18.0);
    skin = mix(skin, {0.80, 0.38, 0.35}, cheek * 0.35);
    skin = scale(skin, 0.97 + 0.06 * fbm(u * 300.0, v * 300.0, 2, 61));
    // Eyes and mouth.
    for (double side : {-0.38, 0.38}) {
      if (std::hypot((fx - side) * 1.0, (fy + 0.08) * 2.2) < 0.13) skin = {0.05, 0.04, 0.04};
    }
    if (std::abs(fx) < 0.28 && std::abs(fy - 0.45) < 0.045) skin = {0.45, 0.15, 0.14};
    color = skin;
  }
  // Hair over the top of the head.
  double hx = dxBody / 0.125, hy = (v - 0.47) / 0.19;
  if (hx * hx + hy * hy < 1.0 && (fy < -0.45 || (!inFace && fy < 0.3))) {
    double strand = fbm(u * 400.0, v * 30.0, 3, 67);
    color = mix({0.03, 0.02, 0.015}, {0.20, 0.11, 0.05}, strand);
  }
  return color;
}

uint8_t encode(double linear) {
  double c = std::clamp(linear, 0.0, 1.0);
  double s = c <= 0.0031308 ? 12.92 * c : 1.055 * std::pow(c, 1.0 / 2.4) - 0.055;
  return static_cast<uint8_t>(std::lround(s * 255.0));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: nudora_make_sample OUT.png\n");
    return 2;
  }
  std::vector<uint8_t> rgb(static_cast<size_t>(kWidth) * kHeight * 3);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      // 2 x 2 supersampling keeps the edges of the drawn shapes smooth.
      Rgb sum{0, 0, 0};
      for (int s = 0; s < 4; ++s) {
        Rgb c = scene((x + 0.25 + 0.5 * (s % 2)) / kWidth, (y + 0.25 + 0.5 * (s / 2)) / kHeight);
        sum = {sum.r + c.r, sum.g + c.g, sum.b + c.b};
      }
      // A little sensor noise, as a camera frame has.
      double noise = (hash(x, y, 71) - 0.5) * 0.012;
      uint8_t* p = &rgb[(static_cast<size_t>(y) * kWidth + x) * 3];
      p[0] = encode(sum.r / 4 + noise);
      p[1] = encode(sum.g / 4 + noise);
      p[2] = encode(sum.b / 4 + noise);
    }
  }
  if (!stbi_write_png(argv[1], kWidth, kHeight, 3, rgb.data(), kWidth * 3)) {
    std::fprintf(stderr, "nudora_make_sample: cannot write %s\n", argv[1]);
    return 1;
  }
  std::printf("%s\n", argv[1]);
  return 0;
}
