// Writes the lookup-table images of the "Textures" resources:
//
//   nudora_make_luts OUTDIR
//
// A table is a 512 x 512 image of 8 x 8 tiles of 64 x 64 pixels: blue picks
// the tile (row by row from the top left), red runs across and green down a
// tile, 64 levels per channel. This is the layout most colour tools export,
// so their lookup images can be dropped in beside ours. The output is
// committed; run this again after changing a table.

#include <cstdio>
#include <string>
#include <vector>

#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb_image_write.h>

namespace {

constexpr int kSide = 512;
constexpr int kTile = 64;

// Fills the identity table: every pixel holds the colour that addresses it.
std::vector<unsigned char> identityTable() {
  std::vector<unsigned char> rgba(static_cast<size_t>(kSide) * kSide * 4);
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; ++x) {
      int blue = (y / kTile) * 8 + x / kTile;
      unsigned char* p = &rgba[(static_cast<size_t>(y) * kSide + x) * 4];
      p[0] = static_cast<unsigned char>(((x % kTile) * 255 + 31) / 63);
      p[1] = static_cast<unsigned char>(((y % kTile) * 255 + 31) / 63);
      p[2] = static_cast<unsigned char>((blue * 255 + 31) / 63);
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
  const std::string path = std::string(argv[1]) + "/3DLUT_standard.png";
  auto table = identityTable();
  if (!stbi_write_png(path.c_str(), kSide, kSide, 4, table.data(), kSide * 4)) {
    std::fprintf(stderr, "nudora_make_luts: cannot write %s\n", path.c_str());
    return 1;
  }
  std::printf("%s\n", path.c_str());
  return 0;
}
