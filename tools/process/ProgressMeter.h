#pragma once
// A one-line progress bar on standard error: done / total frames, the rate
// and the time left, redrawn in place a few times a second. It draws only
// when standard error is a terminal and it was not silenced.

#include <cstdint>

namespace nudora::tool {

class ProgressMeter {
 public:
  // total 0: unknown (no bar, only the count).
  ProgressMeter(int64_t total, bool enabled);
  ~ProgressMeter();
  ProgressMeter(const ProgressMeter&) = delete;
  ProgressMeter& operator=(const ProgressMeter&) = delete;

  void update(int64_t done);
  // Clears the line so that what follows starts on a clean one.
  void finish();

 private:
  void draw(int64_t done, double now);

  int64_t total_;
  bool enabled_;
  double start_;
  double lastDraw_ = -1.0;
  bool drawn_ = false;
};

}  // namespace nudora::tool
