#include <gtest/gtest.h>

#include <future>

#include "log/LogTestSupport.h"
#include "log/OrvoSystemLogCapture.h"
#include "platform/Console.h"

namespace nudora {
namespace {

using test::RecordingLogger;
using namespace std::chrono;
using namespace std::chrono_literals;

ConsoleRecord record(std::map<std::string, std::string> keys) { return ConsoleRecord{std::move(keys)}; }

// A capture into a fresh log with one recording logger.
class OrvoSystemLogCaptureTest : public ::testing::Test {
 protected:
  void SetUp() override { log->addLogger(logger); }

  std::shared_ptr<OrvoLog> log = std::make_shared<OrvoLog>();
  std::shared_ptr<RecordingLogger> logger = std::make_shared<RecordingLogger>();
  std::shared_ptr<OrvoSystemLogCapture> capture = std::make_shared<OrvoSystemLogCapture>(log);
};

TEST_F(OrvoSystemLogCaptureTest, LevelsMapToFlagsAndRecordsWithoutTextAreIgnored) {
  const std::vector<std::pair<const char*, int64_t>> table = {
      {"0", 1}, {"1", 1}, {"2", 1}, {nullptr, 1}, {"3", 2}, {"4", 4}, {"5", 4}, {"6", 8}, {"7", 16}, {"12", 16}};
  for (const auto& [level, flag] : table) {
    auto r = record({{"Message", "m"}, {"Time", "1"}});
    if (level) r.keys["Level"] = level;
    capture->aslMessageReceived(r);
  }
  capture->aslMessageReceived(record({{"Level", "3"}, {"Time", "1"}}));
  log->flush();

  auto messages = logger->messages();
  ASSERT_EQ(messages.size(), table.size());
  for (size_t i = 0; i < table.size(); ++i) {
    EXPECT_EQ(messages[i]->flag(), table[i].second) << "level " << (table[i].first ? table[i].first : "missing");
    EXPECT_EQ(messages[i]->source(), kOrvoLogSourceSystemLog);
  }
}

TEST_F(OrvoSystemLogCaptureTest, OnlyCriticalLevelsWaitForTheLoggers) {
  auto stalled = std::make_shared<RecordingLogger>(kOrvoLogLevelAll, /*gated=*/true);
  log->addLogger(stalled);

  auto error = std::async(std::launch::async, [&] { capture->aslMessageReceived(record({{"Message", "e"}, {"Level", "3"}})); });
  EXPECT_EQ(error.wait_for(10s), std::future_status::ready);
  auto critical = std::async(std::launch::async, [&] { capture->aslMessageReceived(record({{"Message", "c"}, {"Level", "2"}})); });
  EXPECT_EQ(critical.wait_for(200ms), std::future_status::timeout);
  stalled->open(2);
  EXPECT_EQ(critical.wait_for(10s), std::future_status::ready);
  EXPECT_EQ(stalled->messages().size(), 2u);
}

TEST_F(OrvoSystemLogCaptureTest, TimeFromRecordOrDeliberatelyEarly) {
  capture->aslMessageReceived(record({{"Message", "a"}, {"Level", "6"}, {"Time", "1700000000"}, {"TimeNanoSec", "250000000"}}));
  auto before = system_clock::now();
  capture->aslMessageReceived(record({{"Message", "b"}, {"Level", "6"}}));
  auto after = system_clock::now();
  log->flush();

  auto messages = logger->messages();
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages[0]->timestamp(), system_clock::time_point(seconds(1700000000) + milliseconds(250)));
  // (now since 2001) - 978307200 read as seconds since 1970: now - 2 * 978307200 s.
  const seconds early(2 * 978307200LL);
  EXPECT_GE(messages[1]->timestamp(), before - early);
  EXPECT_LE(messages[1]->timestamp(), after - early);
}

TEST_F(OrvoSystemLogCaptureTest, LoggerWritingToTheConsoleIsNotCapturedAgain) {
  logger->onMessage = [](const std::shared_ptr<OrvoLogMessage>& m) { consoleLog("logger saw %s", m->message().c_str()); };
  std::mutex linesMutex;
  std::vector<std::string> lines;
  Console::setSinkForTesting([&](const std::string& line) {
    std::lock_guard lock(linesMutex);
    lines.push_back(line);
  });
  capture->start();
  consoleLogLevel(kConsoleInfo, "hello");
  EXPECT_TRUE(logger->waitForCount(1));
  // A line the logger wrote would by now be waiting in the capture; stop
  // passes it on and flush writes it.
  capture->stop();
  log->flush();
  Console::setSinkForTesting(nullptr);

  auto messages = logger->messages();
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0]->message(), "hello");
  EXPECT_EQ(messages[0]->flag(), kOrvoLogFlagInfo);
  EXPECT_EQ(messages[0]->queueLabel(), capture->queueLabel());  // made on the capture's queue
  std::lock_guard lock(linesMutex);
  EXPECT_EQ(lines, (std::vector<std::string>{"hello\n", "logger saw hello\n"}));
}

}  // namespace
}  // namespace nudora
