// Tests of the message log: level filtering, line formats, time of day, facility, threads.
#include "q7/log/message_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "q7/mp/clock.h"
#include "tests/support/child_process.h"

namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;

// A logger writing into memory.
class MemoryLog {
 public:
  MemoryLog() : stream_(open_memstream(&data_, &size_)), log(stream_) {}
  ~MemoryLog() {
    log.q7_notify_setlevel(-1);  // releases the log's lock
    fclose(stream_);
    free(data_);
  }
  std::string text() {
    fflush(stream_);
    return std::string(data_, size_);
  }

 private:
  char* data_ = nullptr;
  size_t size_ = 0;
  FILE* stream_;

 public:
  q7MessageLog log;
};

constexpr char kTimed[] = R"(\(Q7 LIB\) [0-2][0-9]:[0-5][0-9]:[0-6][0-9]\.[0-9][0-9] )";

TEST(MessageLog, LevelDecidesWhatPrints) {
  enum Call { kNotify, kTrace, kMsg };
  struct Case {
    int current;
    Call call;
    int level;
    const char* expected;  // the level name printed, "" for an untimed line, null for none
  } cases[] = {
      {5, kNotify, 0, nullptr},  {5, kNotify, 1, "ERROR"}, {5, kNotify, 7, "TRACE"},
      {4, kNotify, 7, nullptr},  {3, kNotify, 3, "INFO "}, {3, kNotify, 4, nullptr},
      {3, kNotify, 2, "WARN "},  {3, kMsg, 0, ""},         {2, kMsg, 0, nullptr},
      {3, kTrace, 0, nullptr},   {5, kTrace, 0, "TRACE"},  {0, kNotify, 1, nullptr},
      {-1, kNotify, 1, nullptr}, {-1, kMsg, 0, nullptr},   {4, kNotify, -3, nullptr},
  };
  for (const Case& c : cases) {
    MemoryLog memory;
    memory.log.q7_notify_setlevel(c.current);
    switch (c.call) {
      case kNotify:
        memory.log.q7_notify(c.level, "text");
        break;
      case kTrace:
        memory.log.q7_trace("text");
        break;
      case kMsg:
        memory.log.q7_msg("text");
        break;
    }
    const std::string out = memory.text();
    const std::string where = "current=" + std::to_string(c.current) +
                              " call=" + std::to_string(c.call) +
                              " level=" + std::to_string(c.level);
    if (c.expected == nullptr) {
      EXPECT_EQ(out, "") << where;
    } else if (c.expected[0] == '\0') {
      EXPECT_EQ(out, "(Q7 LIB)                  : text\n") << where;
    } else {
      EXPECT_THAT(out, MatchesRegex(kTimed + std::string(c.expected) + ": text\n")) << where;
    }
  }
}

TEST(MessageLog, ContinuationFollowsTheLastPrintedNotify) {
  MemoryLog memory;
  q7MessageLog& log = memory.log;
  log.q7_msgcont("before any notify");
  log.q7_notify(1, "error");
  log.q7_notify_setlevel(1);
  log.q7_msgcont("after error at level 1");
  log.q7_notify_setlevel(5);
  log.q7_notify(9, "trace");
  EXPECT_EQ(log.last_level, 5);
  log.q7_notify_setlevel(3);
  log.q7_notify(4, "filtered debug");
  log.q7_msgcont("after filtered debug, last is still trace");
  log.q7_notify(2, "warning");
  log.q7_msgcont("after warning");
  log.q7_trace("trace does not change the last level");
  log.q7_msgcont("still after warning");
  const std::string out = memory.text();
  EXPECT_THAT(out, Not(HasSubstr("before any notify")));
  EXPECT_THAT(out, HasSubstr(": after error at level 1\n"));
  EXPECT_THAT(out, Not(HasSubstr("after filtered debug")));
  EXPECT_THAT(out, HasSubstr(": after warning\n"));
  EXPECT_THAT(out, HasSubstr(": still after warning\n"));
  EXPECT_EQ(log.last_level, 2);
}

