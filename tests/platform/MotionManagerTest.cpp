#include <atomic>
#include <cmath>
#include <functional>
#include <future>
#include <thread>
#include <vector>

#include "TestSupport.h"
#include "platform/HostGyroSource.h"
#include "platform/IioGyroSource.h"
#include "platform/MotionManager.h"
#include "platform/SerialQueue.h"

namespace nudora {
namespace {

using test::ConsoleCapture;

class MotionManagerTest : public ::testing::Test {
 protected:
  void SetUp() override { manager_->setSource(host_); }

  // Records each reading; on the first, blocks until release_ and then runs afterFirst.
  void startBlockingOnFirst(std::function<void()> afterFirst = {}) {
    manager_->startGyroUpdates([this, afterFirst](const GyroData* d, const std::string*) {
      bool first;
      {
        std::lock_guard lock(mutex_);
        first = timestamps_.empty();
        timestamps_.push_back(d->timestamp);
      }
      if (first) {
        entered_.set_value();
        release_.get_future().wait();
        if (afterFirst) afterFirst();
        firstFinished_ = true;
      }
    });
  }
  std::vector<double> timestamps() {
    std::lock_guard lock(mutex_);
    return timestamps_;
  }
  // Pushes reading 1, waits until the handler holds it, then queues 2..5 behind it.
  void pushOneHeldAndFourQueued() {
    ASSERT_TRUE(host_->push(0, 0, 0, 1.0));
    entered_.get_future().wait();
    for (int i = 2; i <= 5; ++i) ASSERT_TRUE(host_->push(0, 0, 0, i));
  }

  std::shared_ptr<MotionManager> manager_ = std::make_shared<MotionManager>();
  std::shared_ptr<HostGyroSource> host_ = std::make_shared<HostGyroSource>();
  std::mutex mutex_;
  std::vector<double> timestamps_;
  std::promise<void> entered_, release_;
  std::atomic<bool> firstFinished_{false};
};

TEST_F(MotionManagerTest, HostReadingsAreDeliveredInOrderOnlyWhileStarted) {
  EXPECT_FALSE(host_->push(1, 2, 3, 0.5));
  EXPECT_EQ(host_->ignoredCount(), 1u);

  std::vector<GyroData> got;
  std::vector<std::string> threads;
  manager_->startGyroUpdates([&](const GyroData* d, const std::string*) {
    got.push_back(*d);  // only the delivery thread writes; waitUntilDelivered orders the read
    threads.push_back(SerialQueue::currentLabel());
  });
  ASSERT_TRUE(manager_->isGyroActive());
  for (int i = 0; i < 50; ++i) ASSERT_TRUE(host_->push(i, -i, 2 * i, 10.0 + i));
  manager_->waitUntilDelivered();
  ASSERT_EQ(got.size(), 50u);
  for (int i = 0; i < 50; ++i) {
    EXPECT_EQ(got[i].timestamp, 10.0 + i);
    EXPECT_EQ(got[i].y, -i);
    EXPECT_EQ(threads[i], "MotionQueue");
  }

  ConsoleCapture console;
  EXPECT_FALSE(host_->push(NAN, 0, 0, 1.0));
  EXPECT_FALSE(host_->push(0, INFINITY, 0, 1.0));
  EXPECT_EQ(host_->rejectedCount(), 2u);
  EXPECT_EQ(console.count("not finite"), 1);

  manager_->stopGyroUpdates();
  EXPECT_FALSE(manager_->isGyroActive());
  EXPECT_FALSE(host_->push(1, 2, 3));
  EXPECT_EQ(host_->ignoredCount(), 2u);
  EXPECT_EQ(host_->deliveredCount(), 50u);
}

TEST_F(MotionManagerTest, StopFromTheHandlerDropsReadingsAlreadyQueued) {
  startBlockingOnFirst([this] { manager_->stopGyroUpdates(); });
  pushOneHeldAndFourQueued();
  release_.set_value();
  manager_->waitUntilDelivered();
  EXPECT_EQ(timestamps(), std::vector<double>{1.0});
  EXPECT_FALSE(manager_->isGyroActive());
  EXPECT_FALSE(host_->push(0, 0, 0, 6.0));  // the source was stopped too
}

TEST_F(MotionManagerTest, StopElsewhereWaitsForTheRunningHandlerAndDropsTheRest) {
  startBlockingOnFirst();
  pushOneHeldAndFourQueued();
  std::atomic<bool> stopReturned{false}, handlerDoneAtReturn{false};
  std::thread stopper([&] {
    manager_->stopGyroUpdates();
    handlerDoneAtReturn = firstFinished_.load();
    stopReturned = true;
  });
  while (manager_->isGyroActive()) std::this_thread::yield();
  // The stop has taken effect but must still be waiting for reading 1.
  EXPECT_FALSE(stopReturned.load());
  release_.set_value();
  stopper.join();
  EXPECT_TRUE(handlerDoneAtReturn.load());
  manager_->waitUntilDelivered();
  EXPECT_EQ(timestamps(), std::vector<double>{1.0});
}

TEST_F(MotionManagerTest, SetSourceWhileRunningStopsTheOldSource) {
  std::atomic<int> calls{0};
  auto count = [&](const GyroData*, const std::string*) { ++calls; };
  manager_->startGyroUpdates(count);
  ASSERT_TRUE(host_->push(0, 0, 0));
  manager_->waitUntilDelivered();

  auto second = std::make_shared<HostGyroSource>();
  manager_->setSource(second);
  EXPECT_EQ(manager_->source(), second);
  EXPECT_FALSE(manager_->isGyroActive());
  EXPECT_FALSE(host_->push(0, 0, 0));
  EXPECT_EQ(calls.load(), 1);

  manager_->startGyroUpdates(count);
  ASSERT_TRUE(second->push(0, 0, 0));
  manager_->waitUntilDelivered();
  EXPECT_EQ(calls.load(), 2);

  // A source with no device leaves the manager inactive, with a reason.
  auto empty = std::filesystem::temp_directory_path() / "nudora-no-iio-devices-here";
  manager_->setSource(std::make_shared<IioGyroSource>(empty.string()));
  ConsoleCapture console;
  EXPECT_FALSE(manager_->isGyroAvailable());
  manager_->startGyroUpdates(count);
  EXPECT_FALSE(manager_->isGyroActive());
  EXPECT_EQ(console.count("MotionManager: no gyroscope to start"), 1);
}

}  // namespace
}  // namespace nudora
