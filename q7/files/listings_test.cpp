// Tests of directory listings on real directories: what is listed, the orders, the sort
// state (in a child), growth, the early end, and the recursive walk.
#include "q7/files/listings.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/file_tree.h"
#include "tests/support/temp_dir.h"

namespace {

using q7test::make_tree;
using q7test::stream_names;
using q7test::TempDir;
using Names = std::vector<std::string>;

Names names_of(char** array, int count) { return Names(array, array + count); }

std::string joined(const Names& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ",") + name;
  return text;
}

// A listing as one line: its path, its files and its directories, or "null".
std::string shown(const dir_list* list) {
  if (list == nullptr) return "null";
  return std::string(list->path) + " files=" + joined(names_of(list->files, list->nfiles)) +
         " dirs=" + joined(names_of(list->dirs, list->ndirs));
}

std::string shown_and_deleted(const std::string& path, int sort_mode, int must_exist) {
  dir_list* list = flist_new(path.c_str(), sort_mode, must_exist);
  const std::string line = shown(list);
  flist_delete(list);
  return line;
}

// The names of the directory stream that are not directories, in stream order.
Names stream_files(const std::string& dir) {
  Names picked;
  for (const std::string& name : stream_names(dir)) {
    struct stat status;
    if (stat((dir + "/" + name).c_str(), &status) == 0 && !S_ISDIR(status.st_mode)) {
      picked.push_back(name);
    }
  }
  return picked;
}

TEST(Listings, SplitsFilesFromDirectoriesKeepingParentButNeverDot) {
  TempDir dir;
  ASSERT_TRUE(
      make_tree(dir.path(), {"empty/", "full/", "full/f1", "full/.hidden", "full/..x/",
                             "full/.git/", "full/sub/", "full/to_sub -> sub", "full/to_f1 -> f1"}));
  EXPECT_EQ(shown_and_deleted(dir.file("full") + "/", 1, 1),
            dir.file("full") + " files=.hidden,f1,to_f1 dirs=..,..x,.git,sub,to_sub");
  EXPECT_EQ(shown_and_deleted(dir.file("empty"), 1, 1), dir.file("empty") + " files= dirs=..");

  dir_list* root = flist_new("/", 1, 1);
  ASSERT_NE(root, nullptr);
  const Names root_dirs = names_of(root->dirs, root->ndirs);
  EXPECT_STREQ(root->path, "/");
  EXPECT_EQ(std::count(root_dirs.begin(), root_dirs.end(), ".."), 0) << joined(root_dirs);
  EXPECT_EQ(std::count(root_dirs.begin(), root_dirs.end(), "."), 0) << joined(root_dirs);
  EXPECT_EQ(std::count(root_dirs.begin(), root_dirs.end(), "tmp"), 1) << joined(root_dirs);
  flist_delete(root);
  flist_delete(nullptr);
}

