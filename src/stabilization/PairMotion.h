#pragma once
// What FrameMotionEstimator measures between two consecutive frames.

#include <limits>

namespace nudora {

struct PairMotion {
  // How far the picture content moved from the earlier frame to the later
  // one, in pixels of the video (x to the right, y down the rows).
  double dx = 0.0;
  double dy = 0.0;
  // Rolling-shutter skew: how much more the bottom of the frame moved than
  // the top, beyond what a rigid rotation or zoom of the whole picture
  // explains, in pixels per frame height; x is the horizontal shear, y the
  // vertical stretch. NaN when too few strips could be measured.
  double skewX = std::numeric_limits<double>::quiet_NaN();
  double skewY = std::numeric_limits<double>::quiet_NaN();
  // In-plane rotation of the content, radians, clockwise on screen.
  double roll = 0.0;
  // False when the frames had too little texture to measure (flat or black
  // frames); dx and dy are then 0.
  bool valid = false;
  int measuredStrips = 0;
};

}  // namespace nudora
