// Tests of file tests and queries, permissions, directories, moving and copying.
#include "q7/files/file_operations.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "q7/files/file_names.h"
#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"
#include "tests/support/unprivileged.h"

namespace {

using q7test::read_file;
using q7test::run_in_child;
using q7test::TempDir;
using q7test::write_file;

char* text(const std::string& path) { return const_cast<char*>(path.c_str()); }

mode_t mode_of(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

ino_t inode_of(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

// The names the copy's new files would have, left behind in `directory`.
std::vector<std::string> leftovers(const std::string& directory) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    const std::string name = entry.path().filename();
    if (name.rfind(".q7_", 0) == 0) names.push_back(name);
  }
  return names;
}

TEST(FileQueries, TellTypesSizesAndTimesFollowingLinks) {
  TempDir dir;
  ASSERT_TRUE(write_file(dir.file("f"), "0123456789"));
  ASSERT_EQ(mkdir(dir.file("d").c_str(), 0755), 0);
  ASSERT_EQ(symlink("f", dir.file("lf").c_str()), 0);
  ASSERT_EQ(symlink("d", dir.file("ld").c_str()), 0);
  ASSERT_EQ(symlink("gone", dir.file("dangling").c_str()), 0);
  ASSERT_EQ(mkfifo(dir.file("p").c_str(), 0644), 0);
  const struct timespec times[2] = {{1058173500, 0}, {1058173500, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, dir.file("f").c_str(), times, 0), 0);
  const struct {
    const char* name;
    bool exists, directory;
    long long size;
    long mod_time;
  } cases[] = {{"f", true, false, 10, 1058173500}, {"lf", true, false, 10, 1058173500},
               {"d", false, true, 0, -1},          {"ld", false, true, 0, -1},
               {"dangling", false, false, 0, 0},   {"missing", false, false, 0, 0},
               {"p", false, false, 0, -1}};
  for (const auto& c : cases) {
    const std::string path = dir.file(c.name);
    EXPECT_EQ(file_exists(path.c_str()), c.exists) << c.name;
    EXPECT_EQ(file_is_directory(path.c_str()), c.directory) << c.name;
    EXPECT_EQ(file_size(path.c_str()), c.size) << c.name;
    if (c.mod_time >= 0) {
      EXPECT_EQ(file_mod_time(path.c_str()), c.mod_time) << c.name;
    }
    EXPECT_EQ(file_status_change_time(path.c_str()) > 0, c.exists || c.directory || c.mod_time < 0)
        << c.name;
  }
  EXPECT_FALSE(file_exists(nullptr) || file_is_directory(nullptr) ||
               file_is_accessible(nullptr, false, false));
  EXPECT_EQ(file_size(nullptr) + file_mod_time(nullptr) + file_status_change_time(nullptr), 0);
}

// Permission bits do not bind root, so the checks run as an ordinary user.
TEST(FileQueries, AccessibleOnlyForTheAskedTypeAndPermission) {
  TempDir dir;
  ASSERT_EQ(chmod(dir.path().c_str(), 0755), 0);
  ASSERT_TRUE(write_file(dir.file("ro"), "x") && write_file(dir.file("rw"), "x"));
  ASSERT_EQ(chmod(dir.file("ro").c_str(), 0444) + chmod(dir.file("rw").c_str(), 0666), 0);
  ASSERT_EQ(mkdir(dir.file("d").c_str(), 0555), 0);
  const auto result = run_in_child([&] {
    Q7_CHILD_CHECK(q7test::become_unprivileged());
    const struct {
      const char* name;
      bool directory, write, accessible;
    } cases[] = {{"ro", false, false, true}, {"ro", false, true, false},
                 {"rw", false, true, true},  {"d", false, false, false},
                 {"d", true, false, true},   {"d", true, true, false},
                 {"rw", true, false, false}, {"missing", false, false, false}};
    for (const auto& c : cases) {
      fprintf(stderr, "case %s directory=%d write=%d\n", c.name, c.directory, c.write);
      Q7_CHILD_CHECK(file_is_accessible(dir.file(c.name).c_str(), c.directory, c.write) ==
                     c.accessible);
    }
  });
  EXPECT_TRUE(result.exited_with(0)) << describe(result);
}

TEST(FileTimeToString, FormsAndMonthNamesInLocalTime) {
  const auto result = run_in_child([] {
    setenv("TZ", "UTC", 1);
    for (int form : {1, 2, 0, 3, -1}) printf("%s|", file_time_to_string(1058173500, form));
    printf("%s|", file_time_to_string(946684799, 0));
    printf("%s|", file_time_to_string(0, 1));
    char* buffer = file_time_to_string(0x7fffffffffffffffL, 0);
    printf("%s|", buffer);
    printf("%d\n", buffer == file_time_to_string(0, 0));
    setenv("TZ", "UTC-2", 1);
    printf("%s\n", file_time_to_string(1058173500, 1));
  });
  EXPECT_EQ(result.out,
            "2003/07/14 09:05:00|14/07/2003 09:05:00|14-JUL-2003 09:05:00|14-JUL-2003 09:05:00|"
            "14-JUL-2003 09:05:00|31-DEC-1999 23:59:59|1970/01/01 00:00:00||1\n"
            "2003/07/14 11:05:00\n")
      << describe(result);
}

TEST(FileSetAccess, SetsReadOnlyOrWritableModesWithoutTheUmask) {
  TempDir dir;
  ASSERT_TRUE(write_file(dir.file("f"), "x"));
  ASSERT_EQ(mkdir(dir.file("d").c_str(), 0700), 0);
  ASSERT_EQ(symlink("f", dir.file("link").c_str()), 0);
  const auto result = run_in_child([&] {
    umask(077);
    const struct {
      const char* name;
      bool writable;
      mode_t mode;
      const char* changed;
    } cases[] = {{"f", false, 0444, "f"},
                 {"f", true, 0666, "f"},
                 {"d", false, 0555, "d"},
                 {"d", true, 0777, "d"},
                 {"link", false, 0444, "f"}};
    for (const auto& c : cases) {
      fprintf(stderr, "case %s writable=%d\n", c.name, c.writable);
      Q7_CHILD_CHECK(file_set_access(dir.file(c.name).c_str(), c.writable));
      Q7_CHILD_CHECK(mode_of(dir.file(c.changed)) == c.mode);
    }
    Q7_CHILD_CHECK(!file_set_access(dir.file("missing").c_str(), true));
    Q7_CHILD_CHECK(!file_set_access(nullptr, true));
  });
  EXPECT_TRUE(result.exited_with(0)) << describe(result);
}

TEST(EnsurePathExists, CreatesEveryMissingLevelOrStopsAtAFileInTheWay) {
  TempDir dir;
  const auto result = run_in_child([&] {
    umask(022);
    std::string deep = dir.file("a/b//c");
    Q7_CHILD_CHECK(ensure_path_exists(text(deep)) == 1);
    Q7_CHILD_CHECK(mode_of(dir.file("a/b/c")) == 0755 && mode_of(dir.file("a")) == 0755);
    Q7_CHILD_CHECK(ensure_path_exists(text(deep)) == 1);
    Q7_CHILD_CHECK(write_file(dir.file("file"), "x"));
    std::string blocked = dir.file("file/x");
    Q7_CHILD_CHECK(ensure_path_exists(text(blocked)) == 0);
    // The path may lie in temp_path, and temp_path stays as it was.
    std::string base = dir.path();
    char name[] = "t/u";
    char* joined = file_name_concat(text(base), name);
    const std::string before = temp_path;
    Q7_CHILD_CHECK(ensure_path_exists(joined) == 1 && before == temp_path);
    Q7_CHILD_CHECK(file_is_directory(dir.file("t/u").c_str()));
    char empty[] = "";
    Q7_CHILD_CHECK(ensure_path_exists(empty) == 0 && ensure_path_exists(nullptr) == 0);
    std::string too_long = dir.file("long/" + std::string(4096, 'x'));
    Q7_CHILD_CHECK(ensure_path_exists(text(too_long)) == 0);
    Q7_CHILD_CHECK(!file_is_directory(dir.file("long").c_str()));
    Q7_CHILD_CHECK(file_create_directory(dir.file("new").c_str()) == 0);
    Q7_CHILD_CHECK(file_create_directory(dir.file("new").c_str()) == -1);
    Q7_CHILD_CHECK(file_create_directory(nullptr) == -1);
  });
  EXPECT_TRUE(result.exited_with(0)) << describe(result);
}

// Threads creating the same levels at once each find the directory there at the end.
TEST(EnsurePathExists, CountsALevelMadeMeanwhileByAnotherAsMade) {
  TempDir dir;
  constexpr int kRounds = 200;
  constexpr int kThreads = 4;
  std::vector<int> results(kRounds * kThreads, -1);
  for (int round = 0; round < kRounds; ++round) {
    const std::string path = dir.file(std::to_string(round) + "/a/b/c/d");
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back(
          [&, t] { results[round * kThreads + t] = ensure_path_exists(text(path)); });
    }
    for (auto& thread : threads) thread.join();
  }
  EXPECT_EQ(std::count(results.begin(), results.end(), 1), kRounds * kThreads);
}

