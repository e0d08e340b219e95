// Tests of directory removal on real trees: whole trees go, links are removed and never
// followed, dot-directories stay, and anything but a directory is left alone.
#include "q7/files/directory_removal.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "q7/files/listings.h"
#include "tests/support/child_process.h"
#include "tests/support/file_tree.h"
#include "tests/support/temp_dir.h"

namespace {

using q7test::make_tree;
using q7test::TempDir;

bool exists(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0;
}

// Everything below `root`, links not followed: each path with its kind and a file's
// content, so that two snapshots differ when anything was removed or changed.
std::set<std::string> snapshot(const std::string& root) {
  std::set<std::string> seen;
  namespace fs = std::filesystem;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
    const std::string path = entry.path().string();
    if (entry.is_symlink()) {
      seen.insert(path + " -> " + fs::read_symlink(entry.path()).string());
    } else if (entry.is_directory()) {
      seen.insert(path + "/");
    } else {
      seen.insert(path + " = " + q7test::read_file(path));
    }
  }
  return seen;
}

// A tree with links out of it, to a directory and to a file, and links within it.
const std::vector<std::string> kTreeWithLinks = {"outside/",
                                                 "outside/keep",
                                                 "outside/keepdir/",
                                                 "outside/keepdir/inner",
                                                 "top/",
                                                 "top/a/",
                                                 "top/a/x",
                                                 "top/a/b/",
                                                 "top/a/b/y",
                                                 "top/.hidden_file",
                                                 "top/z",
                                                 "top/Z2",
                                                 "top/out -> ../outside/keepdir",
                                                 "top/a/file_out -> ../../outside/keep",
                                                 "top/a/up -> ..",
                                                 "top/inner_link -> a"};

TEST(DirectoryRemoval, RemovesTheWholeTreeButNothingLinksLeadTo) {
  // Orders 0, 1 and 2, and both sortings through file_delete_directory.
  for (const int how : {0, 1, 2, 10, 11}) {
    TempDir dir;
    ASSERT_TRUE(make_tree(dir.path(), kTreeWithLinks));
    const std::set<std::string> outside = snapshot(dir.file("outside"));
    const std::string top = dir.file("top");
    const int result = how >= 10 ? file_delete_directory(top.c_str(), true, how == 11)
                                 : file_deep_delete_directory(top.c_str(), how);
    EXPECT_EQ(result, 0) << "how=" << how;
    EXPECT_FALSE(exists(top)) << "how=" << how;
    EXPECT_EQ(snapshot(dir.file("outside")), outside) << "how=" << how;
  }
}

TEST(DirectoryRemoval, LeavesDotDirectoriesAndWhatHoldsThem) {
  TempDir dir;
  ASSERT_TRUE(make_tree(dir.path(), {"outside/", "outside/keep", "top/", "top/f", "top/.f",
                                     "top/d/", "top/d/g", "top/d/.git/", "top/d/.git/obj", "top/e/",
                                     "top/e/h", "top/.link -> ../outside"}));
  const std::set<std::string> outside = snapshot(dir.file("outside"));
  EXPECT_EQ(file_deep_delete_directory(dir.file("top").c_str(), 1), -1);
  std::set<std::string> left;
  for (const std::string& path : snapshot(dir.file("top")))
    left.insert(path.substr(dir.path().size()));
  EXPECT_EQ(left,
            (std::set<std::string>{"/top/d/", "/top/d/.git/", "/top/d/.git/obj = top/d/.git/obj",
                                   "/top/.link -> ../outside"}));
  EXPECT_EQ(snapshot(dir.file("outside")), outside);
}

