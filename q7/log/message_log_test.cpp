// Tests of the message log: levels, the stream rule, whole lines, time of day, facility,
// the plain functions and threads.
#include "q7/log/message_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "q7/mp/clock.h"
#include "tests/support/child_process.h"

namespace {

using ::testing::MatchesRegex;

// A log writing into memory; text() is what it has printed so far.
struct MemoryLog : q7MessageLog {
  char* data = nullptr;
  size_t size = 0;
  FILE* memory = open_memstream(&data, &size);
  MemoryLog() : q7MessageLog(nullptr) { stream = memory; }
  ~MemoryLog() {
    q7_notify_setlevel(-1);  // releases the lock
    fclose(memory);
    free(data);
  }
  std::string text() {
    fflush(memory);
    return std::string(data, size);
  }
};

// Patterns of the start of a timed line (the level name follows) and of an untimed line.
const std::string kTimed = R"(\(Q7 LIB\) [0-2][0-9]:[0-5][0-9]:[0-6][0-9]\.[0-9][0-9] )";
const std::string kUntimed = R"(\(Q7 LIB\)                  : )";

TEST(MessageLog, LevelDecidesWhatPrints) {
  enum Call { kNotify, kTrace, kMsg };
  const struct {
    int current;
    Call call;
    int level;
    const char* expected;  // level name of a timed line, "" for an untimed line, null for none
  } cases[] = {{5, kNotify, 0, nullptr}, {5, kNotify, 1, "ERROR"}, {5, kNotify, 7, "TRACE"},
               {4, kNotify, 7, nullptr}, {3, kNotify, 3, "INFO "}, {3, kNotify, 4, nullptr},
               {3, kMsg, 0, ""},         {2, kMsg, 0, nullptr},    {4, kTrace, 0, nullptr},
               {5, kTrace, 0, "TRACE"},  {0, kNotify, 1, nullptr}, {-1, kNotify, 1, nullptr}};
  for (const auto& c : cases) {
    MemoryLog log;
    log.q7_notify_setlevel(c.current);
    if (c.call == kNotify) log.q7_notify(c.level, "text");
    if (c.call == kTrace) log.q7_trace("text");
    if (c.call == kMsg) log.q7_msg("text");
    std::string line;
    if (c.expected != nullptr)
      line = (*c.expected ? kTimed + c.expected + ": " : kUntimed) + "text\n";
    EXPECT_THAT(log.text(), MatchesRegex(line))
        << "current=" << c.current << " call=" << c.call << " level=" << c.level;
  }
}

// q7_notify gives a log its stream before its level test; the other calls only once their
// own test has passed.
TEST(MessageLog, OnlyNotifyTakesStandardErrorBeforeItsLevelTest) {
  const struct {
    int current;
    void (*call)(q7MessageLog&);
    const char* name;
    bool stream_set;
  } cases[] = {
      {3, [](q7MessageLog& log) { log.q7_notify(4, "filtered"); }, "notify 4", true},
      {3, [](q7MessageLog& log) { log.q7_notify(0, "never printed"); }, "notify 0", true},
      {-1, [](q7MessageLog& log) { log.q7_notify(1, "off"); }, "notify when off", false},
      {3, [](q7MessageLog& log) { log.q7_trace("filtered"); }, "trace", false},
      {2, [](q7MessageLog& log) { log.q7_msg("filtered"); }, "msg", false},
      {3, [](q7MessageLog& log) { log.q7_msgcont("no notify yet"); }, "msgcont", false},
  };
  for (const auto& c : cases) {
    q7MessageLog log(nullptr);
    log.q7_notify_set_facility("render");
    log.q7_notify_setlevel(c.current);
    c.call(log);
    EXPECT_EQ(log.q7_have_logfile(), c.stream_set) << c.name;
    log.q7_notify_setlevel(-1);
  }
  const auto result = q7test::run_in_child([] {
    q7_notify_set_facility("render");
    q7_trace("filtered");
    Q7_CHILD_CHECK(!defaultLogger.q7_have_logfile() && msg_lock != nullptr);
    q7_notify(4, "filtered");
    Q7_CHILD_CHECK(defaultLogger.q7_have_logfile());
  });
  EXPECT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_EQ(result.err, "");
}

TEST(MessageLog, ContinuationFollowsTheLastPrintedNotify) {
  MemoryLog log;
  log.q7_msgcont("before any notify");
  log.q7_notify(1, "error");
  log.q7_notify(9, "filtered");
  log.q7_notify_setlevel(5);
  log.q7_trace("a trace");  // printed, but not a notify line
  log.q7_notify_setlevel(1);
  log.q7_msgcont("after error");
  log.q7_notify_setlevel(3);
  log.q7_notify(2, "warning");
  log.q7_notify_setlevel(1);
  log.q7_msgcont("after warning, which no longer passes");
  EXPECT_THAT(log.text(), MatchesRegex(kTimed + "ERROR: error\n" + kTimed + "TRACE: a trace\n" +
                                       kUntimed + "after error\n" + kTimed + "WARN : warning\n"));
}

TEST(MessageLog, LinesEndInOneNewlineAndColonsLineUpUnderTheFacilityTag) {
  MemoryLog log;
  EXPECT_EQ(log.q7_notify_set_facility(std::string(200, 'n').c_str()), 79);
  EXPECT_EQ(log.facility, "(" + std::string(77, 'n') + ")");
  EXPECT_EQ(log.q7_notify_set_facility("Q7 LIB"), 8);
  EXPECT_TRUE(log.q7_have_logfile());
  log.q7_notify(3, "no newline");
  log.q7_notify(3, "with newline\n");
  log.q7_notify(3, "%s", "");
  log.q7_msg("untimed");
  log.q7_msg("%s", std::string(5000, 'x').c_str());
  const std::string info = kTimed + "INFO : ";
  EXPECT_THAT(log.text(), MatchesRegex(info + "no newline\n" + info + "with newline\n" + info +
                                       "\n" + kUntimed + "untimed\n" + kUntimed + "x{4094}\n"));
}

TEST(MessageLog, TimeOfDayStartsAtLocalTimeAndWrapsAtMidnight) {
  MemoryLog log;
  const time_t now = time(nullptr);
  tm local;
  localtime_r(&now, &local);
  log.q7_notify(3, "first");
  int hours = -1, minutes = -1;
  sscanf(log.text().c_str(), "(Q7 LIB) %d:%d", &hours, &minutes);
  EXPECT_NEAR(hours * 60 + minutes, local.tm_hour * 60 + local.tm_min, 1);

  log.day_seconds_base = 86399;
  log.clock_base = q7mp_getclock() - 0.98;
  log.q7_notify(3, "before");
  log.clock_base -= 0.1;
  log.q7_notify(3, "after");
  EXPECT_THAT(log.text(), MatchesRegex(R"(.*
\(Q7 LIB\) 23:59:59\.9[89] INFO : before
\(Q7 LIB\) 00:00:00\.(0[89]|1[0-9]) INFO : after
)"));
}

TEST(DefaultLogger, PlainFunctionsPrintTheirTextAsItStands) {
  const auto result = q7test::run_in_child([] {
    q7_notify(3, "file %s", "shot%04d.tif");
    q7_msgcont("%d%%", 50);
    q7_trace("hidden");
    q7_notify_setlevel(5);
    q7_trace("shown");
    defaultLogger.setFile(tmpfile());
    q7_notify(3, "into the file");
    q7_notify_setlevel(-1);
    Q7_CHILD_CHECK(!msg_lock && !defaultLogger.lock && !defaultLogger.stream);
    q7_notify(1, "off");
    q7_notify_setlevel(3);
    q7_notify_set_facility("render");
    q7_msg("back on standard error");
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_THAT(result.err, MatchesRegex(kTimed + R"(INFO : file shot%04d.tif
\(Q7 LIB\)                  : 50%
\(Q7 LIB\) [0-9:.]+ TRACE: shown
\(render\)                  : back on standard error
)"));
}

// Through the default logger (on standard error) and a log of its own (on standard output).
TEST(MessageLog, ThreadsLoggingForTheFirstTimeAtOncePrintWholeLines) {
  const auto result = q7test::run_in_child([] {
    q7MessageLog shared(stdout);
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
      threads.emplace_back([t, &shared] {
        for (int i = 0; i < 50; ++i) {
          q7_notify(3, "t%d i%d", t, i);
          shared.q7_notify(3, "t%d i%d", t, i);
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  for (const std::string& out : {result.err, result.out}) {
    EXPECT_THAT(out, MatchesRegex("(" + kTimed + "INFO : t[0-7] i[0-9]+\n)+"));
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 400);
  }
}

}  // namespace
