#include "filters/FilterNames.h"

#include <algorithm>
#include <cctype>
#include <charconv>


namespace nudora {
namespace {

// Lower case, letters and digits only.
std::string folded(const std::string& text) {
  std::string out;
  for (unsigned char c : text) {
    if (std::isalnum(c)) out += static_cast<char>(std::tolower(c));
  }
  return out;
}

size_t editDistance(const std::string& a, const std::string& b) {
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t above = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
      diagonal = above;
    }
  }
  return row[b.size()];
}

}  // namespace

const std::vector<FilterName>& styleNames() {
  static const std::vector<FilterName> names = {
      {1, "jolie", "bright and soft, rosy skin, lifted shadows"},
      {2, "m", "moody matte: lifted blacks, muted colour, magenta shadows"},
      {3, "oldtime", "aged colour print: faded warm tones, vignette, specks"},
      {4, "enamel", "glossy and crisp: high contrast, rich colour, porcelain skin"},
      {5, "memory", "nostalgic faded print: yellowed highlights, milky blacks"},
      {6, "vatnajokull", "glacier: cold cyan-blue, clean bright highlights"},
      {7, "wagashi", "soft pastel: low contrast, pink and matcha green"},
      {8, "maze", "mysterious cyan-green cast, deep contrast"},
      {9, "mandeling", "coffee: rich warm browns, dense shadows"},
      {10, "adventure", "punchy outdoors: vivid greens and blues, clarity"},
      {11, "adjustments", "brightness, contrast and saturation from the style's three values"},
      {12, "freewheelin", "early-sixties street print: faded, cool blue-grey"},
      {13, "mars", "red-orange dusty desert"},
      {14, "venus", "golden glow, soft warm haze"},
      {15, "f02", "slide film: dense greens and blues, punchy"},
      {16, "lomo", "toy camera: rich cross colours, deep contrast, cyan shadows"},
      {17, "sweet", "candy: bright, pink tint, saturated pastels"},
      {18, "standard", "a camera's standard rendering: richer colour, gentle contrast"},
      {19, "px100uv-cold", "instant black-and-white film, cold tone, soft blacks"},
      {20, "ink", "ink wash: near-monochrome, crushed blue-black shadows"},
      {21, "tmax3200", "pushed fast black-and-white film: milky blacks, hard highlights"},
      {22, "trix400", "classic black-and-white film through a red filter: dark sky"},
      {23, "lomo-blue", "toy camera, cold blue cast, strong contrast"},
      {24, "lomo-purple", "toy camera, magenta-violet cast"},
      {25, "lomo-green", "toy camera, green cast in the mid tones"},
      {26, "x-pro2", "cross-processed slide film: yellow highlights, cyan-blue shadows"},
      {27, "px680-cold", "instant colour film, cold: pastel, milky blacks"},
      {28, "earlybird", "warm vintage wash: cream highlights, faded"},
      {29, "cinematic2", "muted blockbuster grade: cool shadows, crushed blacks (tone mapped)"},
      {30, "cinematic", "film print curve: teal shadows, warm mids (tone mapped)"},
      {31, "contrast", "hard S-curve, a little more colour (tone mapped)"},
      {32, "sepia", "brown-toned monochrome (tone mapped)"},
      {33, "tealorange", "teal shadows against orange skin (tone mapped)"},
      {34, "arri", "cinema camera rendering: soft highlight roll-off, natural (tone mapped)"},
      {35, "seventies", "seventies colour: warm yellow-brown, olive shadows, faded"},
      {36, "superia1600", "fast consumer colour film: green shadows, saturated, contrasty"},
      {37, "portra400", "portrait colour film: warm skin, low contrast, pastel"},
      {38, "fuji800z", "portrait colour film: natural skin, cool, cyan shadows"},
      {39, "movie1910", "silent film: flicker, weave, heavy grain, scratches, cold monochrome"},
      {40, "movie1920", "twenties film: brown-toned, grain and scratches"},
      {41, "movie1930", "thirties film: hard black and white, grain and scratches"},
      {42, "movie1940", "forties black-and-white film, fine grain"},
      {43, "movie1950", "early colour film, gentle grain"},
      {44, "movie1960", "sixties colour stock, fine grain, halation"},
      {45, "movie1970", "seventies cinema grade, fine grain, halation"},
      {46, "anamorphic-tealorange", "anamorphic lens flares on the teal-orange grade"},
      {47, "anamorphic-vatnajokull", "anamorphic lens flares on the glacier grade (tone mapped)"},
      {48, "anamorphic-cinematic", "anamorphic lens flares on the cinematic grade (tone mapped)"},
      {49, "leak-green", "light leak over the green toy-camera grade"},
      {50, "leak-earlybird", "light leak over the warm vintage grade"},
      {51, "leak-earlybird-2", "another light leak over the warm vintage grade"},
      {52, "leak-blue", "light leak over the blue toy-camera grade"},
      {53, "leak-purple", "light leak over the purple toy-camera grade"},
      {54, "leak-xpro", "light leak over the cross-processed slide"},
      {55, "leak-earlybird-3", "a third light leak over the warm vintage grade"},
      {56, "summer", "hot summer: warm, vivid, saturated"},
      {57, "fresh", "bright and clean, greens and cyans lifted"},
      {58, "memory-lut", "soft, warm, faded pastel"},
      {59, "breakfast", "warm morning light, golden highlights, soft contrast"},
      {60, "hicontrast-yellow", "high contrast with a yellow cast"},
      {61, "hicontrast-blue", "high contrast with a blue cast"},
      {62, "jl2", "bright rosy portrait look, soft and clean"},
  };
  return names;
}

