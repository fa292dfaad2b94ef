#pragma once
// Plain geometry and colour records, as the platform's point, size and colour structs.

namespace nudora {

// A point; picture-normalised (0 to 1) or in pixels, as its user says.
struct OrvoPoint {
  double x = 0.0;
  double y = 0.0;
};

struct OrvoSize {
  double width = 0.0;
  double height = 0.0;
};

// A colour with components in 0..1.
struct OrvoColor {
  float red = 0.0f;
  float green = 0.0f;
  float blue = 0.0f;
};

}  // namespace nudora
