#pragma once
// The most recent 256 gyro readings, stamped with their arrival time, from
// which the camera motion estimator picks the readings covering one frame.
//
// Writing remaps device axes to image axes (see OrvoMotionSample.h) and drops
// implausible readings (above 5 rad/s on any axis), so nothing downstream ever
// sees raw device rates or glitches.
//
// Thread rules: one writer (the gyro delivery thread) and readers on the frame
// thread. A short internal lock makes each call see a consistent ring;
// results equal those of the same calls made one after another on one thread.
// Storage is fixed inside the object: no call allocates.

#include <cstdint>
#include <memory>
#include <mutex>

#include "stabilization/OrvoMotionSample.h"

namespace nudora {

class OrvoMotionSampleRingBuffer {
 public:
  static constexpr int32_t kCapacity = 256;

  // A process-wide ring. The camera motion estimator keeps its own instead.
  static std::shared_ptr<OrvoMotionSampleRingBuffer> sharedInstance();

  OrvoMotionSampleRingBuffer() = default;
  OrvoMotionSampleRingBuffer(const OrvoMotionSampleRingBuffer&) = delete;
  OrvoMotionSampleRingBuffer& operator=(const OrvoMotionSampleRingBuffer&) = delete;

  // Empties the ring and clears mirror; slot contents stay as they were.
  void reset();

  // Writes one reading: (x, y, z) rad/s in device axes, stamped withTimeStamp
  // (uptime seconds). A reading above 5 rad/s on any axis is replaced by the
  // previous reading's rates (zeros when the ring is empty), keeping its stamp.
  void enqueueOneSample(double x, double y, double z, double withTimeStamp);

  // Copies the readings covering [t0, t1] in chronological order, with
  // extraSamples readings before t0 and up to extraSamples after t1. When fewer
  // than extraSamples readings newer than t1 exist yet, the missing ones are
  // written as copies of the last entry stamped t1. Returns the number of
  // entries written, or 0 when the ring is empty, every reading is newer than
  // t1, or fewer than extraSamples + 2 readings (not counting the oldest) lie
  // before t0. The result is (readings in [t0, t1]) + 2 * extraSamples, which
  // kCapacity entries of `into` always hold for extraSamples <= 3.
  // A negative extraSamples is outside the contract and returns 0.
  int32_t getSamplesBetween(double t0, double t1, OrvoMotionSample* into, int32_t extraSamples) const;

  // Copies slots 0 .. count-1 in storage order (not chronological) into `into`
  // (kCapacity entries) and returns count.
  int32_t getAllRawSamplesInto(OrvoMotionSample* into) const;

  // Image-axis rates of the newest slot. The count is not consulted: an empty
  // ring answers whatever that slot last held (zeros when never written).
  OrvoRotationRate currentRotationRate() const;

  bool hasValidGyroData() const;

  // Front-camera sign convention applied by later writes.
  bool mirror() const;
  void setMirror(bool mirror);

 private:
  mutable std::mutex mutex_;
  OrvoMotionSample samples_[kCapacity]{};
  int32_t count_ = 0;
  int32_t wrPos_ = 0;
  bool mirror_ = false;
};

}  // namespace nudora