const std::vector<FilterName>& lensNames() {
  static const std::vector<FilterName> names = {
      {1, "bokeh", "sharp circle at the centre, the rest blurred with blooming highlights"},
      {2, "tilt-shift", "a sharp band, blur growing away from it: a miniature world"},
      {3, "perspective", "keystone tilt of the picture"},
      {4, "soft-focus", "dreamy glow of a soft-focus lens"},
      {5, "fisheye", "barrel distortion of a round fish-eye lens"},
      {6, "zoom-blur", "radial blur, as zooming during the exposure"},
      {7, "vignette", "darkened (or lightened) corners"},
      {8, "thermal", "thermal camera palette"},
      {9, "tv", "old television: static, scanlines, rolling bar"},
      {10, "night-vision", "green phosphor night-vision scope"},
      {11, "spotlight", "a lit circle, the rest in shadow"},
      {12, "anamorphic", "blue horizontal streak flares, letterbox bars"},
      {13, "painting", "oil painting"},
      {14, "colored-sketch", "coloured pencil sketch"},
      {15, "neon", "glowing neon edges on black"},
      {16, "comics", "flat comic-book colours with ink lines"},
      {17, "manga", "black-and-white manga with screen tones"},
      {18, "pop", "pop art: posterised colour and halftone dots"},
      {19, "watercolor", "watercolour on paper"},
      {20, "elongating", "funhouse mirror stretch"},
      {21, "mirror-left", "left half mirrored onto the right"},
      {22, "mirror-right", "right half mirrored onto the left"},
      {23, "defog", "haze removed, local contrast restored"},
      {24, "snowy", "frosted window"},
      {25, "rainy", "seen through a wet window"},
      {26, "bluescreen", "blue-screen keying"},
      {27, "bluescreen-mono", "blue-screen keying onto one colour"},
      {28, "bluescreen-replace", "blue-screen keying, colour replaced"},
      {29, "flood", "rippling water floods the lower part and mirrors the scene (ES 3)"},
      {30, "water-pane", "drops and trails on a fogged window refract the scene (ES 3)"},
      {34, "displacement", "picture displaced by a map"},
      {35, "insect", "compound eye: hexagonal facets"},
      {36, "robot-killer", "red machine vision with a targeting reticle"},
      {37, "matrix", "picture rebuilt from falling green glyphs"},
      {38, "ghost", "pale translucent double image"},
      {39, "werewolf", "cold moonlit night, claw marks slashing across"},
      {40, "vampire", "cold, drained colour with blood dripping"},
      {41, "fire", "flames rising from the bottom"},
      {42, "light-ray", "rays of light from the bright parts"},
      {43, "denoise", "edge-preserving noise reduction"},
      {44, "swirl", "twirl about the centre"},
  };
  return names;
}

std::optional<std::string> filterNameOf(const std::vector<FilterName>& names, int64_t number) {
  for (const auto& entry : names) {
    if (entry.number == number) return std::string(entry.name);
  }
  return std::nullopt;
}

std::optional<int64_t> filterNamed(const std::vector<FilterName>& names, const std::string& text) {
  const std::string key = folded(text);
  if (key.empty()) return std::nullopt;
  if (key == "none") return 0;
  int64_t number = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc() && end == text.data() + text.size()) {
    if (number == 0 || filterNameOf(names, number)) return number;
    return std::nullopt;
  }
  for (const auto& entry : names) {
    if (folded(entry.name) == key) return entry.number;
  }
  return std::nullopt;
}

std::vector<std::string> filterNamesNear(const std::vector<FilterName>& names, const std::string& text) {
  const std::string key = folded(text);
  std::vector<std::pair<size_t, std::string>> near;
  for (const auto& entry : names) {
    const size_t distance = editDistance(key, folded(entry.name));
    if (distance * 2 <= std::max<size_t>(key.size(), 2)) near.emplace_back(distance, entry.name);
  }
  std::stable_sort(near.begin(), near.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<std::string> closest;
  for (size_t i = 0; i < near.size() && i < 3; ++i) closest.push_back(near[i].second);
  return closest;
}

}  // namespace nudora
