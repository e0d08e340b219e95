// Tests of loading a whole file into memory and saving a block as a file.
#include "q7/files/whole_files.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>

#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"
#include "tests/support/unprivileged.h"

namespace {

using q7test::read_file;
using q7test::run_in_child;
using q7test::TempDir;
using q7test::write_file;

// The file's bytes as file_load gives them, or "null"; the count read and the terminator
// are checked on the way.
std::string loaded(const std::string& path) {
  int count = -7;
  char* block = static_cast<char*>(file_load(path.c_str(), &count));
  if (block == nullptr) return count == -7 ? "null" : "null, but the count was written";
  std::string bytes(block, static_cast<size_t>(count));
  if (block[count] != '\0') bytes += " (no terminator)";
  free(block);
  return bytes;
}

TEST(FileLoad, GivesTheBytesWithATerminatorOrNull) {
  TempDir dir;
  const std::string binary("a\0b\xff\n", 5);
  ASSERT_TRUE(write_file(dir.file("ten"), "0123456789") && write_file(dir.file("binary"), binary));
  ASSERT_TRUE(write_file(dir.file("empty"), ""));
  ASSERT_EQ(symlink("ten", dir.file("link").c_str()), 0);
  ASSERT_EQ(mkdir(dir.file("dir").c_str(), 0755), 0);
  ASSERT_EQ(mkfifo(dir.file("pipe").c_str(), 0644), 0);
  const struct {
    const char* name;
    std::string bytes;
  } cases[] = {{"ten", "0123456789"}, {"binary", binary}, {"link", "0123456789"},
               {"empty", "null"},     {"dir", "null"},    {"missing", "null"}};
  for (const auto& c : cases) EXPECT_EQ(loaded(dir.file(c.name)), c.bytes) << c.name;
  // A pipe is refused before anything waits for a writer.
  const auto result = run_in_child([&] { Q7_CHILD_CHECK(loaded(dir.file("pipe")) == "null"); },
                                   std::chrono::seconds(10));
  EXPECT_TRUE(result.exited_with(0)) << describe(result);
  void* block = file_load(dir.file("ten").c_str(), nullptr);
  EXPECT_NE(block, nullptr);
  free(block);
  EXPECT_EQ(file_load(nullptr, nullptr), nullptr);
}

// A sparse file of 2 GiB has a size that the count cannot hold.
TEST(FileLoad, RefusesFilesOf2GiBOrMore) {
  TempDir dir;
  const std::string big = dir.file("big");
  ASSERT_TRUE(write_file(big, ""));
  for (const long long size : {0x7fffffffLL + 1, 0x100000000LL + 10}) {
    ASSERT_EQ(truncate(big.c_str(), size), 0);
    EXPECT_EQ(loaded(big), "null") << "size=" << size;
  }
}

TEST(FileSave, WritesTheBytesAndKeepsAnExistingFilesModeAndLinks) {
  TempDir dir;
  const auto result = run_in_child([&] {
    umask(022);
    char bytes[] = "hello\0world";
    Q7_CHILD_CHECK(file_save(dir.file("new").c_str(), bytes, 11) == 11);
    Q7_CHILD_CHECK(read_file(dir.file("new")) == std::string("hello\0world", 11));
    struct stat status;
    Q7_CHILD_CHECK(stat(dir.file("new").c_str(), &status) == 0 && (status.st_mode & 0777) == 0644);
    Q7_CHILD_CHECK(chmod(dir.file("new").c_str(), 0600) == 0);
    Q7_CHILD_CHECK(file_save(dir.file("new").c_str(), bytes, 5) == 5);
    Q7_CHILD_CHECK(stat(dir.file("new").c_str(), &status) == 0 && (status.st_mode & 0777) == 0600);
    Q7_CHILD_CHECK(read_file(dir.file("new")) == "hello");
    Q7_CHILD_CHECK(file_save(dir.file("new").c_str(), nullptr, 0) == 0);
    Q7_CHILD_CHECK(read_file(dir.file("new")).empty() && access(dir.file("new").c_str(), 0) == 0);
    Q7_CHILD_CHECK(symlink("new", dir.file("link").c_str()) == 0);
    Q7_CHILD_CHECK(file_save(dir.file("link").c_str(), bytes, 5) == 5);
    Q7_CHILD_CHECK(std::filesystem::is_symlink(dir.file("link")));
    Q7_CHILD_CHECK(read_file(dir.file("new")) == "hello");
  });
  EXPECT_TRUE(result.exited_with(0)) << describe(result);
}

TEST(FileSave, FailsWithMinusOneLeavingTheFileAsItWas) {
  TempDir dir;
  ASSERT_TRUE(write_file(dir.file("file"), "old"));
  // A second link makes the file one that is written in place, where a bad argument found
  // late would already have emptied it.
  ASSERT_EQ(link(dir.file("file").c_str(), dir.file("link").c_str()), 0);
  ASSERT_EQ(mkdir(dir.file("dir").c_str(), 0755), 0);
  char bytes[] = "new";
  const struct {
    std::string path;
    void* data;
    int count;
  } cases[] = {{dir.file("file"), bytes, -1},
               {dir.file("file"), nullptr, 3},
               {dir.file("dir"), bytes, 3},
               {dir.file("missing/file"), bytes, 3}};
  for (const auto& c : cases) {
    EXPECT_EQ(file_save(c.path.c_str(), c.data, c.count), -1) << c.path << " count=" << c.count;
    EXPECT_EQ(read_file(dir.file("file")), "old") << c.path;
  }
  EXPECT_EQ(file_save(nullptr, bytes, 3), -1);
  // Read-only for an ordinary user, whether or not the file is the user's own.
  ASSERT_EQ(chmod(dir.path().c_str(), 0777) + chmod(dir.file("file").c_str(), 0444), 0);
  for (const uid_t owner : {0u, 65534u}) {
    if (geteuid() == 0) {
      ASSERT_EQ(chown(dir.file("file").c_str(), owner, owner), 0);
    }
    const auto result = run_in_child([&] {
      Q7_CHILD_CHECK(q7test::become_unprivileged());
      Q7_CHILD_CHECK(file_save(dir.file("file").c_str(), bytes, 3) == -1);
    });
    EXPECT_TRUE(result.exited_with(0)) << "owner=" << owner << " " << describe(result);
    EXPECT_EQ(read_file(dir.file("file")), "old");
  }
}

// A reader meets the old bytes or the new ones, whole, while another thread saves.
TEST(FileSave, ReadersNeverSeeAPartlyWrittenFile) {
  TempDir dir;
  const std::string path = dir.file("value");
  const std::string values[2] = {std::string(1 << 20, 'A'), std::string(1 << 20, 'B')};
  ASSERT_EQ(file_save(path.c_str(), const_cast<char*>(values[0].data()), 1 << 20), 1 << 20);
  std::atomic<bool> done{false};
  std::thread writer([&] {
    for (int i = 1; i <= 200; ++i) {
      file_save(path.c_str(), const_cast<char*>(values[i % 2].data()), 1 << 20);
    }
    done = true;
  });
  int reads = 0;
  int torn = 0;
  while (!done || reads < 10) {
    const std::string bytes = loaded(path);
    torn += bytes != values[0] && bytes != values[1];
    ++reads;
  }
  writer.join();
  EXPECT_EQ(torn, 0) << "of " << reads << " reads";
}

}  // namespace
