#pragma once
// Replays a loaded gyro log in its own time on the virtual uptime clock, so
// that a recorded video and its gyro log are processed as if live, however
// fast the machine runs.
//
// A reading at log time t belongs at uptime t + offset; a host that knows
// the log's lag behind the video's presentation times sets the offset so
// that the two line up. Nothing is delivered by the passage of real time:
// the host calls advanceTo(t) (typically with the presentation time of the
// next frame) and every reading up to t is delivered then.
//
// The replay drives the process-wide clock (Clock): start() switches it to
// virtual mode when it is not already (starting at the first reading's
// uptime) and advanceTo() moves it forward. Every other user of
// Clock::uptime() in the process then sees log time; stop() and the
// destructor leave the clock virtual, since the host may go on processing
// frames in that time. Clock::stopVirtual() returns to the real clock.
//
// Thread rules: every member is callable from any thread, but advanceTo must
// not be called on the motion manager's delivery thread (it waits for that
// thread). The log must not be changed while the source holds it; the axis
// orientation in effect is read once at start().

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>

#include "platform/GyroLog.h"
#include "platform/MotionManager.h"

namespace nudora {

class GyroLogSource : public GyroSource {
 public:
  // manager is the one whose handler advanceTo waits for; when empty,
  // MotionManager::sharedInstance().
  explicit GyroLogSource(std::shared_ptr<const GyroLog> log, double offset = 0.0,
                         std::weak_ptr<MotionManager> manager = {});

  bool isAvailable() const override;
  // Arms the replay (interval is ignored: the log sets the pace). Readings
  // stamped before the virtual clock's time at this moment are skipped, as
  // a live gyro would not report the past either; the first start of a
  // replay on a real clock starts the virtual clock at the first reading.
  bool start(double interval, Deliver deliver) override;
  void stop() override;
  std::string describe() const override;

  // Delivers, in order, every reading with uptime <= t not yet delivered:
  // for each, the virtual clock is set to the reading's uptime, the reading
  // is delivered, and the manager's handler is waited for, so a handler that
  // stamps readings with Clock::uptime() sees the log's time. Afterwards the
  // clock reads t (it is never moved back). Returns the number delivered; 0
  // while stopped.
  size_t advanceTo(double t);

  double offset() const;
  void setOffset(double offset);
  // Readings delivered since construction, and the index of the next one.
  size_t delivered() const;
  size_t position() const;
  // Moves the replay back to the first reading.
  void rewind();

 private:
  std::shared_ptr<MotionManager> manager() const;

  const std::shared_ptr<const GyroLog> log_;
  const std::weak_ptr<MotionManager> manager_;
  mutable std::mutex mutex_;  // guards everything below
  double offset_;
  GyroLog::Orientation orientation_;
  Deliver deliver_;
  bool running_ = false;
  size_t next_ = 0;
  size_t delivered_ = 0;
};

}  // namespace nudora
