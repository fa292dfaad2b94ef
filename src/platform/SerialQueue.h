#pragma once
// A serial queue: one worker thread runs blocks in submission order.
// Stands in for a serial dispatch queue: label, sync, async and
// queue-specific keys.
//
// Thread rules: sync and async are callable from any thread. sync from the
// queue's own worker would wait on itself forever; it logs
// "SerialQueue <label>: sync called on its own queue; block not run" and
// returns false instead. The destructor runs every block already queued,
// then joins the worker; it must not run on the worker itself.

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace nudora {

class SerialQueue {
 public:
  explicit SerialQueue(std::string label);
  ~SerialQueue();
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;

  const std::string& label() const { return label_; }

  void async(std::function<void()> block);
  // Runs the block on the queue and waits for it. False when called on the
  // queue's own worker (the block is not run).
  bool sync(const std::function<void()>& block);

  // True when the calling thread is this queue's worker.
  bool isCurrent() const;

  // Queue-specific values, as dispatch_queue_set_specific.
  void setSpecific(const void* key, void* value);
  void* getSpecific(const void* key) const;
  // The value for key on the queue the caller runs on, or nullptr.
  static void* getCurrentSpecific(const void* key);

  // The queue the caller runs on, or nullptr outside every SerialQueue.
  static SerialQueue* current();
  // Label of the queue the caller runs on; the thread's name elsewhere.
  static std::string currentLabel();

 private:
  void run();

  std::string label_;
  mutable std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<std::function<void()>> blocks_;
  std::map<const void*, void*> specifics_;
  bool stopping_ = false;
  std::thread worker_;
};

}  // namespace nudora
