#pragma once
// A Linux IIO gyroscope read through sysfs, polled at the update interval on
// its own thread.
//
// The device is the first one under the sysfs root (by device number) that
// has in_anglvel_x_raw, or the one the environment variable NUDORA_IIO_DEVICE
// names ("iio:device2", or a full path). A reading is, per axis,
//   (in_anglvel_<a>_raw + offset) * scale   [rad/s]
// where scale is in_anglvel_<a>_scale, else the shared in_anglvel_scale, and
// offset is in_anglvel_<a>_offset, else in_anglvel_offset, else 0. When the
// device has a mount matrix (in_anglvel_mount_matrix, else in_mount_matrix,
// text "a, b, c; d, e, f; g, h, i") the rates are rotated into device axes as
// device = M * sensor; without one the sensor axes are taken as device axes.
// Scales, offsets and the matrix are read once at start. The time stamp is
// Clock::uptime() at the moment of reading.
//
// A reading that fails (the device vanished, a value is not a number) is
// skipped; the failure is logged once, and once more when readings recover.
//
// Thread rules: every member is callable from any thread. deliver runs on the
// source's polling thread. stop() waits for that thread unless called from
// deliver itself, in which case no further deliver call happens after it
// returns either. The source must not be destroyed from inside deliver.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

#include "platform/MotionManager.h"

namespace nudora {

class IioGyroSource : public GyroSource {
 public:
  static constexpr const char* kDefaultSysfsRoot = "/sys/bus/iio/devices";

  explicit IioGyroSource(std::string sysfsRoot = kDefaultSysfsRoot);
  ~IioGyroSource() override;
  IioGyroSource(const IioGyroSource&) = delete;
  IioGyroSource& operator=(const IioGyroSource&) = delete;

  // True when a gyroscope device is present now.
  bool isAvailable() const override;
  // Opens the device (reading scales, offsets and the mount matrix) and
  // starts polling. False, with a console line, when there is no device, a
  // calibration value is malformed, or the source already runs.
  bool start(double interval, Deliver deliver) override;
  void stop() override;
  std::string describe() const override;

  // Takes one reading now, opening the device first when it is not open.
  // On failure returns false and, when error is given, says why.
  bool readNow(GyroData* data, std::string* error = nullptr);

  // The device folder in use, or the one that would be used; empty when none.
  std::string devicePath() const;
  // Readings that failed since construction.
  uint64_t failedReadings() const { return failed_.load(); }

 private:
  struct Device {
    std::string path;
    std::string name;
    double scale[3] = {0, 0, 0};
    double offset[3] = {0, 0, 0};
    double matrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  };

  std::string findDevice(std::string* why) const;
  bool openDevice(Device* device, std::string* error) const;
  bool readDevice(const Device& device, GyroData* data, std::string* error) const;
  void poll(double interval, Deliver deliver);

  const std::string root_;
  std::mutex lifecycle_;      // serialises start and stop (the join in particular)
  mutable std::mutex mutex_;  // guards device_, opened_, running_, stopRequested_
  std::condition_variable wake_;
  Device device_;
  bool opened_ = false;
  bool running_ = false;
  bool stopRequested_ = false;
  std::thread thread_;
  std::atomic<std::thread::id> pollThread_{};  // set by the polling thread itself
  std::atomic<uint64_t> failed_{0};
};

}  // namespace nudora