// Run in a child, whose working directory is the temporary one.
TEST(Listings, ListsTheDirectoryAPathStandsFor) {
  TempDir dir;
  ASSERT_TRUE(make_tree(dir.path(), {"full/", "full/f1", "c:/", "c:/in_c", "x/"}));
  const std::string cwd = dir.path() + " files= dirs=..,c:,full,x";
  const std::string full = dir.file("full") + " files=f1 dirs=..";
  const struct {
    std::string path;
    int must_exist;
    std::string listing;
  } cases[] = {
      {dir.file("full/f1"), 1, full},
      {dir.file("full/missing"), 1, "null"},
      {dir.file("full/missing"), 0, full},
      {dir.file("full/f1/"), 1, "null"},
      {"full/missing", 0, "full files=f1 dirs=.."},
      {"missing", 0, cwd},
      {"x/missing", 0, cwd},
      {"/q7-no-such-name", 0, cwd},
      {"c:", 0, "c: files=in_c dirs=.."},
      {"z:", 0, "z: files= dirs="},
      {"z:", 1, "null"},
      {"", 1, "null"},
      {std::string(4096, 'a'), 0, "null"},
  };
  const auto result = q7test::run_in_child([&] {
    if (chdir(dir.path().c_str()) != 0) exit(2);
    for (const auto& c : cases) {
      printf("%s\n", shown_and_deleted(c.path, 1, c.must_exist).c_str());
    }
    dir_list* none = flist_new(nullptr, 1, 1);
    printf("%s\n", shown(none).c_str());
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  std::istringstream lines(result.out);
  std::string line;
  for (const auto& c : cases) {
    std::getline(lines, line);
    EXPECT_EQ(line, c.listing) << "path=" << c.path.substr(0, 80) << " must_exist=" << c.must_exist;
  }
  std::getline(lines, line);
  EXPECT_EQ(line, "null") << "a null path with must_exist 1";
}

TEST(Listings, SortsByNameWithoutCaseOrKeepsTheStreamOrder) {
  TempDir dir;
  ASSERT_TRUE(make_tree(dir.path(), {"b", "A", "c", "Zd/", "ad/", "_e/"}));
  for (const int mode : {1, 4, -1}) {
    EXPECT_EQ(shown_and_deleted(dir.path(), mode, 1), dir.path() + " files=A,b,c dirs=..,_e,ad,Zd")
        << "mode=" << mode;
  }
  // Unsorted, ".." stands where the stream gave it.
  Names unsorted_dirs;
  for (const std::string& name : stream_names(dir.path())) {
    struct stat status;
    if (name != "." && stat(dir.file(name).c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
      unsorted_dirs.push_back(name);
    }
  }
  EXPECT_EQ(
      shown_and_deleted(dir.path(), 0, 1),
      dir.path() + " files=" + joined(stream_files(dir.path())) + " dirs=" + joined(unsorted_dirs));
}

// Enough names that differ only in case for a sort that is not stable to mix them up.
TEST(Listings, KeepsTheStreamOrderOfNamesThatDifferOnlyInCase) {
  TempDir dir;
  for (int i = 0; i < 40; ++i) {
    const std::string number = std::to_string(i % 20 + 10);
    ASSERT_TRUE(make_tree(dir.path(),
                          {(i < 20 ? "n" : "N") + number, (i < 20 ? "d" : "D") + number + "/"}));
  }
  Names files = stream_files(dir.path());
  Names dirs;
  for (const std::string& name : stream_names(dir.path())) {
    if (name != "." && (name[0] == 'd' || name[0] == 'D' || name == "..")) dirs.push_back(name);
  }
  const auto case_blind = [](const std::string& a, const std::string& b) {
    return strcasecmp(a.c_str(), b.c_str()) < 0;
  };
  std::stable_sort(files.begin(), files.end(), case_blind);
  std::stable_sort(dirs.begin(), dirs.end(), case_blind);
  EXPECT_EQ(shown_and_deleted(dir.path(), 1, 1),
            dir.path() + " files=" + joined(files) + " dirs=" + joined(dirs));
}

TEST(Listings, GrowsNameArraysByDoublingFrom128And32) {
  TempDir dir;
  const struct {
    std::vector<std::string> add;
    int nfiles, files_capacity, ndirs, dirs_capacity;
  } steps[] = {
      {{}, 0, 0, 1, 32},
      {{"f"}, 1, 128, 1, 32},
      {{"d/"}, 1, 128, 2, 32},
      {[] {
         std::vector<std::string> more;
         for (int i = 0; i < 127; ++i) more.push_back("f" + std::to_string(i));
         for (int i = 0; i < 30; ++i) more.push_back("d" + std::to_string(i) + "/");
         return more;
       }(),
       128, 128, 32, 32},
      {{"f128"}, 129, 256, 32, 32},
      {{"d31/"}, 129, 256, 33, 64},
  };
  for (const auto& step : steps) {
    ASSERT_TRUE(make_tree(dir.path(), step.add));
    dir_list* list = flist_new(dir.path().c_str(), 0, 1);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->nfiles, step.nfiles) << "files=" << step.nfiles;
    EXPECT_EQ(list->files_capacity, step.files_capacity) << "files=" << step.nfiles;
    EXPECT_EQ(list->ndirs, step.ndirs) << "dirs=" << step.ndirs;
    EXPECT_EQ(list->dirs_capacity, step.dirs_capacity) << "dirs=" << step.ndirs;
    flist_delete(list);
  }
}

// The order one status per comparison gives: the directory being sorted, and the
// comparison that reads each name's status change time afresh.
std::string model_directory;
int change_time_per_comparison(const void* first, const void* second) {
  struct stat a = {}, b = {};
  if (stat((model_directory + "/" + *static_cast<char* const*>(first)).c_str(), &a) != 0) {
    a.st_ctime = 0;
  }
  if (stat((model_directory + "/" + *static_cast<char* const*>(second)).c_str(), &b) != 0) {
    b.st_ctime = 0;
  }
  return static_cast<int>(a.st_ctime - b.st_ctime);
}

// Waits (at most two seconds) for the clock to pass into the next second, so that files
// changed afterwards get a later change time.
void wait_for_next_second() {
  const time_t start = time(nullptr);
  for (int i = 0; i < 200 && time(nullptr) == start; ++i) usleep(10000);
}

TEST(Listings, OrdersByChangeTimeAsAStatusPerComparisonWould) {
  TempDir dir;
  Names created;
  for (int i = 0; i < 240; ++i) created.push_back("n" + std::to_string((i * 97) % 240));
  for (const std::string& name : created) ASSERT_TRUE(make_tree(dir.path(), {name}));
  ASSERT_TRUE(make_tree(dir.path(), {"sub/", "link -> n5"}));
  // Changes in two later seconds give three change times, each shared by many files.
  for (const int every : {3, 5}) {
    wait_for_next_second();
    for (int i = 0; i < 240; i += every) chmod(dir.file(created[i]).c_str(), 0600 + every);
  }
  Names model = stream_files(dir.path());
  std::vector<char*> slots;
  for (std::string& name : model) slots.push_back(name.data());
  model_directory = dir.path();
  qsort(slots.data(), slots.size(), sizeof(char*), change_time_per_comparison);

  dir_list* list = flist_new(dir.path().c_str(), 2, 1);
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(joined(names_of(list->files, list->nfiles)), joined(Names(slots.begin(), slots.end())));
  EXPECT_EQ(joined(names_of(list->dirs, list->ndirs)), "..,sub");
  time_t previous = 0;
  for (int i = 0; i < list->nfiles; ++i) {
    struct stat status;
    ASSERT_EQ(stat(dir.file(list->files[i]).c_str(), &status), 0);
    EXPECT_LE(previous, status.st_ctime) << "at " << list->files[i];
    previous = status.st_ctime;
  }
  flist_delete(list);
}

int reversed(const void* first, const void* second) {
  if (zzz_flist_path_global != nullptr) printf("sort state set during mode 3\n");
  return -strcmp(*static_cast<char* const*>(first), *static_cast<char* const*>(second));
}

TEST(Listings, CustomOrderIsProcessWideState) {
  TempDir dir;
  ASSERT_TRUE(make_tree(dir.path(), {"b", "A", "c", "Zd/", "ad/"}));
  const std::string unsorted = joined(stream_files(dir.path()));
  const auto result = q7test::run_in_child([&] {
    const auto files = [&](int mode) {
      dir_list* list = flist_new(dir.path().c_str(), mode, 1);
      const std::string line = joined(names_of(list->files, list->nfiles)) + " " +
                               joined(names_of(list->dirs, list->ndirs));
      flist_delete(list);
      return line;
    };
    printf("start %d %d\n", flist_custom_compare == nullptr, zzz_flist_path_global == nullptr);
    printf("%s\n", files(3).c_str());
    flist_set_custom_compare(reversed);
    printf("%s\n", files(3).c_str());
    flist_delete(flist_new(dir.path().c_str(), 2, 1));
    printf("after mode 2 %d\n", zzz_flist_path_global == nullptr);
    printf("%s\n", files(3).c_str());
    flist_set_custom_compare(nullptr);
    printf("%s\n", files(3).c_str());
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_EQ(result.out, "start 1 1\n" + unsorted + " ..,ad,Zd\nc,b,A ..,ad,Zd\nafter mode 2 1\n" +
                            "c,b,A ..,ad,Zd\n" + unsorted + " ..,ad,Zd\n");
}

TEST(Listings, EndsAtADanglingLink) {
  TempDir dir;
  ASSERT_TRUE(make_tree(dir.path(), {"a", "b", "c", "dangling -> nowhere", "d", "e"}));
  Names before;
  for (const std::string& name : stream_names(dir.path())) {
    if (name == "dangling") break;
    if (name != "." && name != "..") before.push_back(name);
  }
  EXPECT_EQ(shown_and_deleted(dir.path(), 0, 1),
            dir.path() + " files=" + joined(before) + " dirs=..");
}

void record(char* path, void* data) { static_cast<Names*>(data)->emplace_back(path); }

TEST(Listings, WalksSubdirectoriesBeforeFilesFollowingLinksButNotCircles) {
  TempDir dir;
  const std::string top = dir.file("top");
  ASSERT_TRUE(make_tree(dir.path(), {"top/", "top/z", "top/.h", "top/a/", "top/a/x",
                                     "top/a/.hidden/", "top/a/.hidden/y", "top/b/", "top/b/w",
                                     "top/a/loop -> ..", "top/a/sib -> ../b"}));
  const struct {
    std::string path;
    Names reported;
  } cases[] = {
      {top, {top + "/a/sib/w", top + "/a/x", top + "/b/w", top + "/.h", top + "/z"}},
      {top + "/b/w", {top + "/b/w"}},
      {top + "/missing", {}},
  };
  for (const auto& c : cases) {
    Names reported;
    file_scan_directory(c.path.c_str(), record, &reported);
    EXPECT_EQ(joined(reported), joined(c.reported)) << "path=" << c.path;
  }
  file_scan_directory(top.c_str(), nullptr, nullptr);
}

}  // namespace
