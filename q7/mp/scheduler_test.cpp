// Tests of the start-up scheduler setup, in child processes: it runs once per process.
#include "q7/mp/scheduler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/sysinfo.h>

#include "q7/log/message_log.h"
#include "q7/mp/parallel.h"
#include "q7/mp/threads.h"
#include "tests/support/child_process.h"

namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;

constexpr char kReport[] =
    "\\(Q7 LIB\\) [0-9:.]+ INFO : [^\n]+ Version [^\n]+ \\([^\n]+\\)\n"
    "\\(Q7 LIB\\)                  : Physical memory: +[0-9]+\\.[0-9][0-9] Mb total\n"
    "\\(Q7 LIB\\)                  :                : +[0-9]+\\.[0-9][0-9] Mb free\n"
    "\\(Q7 LIB\\)                  :  Virtual memory: +[0-9]+\\.[0-9][0-9] Mb total\n"
    "\\(Q7 LIB\\)                  :                : +[0-9]+\\.[0-9][0-9] Mb free\n"
    "\\(Q7 LIB\\)                  : Current user: '[^']+'\n";

TEST(SchedulerSetup, ReportsOnceAndSetsUpTheThreadLayer) {
  const auto result = q7test::run_in_child([] {
    q7mp_scheduler_setup(0);
    if (pthreads_initialized != 0 || q7mp_initialized != 0) exit(2);
    q7mp_scheduler_setup(1);
    if (pthreads_initialized != 1 || q7mp_initialized != 1) exit(3);
    if (q7mp_get_nprocs() != get_nprocs()) exit(4);
    fprintf(stderr, "--\n");
    q7mp_scheduler_setup(1);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  const size_t split = result.err.find("--\n");
  ASSERT_NE(split, std::string::npos) << result.err;
  EXPECT_THAT(result.err.substr(0, split), MatchesRegex(kReport));
  EXPECT_THAT(result.err.substr(split + 3), Not(HasSubstr("Version")));
  EXPECT_THAT(result.err.substr(split + 3), HasSubstr("Current user: '"));
  EXPECT_THAT(result.err, Not(HasSubstr("Larget")));
}

TEST(SchedulerSetup, ShowsTheLargestBlockAtDebugLevel) {
  const auto result = q7test::run_in_child([] {
    q7_notify_setlevel(4);
    q7mp_scheduler_setup(1);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_THAT(result.err, MatchesRegex("(.|\n)*Mb free\n\\(Q7 LIB\\)                  : "
                                       "Larget cont\\.blk: +[0-9]+\\.[0-9][0-9] Mb\n"
                                       "\\(Q7 LIB\\)                  : Current user(.|\n)*"));
}

TEST(SchedulerSetup, PriorityCallsChangeNothingUnderTheNormalPolicy) {
  EXPECT_EQ(q7mp_schedule_ndpi(), 0);
  q7mp_schedule_high();
  q7mp_schedule_normal();
  q7mp_schedule_low();
}

}  // namespace
