#include "common/FilterOptions.h"

#include <cmath>
#include <cstdio>

#include "filters/OrvoFilterDescriptor.h"

namespace nudora::tool {

std::string filterOptionProblem(int64_t style, int64_t lens, int64_t beauty, double zoom) {
  auto catalogue = OrvoFilterDescriptor::sharedInstance();
  if (style != 0 && !catalogue->styleRow(style)) {
    return "unknown style " + std::to_string(style) + " (0 for none, or a style number of the catalogue, 1 to " +
           std::to_string(OrvoFilterDescriptor::kStyleIndexCount) + ")";
  }
  if (lens != 0 && !catalogue->lensRow(lens)) {
    return "unknown lens " + std::to_string(lens) + " (0 for none, or a lens number of the catalogue: 1-28, 34-44)";
  }
  if (beauty < 0 || beauty > 4) return "beauty level " + std::to_string(beauty) + " is out of range (0 to 4)";
  if (!(zoom > 0.0) || !std::isfinite(zoom)) {
    char text[64];
    std::snprintf(text, sizeof(text), "%g", zoom);
    return std::string("zoom ") + text + " must be a positive number";
  }
  return {};
}

}  // namespace nudora::tool
