#include "filters/StyleNames.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include "filters/OrvoFilterDescriptor.h"

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

const std::vector<StyleName>& styleNames() {
  static const std::vector<StyleName> names = {
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

std::optional<std::string> styleNameOf(int64_t style) {
  for (const auto& entry : styleNames()) {
    if (entry.style == style) return std::string(entry.name);
  }
  return std::nullopt;
}

std::optional<int64_t> styleNamed(const std::string& text) {
  const std::string key = folded(text);
  if (key.empty()) return std::nullopt;
  if (key == "none") return 0;
  int64_t number = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc() && end == text.data() + text.size()) {
    if (number == 0 || OrvoFilterDescriptor::sharedInstance()->styleRow(number)) return number;
    return std::nullopt;
  }
  for (const auto& entry : styleNames()) {
    if (folded(entry.name) == key) return entry.style;
  }
  return std::nullopt;
}

std::vector<std::string> styleNamesNear(const std::string& text) {
  const std::string key = folded(text);
  std::vector<std::pair<size_t, std::string>> near;
  for (const auto& entry : styleNames()) {
    const size_t distance = editDistance(key, folded(entry.name));
    if (distance * 2 <= std::max<size_t>(key.size(), 2)) near.emplace_back(distance, entry.name);
  }
  std::stable_sort(near.begin(), near.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<std::string> names;
  for (size_t i = 0; i < near.size() && i < 3; ++i) names.push_back(near[i].second);
  return names;
}

}  // namespace nudora
