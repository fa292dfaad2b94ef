#pragma once
// The process-wide gyroscope service: one manager per process, fed by one
// pluggable source (a Linux IIO gyroscope, a replayed gyro log, or readings
// pushed by the host). Readings are rotation rates in radians per second in
// device axes:
//   x points to the right edge of the device held upright (portrait),
//   y points to the top edge,
//   z points out of the screen, towards the viewer;
// positive rates turn counter-clockwise about each axis (right-hand rule).
//
// Thread rules: every member is callable from any thread. The handler given
// to startGyroUpdates runs on the manager's own delivery thread ("MotionQueue"),
// one reading at a time, in order.

#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace nudora {

class SerialQueue;

struct GyroData {
  double timestamp = 0.0;  // the source's own time of the reading, uptime seconds
  double x = 0.0, y = 0.0, z = 0.0;  // rad/s, device axes
};

// A producer of gyro readings. start() begins delivering readings at about
// the given interval through deliver (from any thread); stop() ends it and
// returns only when no further call of deliver can happen.
class GyroSource {
 public:
  using Deliver = std::function<void(const GyroData&)>;
  virtual ~GyroSource() = default;
  virtual bool isAvailable() const = 0;
  virtual bool start(double interval, Deliver deliver) = 0;
  virtual void stop() = 0;
  virtual std::string describe() const = 0;
};

class MotionManager {
 public:
  // data is null when a reading failed; error then says why.
  using GyroHandler = std::function<void(const GyroData* data, const std::string* error)>;

  static std::shared_ptr<MotionManager> sharedInstance();

  MotionManager();
  ~MotionManager();

  // Replaces the source (stopping updates that run on the old one). Until a
  // source is set the manager looks for an IIO gyroscope on first use.
  void setSource(std::shared_ptr<GyroSource> source);
  std::shared_ptr<GyroSource> source() const;

  bool isGyroAvailable() const;
  bool isGyroActive() const;
  void setGyroUpdateInterval(double seconds);
  double gyroUpdateInterval() const;
  // Starts delivering readings to handler on the delivery thread.
  void startGyroUpdates(GyroHandler handler);
  // No handler call starts after this returns; readings still queued are
  // dropped. From another thread it also waits for a handler call that is
  // running, so the caller must not hold a lock that the handler takes.
  void stopGyroUpdates();

  // Blocks until every reading delivered so far has gone through the handler.
  void waitUntilDelivered();

 private:
  std::shared_ptr<GyroSource> sourceLocked() const;  // mutex_ held

  // Start, stop and source changes must not interleave: a stop that slipped
  // in between publishing a new handler and starting the source would leave
  // the source running with nobody listening. It is never held while waiting
  // for the delivery thread, so a handler may itself start or stop updates.
  std::mutex controlMutex_;
  mutable std::mutex mutex_;
  mutable std::shared_ptr<GyroSource> source_;
  mutable bool sourceProbed_ = false;
  std::shared_ptr<GyroHandler> handler_;
  double interval_ = 0.01;
  bool active_ = false;
  std::unique_ptr<SerialQueue> queue_;
};

}  // namespace nudora
