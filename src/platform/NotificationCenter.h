#pragma once
// Application life-cycle notifications, which the host posts: entering the
// background, becoming active, terminating. Observers run synchronously on
// the posting thread.
//
// Thread rules: every member is callable from any thread; an observer may
// remove itself or others while it runs.

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace nudora {

inline constexpr const char* kApplicationDidEnterBackgroundNotification = "UIApplicationDidEnterBackgroundNotification";
inline constexpr const char* kApplicationWillResignActiveNotification = "UIApplicationWillResignActiveNotification";
inline constexpr const char* kApplicationDidBecomeActiveNotification = "UIApplicationDidBecomeActiveNotification";
inline constexpr const char* kApplicationWillTerminateNotification = "UIApplicationWillTerminateNotification";

class NotificationCenter {
 public:
  using Observer = std::function<void(const std::string& name)>;

  static NotificationCenter& defaultCenter();

  // Returns a token for removeObserver.
  uint64_t addObserver(const std::string& name, Observer observer);
  void removeObserver(uint64_t token);
  // Runs every observer of name, in the order they were added.
  void post(const std::string& name);

 private:
  struct Entry {
    uint64_t token;
    std::string name;
    std::shared_ptr<Observer> observer;
  };
  std::mutex mutex_;
  uint64_t nextToken_ = 1;
  std::vector<Entry> entries_;
};

}  // namespace nudora
