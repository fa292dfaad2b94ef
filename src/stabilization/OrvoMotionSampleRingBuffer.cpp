#include "stabilization/OrvoMotionSampleRingBuffer.h"

#include <cmath>

namespace nudora {
namespace {

constexpr int32_t kLast = OrvoMotionSampleRingBuffer::kCapacity - 1;
// Faster than any hand-held camera turns; such readings are sensor glitches.
constexpr double kGlitchRate = 5.0;

inline int32_t previousSlot(int32_t slot) { return slot == 0 ? kLast : slot - 1; }

}  // namespace

std::shared_ptr<OrvoMotionSampleRingBuffer> OrvoMotionSampleRingBuffer::sharedInstance() {
  static std::shared_ptr<OrvoMotionSampleRingBuffer> ring = std::make_shared<OrvoMotionSampleRingBuffer>();
  return ring;
}

void OrvoMotionSampleRingBuffer::reset() {
  std::lock_guard lock(mutex_);
  wrPos_ = 0;
  count_ = 0;
  mirror_ = false;
}

void OrvoMotionSampleRingBuffer::enqueueOneSample(double x, double y, double z, double withTimeStamp) {
  std::lock_guard lock(mutex_);
  OrvoMotionSample& slot = samples_[wrPos_];
  slot.x = static_cast<float>(-y);
  if (mirror_) {
    slot.y = static_cast<float>(-x);
    slot.z = static_cast<float>(-z);
  } else {
    slot.y = static_cast<float>(x);
    slot.z = static_cast<float>(z);
  }
  // Judged on the stored (narrowed) values, so what is kept is what was tested.
  if (std::fabs(static_cast<double>(slot.x)) > kGlitchRate || std::fabs(static_cast<double>(slot.y)) > kGlitchRate ||
      std::fabs(static_cast<double>(slot.z)) > kGlitchRate) {
    if (count_ < 1) {
      slot.x = slot.y = slot.z = 0.0f;
    } else {
      const OrvoMotionSample& prev = samples_[previousSlot(wrPos_)];
      slot.x = prev.x;
      slot.y = prev.y;
      slot.z = prev.z;
    }
  }
  slot.timestamp = withTimeStamp;
  wrPos_ = wrPos_ < kLast ? wrPos_ + 1 : 0;
  if (count_ < kCapacity) ++count_;
}

int32_t OrvoMotionSampleRingBuffer::getSamplesBetween(double t0, double t1, OrvoMotionSample* into,
                                                      int32_t extraSamples) const {
  if (extraSamples < 0 || into == nullptr) return 0;
  std::lock_guard lock(mutex_);
  const int32_t n = count_;
  if (n == 0) return 0;
  // Chronological position i (0 = oldest) lives in slot (oldest + i) mod 256.
  const int32_t oldest = (wrPos_ - n + kCapacity) % kCapacity;
  auto slotOf = [oldest](int32_t i) { return (oldest + i) & kLast; };

  // Newest reading at or before t1; k readings newer than t1 are skipped.
  int32_t b = n - 1;
  while (b >= 0 && !(samples_[slotOf(b)].timestamp <= t1)) --b;
  if (b < 0) return 0;
  const int32_t k = n - 1 - b;

  // Newest reading strictly before t0, never looking at the oldest one.
  int32_t a = b;
  while (a >= 1 && !(samples_[slotOf(a)].timestamp < t0)) --a;
  if (a < 1) return 0;

  // Two readings stricter than the copy needs: this decides when the first
  // frames after start-up get motion, and callers rely on it.
  if (a < extraSamples + 2) return 0;

  const int32_t first = a + 1 - extraSamples;
  const int32_t last = b + (k < extraSamples ? k : extraSamples);
  int32_t written = 0;
  for (int32_t i = first; i <= last; ++i) into[written++] = samples_[slotOf(i)];
  // Pad to extraSamples readings after t1 so the integration can always
  // interpolate at t1.
  for (int32_t p = k; p < extraSamples; ++p) {
    OrvoMotionSample pad = into[written - 1];
    pad.timestamp = t1;
    into[written++] = pad;
  }
  return written;
}

int32_t OrvoMotionSampleRingBuffer::getAllRawSamplesInto(OrvoMotionSample* into) const {
  std::lock_guard lock(mutex_);
  if (into == nullptr) return count_;
  for (int32_t i = 0; i < count_; ++i) into[i] = samples_[i];
  return count_;
}

OrvoRotationRate OrvoMotionSampleRingBuffer::currentRotationRate() const {
  std::lock_guard lock(mutex_);
  const OrvoMotionSample& newest = samples_[previousSlot(wrPos_)];
  return {newest.x, newest.y, newest.z};
}

bool OrvoMotionSampleRingBuffer::hasValidGyroData() const {
  std::lock_guard lock(mutex_);
  return count_ > 0;
}

bool OrvoMotionSampleRingBuffer::mirror() const {
  std::lock_guard lock(mutex_);
  return mirror_;
}

void OrvoMotionSampleRingBuffer::setMirror(bool mirror) {
  std::lock_guard lock(mutex_);
  mirror_ = mirror;
}

}  // namespace nudora