TEST(DirectoryRemoval, DeletesNothingButADirectory) {
  TempDir dir;
  ASSERT_TRUE(
      make_tree(dir.path(), {"parent/", "parent/f", "parent/sibling", "parent/sub/", "parent/sub/s",
                             "real/", "real/content", "link -> real", "dangling -> nowhere"}));
  const std::set<std::string> before = snapshot(dir.path());
  const struct {
    std::string path;
    int result;
  } cases[] = {
      {dir.file("parent/f"), -1},      {dir.file("link"), -1},      {dir.file("link/"), -1},
      {dir.file("link//"), -1},        {dir.file("dangling"), -1},  {dir.file("missing"), 0},
      {dir.file("parent/f/under"), 0}, {dir.file("parent/f/"), -1},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(file_deep_delete_directory(c.path.c_str(), 1), c.result) << "path=" << c.path;
    EXPECT_EQ(file_delete_directory(c.path.c_str(), true, false), c.result) << "path=" << c.path;
    EXPECT_EQ(file_delete_directory(c.path.c_str(), false, false), -1) << "path=" << c.path;
    EXPECT_EQ(snapshot(dir.path()), before) << "path=" << c.path;
  }
  EXPECT_EQ(file_deep_delete_directory(nullptr, 1), -1);
  EXPECT_EQ(file_delete_directory(nullptr, true, true), -1);
  EXPECT_EQ(file_delete_directory(nullptr, false, true), -1);
  EXPECT_EQ(file_deep_delete_directory(std::string(4096, 'a').c_str(), 1), -1);
}

// What the comparison of sort mode 3 does at its first call, inside the removal's listing
// of `redirected`: moves that directory away and puts a link to `redirect_to` in its place.
std::string redirected, moved_to, redirect_to;
int redirect_then_compare(const void* first, const void* second) {
  if (!redirected.empty()) {
    if (rename(redirected.c_str(), moved_to.c_str()) != 0 ||
        symlink(redirect_to.c_str(), redirected.c_str()) != 0) {
      exit(3);
    }
    redirected.clear();
  }
  return strcmp(*static_cast<char* const*>(first), *static_cast<char* const*>(second));
}

// The listing of every level below then reads the outside tree, whose names are the same.
TEST(DirectoryRemoval, StaysInTheTreeWhenItsPathIsRedirectedMidway) {
  TempDir dir;
  ASSERT_TRUE(make_tree(
      dir.path(),
      {"outside/", "outside/f1", "outside/sub/", "outside/sub/victim", "outside/sub/only_outside",
       "outside/sub/deeper/", "outside/sub/deeper/v2", "top/", "top/f1", "top/f2", "top/sub/",
       "top/sub/victim", "top/sub/deeper/", "top/sub/deeper/v2"}));
  const std::set<std::string> outside = snapshot(dir.file("outside"));
  const auto result = q7test::run_in_child([&] {
    redirected = dir.file("top");
    moved_to = dir.file("moved");
    redirect_to = dir.file("outside");
    flist_set_custom_compare(redirect_then_compare);
    printf("%d\n", file_deep_delete_directory(dir.file("top").c_str(), 3));
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_EQ(result.out, "-1\n") << "the path now names a link, which is never removed";
  EXPECT_EQ(snapshot(dir.file("outside")), outside);
  EXPECT_EQ(snapshot(dir.file("moved")), std::set<std::string>{}) << "everything was removed";
}

TEST(DirectoryRemoval, RemovesOnlyAnEmptyDirectoryWhenNotDeep) {
  TempDir dir;
  ASSERT_TRUE(make_tree(dir.path(), {"empty/", "full/", "full/f"}));
  EXPECT_EQ(file_delete_directory(dir.file("full").c_str(), false, true), -1);
  EXPECT_TRUE(exists(dir.file("full/f")));
  EXPECT_EQ(file_delete_directory(dir.file("empty").c_str(), false, true), 0);
  EXPECT_FALSE(exists(dir.file("empty")));
  EXPECT_EQ(file_delete_directory(dir.file("empty").c_str(), false, true), -1);
}

TEST(DirectoryRemoval, FailsWhereAListingEndsEarly) {
  TempDir dir;
  ASSERT_TRUE(make_tree(dir.path(), {"top/", "top/a", "top/dangling -> nowhere", "top/b"}));
  EXPECT_EQ(file_deep_delete_directory(dir.file("top").c_str(), 0), -1);
  EXPECT_TRUE(exists(dir.file("top/dangling")));
}

}  // namespace
