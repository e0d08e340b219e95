// Tests of the machine and process queries.
#include "q7/mp/sysinfo.h"

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

TEST(SystemInfo, PageSizeAndMemoryInWrappingThirtyTwoBitBytes) {
  EXPECT_EQ(q7mp_get_pagesize(), sysconf(_SC_PAGESIZE));
  struct sysinfo info;
  ASSERT_EQ(sysinfo(&info), 0);
  unsigned int total = 0, with_swap = 0, stored = 0;
  q7mp_get_meminfo(&total, nullptr, 0);
  q7mp_get_meminfo(&with_swap, nullptr, 1);
  EXPECT_EQ(with_swap - total, static_cast<unsigned int>(info.totalswap) * info.mem_unit);
  EXPECT_EQ(q7mp_memfree(&stored), stored);
}

TEST(SystemInfo, DescriptionAndUptime) {
  q7mp_sysinfo* record = q7mp_get_sysinfo();
  ASSERT_NE(record, nullptr);
  utsname names;
  uname(&names);
  EXPECT_THAT(record->text,
              ::testing::StartsWith(std::string(names.sysname) + " Version " + names.release));
  EXPECT_GE(record->uptime, 0);
  free(record);

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

}  // namespace
