#pragma once
// The layout of a style's lookup-table image: 512 x 512 pixels of 8 x 8
// tiles of 64 x 64. Blue picks the tile (row by row from the top left), red
// runs across and green down a tile, 64 levels per channel; the filter
// shader's lookupTable() reads it this way. Tables from files and tables
// made in memory (the identity, imported .cube grades) share it.

#include <functional>
#include <memory>

namespace nudora {

class Image;

struct LookupTableLayout {
  static constexpr int kSide = 512;
  static constexpr int kTile = 64;
  static constexpr int kLevels = 64;
};

// A table whose entry for the colour (r, g, b), each k / 63, is
// look(r, g, b, out), out receiving the graded colour in 0..1 (clamped and
// rounded to 8 bits here).
using LookupFunction = std::function<void(double r, double g, double b, double out[3])>;
std::shared_ptr<Image> makeLookupTableImage(const LookupFunction& look);

// The table that gives every colour back unchanged.
std::shared_ptr<Image> identityLookupTableImage();

}  // namespace nudora
