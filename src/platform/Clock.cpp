#include "platform/Clock.h"

#include <time.h>

#include <atomic>

namespace nudora {
namespace {
std::atomic<bool> gVirtual{false};
std::atomic<double> gVirtualTime{0.0};
}  // namespace

double Clock::monotonic() {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

double Clock::uptime() { return gVirtual.load(std::memory_order_acquire) ? gVirtualTime.load() : monotonic(); }

void Clock::startVirtual(double t) {
  gVirtualTime.store(t);
  gVirtual.store(true, std::memory_order_release);
}

void Clock::setVirtualTime(double t) {
  if (gVirtual.load(std::memory_order_acquire)) gVirtualTime.store(t);
}

void Clock::stopVirtual() { gVirtual.store(false, std::memory_order_release); }

bool Clock::isVirtual() { return gVirtual.load(std::memory_order_acquire); }

}  // namespace nudora
