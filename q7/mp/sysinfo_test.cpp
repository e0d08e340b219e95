// Tests of the machine queries and the start-up scheduler setup (in child processes: the
// setup runs once per process).
#include "q7/mp/sysinfo.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <string>

#include "q7/log/message_log.h"
#include "q7/mp/internal/uptime.h"
#include "q7/mp/parallel.h"
#include "q7/mp/scheduler.h"
#include "q7/mp/threads.h"
#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"

namespace {

using q7test::require_in_child;
using ::testing::MatchesRegex;

TEST(SystemInfo, DescriptionAndUptime) {
  q7mp_sysinfo* record = q7mp_get_sysinfo();
  ASSERT_NE(record, nullptr);
  utsname names;
  uname(&names);
  EXPECT_EQ(record->text,
            std::string(names.sysname) + " Version " + names.release + " (" + names.machine + ")");
  EXPECT_GE(record->uptime, 0);
  free(record);
  EXPECT_EQ(q7mp_get_pagesize(), sysconf(_SC_PAGESIZE));

  q7test::TempDir dir;
  const struct {
    const char* content;
    int expected;
  } cases[] = {
      {"12345.67 54321.00\n", 12345}, {"0.99 1\n", 0}, {"garbage\n", -1}, {"", -1}, {"1e30\n", -1}};
  for (const auto& c : cases) {
    q7test::write_file(dir.file("uptime"), c.content);
    EXPECT_EQ(q7::internal::read_uptime(dir.file("uptime").c_str()), c.expected) << c.content;
  }
  EXPECT_EQ(q7::internal::read_uptime(dir.file("missing").c_str()), -1);
}

constexpr char kMemory[] =
    "\\(Q7 LIB\\)                  : Physical memory: +[0-9]+\\.[0-9][0-9] Mb total\n"
    "\\(Q7 LIB\\)                  :                : +[0-9]+\\.[0-9][0-9] Mb free\n"
    "\\(Q7 LIB\\)                  :  Virtual memory: +[0-9]+\\.[0-9][0-9] Mb total\n"
    "\\(Q7 LIB\\)                  :                : +[0-9]+\\.[0-9][0-9] Mb free\n";
constexpr char kUser[] = "\\(Q7 LIB\\)                  : Current user: '[^']+'\n";

TEST(SchedulerSetup, ReportsTheSystemOnceAndMemoryEveryTime) {
  const auto result = q7test::run_in_child([] {
    q7mp_scheduler_setup(0);
    require_in_child(pthreads_initialized == 0 && q7mp_initialized == 0, 2);
    q7mp_scheduler_setup(1);
    require_in_child(q7mp_initialized == 1 && q7mp_get_nprocs() == get_nprocs(), 3);
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
