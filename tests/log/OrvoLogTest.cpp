#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "log/LogTestSupport.h"
#include "log/OrvoLog.h"
#include "platform/NotificationCenter.h"

namespace nudora {
namespace {

using test::RecordingLogger;
using namespace std::chrono_literals;

std::vector<int64_t> flagsOf(RecordingLogger& logger) {
  std::vector<int64_t> flags;
  for (const auto& m : logger.messages()) flags.push_back(m->flag());
  return flags;
}

TEST(OrvoLogTest, LevelMasksSelectLoggersAndDuplicatesAreNotAdded) {
  OrvoLog log;
  auto warnings = std::make_shared<RecordingLogger>(kOrvoLogFlagWarning);
  auto all = std::make_shared<RecordingLogger>(kOrvoLogLevelAll);
  auto errors = std::make_shared<RecordingLogger>(kOrvoLogFlagError);
  auto critical = std::make_shared<RecordingLogger>(kOrvoLogFlagCritical);
  for (const auto& l : {warnings, all, errors, all, critical}) log.addLogger(l);
  ASSERT_EQ(log.loggers().size(), 4u);

  for (int64_t flag : {1, 2, 4, 8, 16, 3}) log.log(flag, "caller", flag == 1, std::to_string(flag));
  log.flush();
  EXPECT_EQ(flagsOf(*warnings), (std::vector<int64_t>{4}));
  EXPECT_EQ(flagsOf(*all), (std::vector<int64_t>{1, 2, 4, 8, 16, 3}));
  EXPECT_EQ(flagsOf(*errors), (std::vector<int64_t>{2, 3}));
  EXPECT_EQ(flagsOf(*critical), (std::vector<int64_t>{1, 3}));
  auto first = all->messages().front();
  EXPECT_EQ(first->source(), kOrvoLogSourceCode);
  EXPECT_EQ(first->function(), "caller");
  EXPECT_EQ(first->message(), "1");
}

void reportFrame(int frame) { ORVO_LOG_DEBUG("frame %d of %s", frame, "clip"); }

TEST(OrvoLogTest, MacrosFormatIntoTheSharedInstanceWithTheCaller) {
  auto logger = std::make_shared<RecordingLogger>(kOrvoLogFlagDebug);
  OrvoLog::sharedInstance()->addLogger(logger);
  reportFrame(7);
  OrvoLog::sharedInstance()->flush();
  ASSERT_EQ(logger->messages().size(), 1u);
  EXPECT_EQ(logger->messages()[0]->message(), "frame 7 of clip");
  EXPECT_EQ(logger->messages()[0]->function(), "reportFrame");
  EXPECT_EQ(OrvoLog::allLoggers().back(), logger);
}

TEST(OrvoLogTest, ProducerBeyondThousandPendingBlocksUntilOneIsWritten) {
  OrvoLog log;
  auto stalled = std::make_shared<RecordingLogger>(kOrvoLogLevelAll, /*gated=*/true);
  log.addLogger(stalled);
  for (int i = 0; i < OrvoLog::kMaxPendingMessages; ++i) log.log(kOrvoLogFlagInfo, "p", false, std::to_string(i));

  auto extra = std::async(std::launch::async, [&] { log.log(kOrvoLogFlagInfo, "p", false, std::string("1000")); });
  EXPECT_EQ(extra.wait_for(200ms), std::future_status::timeout);
  EXPECT_TRUE(stalled->messages().empty());
  stalled->open(1);
  EXPECT_EQ(extra.wait_for(10s), std::future_status::ready);
  EXPECT_EQ(stalled->messages().size(), 1u);  // one write was enough to let it in

  stalled->open(OrvoLog::kMaxPendingMessages);
  log.flush();
  auto messages = stalled->messages();
  ASSERT_EQ(messages.size(), size_t(OrvoLog::kMaxPendingMessages) + 1);
  for (size_t i = 0; i < messages.size(); ++i) EXPECT_EQ(messages[i]->message(), std::to_string(i));
}

TEST(OrvoLogTest, BackgroundNotificationWaitsForPendingMessages) {
  OrvoLog log;
  auto stalled = std::make_shared<RecordingLogger>(kOrvoLogLevelAll, /*gated=*/true);
  log.addLogger(stalled);
  for (int i = 0; i < 3; ++i) log.log(kOrvoLogFlagDebug, "n", false, std::string("m"));

  auto posted = std::async(std::launch::async, [&] {
    NotificationCenter::defaultCenter().post(kApplicationDidEnterBackgroundNotification);
    return stalled->messages().size();
  });
  EXPECT_EQ(posted.wait_for(200ms), std::future_status::timeout);
  stalled->open(3);
  EXPECT_EQ(posted.get(), 3u);
}

TEST(OrvoLogTest, LoggerMayFlushAndLogSynchronouslyFromTheLogQueue) {
  OrvoLog log;
  auto outer = std::make_shared<RecordingLogger>(kOrvoLogFlagInfo);
  auto inner = std::make_shared<RecordingLogger>(kOrvoLogFlagDebug);
  outer->onMessage = [&](const std::shared_ptr<OrvoLogMessage>&) {
    log.flush();
    log.log(kOrvoLogFlagDebug, "inner", true, std::string("from logger"));
    EXPECT_EQ(log.loggers().size(), 2u);
  };
  log.addLogger(outer);
  log.addLogger(inner);
  log.log(kOrvoLogFlagInfo, "outer", true, std::string("start"));
  // Synchronous all the way down: both are written before log returns.
  EXPECT_EQ(outer->messages().size(), 1u);
  ASSERT_EQ(inner->messages().size(), 1u);
  EXPECT_EQ(inner->messages()[0]->queueLabel(), "com.velmar.logs");
}

}  // namespace
}  // namespace nudora
