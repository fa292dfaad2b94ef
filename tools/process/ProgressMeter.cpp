#include "process/ProgressMeter.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "platform/Clock.h"

namespace nudora::tool {
namespace {
constexpr double kRedrawSeconds = 0.2;
constexpr int kBarWidth = 30;
}  // namespace

// Clock::monotonic, not uptime: the replay of a gyro log moves the uptime clock.
ProgressMeter::ProgressMeter(int64_t total, bool enabled)
    : total_(total), enabled_(enabled && ::isatty(STDERR_FILENO)), start_(Clock::monotonic()) {}

ProgressMeter::~ProgressMeter() { finish(); }

void ProgressMeter::update(int64_t done) {
  if (!enabled_) return;
  const double now = Clock::monotonic();
  if (lastDraw_ >= 0.0 && now - lastDraw_ < kRedrawSeconds) return;
  lastDraw_ = now;
  draw(done, now);
}

void ProgressMeter::draw(int64_t done, double now) {
  const double elapsed = now - start_;
  const double fps = elapsed > 0.0 ? static_cast<double>(done) / elapsed : 0.0;
  char line[160];
  if (total_ > 0) {
    const double fraction = std::clamp(static_cast<double>(done) / static_cast<double>(total_), 0.0, 1.0);
    const int filled = static_cast<int>(fraction * kBarWidth);
    const std::string bar = std::string(filled, '#') + std::string(kBarWidth - filled, '.');
    const double left = fps > 0.0 ? static_cast<double>(std::max<int64_t>(0, total_ - done)) / fps : 0.0;
    std::snprintf(line, sizeof(line), "\r[%s] %3.0f%% %lld/%lld frames, %.1f fps, %.0f s left ", bar.c_str(),
                  fraction * 100.0, static_cast<long long>(done), static_cast<long long>(total_), fps, left);
  } else {
    std::snprintf(line, sizeof(line), "\r%lld frames, %.1f fps ", static_cast<long long>(done), fps);
  }
  std::fputs(line, stderr);
  std::fflush(stderr);
  drawn_ = true;
}

void ProgressMeter::finish() {
  if (!drawn_) return;
  std::fputs("\r\033[K", stderr);
  std::fflush(stderr);
  drawn_ = false;
}

}  // namespace nudora::tool
