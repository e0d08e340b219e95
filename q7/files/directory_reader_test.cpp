// Tests of the directory reader on real directories: opening, entries, the early end, closing.
#include "q7/files/directory_reader.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "tests/support/file_tree.h"
#include "tests/support/temp_dir.h"

namespace {

using q7test::make_tree;
using q7test::stream_names;
using q7test::TempDir;

void set_mod_time(const std::string& path, time_t when) {
  const timespec times[2] = {{when, 0}, {when, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

TEST(DirectoryReader, OpensDirectoriesWithOneTrailingSlash) {
  TempDir dir;
  ASSERT_TRUE(make_tree(dir.path(), {"f", "d/"}));
  // 4094 characters are the most that take their slash within the 4096 bytes; 4095 fit
  // when the slash is already there. The padding keeps naming the same directory.
  const auto padded = [&](size_t length) {
    std::string path = dir.path();
    if ((length - path.size()) % 2 != 0) path += "/";
    while (path.size() < length) path += "/.";
    return path;
  };
  const struct {
    std::string path;
    bool opens;
    std::string stored;
  } cases[] = {
      {dir.file("d"), true, dir.file("d") + "/"},
      {dir.file("d") + "/", true, dir.file("d") + "/"},
      {"/", true, "/"},
      {padded(4094), true, padded(4094) + "/"},
      {padded(4094) + "/", true, padded(4094) + "/"},
      {padded(4095), false, ""},
      {padded(4095) + "/", false, ""},
      {dir.file("f"), false, ""},
      {dir.file("missing"), false, ""},
      {"", false, ""},
  };
  for (const auto& c : cases) {
    Directory directory;
    directory.handle = reinterpret_cast<DIR*>(&directory);  // a stale value is replaced
    EXPECT_EQ(DirectoryOpen(&directory, c.path.c_str()), c.opens) << "path=" << c.path;
    if (!c.opens) {
      EXPECT_EQ(directory.handle, nullptr) << "path=" << c.path;
      continue;
    }
    EXPECT_EQ(std::string(directory.path), c.stored);
    EXPECT_EQ(DirectoryClose(&directory), 0) << "path=" << c.path;
  }
  Directory directory;
  EXPECT_FALSE(DirectoryOpen(&directory, nullptr));
  EXPECT_FALSE(DirectoryOpen(nullptr, dir.path().c_str()));
}

TEST(DirectoryReader, GivesEveryEntryInStreamOrderWithTypeAndTimeThroughLinks) {
  TempDir dir;
  ASSERT_TRUE(make_tree(dir.path(), {"file", "sub/", "to_sub -> sub", "to_file -> file"}));
  set_mod_time(dir.file("file"), 1000000000);
  set_mod_time(dir.file("sub"), 2000000000);
  set_mod_time(dir.file("to_sub"), 7);  // the link's own time is never reported
  const struct stat self = [&] {
    struct stat status;
    stat(dir.path().c_str(), &status);
    return status;
  }();
  const struct {
    int is_directory;
    time_t mod_time;
  } expected[] = {{1, self.st_mtime}, {1, 0},          {0, 1000000000},
                  {1, 2000000000},    {1, 2000000000}, {0, 1000000000}};
  const std::vector<std::string> names = {".", "..", "file", "sub", "to_sub", "to_file"};

  Directory directory;
  ASSERT_TRUE(DirectoryOpen(&directory, dir.path().c_str()));
  std::vector<std::string> read;
  DirEntry entry;
  while (DirectoryReadNextEntry(&directory, &entry)) {
    read.emplace_back(entry.name);
    size_t which = 0;
    while (which < names.size() && names[which] != entry.name) ++which;
    ASSERT_LT(which, names.size()) << "name=" << entry.name;
    EXPECT_EQ(entry.is_directory, expected[which].is_directory) << "name=" << entry.name;
    if (which != 1) {  // the parent's time is whatever it is
      EXPECT_EQ(entry.mod_time, expected[which].mod_time) << "name=" << entry.name;
    }
  }
  EXPECT_FALSE(DirectoryReadNextEntry(&directory, &entry)) << "the end stays the end";
  EXPECT_EQ(read, stream_names(dir.path()));
  EXPECT_EQ(read.size(), names.size());
  EXPECT_EQ(DirectoryClose(&directory), 0);
}

TEST(DirectoryReader, EndsAtAnEntryItCannotExamine) {
  TempDir dir;
  ASSERT_TRUE(make_tree(dir.path(), {"a", "b", "c", "dangling -> nowhere", "d", "e"}));
  std::vector<std::string> before;
  for (const std::string& name : stream_names(dir.path())) {
    if (name == "dangling") break;
    before.push_back(name);
  }
  Directory directory;
  ASSERT_TRUE(DirectoryOpen(&directory, dir.path().c_str()));
  std::vector<std::string> read;
  DirEntry entry;
  while (DirectoryReadNextEntry(&directory, &entry)) read.emplace_back(entry.name);
  EXPECT_EQ(read, before);
  EXPECT_EQ(DirectoryClose(&directory), 0);
}

TEST(DirectoryReader, ClosesOnceAndReadsNothingWhenNotOpen) {
  TempDir dir;
  Directory directory;
  DirEntry entry;
  EXPECT_FALSE(DirectoryReadNextEntry(&directory, &entry));
  ASSERT_TRUE(DirectoryOpen(&directory, dir.path().c_str()));
  EXPECT_FALSE(DirectoryReadNextEntry(&directory, nullptr));
  EXPECT_FALSE(DirectoryReadNextEntry(nullptr, &entry));
  EXPECT_EQ(DirectoryClose(&directory), 0);
  errno = 0;
  EXPECT_EQ(DirectoryClose(&directory), -1);
  EXPECT_EQ(errno, EBADF);
  EXPECT_FALSE(DirectoryReadNextEntry(&directory, &entry));
  EXPECT_EQ(DirectoryClose(nullptr), -1);
}

}  // namespace
