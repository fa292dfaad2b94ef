// Writes the lookup-table images of the "Textures" resources:
//
//   nudora_make_luts OUTDIR
//
// A table is a 512 x 512 image of 8 x 8 tiles of 64 x 64 pixels: blue picks
// the tile (row by row from the top left), red runs across and green down a
// tile, 64 levels per channel. This is the layout most colour tools export,
// so their lookup images can be dropped in beside ours. The output is
// committed; run this again after changing a look.
//
// Every look is a short recipe in kLooks below, read top to bottom in the
// order the steps are applied to a colour (display values, 0..1):
//
//   exposure     stops of gain, applied to linear light
//   temperature  -1 cool (blue) .. +1 warm (amber); tint -1 green .. +1 magenta
//   mix          channel mixer: each output channel from the input r, g, b
//   saturation   0 grey, 1 unchanged, above 1 richer (around Rec. 601 luma)
//   master       tone curve through (in, out) points; red/green/blue per channel
//   shadows      split toning: a hue (degrees) added to the dark tones ...
//   highlights   ... and to the light tones, each with a strength
//   fade         the output range: black lifted to fadeBlack, white lowered to fadeWhite

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb_image_write.h>

namespace {

constexpr int kSide = 512;
constexpr int kTile = 64;

struct Rgb {
  double r = 0, g = 0, b = 0;
};

using Curve = std::vector<std::pair<double, double>>;
using Mix = std::array<Rgb, 3>;  // rows: output red, green, blue

constexpr Mix kNoMix = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};

// A black-and-white film's response: every channel the same weighted sum.
constexpr Mix monochrome(double r, double g, double b) { return {{{r, g, b}, {r, g, b}, {r, g, b}}}; }

struct Tone {
  double hue = 0;       // degrees: 0 red, 30 orange, 60 yellow, 120 green, 190 teal, 220 blue, 300 magenta
  double strength = 0;  // 0 none; 0.3 is a clear tint
};

struct Look {
  const char* file;
  double exposure = 0;
  double temperature = 0;
  double tint = 0;
  Mix mix = kNoMix;
  double saturation = 1;
  Curve master = {};
  Curve red = {}, green = {}, blue = {};
  Tone shadows = {}, highlights = {};
  double fadeBlack = 0, fadeWhite = 1;
};

// Tone curves used by several looks.
const Curve kGentleS = {{0, 0}, {0.25, 0.22}, {0.5, 0.5}, {0.75, 0.79}, {1, 1}};
const Curve kStrongS = {{0, 0}, {0.25, 0.17}, {0.5, 0.5}, {0.75, 0.84}, {1, 1}};
const Curve kFilmic = {{0, 0}, {0.18, 0.13}, {0.5, 0.52}, {0.82, 0.86}, {1, 0.97}};

