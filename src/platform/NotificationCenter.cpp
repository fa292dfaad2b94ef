#include "platform/NotificationCenter.h"

#include <algorithm>

namespace nudora {

NotificationCenter& NotificationCenter::defaultCenter() {
  static NotificationCenter center;
  return center;
}

uint64_t NotificationCenter::addObserver(const std::string& name, Observer observer) {
  std::lock_guard lock(mutex_);
  uint64_t token = nextToken_++;
  entries_.push_back({token, name, std::make_shared<Observer>(std::move(observer))});
  return token;
}

void NotificationCenter::removeObserver(uint64_t token) {
  std::lock_guard lock(mutex_);
  std::erase_if(entries_, [token](const Entry& e) { return e.token == token; });
}

void NotificationCenter::post(const std::string& name) {
  std::vector<std::shared_ptr<Observer>> toRun;
  {
    std::lock_guard lock(mutex_);
    for (const auto& e : entries_) {
      if (e.name == name) toRun.push_back(e.observer);
    }
  }
  for (const auto& observer : toRun) (*observer)(name);
}

}  // namespace nudora
