#pragma once
// Plain records shared by the gyro ring buffer and the camera motion estimator.
//
// Axes. The platform gyro reports rates in device axes: x towards the right
// edge, y towards the top edge of the device held upright (portrait), z out of
// the screen, positive counter-clockwise (right-hand rule). The ring buffer
// stores them remapped to image axes, once, at write time:
//   image x = -device y;
//   image y =  device x  (negated for a mirrored, front camera);
//   image z =  device z  (negated for a mirrored, front camera).
// Every rate and rotation downstream of the ring (integration, zero drift,
// warping) lives in these image axes.

namespace nudora {

// One gyro reading as kept in the ring: image-axis rates in rad/s and the
// reading's arrival time in seconds on the uptime clock (Clock::uptime, the
// clock of frame presentation times).
struct OrvoMotionSample {
  double timestamp = 0.0;
  float x = 0.0f;
  float y = 0.0f;
  float z = 0.0f;
};

// Three rotation rates in rad/s (the platform's rotation-rate record).
struct OrvoRotationRate {
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;
};

}  // namespace nudora