TEST(MessageLog, LinesEndInOneNewlineAndColonsLineUp) {
  MemoryLog memory;
  memory.log.q7_notify(3, "no newline");
  memory.log.q7_notify(3, "with newline\n");
  memory.log.q7_notify(3, "%s", "");
  memory.log.q7_msg("untimed");
  const std::string out = memory.text();
  std::vector<std::string> lines;
  for (size_t start = 0, end; (end = out.find('\n', start)) != std::string::npos; start = end + 1) {
    lines.push_back(out.substr(start, end - start));
  }
  ASSERT_EQ(lines.size(), 4u) << out;
  EXPECT_THAT(lines[0], MatchesRegex(kTimed + std::string("INFO : no newline")));
  EXPECT_THAT(lines[1], MatchesRegex(kTimed + std::string("INFO : with newline")));
  EXPECT_THAT(lines[2], MatchesRegex(kTimed + std::string("INFO : ")));
  EXPECT_EQ(lines[3], "(Q7 LIB)                  : untimed");
  EXPECT_EQ(lines[0].find(": "), lines[3].find(": "));
}

TEST(MessageLog, OverlongMessageIsCutToOneLine) {
  MemoryLog memory;
  const std::string text(5000, 'x');
  memory.log.q7_msg("%s", text.c_str());
  const std::string out = memory.text();
  EXPECT_EQ(out, "(Q7 LIB)                  : " + std::string(4094, 'x') + "\n");
}

// Parses the time of a timed line into seconds since midnight.
double time_of(const std::string& line) {
  int hours = -1, minutes = -1;
  double seconds = -1;
  sscanf(line.c_str(), "(Q7 LIB) %d:%d:%lf", &hours, &minutes, &seconds);
  return hours * 3600 + minutes * 60 + seconds;
}

TEST(MessageLog, TimeOfDayWrapsAtMidnight) {
  MemoryLog memory;
  q7MessageLog& log = memory.log;
  log.day_seconds_base = 86399;
  log.clock_base = q7mp_getclock() - 0.98;
  log.q7_notify(3, "before");
  const std::string before = memory.text();
  log.clock_base -= 0.1;
  log.q7_notify(3, "after");
  const std::string after = memory.text().substr(before.size());
  EXPECT_THAT(before, MatchesRegex(R"(\(Q7 LIB\) 23:59:59\.9[89] INFO : before)"
                                   "\n"));
  EXPECT_THAT(after, MatchesRegex(R"(\(Q7 LIB\) 00:00:00\.(0[89]|1[0-9]) INFO : after)"
                                  "\n"));
}

TEST(MessageLog, FirstLineShowsTheLocalTimeAndResyncsWhenTheClockGoesBack) {
  MemoryLog memory;
  q7MessageLog& log = memory.log;
  const auto local_now = [] {
    const time_t now = time(nullptr);
    tm local;
    localtime_r(&now, &local);
    return local.tm_hour * 3600.0 + local.tm_min * 60 + local.tm_sec;
  };
  const double start = local_now();
  log.q7_notify(3, "first");
  const double shown = time_of(memory.text());
  EXPECT_GE(shown, start);
  EXPECT_LE(shown, local_now() + 1);

  // A base in the future is a clock that went back: the next line synchronises again.
  log.clock_base = q7mp_getclock() + 3600;
  log.day_seconds_base = 0;
  const size_t before = memory.text().size();
  log.q7_notify(3, "second");
  EXPECT_NEAR(time_of(memory.text().substr(before)), local_now(), 2.0);
}

TEST(MessageLog, FacilityTagAndLogfile) {
  MemoryLog memory;
  EXPECT_FALSE(memory.log.q7_have_logfile());
  EXPECT_EQ(memory.log.q7_notify_set_facility("render"), 8);
  EXPECT_TRUE(memory.log.q7_have_logfile());
  memory.log.q7_msg("hi");
  EXPECT_EQ(memory.text(), "(render)                  : hi\n");

  const std::string long_name(200, 'n');
  EXPECT_EQ(memory.log.q7_notify_set_facility(long_name.c_str()), 79);
  EXPECT_EQ(std::string(memory.log.facility), "(" + std::string(77, 'n') + ")");

  q7MessageLog unset(nullptr);
  unset.q7_notify_set_facility("x");
  EXPECT_FALSE(unset.q7_have_logfile());
  unset.q7_notify_setlevel(-1);
}

