// Tests of the numbered backup rotation.
#include "q7/files/backup.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"

namespace {

using q7test::read_file;
using q7test::TempDir;
using q7test::write_file;

// Every regular file below `dir` as "name=contents", in name order.
std::string listing(const TempDir& dir) {
  std::set<std::string> entries;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(dir.path())) {
    if (!entry.is_regular_file()) continue;
    entries.insert(entry.path().string().substr(dir.path().size() + 1) + "=" +
                   read_file(entry.path()));
  }
  std::string text;
  for (const auto& entry : entries) text += entry + " ";
  return text;
}

// Relative paths, from a child in the test's directory: the extension is searched in the
// whole path, and the temporary directory's own name has a dot.
TEST(FileBackup, RotatesNumberedCopiesNewestFirst) {
  const struct {
    std::vector<std::string> present;  // each file holds its own name
    std::string path;
    int count;
    std::string after;  // the result, then every file as "name=contents"
  } cases[] = {
      {{"app.log", "app.1.log", "app.2.log", "app.3.log"},
       "app.log",
       3,
       "3: app.1.log=app.log app.2.log=app.1.log app.3.log=app.2.log "},
      {{"app.log"}, "app.log", 3, "1: app.1.log=app.log "},
      {{}, "app.log", 3, "0: "},
      {{"app.log", "app.2.log"}, "app.log", 3, "2: app.1.log=app.log app.3.log=app.2.log "},
      {{"app.log"}, "app.log", 0, "0: app.log=app.log "},
      {{"app.log"}, "app.log", -2, "0: app.log=app.log "},
      {{"app", "app.1"}, "app", 1, "1: app.1=app "},
      {{".profile"}, ".profile", 2, "1: .profile.1=.profile "},
      {{"a.b.c"}, "a.b.c", 1, "1: a.b.1.c=a.b.c "},
      {{"dir.old/file", "dir.1.old/keep"},
       "dir.old/file",
       1,
       "1: dir.1.old/file=dir.old/file dir.1.old/keep=dir.1.old/keep "},
      {{"dir.old/file"}, "dir.old/file", 1, "-1: dir.old/file=dir.old/file "},
  };
  for (const auto& c : cases) {
    TempDir dir;
    const auto result = q7test::run_in_child([&] {
      Q7_CHILD_CHECK(chdir(dir.path().c_str()) == 0);
      for (const auto& name : c.present) {
        const auto parent = std::filesystem::path(name).parent_path();
        if (!parent.empty()) std::filesystem::create_directory(parent);
        Q7_CHILD_CHECK(write_file(name, name));
      }
      printf("%d: ", file_backup(c.path.c_str(), c.count));
    });
    EXPECT_EQ(result.out + listing(dir), c.after) << c.path << " count=" << c.count << "\n"
                                                  << describe(result);
  }
}

// A rename that fails stops the rotation; every file is still whole somewhere.
TEST(FileBackup, StopsAtTheFirstFailedRenameLosingNothing) {
  TempDir dir;
  ASSERT_TRUE(write_file(dir.file("app.log"), "0") && write_file(dir.file("app.1.log"), "1") &&
              write_file(dir.file("app.3.log"), "3"));
  ASSERT_EQ(mkdir(dir.file("app.2.log").c_str(), 0755), 0);
  EXPECT_EQ(file_backup(dir.file("app.log").c_str(), 3), -1);
  EXPECT_EQ(listing(dir), "app.1.log=1 app.3.log=3 app.log=0 ");
}

TEST(FileBackup, RefusesPathsItCannotNameBackupsFor) {
  TempDir dir;
  ASSERT_TRUE(write_file(dir.file(".1"), "cwd"));
  // An empty path would rotate ".1" to ".2" in the working directory.
  const auto result = q7test::run_in_child([&] {
    Q7_CHILD_CHECK(chdir(dir.path().c_str()) == 0);
    Q7_CHILD_CHECK(file_backup("", 3) == -1 && file_backup(nullptr, 3) == -1);
  });
  EXPECT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_EQ(listing(dir), ".1=cwd ");
  // A path of 4093 characters has backup names of up to 4095 for a count of 9, and of 4096
  // for a count of 10, which cannot be a path: nothing is renamed then.
  std::string path = dir.path();
  while (path.size() < 4093 - 8) path += "/.";
  path.resize(4093 - 8);
  path += "/app.log";
  ASSERT_EQ(path.size(), 4093u);
  ASSERT_TRUE(write_file(path, "0"));
  EXPECT_EQ(file_backup(path.c_str(), 10), -1);
  EXPECT_EQ(listing(dir), ".1=cwd app.log=0 ");
  EXPECT_EQ(file_backup(path.c_str(), 9), 1);
  EXPECT_EQ(listing(dir), ".1=cwd app.1.log=0 ");
}

}  // namespace