// clang-format off
const Look kLooks[] = {
    // A camera's "standard" picture: a touch more contrast and colour than the sensor gives.
    {.file = "3DLUT_standard.png", .saturation = 1.12, .master = kGentleS},
    // Aged colour print: warm, yellowed, faded and soft.
    {.file = "3DLUT_oldtime.png", .temperature = 0.6, .saturation = 0.55,
     .master = {{0, 0}, {0.5, 0.55}, {1, 1}}, .highlights = {50, 0.25}, .fadeBlack = 0.12, .fadeWhite = 0.90},
    // Glacier: cold cyan-blue, clean bright highlights, muted colour.
    {.file = "3DLUT_vatnajokull.png", .exposure = 0.15, .temperature = -0.7, .saturation = 0.8,
     .master = kGentleS, .shadows = {205, 0.25}, .highlights = {185, 0.08}, .fadeBlack = 0.03},
    // Memory: a soft, warm, faded pastel.
    {.file = "3DLUT_memory.png", .exposure = 0.1, .temperature = 0.35, .saturation = 0.75,
     .master = {{0, 0}, {0.5, 0.53}, {1, 1}}, .highlights = {15, 0.12}, .fadeBlack = 0.09, .fadeWhite = 0.96},
    // Fresh: bright, clean, greens and cyans lifted.
    {.file = "3DLUT_fresh.png", .exposure = 0.25, .temperature = -0.2,
     .mix = {{{1, 0, 0}, {-0.05, 1.1, -0.05}, {0, 0.08, 0.92}}}, .saturation = 1.15, .master = kGentleS},
    // Breakfast: warm morning light, golden highlights, soft contrast.
    {.file = "3DLUT_breakfast.png", .exposure = 0.2, .temperature = 0.55, .saturation = 1.05,
     .master = {{0, 0.02}, {0.5, 0.53}, {1, 1}}, .highlights = {45, 0.2}},
    // Summer: hot, vivid, saturated.
    {.file = "3DLUT_summer.png", .exposure = 0.1, .temperature = 0.4, .saturation = 1.35, .master = kStrongS,
     .highlights = {40, 0.1}},
    // Lomo: toy-camera cross colours, deep contrast, rich saturation, cyan shadows, yellow highlights.
    {.file = "3DLUT_LOMO1.png", .saturation = 1.35, .master = kStrongS,
     .red = {{0, 0}, {0.3, 0.24}, {0.7, 0.8}, {1, 1}}, .blue = {{0, 0.08}, {0.5, 0.48}, {1, 0.88}},
     .shadows = {190, 0.15}},
    // F02: a slide-film rendering, dense greens and blues, punchy.
    {.file = "3DLUT_F02.png", .temperature = -0.15, .mix = {{{1.05, -0.05, 0}, {-0.08, 1.12, -0.04}, {0, -0.05, 1.05}}},
     .saturation = 1.25, .master = kStrongS},
    // PX100 UV+ cold: Polaroid black-and-white instant film, cold tone, soft blacks.
    {.file = "3DLUT_PX100UV_cold.png", .mix = monochrome(0.30, 0.55, 0.15),
     .master = {{0, 0}, {0.25, 0.2}, {0.75, 0.82}, {1, 1}}, .shadows = {215, 0.12}, .highlights = {200, 0.05},
     .fadeBlack = 0.07, .fadeWhite = 0.95},
    // Lomo, blue: cold cast, blue shadows, strong contrast.
    {.file = "3DLUT_LOMO_blue.png", .temperature = -0.9, .saturation = 1.2, .master = kStrongS,
     .blue = {{0, 0.1}, {0.5, 0.6}, {1, 1}}, .shadows = {210, 0.3}},
    // Lomo, green: green cast in the mid tones.
    {.file = "3DLUT_LOMO_green.png", .tint = -0.5, .saturation = 1.15, .master = kStrongS,
     .green = {{0, 0.04}, {0.5, 0.58}, {1, 1}}, .shadows = {150, 0.15}},
    // Lomo, purple: magenta-violet cast, green held back.
    {.file = "3DLUT_LOMO_purple.png", .tint = 0.6, .saturation = 1.15, .master = kStrongS,
     .green = {{0, 0}, {0.5, 0.44}, {1, 0.95}}, .shadows = {280, 0.22}},
    // Cross-processed slide film: yellow-green highlights, cyan-blue shadows, hard contrast.
    {.file = "3DLUT_X_pro2.png", .saturation = 1.3,
     .red = {{0, 0}, {0.25, 0.15}, {0.5, 0.5}, {0.75, 0.87}, {1, 1}},
     .green = {{0, 0}, {0.25, 0.2}, {0.5, 0.55}, {0.75, 0.88}, {1, 1}},
     .blue = {{0, 0.2}, {0.5, 0.5}, {1, 0.78}}},
    // Earlybird: warm vintage sepia wash, cream highlights, faded.
    {.file = "3DLUT_earlybird.png", .temperature = 0.5, .saturation = 0.7,
     .master = {{0, 0}, {0.3, 0.3}, {0.7, 0.74}, {1, 1}}, .shadows = {25, 0.15}, .highlights = {40, 0.18},
     .fadeBlack = 0.1, .fadeWhite = 0.95},
    // Polaroid 600 colour instant, cold: pastel colour with a cyan cast and milky blacks.
    {.file = "3DLUT_PX680ColdAlt.png", .temperature = -0.45, .saturation = 0.85,
     .master = {{0, 0}, {0.3, 0.33}, {0.7, 0.74}, {1, 1}}, .shadows = {190, 0.2}, .highlights = {170, 0.06},
     .fadeBlack = 0.1, .fadeWhite = 0.93},
    // T-Max 3200: pushed high-speed black and white, bright foliage, milky blacks, hard highlights.
    {.file = "3DLUT_Tmax3200.png", .mix = monochrome(0.25, 0.65, 0.10),
     .master = {{0, 0.06}, {0.25, 0.2}, {0.5, 0.5}, {0.75, 0.88}, {1, 1}}},
    // Tri-X 400: classic black and white through a red filter: dark sky, bright skin, deep blacks.
    {.file = "3DLUT_trix400.png", .mix = monochrome(0.60, 0.36, 0.04), .master = kStrongS},
    // Ink: near-monochrome ink wash, crushed blue-black shadows, steep contrast.
    {.file = "3DLUT_ink.png", .saturation = 0.15,
     .master = {{0, 0}, {0.3, 0.12}, {0.55, 0.55}, {0.8, 0.92}, {1, 1}}, .shadows = {225, 0.3}},
    // Cinematic 2: muted blockbuster grade, cool shadows, warm mids, crushed blacks.
    {.file = "3DLUT_cinematic2.png", .saturation = 0.85,
     .master = {{0, 0}, {0.2, 0.12}, {0.5, 0.5}, {0.85, 0.88}, {1, 0.96}}, .shadows = {195, 0.3},
     .highlights = {35, 0.15}},
    // Cinematic: a film print's S-curve and roll-off, slightly teal shadows and warm mids.
    {.file = "3DLUT_cinematic.png", .temperature = 0.1, .saturation = 0.95, .master = kFilmic,
     .shadows = {185, 0.18}, .highlights = {35, 0.08}, .fadeBlack = 0.03},
    // Sepia: brown-toned monochrome print.
    {.file = "3DLUT_sepia.png", .mix = monochrome(0.30, 0.59, 0.11), .master = kGentleS,
     .shadows = {28, 0.35}, .highlights = {40, 0.25}, .fadeBlack = 0.04},
    // Teal and orange: teal shadows and backgrounds, orange skin and highlights.
    {.file = "3DLUT_tealorange.png", .mix = {{{1.05, 0, -0.05}, {0, 1, 0}, {0, 0.18, 0.82}}}, .saturation = 1.1,
     .master = kGentleS, .shadows = {188, 0.45}, .highlights = {28, 0.3}},
    // Contrast: hard S-curve, a little more colour.
    {.file = "3DLUT_contrast.png", .saturation = 1.1,
     .master = {{0, 0}, {0.25, 0.13}, {0.5, 0.5}, {0.75, 0.88}, {1, 1}}},
    // ARRI: a cinema camera's Rec. 709 rendering: soft highlight roll-off, natural, slightly muted.
    {.file = "3DLUT_ARRI.png", .temperature = 0.08, .saturation = 0.9,
     .master = {{0, 0.02}, {0.2, 0.16}, {0.5, 0.52}, {0.8, 0.83}, {1, 0.95}}},
    // Seventies: warm yellow-brown cast, olive shadows, faded.
    {.file = "3DLUT_seventies.png", .temperature = 0.5, .saturation = 0.85, .master = kGentleS,
     .shadows = {80, 0.2}, .highlights = {45, 0.2}, .fadeBlack = 0.08, .fadeWhite = 0.95},
    // Superia 1600: high-speed consumer film, green shadows, saturated, contrasty.
    {.file = "3DLUT_fujisuperia1600.png", .saturation = 1.2, .master = kStrongS,
     .green = {{0, 0.03}, {0.4, 0.43}, {1, 1}}, .shadows = {150, 0.2}, .fadeBlack = 0.03},
    // Pro 800Z: natural skin, cool neutral colour, soft contrast, cyan shadows.
    {.file = "3DLUT_fuji800z.png", .temperature = -0.2, .saturation = 1.05,
     .master = {{0, 0.02}, {0.5, 0.52}, {1, 0.98}}, .shadows = {185, 0.15}},
    // Portra 400: warm flattering skin, low contrast, pastel, lifted blacks.
    {.file = "3DLUT_Portra_400.png", .exposure = 0.1, .temperature = 0.3, .saturation = 0.88,
     .master = {{0, 0}, {0.3, 0.32}, {0.7, 0.72}, {1, 1}}, .highlights = {30, 0.12}, .fadeBlack = 0.05},
    // High contrast, yellow cast.
    {.file = "3DLUT_vHiContrastYellow.png", .temperature = 0.4, .saturation = 1.1,
     .master = {{0, 0}, {0.25, 0.12}, {0.5, 0.5}, {0.75, 0.9}, {1, 1}}, .highlights = {55, 0.3}},
    // High contrast, blue cast.
    {.file = "3DLUT_vHiContrastBlue.png", .temperature = -0.5, .saturation = 1.1,
     .master = {{0, 0}, {0.25, 0.12}, {0.5, 0.5}, {0.75, 0.9}, {1, 1}}, .shadows = {220, 0.3}},
    // JL2: a bright rosy portrait look, soft and clean.
    {.file = "3DLUT_JL2.png", .exposure = 0.3, .tint = 0.3, .saturation = 0.95,
     .master = {{0, 0.03}, {0.5, 0.55}, {1, 1}}, .highlights = {350, 0.15}},
};
// clang-format on

