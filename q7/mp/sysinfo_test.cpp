// Tests of the machine queries.
#include "q7/mp/sysinfo.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <string>

#include "q7/mp/internal/uptime.h"
#include "tests/support/temp_dir.h"

namespace {

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

}  // namespace
