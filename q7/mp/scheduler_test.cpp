// Tests of the start-up scheduler setup, in child processes: the setup runs once per process.
#include "q7/mp/scheduler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/sysinfo.h>

#include <string>

#include "q7/log/message_log.h"
#include "q7/mp/parallel.h"
#include "q7/mp/threads.h"
#include "tests/support/child_process.h"

namespace {

using ::testing::MatchesRegex;

constexpr char kMemory[] =
    "\\(Q7 LIB\\)                  : Physical memory: +[0-9]+\\.[0-9][0-9] Mb total\n"
    "\\(Q7 LIB\\)                  :                : +[0-9]+\\.[0-9][0-9] Mb free\n"
    "\\(Q7 LIB\\)                  :  Virtual memory: +[0-9]+\\.[0-9][0-9] Mb total\n"
    "\\(Q7 LIB\\)                  :                : +[0-9]+\\.[0-9][0-9] Mb free\n";
constexpr char kUser[] = "\\(Q7 LIB\\)                  : Current user: '[^']+'\n";

TEST(SchedulerSetup, ReportsTheSystemOnceAndMemoryEveryTime) {
  const auto result = q7test::run_in_child([] {
    q7mp_scheduler_setup(0);
    Q7_CHILD_CHECK(pthreads_initialized == 0 && q7mp_initialized == 0);
    q7mp_scheduler_setup(1);
    Q7_CHILD_CHECK(q7mp_initialized == 1 && q7mp_get_nprocs() == get_nprocs());
    q7_notify_setlevel(4);
    q7mp_scheduler_setup(1);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_THAT(
      result.err,
      MatchesRegex(std::string("\\(Q7 LIB\\) [0-9:.]+ INFO : [^\n]+ Version [^\n]+ "
                               "\\([^\n]+\\)\n") +
                   kMemory + kUser + kMemory +
                   "\\(Q7 LIB\\)                  : Larget cont\\.blk: +[0-9.]+ Mb\n" + kUser));
  EXPECT_EQ(q7mp_schedule_ndpi(), 0);  // the normal policy has only priority 0
}

}  // namespace
