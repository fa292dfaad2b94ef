#include "platform/SerialQueue.h"

#include <pthread.h>

#include <future>

#include "platform/Console.h"

namespace nudora {
namespace {
thread_local SerialQueue* tlsCurrentQueue = nullptr;
}

SerialQueue::SerialQueue(std::string label) : label_(std::move(label)) {
  worker_ = std::thread([this] { run(); });
  // Linux thread names are limited to 15 characters.
  pthread_setname_np(worker_.native_handle(), label_.substr(0, 15).c_str());
}

SerialQueue::~SerialQueue() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_one();
  if (worker_.joinable()) worker_.join();
}

void SerialQueue::run() {
  tlsCurrentQueue = this;
  for (;;) {
    std::function<void()> block;
    {
      std::unique_lock lock(mutex_);
      wake_.wait(lock, [this] { return stopping_ || !blocks_.empty(); });
      if (blocks_.empty()) return;  // stopping and drained
      block = std::move(blocks_.front());
      blocks_.pop_front();
    }
    block();
  }
}

void SerialQueue::async(std::function<void()> block) {
  {
    std::lock_guard lock(mutex_);
    blocks_.push_back(std::move(block));
  }
  wake_.notify_one();
}

bool SerialQueue::sync(const std::function<void()>& block) {
  if (isCurrent()) {
    consoleLogLevel(kConsoleError, "SerialQueue %s: sync called on its own queue; block not run", label_.c_str());
    return false;
  }
  std::promise<void> done;
  auto finished = done.get_future();
  async([&block, &done] {
    block();
    done.set_value();
  });
  finished.wait();
  return true;
}

bool SerialQueue::isCurrent() const { return tlsCurrentQueue == this; }

void SerialQueue::setSpecific(const void* key, void* value) {
  std::lock_guard lock(mutex_);
  if (value == nullptr) {
    specifics_.erase(key);
  } else {
    specifics_[key] = value;
  }
}

void* SerialQueue::getSpecific(const void* key) const {
  std::lock_guard lock(mutex_);
  auto it = specifics_.find(key);
  return it == specifics_.end() ? nullptr : it->second;
}

void* SerialQueue::getCurrentSpecific(const void* key) {
  return tlsCurrentQueue ? tlsCurrentQueue->getSpecific(key) : nullptr;
}

SerialQueue* SerialQueue::current() { return tlsCurrentQueue; }

std::string SerialQueue::currentLabel() {
  if (tlsCurrentQueue) return tlsCurrentQueue->label();
  char name[32] = {0};
  pthread_getname_np(pthread_self(), name, sizeof(name));
  return name;
}

}  // namespace nudora
