#include "common/FilterOptions.h"

#include <cmath>
#include <cstdio>

#include "filters/OrvoFilterDescriptor.h"
#include "filters/FilterNames.h"
#include "gpu/OrvoBaseProcessor.h"

namespace nudora::tool {

std::string filterOptionProblem(int64_t style, int64_t lens, int64_t beauty, double zoom) {
  auto catalogue = OrvoFilterDescriptor::sharedInstance();
  if (style != 0 && !catalogue->styleRow(style)) {
    return "unknown style " + std::to_string(style) + " (0 for none, or a style number of the catalogue, 1 to " +
           std::to_string(OrvoFilterDescriptor::kStyleIndexCount) + ")";
  }
  const bool effectLens = lens == OrvoBaseProcessor::kFloodLens || lens == OrvoBaseProcessor::kWaterPaneLens;
  if (lens != 0 && !effectLens && !catalogue->lensRow(lens)) {
    return "unknown lens " + std::to_string(lens) + " (0 for none, or a lens number of the catalogue: 1-30, 34-44)";
  }
  if (beauty < 0 || beauty > 4) return "beauty level " + std::to_string(beauty) + " is out of range (0 to 4)";
  if (!(zoom >= 1.0 && zoom <= 8.0)) {
    char text[64];
    std::snprintf(text, sizeof(text), "%g", zoom);
    return std::string("zoom ") + text + " must lie between 1 (none) and 8";
  }
  return {};
}

namespace {

// Rewrites a name of the list into its number; numbers pass unchanged.
std::string nameToNumber(const std::vector<FilterName>& names, const char* what, const char* command,
                         std::string& text) {
  if (!text.empty() && text.find_first_not_of("+-0123456789") == std::string::npos) return {};
  if (auto number = filterNamed(names, text)) {
    text = std::to_string(*number);
    return {};
  }
  std::string problem = std::string("unknown ") + what + " '" + text + "'";
  auto near = filterNamesNear(names, text);
  for (size_t i = 0; i < near.size(); ++i) problem += (i == 0 ? "; did you mean " : " or ") + near[i];
  return problem + (near.empty() ? "" : "?") + " ('nudora " + command + "' lists them all)";
}

}  // namespace

std::string styleNameToNumber(std::string& text) { return nameToNumber(styleNames(), "style", "styles", text); }

std::string lensNameToNumber(std::string& text) { return nameToNumber(lensNames(), "lens", "lenses", text); }

}  // namespace nudora::tool
