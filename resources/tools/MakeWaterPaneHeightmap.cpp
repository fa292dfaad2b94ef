// Writes the water pane's stored height map into the "Textures" resources:
//
//   nudora_make_waterpane_heightmap OUTDIR
//
// waterpane_heightmap.png: 1024 x 1024 grey, tiling in both directions.
// Water on a window pane seen from the side it runs down: black is dry
// glass; a few wandering trails, where drops ran down and wiped the glass,
// lie at a low even level (64); round drops rise from that level at their
// rim to white at their centre, their profile a paraboloid like a drop's
// surface. Drops keep a gap to each other and to the trails. The water pane
// effect can load it in place of the map it builds itself.
//
// Everything random comes from a fixed-seed generator and plain
// arithmetic, so running this again writes the same bytes. The output is
// committed; run this again after changing the picture.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "FixedRandom.h"

#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb_image_write.h>

namespace {

constexpr int kSide = 1024;
constexpr int kMask = kSide - 1;
constexpr double kTrailLevel = 64.0;

struct Map {
  std::vector<double> v = std::vector<double>(static_cast<size_t>(kSide) * kSide, 0.0);
  double& at(int x, int y) { return v[static_cast<size_t>(y & kMask) * kSide + (x & kMask)]; }
};

// A trail wanders down the whole height and comes back to its start column
// so the picture tiles vertically.
void addTrail(Map& map, Random& random) {
  std::vector<double> column(kSide);
  double x = random.between(0, kSide), drift = 0.0;
  for (int y = 0; y < kSide / 2; ++y) {
    drift = std::clamp(drift + random.between(-0.15, 0.15), -0.6, 0.6);
    x += drift;
    column[y] = x;
  }
  for (int y = kSide / 2; y < kSide; ++y) column[y] = column[kSide - 1 - y];
  const double halfWidth = random.between(2.0, 5.0);
  for (int y = 0; y < kSide; ++y) {
    for (int dx = static_cast<int>(-halfWidth - 1); dx <= static_cast<int>(halfWidth + 1); ++dx) {
      const int cx = static_cast<int>(std::floor(column[y])) + dx;
      if (std::abs(cx + 0.5 - column[y]) <= halfWidth) map.at(cx, y) = kTrailLevel;
    }
  }
}

// A drop where the glass around it (radius + 4) is still dry.
bool addDrop(Map& map, Random& random) {
  const int radius = 2 + random.below(7);
  const int cx = random.below(kSide), cy = random.below(kSide);
  const int reach = radius + 4;
  for (int dy = -reach; dy <= reach; ++dy) {
    for (int dx = -reach; dx <= reach; ++dx) {
      if (map.at(cx + dx, cy + dy) != 0.0) return false;
    }
  }
  const double r2 = static_cast<double>(radius) * radius;
  for (int dy = -radius; dy <= radius; ++dy) {
    for (int dx = -radius; dx <= radius; ++dx) {
      const double d2 = dx * dx + dy * dy;
      if (d2 < r2) map.at(cx + dx, cy + dy) = kTrailLevel + (255.0 - kTrailLevel) * (1.0 - d2 / r2);
    }
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s OUTDIR\n", argv[0]);
    return 2;
  }
  Random random(20240611);
  Map map;
  for (int t = 0; t < 4; ++t) addTrail(map, random);
  int drops = 0;
  for (int attempt = 0; attempt < 2000 && drops < 300; ++attempt) drops += addDrop(map, random);

  std::vector<uint8_t> grey(static_cast<size_t>(kSide) * kSide);
  for (size_t i = 0; i < grey.size(); ++i) {
    grey[i] = static_cast<uint8_t>(std::lround(std::clamp(map.v[i], 0.0, 255.0)));
  }
  stbi_write_png_compression_level = 9;
  const std::string path = std::string(argv[1]) + "/waterpane_heightmap.png";
  if (!stbi_write_png(path.c_str(), kSide, kSide, 1, grey.data(), kSide)) {
    std::fprintf(stderr, "cannot write %s\n", path.c_str());
    return 1;
  }
  std::printf("%s: %d drops\n", path.c_str(), drops);
  return 0;
}
