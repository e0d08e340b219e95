// The writing operations on a file system with no room left: each reports its failure and
// leaves every value whole.
#include <gtest/gtest.h>

#include <string>

#include "q7/files/backup.h"
#include "q7/files/file_operations.h"
#include "q7/files/whole_files.h"
#include "tests/support/small_file_system.h"
#include "tests/support/temp_dir.h"

namespace {

using q7test::read_file;
using q7test::SmallFileSystem;
using q7test::TempDir;
using q7test::write_file;

constexpr int kNewBytes = 512 * 1024;

TEST(FullDisk, WritesReportFailureAndLeaveNoTornValue) {
  SmallFileSystem disk;
  if (!disk.mounted()) GTEST_SKIP() << disk.error();
  TempDir outside;
  const std::string old_value(64 * 1024, 'o');
  const std::string new_value(kNewBytes, 'n');
  const std::string value = disk.file("value");
  const std::string fresh = disk.file("fresh");
  const std::string source = outside.file("source");
  ASSERT_TRUE(write_file(value, old_value) && write_file(source, new_value));
  ASSERT_TRUE(write_file(disk.file("app.log"), "0") && write_file(disk.file("app.1.log"), "1"));
  ASSERT_TRUE(disk.fill());

  EXPECT_EQ(file_save(value.c_str(), const_cast<char*>(new_value.data()), kNewBytes), -1);
  EXPECT_EQ(file_save(fresh.c_str(), const_cast<char*>(new_value.data()), kNewBytes), -1);
  EXPECT_FALSE(
      file_copy(const_cast<char*>(source.c_str()), const_cast<char*>(value.c_str()), nullptr, 0));
  EXPECT_FALSE(
      file_copy(const_cast<char*>(source.c_str()), const_cast<char*>(fresh.c_str()), nullptr, 0));
  EXPECT_TRUE(read_file(value) == old_value) << "the old value was torn";
  EXPECT_FALSE(file_exists(fresh.c_str()));
  EXPECT_FALSE(disk.has_leftovers());
  // Renames need no room: the rotation goes through, every backup whole.
  EXPECT_EQ(file_backup(disk.file("app.log").c_str(), 3), 2);
  EXPECT_EQ(read_file(disk.file("app.1.log")) + read_file(disk.file("app.2.log")), "01");

  disk.make_room();
  EXPECT_EQ(file_save(value.c_str(), const_cast<char*>(new_value.data()), kNewBytes), kNewBytes);
  EXPECT_TRUE(read_file(value) == new_value);
  EXPECT_TRUE(
      file_copy(const_cast<char*>(source.c_str()), const_cast<char*>(fresh.c_str()), nullptr, 0));
  EXPECT_TRUE(read_file(fresh) == new_value);
}

}  // namespace