TEST(MessageLog, SwitchingOffForgetsTheStreamAndTheLock) {
  MemoryLog memory;
  q7MessageLog& log = memory.log;
  log.q7_notify(3, "makes the lock");
  EXPECT_NE(log.lock, nullptr);
  log.q7_notify_setlevel(-1);
  EXPECT_EQ(log.q7_notify_getlevel(), -1);
  EXPECT_EQ(log.stream, nullptr);
  EXPECT_EQ(log.lock, nullptr);
  log.q7_notify(1, "nothing");
  EXPECT_EQ(log.stream, nullptr);
  log.q7_notify_setlevel(3);
  log.q7_notify_setlevel(-1);
  log.q7_notify_setlevel(0);
  log.setFile(stdout);
  EXPECT_EQ(log.stream, stdout);
  EXPECT_NE(log.lock, nullptr);
}

TEST(MessageLog, ThreadsPrintWholeLines) {
  MemoryLog memory;
  constexpr int kThreads = 4;
  constexpr int kLines = 300;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&memory, t] {
      for (int i = 0; i < kLines; ++i) memory.log.q7_notify(2, "thread %d line %d", t, i);
    });
  }
  for (std::thread& thread : threads) thread.join();
  const std::string out = memory.text();
  const std::regex line(kTimed + std::string(R"(WARN : thread [0-3] line [0-9]+\n)"));
  int count = 0;
  for (std::sregex_iterator it(out.begin(), out.end(), line), end; it != end; ++it) ++count;
  EXPECT_EQ(count, kThreads * kLines);
}

TEST(DefaultLogger, PlainFunctionsPrintOnStandardError) {
  const auto result = q7test::run_in_child([] {
    q7_notify(3, "file %s", "shot%04d.tif");
    q7_msgcont("%d%%", 50);
    q7_trace("hidden");
    q7_notify_setlevel(5);
    q7_trace("shown");
    q7_notify_set_facility("render");
    q7_msg("tagged");
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_THAT(result.err, MatchesRegex(kTimed + std::string(R"(INFO : file shot%04d.tif
\(Q7 LIB\)                  : 50%
\(Q7 LIB\) [0-9:.]+ TRACE: shown
\(render\)                  : tagged
)")));
}

TEST(DefaultLogger, OffSwitchDeletesLocksAndOnSwitchReturnsToStandardError) {
  const auto result = q7test::run_in_child([] {
    FILE* elsewhere = tmpfile();
    q7_notify(3, "one");
    defaultLogger.setFile(elsewhere);
    q7_notify(3, "into the file");
    q7_notify_setlevel(-1);
    if (msg_lock != nullptr || defaultLogger.lock != nullptr) exit(3);
    q7_notify(1, "off");
    q7_notify_setlevel(3);
    q7_notify(3, "two");
    if (defaultLogger.stream != stderr) exit(4);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_THAT(result.err, HasSubstr("INFO : one\n"));
  EXPECT_THAT(result.err, Not(HasSubstr("into the file")));
  EXPECT_THAT(result.err, Not(HasSubstr("off")));
  EXPECT_THAT(result.err, HasSubstr("INFO : two\n"));
}

TEST(DefaultLogger, FirstUseFromManyThreadsAtOnce) {
  const auto result = q7test::run_in_child([] {
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
      threads.emplace_back([t] {
        for (int i = 0; i < 50; ++i) q7_notify(3, "t%d i%d", t, i);
      });
    }
    for (std::thread& thread : threads) thread.join();
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  const std::regex line(kTimed + std::string(R"(INFO : t[0-7] i[0-9]+\n)"));
  int count = 0;
  for (std::sregex_iterator it(result.err.begin(), result.err.end(), line), end; it != end; ++it) {
    ++count;
  }
  EXPECT_EQ(count, 400) << result.err;
}

}  // namespace
