#include <gtest/gtest.h>

#include <ctime>
#include <string>
#include <vector>

#include "platform/Clock.h"
#include "platform/Console.h"

namespace nudora {
namespace {

TEST(Console, ListenersGetARecordWithLevelAndWallTime) {
  std::vector<std::string> written;
  std::vector<ConsoleRecord> records;
  Console::setSinkForTesting([&](const std::string& line) { written.push_back(line); });
  uint64_t token = Console::addListener([&](const ConsoleRecord& r) { records.push_back(r); });
  long long before = static_cast<long long>(std::time(nullptr));
  consoleLogLevel(kConsoleError, "frame %d lost", 7);
  consoleLog("plain");
  Console::removeListener(token);
  consoleLog("after removal");
  Console::setSinkForTesting(nullptr);

  ASSERT_EQ(written.size(), 3u);
  EXPECT_EQ(written[0], "frame 7 lost\n");
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(*records[0].get("Message"), "frame 7 lost");
  EXPECT_EQ(*records[0].get("Level"), "3");
  EXPECT_EQ(*records[1].get("Level"), "4");
  long long seconds = std::stoll(*records[0].get("Time"));
  EXPECT_GE(seconds, before);
  EXPECT_LE(seconds, before + 5);
  EXPECT_LT(std::stoll(*records[0].get("TimeNanoSec")), 1000000000LL);
}

TEST(Console, LinesMadeWhileDeliveringDoNotReachListenersAgain) {
  int deliveries = 0;
  Console::setSinkForTesting([](const std::string&) {});
  uint64_t token = Console::addListener([&](const ConsoleRecord&) {
    ++deliveries;
    consoleLog("a listener that logs");  // would recurse without the guard
  });
  consoleLog("one");
  {
    Console::CaptureSuppressor quiet;
    consoleLog("suppressed");
  }
  Console::removeListener(token);
  Console::setSinkForTesting(nullptr);
  EXPECT_EQ(deliveries, 1);
}

TEST(Clock, VirtualTimeReplacesUptimeUntilStopped) {
  double real = Clock::uptime();
  Clock::startVirtual(1000.0);
  EXPECT_EQ(Clock::uptime(), 1000.0);
  Clock::setVirtualTime(1000.25);
  EXPECT_EQ(Clock::uptime(), 1000.25);
  EXPECT_GE(Clock::monotonic(), real);
  Clock::stopVirtual();
  Clock::setVirtualTime(5.0);  // ignored while off
  EXPECT_GE(Clock::uptime(), real);
  EXPECT_FALSE(Clock::isVirtual());
}

}  // namespace
}  // namespace nudora
