// Allocation failures in the listings, the walk, the mount-table readers and the recursive
// removal, at every failure point: null or a listing that only leaves entries out, in
// order; a removal that reports what it did and never touches anything outside its tree.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "q7/files/directory_removal.h"
#include "q7/files/listings.h"
#include "q7/files/mounts.h"
#include "tests/support/alloc_failure.h"
#include "tests/support/file_tree.h"
#include "tests/support/temp_dir.h"

namespace {

using q7test::FailureRun;
using q7test::for_each_failure_point;
using q7test::make_tree;
using q7test::TempDir;
using Names = std::vector<std::string>;

Names names_of(char** array, int count) { return Names(array, array + count); }

// Whether `part` is `whole` with some names left out.
bool leaves_out_only(const Names& part, const Names& whole) {
  auto next = whole.begin();
  for (const std::string& name : part) {
    next = std::find(next, whole.end(), name);
    if (next == whole.end()) return false;
    ++next;
  }
  return true;
}

// 129 files and 32 directories: both name arrays grow past their first capacity.
void make_big_directory(const std::string& root) {
  Names entries;
  for (int i = 0; i < 129; ++i) entries.push_back((i % 2 != 0 ? "F" : "f") + std::to_string(i));
  for (int i = 0; i < 32; ++i) entries.push_back("d" + std::to_string(i) + "/");
  ASSERT_TRUE(make_tree(root, entries));
}

TEST(AllocationFailure, ListingsLeaveEntriesOutButKeepTheirOrder) {
  TempDir dir;
  make_big_directory(dir.path());
  for (const int sort_mode : {0, 1, 2}) {
    dir_list* whole = flist_new(dir.path().c_str(), sort_mode, 1);
    ASSERT_NE(whole, nullptr);
    const Names all_files = names_of(whole->files, whole->nfiles);
    const Names all_dirs = names_of(whole->dirs, whole->ndirs);
    flist_delete(whole);
    const std::string name = "flist_new mode " + std::to_string(sort_mode);
    const int points = for_each_failure_point(name, [&](FailureRun& run) {
      testing::internal::CaptureStderr();
      dir_list* list = run.armed([&] { return flist_new(dir.path().c_str(), sort_mode, 1); });
      testing::internal::GetCapturedStderr();
      if (list == nullptr) {
        EXPECT_TRUE(run.injected());
        return;
      }
      const Names files = names_of(list->files, list->nfiles);
      const Names dirs = names_of(list->dirs, list->ndirs);
      EXPECT_TRUE(list->nfiles <= list->files_capacity && list->ndirs <= list->dirs_capacity);
      if (!run.injected()) {
        EXPECT_EQ(files, all_files);
        EXPECT_EQ(dirs, all_dirs);
      }
      // A stable sort of fewer names keeps them in the order of the whole listing.
      EXPECT_TRUE(leaves_out_only(files, all_files)) << "files=" << files.size();
      EXPECT_TRUE(leaves_out_only(dirs, all_dirs)) << "dirs=" << dirs.size();
      flist_delete(list);
    });
    EXPECT_GE(points, 1 + 129 + 32 + 4) << name;
  }
}

// The walk hands each path to a function that must not allocate while armed.
struct Reports {
  char paths[64][256];
  int count = 0;
};

void record(char* path, void* data) {
  auto* reports = static_cast<Reports*>(data);
  if (reports->count < 64) snprintf(reports->paths[reports->count++], 256, "%s", path);
}

TEST(AllocationFailure, WalkReportsSomeFilesInOrder) {
  TempDir dir;
  ASSERT_TRUE(make_tree(dir.path(), {"a/", "a/x", "a/b/", "a/b/y", "z", "w"}));
  Reports whole;
  file_scan_directory(dir.path().c_str(), record, &whole);
  ASSERT_EQ(whole.count, 4);
  const Names all(whole.paths, whole.paths + whole.count);
  const int points = for_each_failure_point("file_scan_directory", [&](FailureRun& run) {
    Reports reports;
    testing::internal::CaptureStderr();
    run.armed([&] { file_scan_directory(dir.path().c_str(), record, &reports); });
    testing::internal::GetCapturedStderr();
    const Names reported(reports.paths, reports.paths + reports.count);
    EXPECT_TRUE(leaves_out_only(reported, all));
    EXPECT_TRUE(run.injected() || reported == all);
  });
  EXPECT_GE(points, 10);
}

TEST(AllocationFailure, MountReadersGiveAllOrNothingOrLeaveMountPointsOut) {
  int expected = 0;
  tagDISKINFO* disks = get_disk_info(expected);
  const std::vector<tagDISKINFO> all(disks, disks + expected);
  free(disks);
  int points = for_each_failure_point("get_disk_info", [&](FailureRun& run) {
    int count = -1;
    tagDISKINFO* found = run.armed([&] { return get_disk_info(count); });
    EXPECT_EQ(found == nullptr, count == 0 && (run.injected() || expected == 0));
    EXPECT_TRUE(count == 0 || count == expected);
    for (int i = 0; i < count; ++i) {
      EXPECT_STREQ(found[i].device, all[i].device);
      EXPECT_STREQ(found[i].mount_point, all[i].mount_point);
      EXPECT_EQ(found[i].total_kb, all[i].total_kb);
    }
    free(found);
  });
  EXPECT_GE(points, 2);

  dir_list* mounted = flist_new(nullptr, 0, 0);
  ASSERT_NE(mounted, nullptr);
  const Names all_points = names_of(mounted->dirs, mounted->ndirs);
  flist_delete(mounted);
  points = for_each_failure_point("flist_new of the mount points", [&](FailureRun& run) {
    testing::internal::CaptureStderr();
    dir_list* list = run.armed([] { return flist_new(nullptr, 0, 0); });
    testing::internal::GetCapturedStderr();
    EXPECT_TRUE(list != nullptr || run.injected());
    if (list != nullptr) {
      const Names listed = names_of(list->dirs, list->ndirs);
      EXPECT_TRUE(leaves_out_only(listed, all_points));
      EXPECT_TRUE(run.injected() || listed == all_points);
    }
    flist_delete(list);
  });
  EXPECT_GE(points, 2);
}

std::set<std::string> everything_below(const std::string& root) {
  std::set<std::string> seen;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
    seen.insert(entry.path().string());
  }
  return seen;
}

TEST(AllocationFailure, RemovalSaysWhetherTheTreeIsGoneAndStaysInside) {
  TempDir dir;
  ASSERT_TRUE(make_tree(dir.path(), {"outside/", "outside/keep/", "outside/keep/inner"}));
  const std::set<std::string> outside = everything_below(dir.file("outside"));
  const std::string top = dir.file("top");
  const int points = for_each_failure_point("file_deep_delete_directory", [&](FailureRun& run) {
    ASSERT_TRUE(make_tree(dir.path(), {"top/", "top/a/", "top/a/x", "top/a/b/", "top/a/b/y",
                                       "top/z", "top/out -> ../outside/keep"}));
    testing::internal::CaptureStderr();
    const int result = run.armed([&] { return file_deep_delete_directory(top.c_str(), 1); });
    testing::internal::GetCapturedStderr();
    struct stat status;
    const bool still_there = lstat(top.c_str(), &status) == 0;
    EXPECT_EQ(result, still_there ? -1 : 0);
    EXPECT_TRUE(!still_there || run.injected());
    EXPECT_EQ(everything_below(dir.file("outside")), outside);
    std::filesystem::remove_all(top);
  });
  EXPECT_GE(points, 8);
}

}  // namespace