TEST(FileMove, RenamesOrCopiesAndNeverLosesTheSourceToItsOwnName) {
  TempDir dir;
  for (bool by_rename : {true, false}) {
    ASSERT_TRUE(write_file(dir.file("src"), "source") && write_file(dir.file("dst"), "old"));
    EXPECT_TRUE(file_move(text(dir.file("src")), text(dir.file("dst")), by_rename));
    EXPECT_EQ(read_file(dir.file("dst")), "source") << "by_rename=" << by_rename;
    EXPECT_FALSE(file_exists(dir.file("src").c_str())) << "by_rename=" << by_rename;
    // The same file, by the same string and by another spelling of the same entry.
    for (const std::string& other : {dir.file("dst"), dir.path() + "/./dst",
                                     dir.path() + "/../" + dir.path().substr(5) + "/dst"}) {
      EXPECT_FALSE(file_move(text(dir.file("dst")), text(other), by_rename)) << other;
      EXPECT_EQ(read_file(dir.file("dst")), "source") << other;
    }
  }
  // A hard link is another entry of the same file: moving onto it is a move.
  ASSERT_EQ(link(dir.file("dst").c_str(), dir.file("hard").c_str()), 0);
  EXPECT_TRUE(file_move(text(dir.file("dst")), text(dir.file("hard")), true));
  EXPECT_EQ(read_file(dir.file("hard")), "source");
  EXPECT_FALSE(file_exists(dir.file("dst").c_str()));
  // A failed move has still removed the destination.
  ASSERT_TRUE(write_file(dir.file("dst"), "old"));
  EXPECT_FALSE(file_move(text(dir.file("missing")), text(dir.file("dst")), false));
  EXPECT_FALSE(file_exists(dir.file("dst").c_str()));
  EXPECT_FALSE(file_move(nullptr, text(dir.file("dst")), true) ||
               file_move(text(dir.file("hard")), nullptr, true));
  // The plain wrappers, and their null paths.
  EXPECT_TRUE(file_rename(text(dir.file("hard")), text(dir.file("renamed"))) &&
              file_delete(text(dir.file("renamed"))));
  EXPECT_FALSE(file_delete(text(dir.file("renamed"))) || file_delete(nullptr) ||
               file_rename(nullptr, text(dir.file("x"))));
}

