#include <atomic>
#include <vector>

#include "TestSupport.h"
#include "platform/SerialQueue.h"

namespace nudora {
namespace {

TEST(SerialQueue, RunsBlocksInOrderAndSyncWaitsForThem) {
  SerialQueue queue("test.order");
  std::vector<int> seen;  // touched only on the queue until sync returns
  for (int i = 0; i < 100; ++i) queue.async([&seen, i] { seen.push_back(i); });
  std::string label;
  ASSERT_TRUE(queue.sync([&] {
    seen.push_back(100);
    label = SerialQueue::currentLabel();
  }));
  ASSERT_EQ(seen.size(), 101u);
  for (int i = 0; i <= 100; ++i) EXPECT_EQ(seen[i], i);
  EXPECT_EQ(label, "test.order");
  EXPECT_FALSE(queue.isCurrent());
}

TEST(SerialQueue, SyncOntoItsOwnQueueFailsWithAMessageInsteadOfHanging) {
  test::ConsoleCapture console;
  SerialQueue queue("test.self");
  bool innerRan = false;
  bool innerResult = true;
  ASSERT_TRUE(queue.sync([&] { innerResult = queue.sync([&] { innerRan = true; }); }));
  EXPECT_FALSE(innerResult);
  EXPECT_FALSE(innerRan);
  EXPECT_EQ(console.count("\n"), 1) << console.text();
  EXPECT_TRUE(console.saw("test.self")) << console.text();
}

TEST(SerialQueue, SpecificValuesBelongToTheQueueTheCallerRunsOn) {
  static const char key = 0;
  int marker = 7;
  SerialQueue a("test.a"), b("test.b");
  a.setSpecific(&key, &marker);
  void* onA = nullptr;
  void* onB = &marker;
  a.sync([&] { onA = SerialQueue::getCurrentSpecific(&key); });
  b.sync([&] { onB = SerialQueue::getCurrentSpecific(&key); });
  EXPECT_EQ(onA, &marker);
  EXPECT_EQ(onB, nullptr);
  EXPECT_EQ(SerialQueue::getCurrentSpecific(&key), nullptr);
}

TEST(SerialQueue, DestructorRunsWhatWasQueued) {
  std::atomic<int> ran{0};
  {
    SerialQueue queue("test.drain");
    for (int i = 0; i < 50; ++i) queue.async([&] { ran++; });
  }
  EXPECT_EQ(ran.load(), 50);
}

}  // namespace
}  // namespace nudora
