// Listing a directory of 100,000 files, sorted by name and by status change time: flist_new
// against a plain readdir + fstatat loop that collects the same fields and sorts the same
// way, against std::filesystem::directory_iterator, and against the change-time order
// taken with one stat per comparison instead of one per file.
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <time.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/filled_directory.h"
#include "q7/files/listings.h"

namespace {

namespace fs = std::filesystem;

constexpr int kFiles = 100000;
constexpr int kByName = 1;
constexpr int kByChangeTime = 2;

// Names mix upper and lower case, so that the case-blind order differs from a plain one.
std::string shot_name(int i) {
  char name[32];
  snprintf(name, sizeof name, "%s_%06d.tif", i % 3 == 0 ? "Shot" : "shot", (i * 7919) % kFiles);
  return name;
}

const char* big_directory() {
  static const q7bench::FilledDirectory directory(kFiles, shot_name);
  return directory.path().c_str();
}

// What a plain loop keeps of an entry: the fields flist_new reads, and the change time.
struct Entry {
  char* name;
  bool is_directory;
  time_t mod_time;
  time_t change_time;
};

bool by_name(const Entry& a, const Entry& b) { return strcasecmp(a.name, b.name) < 0; }
bool by_change_time(const Entry& a, const Entry& b) { return a.change_time < b.change_time; }

// The plain loop: readdir, fstatat relative to the stream, stable sorts (the order glibc's
// qsort gives for these comparisons).
struct PlainListing {
  std::vector<Entry> files;
  std::vector<Entry> dirs;

  PlainListing(const char* path, int sort_mode) {
    DIR* directory = opendir(path);
    if (directory == nullptr) return;
    while (const dirent* found = readdir(directory)) {
      struct stat status;
      if (fstatat(dirfd(directory), found->d_name, &status, 0) != 0) break;
      const bool is_directory = S_ISDIR(status.st_mode);
      (is_directory ? dirs : files)
          .push_back({strdup(found->d_name), is_directory, status.st_mtime, status.st_ctime});
    }
    closedir(directory);
    std::stable_sort(files.begin(), files.end(),
                     sort_mode == kByChangeTime ? by_change_time : by_name);
    std::stable_sort(dirs.begin(), dirs.end(), by_name);
  }
  ~PlainListing() {
    for (const Entry& entry : files) free(entry.name);
    for (const Entry& entry : dirs) free(entry.name);
  }
  PlainListing(const PlainListing&) = delete;
  PlainListing& operator=(const PlainListing&) = delete;
};

// The standard library's iterator: it knows an entry's type from the directory stream and
// asks for the modification time; it has no change time, so that takes a stat of its own.
struct FilesystemEntry {
  std::string name;
  bool is_directory;
  fs::file_time_type mod_time;
  time_t change_time;
};

std::vector<FilesystemEntry> filesystem_listing(const char* path, int sort_mode) {
  std::vector<FilesystemEntry> files;
  std::vector<FilesystemEntry> dirs;
  for (const fs::directory_entry& entry : fs::directory_iterator(path)) {
    FilesystemEntry kept{entry.path().filename().string(), entry.is_directory(),
                         entry.last_write_time(), 0};
    if (sort_mode == kByChangeTime) {
      struct stat status;
      if (stat(entry.path().c_str(), &status) == 0) kept.change_time = status.st_ctime;
    }
    (kept.is_directory ? dirs : files).push_back(std::move(kept));
  }
  const auto name_order = [](const FilesystemEntry& a, const FilesystemEntry& b) {
    return strcasecmp(a.name.c_str(), b.name.c_str()) < 0;
  };
  if (sort_mode == kByChangeTime) {
    std::stable_sort(files.begin(), files.end(),
                     [](const auto& a, const auto& b) { return a.change_time < b.change_time; });
  } else {
    std::stable_sort(files.begin(), files.end(), name_order);
  }
  std::stable_sort(dirs.begin(), dirs.end(), name_order);
  return files;
}

// The change-time order with a stat per comparison, on the names of the directory.
std::string compared_directory;
int change_time_per_comparison(const void* first, const void* second) {
  char path[4096];
  struct stat a, b;
  snprintf(path, sizeof path, "%s/%s", compared_directory.c_str(),
           *static_cast<char* const*>(first));
  if (stat(path, &a) != 0) a.st_ctime = 0;
  snprintf(path, sizeof path, "%s/%s", compared_directory.c_str(),
           *static_cast<char* const*>(second));
  if (stat(path, &b) != 0) b.st_ctime = 0;
  return static_cast<int>(a.st_ctime - b.st_ctime);
}

std::vector<std::string> names_of(char** names, int count) {
  return std::vector<std::string>(names, names + count);
}

std::vector<std::string> names_of(const std::vector<Entry>& entries) {
  std::vector<std::string> names;
  for (const Entry& entry : entries) names.emplace_back(entry.name);
  return names;
}

bool same_order(int sort_mode) {
  dir_list* list = flist_new(big_directory(), sort_mode, 1);
  const PlainListing plain(big_directory(), sort_mode);
  const bool same = list != nullptr && list->nfiles == kFiles &&
                    names_of(list->files, list->nfiles) == names_of(plain.files);
  flist_delete(list);
  return same;
}

// Skips the benchmark unless the directory is there and flist_new gives the plain loop's
// order for the sort mode (checked once per mode): the rows must do equal work.
bool ready(benchmark::State& state, int sort_mode) {
  if (big_directory()[0] == '\0') {
    state.SkipWithError("the directory of 100,000 files could not be made");
    return false;
  }
  static const bool agree[] = {false, same_order(kByName), same_order(kByChangeTime)};
  if (!agree[sort_mode]) state.SkipWithError("flist_new and the plain loop disagree on the order");
  return agree[sort_mode];
}

void per_file(benchmark::State& state) {
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kFiles);
}

