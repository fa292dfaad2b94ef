#include <time.h>

#include <cstdio>

#include "TestSupport.h"
#include "log/OrvoDebuggerLogger.h"
#include "log/OrvoLogMessage.h"
#include "platform/SerialQueue.h"

namespace nudora {
namespace {

using namespace std::chrono;

// Runs the test in a fixed zone with a half-hour offset, so a formatter that
// ignored the local zone (or rounded it to hours) shows.
class OrvoLogMessageTest : public ::testing::Test {
 protected:
  void SetUp() override {
    tz_.emplace("TZ", "<+0530>-5:30");
    tzset();
  }
  void TearDown() override {
    tz_.reset();
    tzset();
  }
  std::optional<test::ScopedEnv> tz_;
};

OrvoTimeStamp at(int64_t micros) { return OrvoTimeStamp(duration_cast<system_clock::duration>(microseconds(micros))); }

// Makes the message on a queue of known label.
std::shared_ptr<OrvoLogMessage> makeOnQueue(int64_t source, int64_t flag, const std::string& text, const char* fn,
                                            OrvoTimeStamp t) {
  SerialQueue queue("test.queue");
  std::shared_ptr<OrvoLogMessage> message;
  queue.sync([&] { message = OrvoLogMessage::messageWithSource(source, flag, text, fn, t); });
  return message;
}

TEST_F(OrvoLogMessageTest, TimeStampStringIsLocalWithTruncatedMilliseconds) {
  // 1700000000 s is 2023-11-14 22:13:20 UTC (date -u -d @1700000000).
  EXPECT_EQ(OrvoLogMessage::timeStampString(at(1700000000456789)), "2023-11-15 03:43:20.456");
  // Before 1970 the seconds floor and the milliseconds stay positive.
  EXPECT_EQ(OrvoLogMessage::timeStampString(at(-1500000)), "1970-01-01 05:29:58.500");
}

TEST_F(OrvoLogMessageTest, FormattedMessageAndDescriptionText) {
  auto t = at(1700000000456789);
  const std::string stamp = OrvoLogMessage::timeStampString(t);  // pinned by the test above
  auto m = makeOnQueue(kOrvoLogSourceCode, kOrvoLogFlagCritical, "hello", "fn", t);
  EXPECT_EQ(m->formattedMessage(), stamp + " [C:C:test.queue] =fn= hello");
  EXPECT_EQ(m->description(),
            "{\n\tSource      : C,\n\tFlag        : Critical,\n\tTimestamp   : 2023-11-14 22:13:20 +0000,\n"
            "\tFunction    : fn,\n\tQueue Label : test.queue,\n\tMessage     : hello,\n}");

  // Every letter and word; flag 3, source 2 and a null function have none.
  const char* letters[] = {"C", "E", "W", "I", "D"};
  const char* words[] = {"Critical", "Error", "Warning", "Info", "Debug"};
  for (int i = 0; i < 5; ++i) {
    auto f = makeOnQueue(kOrvoLogSourceSystemLog, int64_t(1) << i, "x", "g", t);
    EXPECT_EQ(f->formattedMessage(), stamp + " [S:" + letters[i] + ":test.queue] =g= x");
    EXPECT_NE(f->description().find(std::string("\tFlag        : ") + words[i] + ",\n"), std::string::npos);
  }
  auto odd = makeOnQueue(2, 3, "y", nullptr, t);
  EXPECT_EQ(odd->formattedMessage(), stamp + " [(null):(null):test.queue] =(null)= y");
  EXPECT_NE(odd->description().find("\tFlag        : (null),\n"), std::string::npos);
}

TEST(OrvoDebuggerLoggerTest, AddsLineFeedOnlyWhenMissing) {
  char* buffer = nullptr;
  size_t size = 0;
  FILE* out = open_memstream(&buffer, &size);
  ASSERT_NE(out, nullptr);
  {
    OrvoDebuggerLogger logger(kOrvoLogLevelAll, out);
    auto ended = OrvoLogMessage::messageWithSource(0, kOrvoLogFlagInfo, "ends\n", "f");
    auto open = OrvoLogMessage::messageWithSource(0, kOrvoLogFlagInfo, "open", "f");
    logger.logMessage(ended);
    logger.logMessage(open);
    logger.flush();
    EXPECT_EQ(std::string(buffer, size), ended->formattedMessage() + open->formattedMessage() + "\n");
    EXPECT_EQ(OrvoDebuggerLogger().level(), kOrvoLogLevelAll);
  }
  std::fclose(out);
  std::free(buffer);
}

}  // namespace
}  // namespace nudora