double luma(const Rgb& c) { return 0.299 * c.r + 0.587 * c.g + 0.114 * c.b; }

// Monotone cubic (Fritsch-Carlson) through the points: no overshoot, so a
// curve never bends back and tones keep their order.
double applyCurve(const Curve& curve, double x) {
  if (curve.empty()) return x;
  const size_t n = curve.size();
  if (x <= curve.front().first) return curve.front().second;
  if (x >= curve.back().first) return curve.back().second;
  std::vector<double> slope(n - 1), tangent(n);
  for (size_t i = 0; i + 1 < n; ++i) {
    slope[i] = (curve[i + 1].second - curve[i].second) / (curve[i + 1].first - curve[i].first);
  }
  tangent[0] = slope[0];
  tangent[n - 1] = slope[n - 2];
  for (size_t i = 1; i + 1 < n; ++i) tangent[i] = slope[i - 1] * slope[i] <= 0 ? 0 : (slope[i - 1] + slope[i]) / 2;
  for (size_t i = 0; i + 1 < n; ++i) {
    if (slope[i] == 0) {
      tangent[i] = tangent[i + 1] = 0;
      continue;
    }
    const double a = tangent[i] / slope[i], b = tangent[i + 1] / slope[i], s = a * a + b * b;
    if (s > 9) {
      tangent[i] = 3 * a / std::sqrt(s) * slope[i];
      tangent[i + 1] = 3 * b / std::sqrt(s) * slope[i];
    }
  }
  size_t i = 0;
  while (x > curve[i + 1].first) ++i;
  const double h = curve[i + 1].first - curve[i].first, t = (x - curve[i].first) / h;
  const double t2 = t * t, t3 = t2 * t;
  return (2 * t3 - 3 * t2 + 1) * curve[i].second + (t3 - 2 * t2 + t) * h * tangent[i] +
         (-2 * t3 + 3 * t2) * curve[i + 1].second + (t3 - t2) * h * tangent[i + 1];
}

