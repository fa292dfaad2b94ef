#pragma once
// The motion of one camera frame, filled by
// OrvoCameraMotionEstimator::estimateFrameMotion and owned by the caller.
//
// The layout (frame rotation first, then the 64 row bands, each quaternion
// x, y, z, w) is read as a flat array of 65 quaternions by the stabiliser and
// the denoiser; do not reorder or pad it.

#include <type_traits>

#include "stabilization/Quaternion.h"

namespace nudora {

struct OrvoFrameMotion {
  static constexpr int kRowBands = 64;

  // Accumulated camera rotation up to this frame, before smoothing.
  glm::quat frameRotation;
  // Rotation from the start of the visible readout (band 0, identity) to the
  // start of band k, in readout order.
  glm::quat rowBandRotation[kRowBands];
};

static_assert(sizeof(OrvoFrameMotion) == 65 * sizeof(glm::quat), "OrvoFrameMotion is 65 packed quaternions");
static_assert(std::is_trivially_copyable_v<OrvoFrameMotion>, "OrvoFrameMotion is a plain record");

}  // namespace nudora