void BM_FlistNew(benchmark::State& state) {
  const int sort_mode = static_cast<int>(state.range(0));
  if (!ready(state, sort_mode)) return;
  for (auto _ : state) {
    dir_list* list = flist_new(big_directory(), sort_mode, 1);
    benchmark::DoNotOptimize(list->files);
    flist_delete(list);
  }
  per_file(state);
}

void BM_Peer_ReaddirFstatat(benchmark::State& state) {
  const int sort_mode = static_cast<int>(state.range(0));
  if (!ready(state, sort_mode)) return;
  for (auto _ : state) {
    const PlainListing plain(big_directory(), sort_mode);
    benchmark::DoNotOptimize(plain.files.data());
  }
  per_file(state);
}

void BM_Peer_DirectoryIterator(benchmark::State& state) {
  const int sort_mode = static_cast<int>(state.range(0));
  if (!ready(state, sort_mode)) return;
  for (auto _ : state) {
    const auto files = filesystem_listing(big_directory(), sort_mode);
    benchmark::DoNotOptimize(files.data());
  }
  per_file(state);
}

void BM_Model_StatPerComparison(benchmark::State& state) {
  if (!ready(state, kByChangeTime)) return;
  compared_directory = big_directory();
  for (auto _ : state) {
    dir_list* list = flist_new(big_directory(), 0, 1);
    qsort(list->files, list->nfiles, sizeof(char*), change_time_per_comparison);
    benchmark::DoNotOptimize(list->files);
    flist_delete(list);
  }
  per_file(state);
}

void sort_modes(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgName("sort")->Arg(kByName)->Arg(kByChangeTime);
  benchmark->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK(BM_FlistNew)->Apply(sort_modes);
BENCHMARK(BM_Peer_ReaddirFstatat)->Apply(sort_modes);
BENCHMARK(BM_Peer_DirectoryIterator)->Apply(sort_modes);
BENCHMARK(BM_Model_StatPerComparison)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
