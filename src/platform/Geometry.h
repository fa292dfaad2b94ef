#pragma once
// Plain geometry records, as the platform's point and size structs.

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

}  // namespace nudora
