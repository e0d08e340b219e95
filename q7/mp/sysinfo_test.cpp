// Tests of the machine and process queries.
#include "q7/mp/sysinfo.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <string>

#include "q7/mp/internal/uptime.h"
#include "tests/support/temp_dir.h"

namespace {

using ::testing::StartsWith;

TEST(SystemInfo, ProcessorsPagesAndNames) {
  EXPECT_EQ(q7mp_get_raw_cpu_count(), get_nprocs());
  EXPECT_EQ(q7mp_get_pagesize(), sysconf(_SC_PAGESIZE));
  EXPECT_EQ(q7mp_pagesize, sysconf(_SC_PAGESIZE));
  char host[256];
  ASSERT_EQ(gethostname(host, sizeof host), 0);
  EXPECT_STREQ(q7mp_machinename(), host);
  const std::string user = q7mp_username();
  EXPECT_FALSE(user.empty());
  EXPECT_LT(user.size(), sizeof "unknown_user");
  errno = ENOENT;
  EXPECT_STREQ(q7os_errormsg(), strerror(ENOENT));
}

TEST(SystemInfo, MemoryFiguresComeInWrappingThirtyTwoBitBytes) {
  struct sysinfo info;
  ASSERT_EQ(sysinfo(&info), 0);
  unsigned int total = 0;
  unsigned int free = 0;
  q7mp_get_meminfo(&total, &free, 0);
  EXPECT_EQ(total, static_cast<unsigned int>(info.totalram) * info.mem_unit);
  unsigned int total_with_swap = 0;
  q7mp_get_meminfo(&total_with_swap, nullptr, 1);
  EXPECT_EQ(total_with_swap - total, static_cast<unsigned int>(info.totalswap) * info.mem_unit);

  unsigned int stored = 0;
  const unsigned int kilobytes = q7mp_memfree(&stored);
  EXPECT_EQ(kilobytes, stored);
  EXPECT_GT(q7mp_memfree(nullptr), 0u);
}

TEST(SystemInfo, DescriptionAndUptime) {
  q7mp_sysinfo* record = q7mp_get_sysinfo();
  ASSERT_NE(record, nullptr);
  utsname names;
  uname(&names);
  EXPECT_THAT(record->text, StartsWith(std::string(names.sysname) + " Version " + names.release));
  struct sysinfo info;
  sysinfo(&info);
  EXPECT_GE(record->uptime, 0);
  EXPECT_LE(record->uptime, info.uptime + 1);
  free(record);
}

TEST(SystemInfo, UptimeFileIsReadAsWholeSeconds) {
  q7test::TempDir dir;
  const struct {
    const char* content;
    int expected;
  } cases[] = {
      {"12345.67 54321.00\n", 12345}, {"0.99 1\n", 0}, {"garbage\n", -1}, {"", -1}, {"1e30\n", -1},
  };
  for (const auto& c : cases) {
    q7test::write_file(dir.file("uptime"), c.content);
    EXPECT_EQ(q7::internal::read_uptime(dir.file("uptime").c_str()), c.expected)
        << "content=" << c.content;
  }
  EXPECT_EQ(q7::internal::read_uptime(dir.file("missing").c_str()), -1);
}

}  // namespace
