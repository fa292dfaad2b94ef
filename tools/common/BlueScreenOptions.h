#pragma once
// The blue-screen options nudora still and nudora process share:
// --blue-screen TYPE, --key-color R,G,B|auto, --background FILE,
// --key-threshold T and --replace-hue H. Checked before any GL work; handed
// to the real-time processor once it is set up.

#include <cstdint>
#include <string>

#include "platform/Geometry.h"

namespace CLI {
class App;
}

namespace nudora {
class OrvoRealTimeProcessor;
class PixelBuffer;
}  // namespace nudora

namespace nudora::tool {

struct BlueScreenOptions {
  // -1: off; 0 key over a background, 1 keep only the key hue's colour,
  // 2 recolour the key hue.
  int64_t type = -1;
  std::string keyColor = "auto";
  std::string background;
  double threshold = 0.5;
  double replaceHue = 0.5;

  bool on() const { return type >= 0; }
};

void addBlueScreenOptions(CLI::App& command, BlueScreenOptions& options);

// Empty when the options are usable (files aside from their existence),
// else one sentence naming the first bad value.
std::string blueScreenOptionProblem(const BlueScreenOptions& options);

// "R,G,B" with each component a whole number 0..255, into 0..1 components;
// false for anything else (also for "auto", which the caller resolves).
bool parseKeyColor(const std::string& text, OrvoColor* color);

// The backdrop's colour as the frame's border shows it: per channel the
// median of the outermost 8 pixels all round, so a subject reaching the
// edge in places does not shift it.
OrvoColor borderKeyColor(const PixelBuffer& frame);

// Switches the processor's blue-screen path on with these settings.
void applyBlueScreenOptions(OrvoRealTimeProcessor& processor, const BlueScreenOptions& options, OrvoColor key);

}  // namespace nudora::tool
