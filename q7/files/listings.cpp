// Directory listings: reading a directory into names, their orders, and the walk below it.
#include "q7/files/listings.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>

#include "q7/files/directory_reader.h"
#include "q7/files/internal/directory_status.h"
#include "q7/files/internal/listing_names.h"
#include "q7/files/internal/mount_table.h"
#include "q7/runtime/growth.h"

int (*flist_custom_compare)(const void*, const void*) = nullptr;
dir_list* zzz_flist_path_global = nullptr;

namespace {

constexpr int kInitialFiles = 128;
constexpr int kInitialDirs = 32;
constexpr int kByChangeTime = 2;
constexpr int kByCustomCompare = 3;
constexpr int kPathBytes = sizeof(dir_list::path);

// A file name with the status change time it had when the directory was read, so that
// sorting by change time takes each file's status once instead of at every comparison,
// and compares times held beside the names.
struct TimedName {
  char* name;
  time_t changed;
};

// The change times of a listing's files, gathered while it is read for a change-time sort.
struct ChangeTimes {
  TimedName* records = nullptr;
  int capacity = 0;

  ChangeTimes() = default;
  ChangeTimes(const ChangeTimes&) = delete;
  ChangeTimes& operator=(const ChangeTimes&) = delete;
  ~ChangeTimes() { free(records); }
};

bool case_blind_before(const char* first, const char* second) {
  return strcasecmp(first, second) < 0;
}

// Appends a copy of `name` to the files, and to `times` with its change time when the
// listing is read for a change-time sort. A failed growth has been logged by
// ensure_memory; either that or a failed copy leaves the name out.
void add_file(dir_list* list, const char* name, const struct stat& status, ChangeTimes* times) {
  if (ensure_memory(list->files, list->nfiles, list->files_capacity, 1, kInitialFiles) == 0) return;
  if (times != nullptr &&
      ensure_memory(times->records, list->nfiles, times->capacity, 1, kInitialFiles) == 0) {
    return;
  }
  char* copy = strdup(name);
  if (copy == nullptr) return;
  if (times != nullptr) times->records[list->nfiles] = {copy, status.st_ctime};
  list->files[list->nfiles++] = copy;
}

bool exists_as_directory_or_file(const char* path) {
  struct stat status;
  return stat(path, &status) == 0 && (S_ISDIR(status.st_mode) || S_ISREG(status.st_mode));
}

bool is_directory(const char* path) {
  struct stat status;
  return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

// Sets the listing's path to the directory `path` stands for. False when `path` does not
// fit: cut short it could name another directory.
bool choose_directory(dir_list* list, const char* path) {
  size_t length = strlen(path);
  if (length >= sizeof list->path) return false;
  memcpy(list->path, path, length + 1);
  if (length > 1 && list->path[length - 1] == '/') list->path[--length] = '\0';
  const bool drive_name = strlen(path) == 2 && path[1] == ':';
  if (drive_name || is_directory(list->path)) return true;
  char* last_slash = strrchr(list->path, '/');
  if (last_slash != nullptr) *last_slash = '\0';
  if ((last_slash == nullptr || strlen(list->path) < 2) &&
      getcwd(list->path, sizeof list->path) == nullptr) {
    list->path[0] = '\0';
  }
  return true;
}

void read_entries(dir_list* list, ChangeTimes* times) {
  Directory directory;
  if (!DirectoryOpen(&directory, list->path)) return;
  DirEntry entry;
  struct stat status;
  bool saw_parent = false;
  while (q7::internal::read_next_entry(&directory, &entry, &status)) {
    if (entry.is_directory != 0) {
      saw_parent = saw_parent || strcmp(entry.name, "..") == 0;
      q7::internal::flist_add_dir(list, entry.name);
    } else if (entry.name[0] != '\0') {
      add_file(list, entry.name, status, times);
    }
  }
  if (!saw_parent) q7::internal::flist_add_dir(list, "..");
  DirectoryClose(&directory);
}

// The sorts are stable, so names that compare equal (differing only in case, or changed in
// the same second) keep the order of the directory stream, as glibc's merge-sorting qsort
// leaves them; the comparisons are made inline instead of through a function pointer.
void sort_by_name(char** names, int count) {
  std::stable_sort(names, names + count, case_blind_before);
}

void sort_by_change_time(dir_list* list, TimedName* records) {
  if (list->nfiles < 2) return;
  zzz_flist_path_global = list;
  std::stable_sort(records, records + list->nfiles,
                   [](const TimedName& a, const TimedName& b) { return a.changed < b.changed; });
  zzz_flist_path_global = nullptr;
  for (int i = 0; i < list->nfiles; ++i) list->files[i] = records[i].name;
}

void sort_listing(dir_list* list, int sort_mode, const ChangeTimes& times) {
  if (sort_mode == 0) return;
  if (sort_mode == kByChangeTime) {
    sort_by_change_time(list, times.records);
  } else if (sort_mode != kByCustomCompare) {
    sort_by_name(list->files, list->nfiles);
  } else if (flist_custom_compare != nullptr && list->nfiles >= 2) {
    qsort(list->files, list->nfiles, sizeof *list->files, flist_custom_compare);
  }
  sort_by_name(list->dirs, list->ndirs);
}

// One directory of a walk, linked to the directory it was entered from, so that a link
// leading back to a directory being walked is recognised.
struct WalkStep {
  dev_t device;
  ino_t inode;
  const WalkStep* parent;
};

bool is_being_walked(const WalkStep* step, const struct stat& directory) {
  for (; step != nullptr; step = step->parent) {
    if (step->device == directory.st_dev && step->inode == directory.st_ino) return true;
  }
  return false;
}

// Puts the listing's path, a slash and `name` into `buffer` (4096 bytes). False when that
// would not fit.
bool join_path(char* buffer, const dir_list* list, const char* name) {
  const int length = snprintf(buffer, kPathBytes, "%s/%s", list->path, name);
  return length >= 0 && length < kPathBytes;
}

void walk(const char* path, void (*function)(char*, void*), void* data, char* buffer,
          const WalkStep* parent) {
  dir_list* list = flist_new(path, 1, 1);
  if (list == nullptr) return;
  struct stat directory;
  if (stat(list->path, &directory) != 0 || is_being_walked(parent, directory)) {
    flist_delete(list);
    return;
  }
  const WalkStep step{directory.st_dev, directory.st_ino, parent};
  for (int i = 0; i < list->ndirs; ++i) {
    if (list->dirs[i][0] != '.' && join_path(buffer, list, list->dirs[i])) {
      walk(buffer, function, data, buffer, &step);
    }
  }
  for (int i = 0; i < list->nfiles; ++i) {
    if (join_path(buffer, list, list->files[i])) function(buffer, data);
  }
  flist_delete(list);
}

}  // namespace

namespace q7::internal {

void flist_add_dir(dir_list* list, const char* name) {
  if (name[0] == '\0' || strcmp(name, ".") == 0) return;
  if (strcmp(name, "..") == 0 && strcmp(list->path, "/") == 0) return;
  if (ensure_memory(list->dirs, list->ndirs, list->dirs_capacity, 1, kInitialDirs) == 0) return;
  char* copy = strdup(name);
  if (copy != nullptr) list->dirs[list->ndirs++] = copy;
}

}  // namespace q7::internal

dir_list* flist_new(const char* path, int sort_mode, int must_exist) {
  if (path == nullptr || path[0] == '\0') {
    return must_exist == 0 ? q7::internal::list_mount_points(q7::internal::kMountTable) : nullptr;
  }
  if (must_exist != 0 && !exists_as_directory_or_file(path)) return nullptr;
  auto* list = static_cast<dir_list*>(calloc(1, sizeof(dir_list)));
  if (list == nullptr) return nullptr;
  if (!choose_directory(list, path)) {
    flist_delete(list);
    return nullptr;
  }
  ChangeTimes times;
  read_entries(list, sort_mode == kByChangeTime ? &times : nullptr);
  sort_listing(list, sort_mode, times);
  return list;
}

void flist_delete(dir_list* list) {
  if (list == nullptr) return;
  for (int i = 0; i < list->nfiles; ++i) free(list->files[i]);
  for (int i = 0; i < list->ndirs; ++i) free(list->dirs[i]);
  free(list->files);
  free(list->dirs);
  free(list);
}

void flist_set_custom_compare(int (*compare)(const void*, const void*)) {
  flist_custom_compare = compare;
}

void file_scan_directory(const char* path, void (*function)(char* path, void* data), void* data) {
  if (function == nullptr) return;
  char buffer[kPathBytes];
  walk(path, function, data, buffer, nullptr);
}
