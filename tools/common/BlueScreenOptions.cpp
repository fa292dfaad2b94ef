#include "common/BlueScreenOptions.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <sstream>
#include <vector>

#include "pipeline/OrvoRealTimeProcessor.h"
#include "platform/PixelBuffer.h"

namespace nudora::tool {
namespace {

std::string plain(double v) {
  std::ostringstream out;
  out << v;
  return out.str();
}

}  // namespace

void addBlueScreenOptions(CLI::App& command, BlueScreenOptions& options) {
  command.add_option("--blue-screen", options.type,
                     "blue-screen type: 0 key the backdrop out over --background, 1 keep only the key colour's hue "
                     "in colour, 2 recolour the key hue with --replace-hue");
  command.add_option("--key-color", options.keyColor,
                     "backdrop colour R,G,B (0..255 each), or auto for the first frame's border (default auto)");
  command.add_option("--background", options.background,
                     "picture (PNG, JPEG) or video put behind the subject with --blue-screen 0; a shorter video loops");
  command.add_option("--key-threshold", options.threshold,
                     "how far from the key colour still counts as backdrop, 0..1 (default 0.5)");
  command.add_option("--replace-hue", options.replaceHue,
                     "new hue for --blue-screen 2, 0..1 around the colour circle (default 0.5, cyan)");
}

bool parseKeyColor(const std::string& text, OrvoColor* color) {
  std::vector<int> parts;
  std::istringstream in(text);
  std::string part;
  while (std::getline(in, part, ',')) {
    size_t used = 0;
    int value = 0;
    try {
      value = std::stoi(part, &used);
    } catch (...) {
      return false;
    }
    if (used != part.size() || value < 0 || value > 255) return false;
    parts.push_back(value);
  }
  if (parts.size() != 3 || text.back() == ',') return false;
  *color = {parts[0] / 255.0f, parts[1] / 255.0f, parts[2] / 255.0f};
  return true;
}

std::string blueScreenOptionProblem(const BlueScreenOptions& o) {
  if (!o.on()) {
    if (!o.background.empty()) return "--background needs --blue-screen 0";
    return {};
  }
  if (o.type > 2) return "blue-screen type " + std::to_string(o.type) + " is out of range (0, 1 or 2)";
  OrvoColor color;
  if (o.keyColor != "auto" && !parseKeyColor(o.keyColor, &color)) {
    return "key colour '" + o.keyColor + "' must be auto or R,G,B with each component a whole number 0..255";
  }
  if (!(o.threshold >= 0.0 && o.threshold <= 1.0)) {
    return "key threshold " + plain(o.threshold) + " is out of range (0..1)";
  }
  if (!(o.replaceHue >= 0.0 && o.replaceHue <= 1.0)) {
    return "replace hue " + plain(o.replaceHue) + " is out of range (0..1)";
  }
  if (o.type == 0 && o.background.empty()) return "--blue-screen 0 needs a background (--background FILE)";
  if (o.type != 0 && !o.background.empty()) return "--background is used only with --blue-screen 0";
  return {};
}

OrvoColor borderKeyColor(const PixelBuffer& frame) {
  const int w = frame.width(), h = frame.height(), band = std::min({8, w / 2, h / 2});
  std::vector<uint8_t> channels[3];
  for (int y = 0; y < h; ++y) {
    const uint8_t* row = frame.row(y);
    for (int x = 0; x < w; ++x) {
      if (x >= band && x < w - band && y >= band && y < h - band) continue;
      // BGRA
      for (int c = 0; c < 3; ++c) channels[c].push_back(row[x * 4 + 2 - c]);
    }
  }
  float rgb[3] = {0, 0, 0};
  for (int c = 0; c < 3; ++c) {
    if (channels[c].empty()) continue;
    auto middle = channels[c].begin() + static_cast<ptrdiff_t>(channels[c].size() / 2);
    std::nth_element(channels[c].begin(), middle, channels[c].end());
    rgb[c] = *middle / 255.0f;
  }
  return {rgb[0], rgb[1], rgb[2]};
}

void applyBlueScreenOptions(OrvoRealTimeProcessor& processor, const BlueScreenOptions& options, OrvoColor key) {
  processor.setBlueScreenType(options.type);
  processor.setScreenColor(key);
  processor.setBlueScreenThreshold(static_cast<float>(options.threshold));
  processor.setBlueScreenReplaceHue(static_cast<float>(options.replaceHue));
  processor.setBlueScreenEnabled(options.on());
}

}  // namespace nudora::tool