TEST(FileMove, CopiesAcrossFileSystemsOnlyWhenNotByRename) {
  TempDir dir;
  char other_template[] = "/dev/shm/q7test.XXXXXX";
  if (mkdtemp(other_template) == nullptr) GTEST_SKIP() << "no /dev/shm to move across to";
  const std::string other = other_template;
  struct stat here, there;
  if (stat(dir.path().c_str(), &here) != 0 || stat(other.c_str(), &there) != 0 ||
      here.st_dev == there.st_dev) {
    rmdir(other.c_str());
    GTEST_SKIP() << "/dev/shm is on the same file system as /tmp";
  }
  const std::string far = other + "/moved";
  ASSERT_TRUE(write_file(dir.file("src"), "across") && write_file(far, "old"));
  EXPECT_FALSE(file_move(text(dir.file("src")), text(far), true));
  EXPECT_FALSE(file_exists(far.c_str()));
  EXPECT_TRUE(file_move(text(dir.file("src")), text(far), false));
  EXPECT_EQ(read_file(far), "across");
  EXPECT_FALSE(file_exists(dir.file("src").c_str()));
  unlink(far.c_str());
  rmdir(other.c_str());
}

TEST(FileCopy, CopiesEveryByteThroughEitherBuffer) {
  TempDir dir;
  std::string bytes;
  for (int i = 0; i < 200000; ++i) bytes += static_cast<char>(i * 7 + i / 251);
  for (size_t size : {0, 1, 65535, 65536, 65537, 200000}) {
    ASSERT_TRUE(write_file(dir.file("src"), bytes.substr(0, size)));
    char small[7];
    EXPECT_TRUE(file_copy(text(dir.file("src")), text(dir.file("own")), nullptr, 0)) << size;
    EXPECT_TRUE(file_copy(text(dir.file("src")), text(dir.file("small")), small, 7)) << size;
    EXPECT_EQ(read_file(dir.file("own")), bytes.substr(0, size)) << "own buffer, size=" << size;
    EXPECT_EQ(read_file(dir.file("small")), bytes.substr(0, size)) << "7 bytes, size=" << size;
  }
  EXPECT_TRUE(leftovers(dir.path()).empty());
}

