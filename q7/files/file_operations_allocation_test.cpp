// Allocation failures in the file operations that allocate, at every failure point: the
// documented failure result, the files as they were, and nothing leaked.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <filesystem>
#include <string>

#include "q7/files/file_operations.h"
#include "q7/files/temp_names.h"
#include "q7/files/whole_files.h"
#include "tests/support/alloc_failure.h"
#include "tests/support/temp_dir.h"

namespace {

using q7test::FailureRun;
using q7test::for_each_failure_point;
using q7test::read_file;
using q7test::TempDir;
using q7test::write_file;
using ::testing::MatchesRegex;

constexpr char kUuid[] = "[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}";

char* chars(const std::string& text) { return const_cast<char*>(text.c_str()); }

bool has_leftovers(const TempDir& dir) {
  for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
    if (entry.path().filename().string().rfind(".q7_", 0) == 0) return true;
  }
  return false;
}

TEST(AllocationFailure, WholeFilesLoadOrGiveNullAndCopiesLeaveTheOldValue) {
  TempDir dir;
  const std::string source = dir.file("source");
  const std::string target = dir.file("target");
  ASSERT_TRUE(write_file(source, "new bytes") && write_file(target, "old"));

  int points = for_each_failure_point("file_load", [&](FailureRun& run) {
    int count = 0;
    char* block = static_cast<char*>(run.armed([&] { return file_load(source.c_str(), &count); }));
    if (block == nullptr) {
      EXPECT_TRUE(run.injected());
      return;
    }
    EXPECT_EQ(std::string(block, count), "new bytes");
    free(block);
  });
  EXPECT_EQ(points, 1);

  // Each run starts from the old value; a failed copy or save must leave it.
  for (const bool copying : {true, false}) {
    points = for_each_failure_point(copying ? "file_copy" : "file_save", [&](FailureRun& run) {
      ASSERT_TRUE(write_file(target, "old"));
      const bool written = run.armed([&] {
        return copying ? file_copy(chars(source), chars(target), nullptr, 0)
                       : file_save(target.c_str(), chars("new bytes"), 9) == 9;
      });
      EXPECT_TRUE(written || run.injected());
      EXPECT_EQ(read_file(target), written ? "new bytes" : "old");
      EXPECT_FALSE(has_leftovers(dir));
    });
    // The copy's own buffer fails; saving allocates nothing.
    EXPECT_EQ(points, copying ? 1 : 0) << (copying ? "file_copy" : "file_save");
  }
}

TEST(AllocationFailure, TempNamesAreWholeOrNone) {
  char prefix[] = "/tmp/x_";
  int points = for_each_failure_point("file_get_temp_name_ex", [&](FailureRun& run) {
    char out[64] = "unset";
    run.armed([&] { file_get_temp_name_ex(prefix, out); });
    if (run.injected()) {
      EXPECT_STREQ(out, "");
    } else {
      EXPECT_THAT(out, MatchesRegex(std::string("/tmp/x_") + kUuid));
    }
  });
  EXPECT_EQ(points, 1);

  points = for_each_failure_point("file_get_temp_name_ex_dyn", [&](FailureRun& run) {
    char* name = run.armed([&] { return file_get_temp_name_ex_dyn(prefix); });
    if (name == nullptr) {
      EXPECT_TRUE(run.injected());
      return;
    }
    EXPECT_THAT(name, MatchesRegex(std::string("/tmp/x_") + kUuid));
    free(name);
  });
  EXPECT_EQ(points, 2);
}

}  // namespace
