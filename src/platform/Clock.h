#pragma once
// The uptime clock that gyro readings and frame presentation times share.
// By default it is CLOCK_MONOTONIC in seconds. A replay of recorded data can
// switch it to a virtual clock that the replay drives, so that a file is
// processed in its own time however fast the machine runs.
//
// Thread rules: every function is callable from any thread.

namespace nudora {

class Clock {
 public:
  // Seconds on the uptime clock: the virtual time while the virtual clock is
  // on, else the monotonic clock.
  static double uptime();
  // CLOCK_MONOTONIC in seconds, whatever mode the clock is in.
  static double monotonic();

  // Switches to the virtual clock, starting at t.
  static void startVirtual(double t);
  // Sets the virtual time (ignored while the virtual clock is off).
  static void setVirtualTime(double t);
  // Returns to the monotonic clock.
  static void stopVirtual();
  static bool isVirtual();
};

}  // namespace nudora