TEST(FileCopy, ReplacesTheDestinationKeepingItsModeOwnerAndLinks) {
  TempDir dir;
  ASSERT_TRUE(write_file(dir.file("src"), "new"));
  const auto result = run_in_child([&] {
    umask(022);
    Q7_CHILD_CHECK(file_copy(text(dir.file("src")), text(dir.file("fresh")), nullptr, 0));
    Q7_CHILD_CHECK(mode_of(dir.file("fresh")) == 0755);
  });
  EXPECT_TRUE(result.exited_with(0)) << describe(result);

  ASSERT_TRUE(write_file(dir.file("kept"), "old"));
  ASSERT_EQ(chmod(dir.file("kept").c_str(), 0640), 0);
  const bool root = geteuid() == 0;
  if (root) {
    ASSERT_EQ(chown(dir.file("kept").c_str(), 65534, 65534), 0);
  }
  const ino_t before = inode_of(dir.file("kept"));
  EXPECT_TRUE(file_copy(text(dir.file("src")), text(dir.file("kept")), nullptr, 0));
  EXPECT_EQ(read_file(dir.file("kept")), "new");
  EXPECT_EQ(mode_of(dir.file("kept")), 0640u);
  EXPECT_NE(inode_of(dir.file("kept")), before) << "replaced, not rewritten";
  struct stat status;
  ASSERT_EQ(stat(dir.file("kept").c_str(), &status), 0);
  if (root) {
    EXPECT_TRUE(status.st_uid == 65534 && status.st_gid == 65534);
  }

  // A link keeps pointing at its file, which gets the bytes; hard links all see them.
  ASSERT_TRUE(write_file(dir.file("target"), "old"));
  ASSERT_EQ(symlink("target", dir.file("link").c_str()), 0);
  EXPECT_TRUE(file_copy(text(dir.file("src")), text(dir.file("link")), nullptr, 0));
  EXPECT_EQ(read_file(dir.file("target")), "new");
  EXPECT_TRUE(std::filesystem::is_symlink(dir.file("link")));
  ASSERT_TRUE(write_file(dir.file("one"), "old"));
  ASSERT_EQ(link(dir.file("one").c_str(), dir.file("two").c_str()), 0);
  EXPECT_TRUE(file_copy(text(dir.file("src")), text(dir.file("one")), nullptr, 0));
  EXPECT_EQ(read_file(dir.file("two")), "new");
  std::string null_device = "/dev/null";
  EXPECT_TRUE(file_copy(text(dir.file("src")), text(null_device), nullptr, 0));
  EXPECT_TRUE(std::filesystem::is_character_file(null_device));
  EXPECT_TRUE(leftovers(dir.path()).empty());
}