// A fully saturated colour of the hue, less its own luma: a pure shift of
// colour that leaves brightness alone when added.
Rgb toneOffset(double hueDegrees) {
  const double h = std::fmod(hueDegrees, 360.0) / 60.0;
  const double x = 1 - std::abs(std::fmod(h, 2.0) - 1);
  Rgb c = h < 1 ? Rgb{1, x, 0} : h < 2 ? Rgb{x, 1, 0} : h < 3 ? Rgb{0, 1, x}
        : h < 4 ? Rgb{0, x, 1} : h < 5 ? Rgb{x, 0, 1} : Rgb{1, 0, x};
  const double l = luma(c);
  return {c.r - l, c.g - l, c.b - l};
}

Rgb apply(const Look& look, Rgb c) {
  if (look.exposure != 0) {
    const double gain = std::pow(2.0, look.exposure);
    auto expose = [gain](double v) { return std::pow(std::pow(v, 2.2) * gain, 1 / 2.2); };
    c = {expose(c.r), expose(c.g), expose(c.b)};
  }
  c = {c.r * (1 + 0.10 * look.temperature), c.g * (1 + 0.02 * look.temperature - 0.08 * look.tint),
       c.b * (1 - 0.10 * look.temperature)};
  const Mix& m = look.mix;
  c = {m[0].r * c.r + m[0].g * c.g + m[0].b * c.b, m[1].r * c.r + m[1].g * c.g + m[1].b * c.b,
       m[2].r * c.r + m[2].g * c.g + m[2].b * c.b};
  const double grey = luma(c);
  c = {grey + (c.r - grey) * look.saturation, grey + (c.g - grey) * look.saturation,
       grey + (c.b - grey) * look.saturation};
  auto clamp01 = [](double v) { return std::clamp(v, 0.0, 1.0); };
  c = {applyCurve(look.master, clamp01(c.r)), applyCurve(look.master, clamp01(c.g)),
       applyCurve(look.master, clamp01(c.b))};
  c = {applyCurve(look.red, c.r), applyCurve(look.green, c.g), applyCurve(look.blue, c.b)};
  const double l = clamp01(luma(c));
  const double shadowWeight = look.shadows.strength * (1 - l) * (1 - l);
  const double highlightWeight = look.highlights.strength * l * l;
  const Rgb s = toneOffset(look.shadows.hue), h = toneOffset(look.highlights.hue);
  c = {c.r + shadowWeight * s.r + highlightWeight * h.r, c.g + shadowWeight * s.g + highlightWeight * h.g,
       c.b + shadowWeight * s.b + highlightWeight * h.b};
  auto fade = [&](double v) { return look.fadeBlack + clamp01(v) * (look.fadeWhite - look.fadeBlack); };
  return {fade(c.r), fade(c.g), fade(c.b)};
}

