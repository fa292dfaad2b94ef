#include "filters/LookupTableImage.h"

#include <algorithm>
#include <cmath>

#include "platform/Image.h"

namespace nudora {

std::shared_ptr<Image> makeLookupTableImage(const LookupFunction& look) {
  using L = LookupTableLayout;
  auto image = std::make_shared<Image>(L::kSide, L::kSide);
  const double top = L::kLevels - 1;
  for (int y = 0; y < L::kSide; ++y) {
    for (int x = 0; x < L::kSide; ++x) {
      const int blue = (y / L::kTile) * (L::kSide / L::kTile) + x / L::kTile;
      double out[3] = {0, 0, 0};
      look((x % L::kTile) / top, (y % L::kTile) / top, blue / top, out);
      uint8_t* p = image->pixel(x, y);
      for (int c = 0; c < 3; ++c) p[c] = static_cast<uint8_t>(std::lround(std::clamp(out[c], 0.0, 1.0) * 255.0));
      p[3] = 255;
    }
  }
  return image;
}

std::shared_ptr<Image> identityLookupTableImage() {
  return makeLookupTableImage([](double r, double g, double b, double out[3]) {
    out[0] = r;
    out[1] = g;
    out[2] = b;
  });
}

}  // namespace nudora