TEST(FileCopy, FailsLeavingTheDestinationAsItWas) {
  TempDir dir;
  ASSERT_TRUE(write_file(dir.file("src"), "new") && write_file(dir.file("dst"), "old"));
  ASSERT_EQ(mkdir(dir.file("dir").c_str(), 0755), 0);
  ASSERT_EQ(link(dir.file("src").c_str(), dir.file("hard").c_str()), 0);
  char buffer[8];
  const struct {
    std::string source, destination;
    char* buffer;
    int size;
    std::string unchanged;  // the file whose contents must survive
  } cases[] = {{dir.file("missing"), dir.file("dst"), nullptr, 0, "dst"},
               {dir.file("dir"), dir.file("dst"), nullptr, 0, "dst"},  // the read fails
               {dir.file("src"), dir.file("dst"), buffer, 0, "dst"},
               {dir.file("src"), dir.file("dst"), buffer, -1, "dst"},
               {dir.file("src"), dir.file("src"), nullptr, 0, "src"},
               {dir.file("src"), dir.path() + "/./src", nullptr, 0, "src"},
               {dir.file("src"), dir.file("hard"), nullptr, 0, "src"},
               {dir.file("src"), dir.file("dir"), nullptr, 0, "src"},
               {dir.file("src"), dir.file("nodir/dst"), nullptr, 0, "src"}};
  for (const auto& c : cases) {
    EXPECT_FALSE(file_copy(text(c.source), text(c.destination), c.buffer, c.size))
        << c.source << " -> " << c.destination << " size=" << c.size;
    EXPECT_EQ(read_file(dir.file(c.unchanged)), c.unchanged == "dst" ? "old" : "new")
        << c.source << " -> " << c.destination;
  }
  EXPECT_FALSE(file_copy(nullptr, text(dir.file("dst")), nullptr, 0) ||
               file_copy(text(dir.file("src")), nullptr, nullptr, 0));
  EXPECT_TRUE(leftovers(dir.path()).empty());
}

// As an ordinary user: a read-only destination stays refused, and a writable file in a
// directory that admits no new file is written in place.
TEST(FileCopy, RespectsPermissionsAsCreatWould) {
  TempDir dir;
  ASSERT_EQ(chmod(dir.path().c_str(), 0777), 0);
  ASSERT_EQ(mkdir(dir.file("closed").c_str(), 0755), 0);
  for (const std::string name : {"src", "readonly", "mine", "closed/open"}) {
    ASSERT_TRUE(write_file(dir.file(name), name == "src" ? "new" : "old"));
    ASSERT_EQ(chmod(dir.file(name).c_str(), name == "readonly" || name == "mine" ? 0444 : 0666), 0);
  }
  // A read-only file of the copying user's own, which a rename could replace.
  if (geteuid() == 0) {
    ASSERT_EQ(chown(dir.file("mine").c_str(), 65534, 65534), 0);
  }
  const auto result = run_in_child([&] {
    Q7_CHILD_CHECK(q7test::become_unprivileged());
    Q7_CHILD_CHECK(!file_copy(text(dir.file("src")), text(dir.file("readonly")), nullptr, 0));
    Q7_CHILD_CHECK(!file_copy(text(dir.file("src")), text(dir.file("mine")), nullptr, 0));
    Q7_CHILD_CHECK(read_file(dir.file("readonly")) == "old" &&
                   read_file(dir.file("mine")) == "old");
    Q7_CHILD_CHECK(file_copy(text(dir.file("src")), text(dir.file("closed/open")), nullptr, 0));
    Q7_CHILD_CHECK(read_file(dir.file("closed/open")) == "new");
  });
  EXPECT_TRUE(result.exited_with(0)) << describe(result);
}

}  // namespace