uint8_t byteOf(double v) { return static_cast<uint8_t>(std::lround(std::clamp(v, 0.0, 1.0) * 255.0)); }

// The table image: each pixel holds the look of the colour that addresses it.
std::vector<unsigned char> tableOf(const Look& look) {
  std::vector<unsigned char> rgba(static_cast<size_t>(kSide) * kSide * 4);
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; ++x) {
      const int blue = (y / kTile) * 8 + x / kTile;
      const Rgb in{(x % kTile) / 63.0, (y % kTile) / 63.0, blue / 63.0};
      const Rgb out = apply(look, in);
      unsigned char* p = &rgba[(static_cast<size_t>(y) * kSide + x) * 4];
      p[0] = byteOf(out.r);
      p[1] = byteOf(out.g);
      p[2] = byteOf(out.b);
      p[3] = 255;
    }
  }
  return rgba;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: nudora_make_luts OUTDIR\n");
    return 2;
  }
  for (const Look& look : kLooks) {
    const std::string path = std::string(argv[1]) + "/" + look.file;
    const auto table = tableOf(look);
    if (!stbi_write_png(path.c_str(), kSide, kSide, 4, table.data(), kSide * 4)) {
      std::fprintf(stderr, "nudora_make_luts: cannot write %s\n", path.c_str());
      return 1;
    }
    std::printf("%s\n", path.c_str());
  }
  return 0;
}
