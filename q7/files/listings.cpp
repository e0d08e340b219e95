// Directory listings: reading a directory into names, their orders, and the walk below it.
#include "q7/files/listings.h"

#include <limits.h>
#include <stdint.h>
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

// Makes room for one more name, then appends what `copy` makes of `name`. A failed growth
// has been logged by ensure_memory; either failure leaves the name out.
template <typename Copy>
void append_name(char**& names, int& count, int& capacity, int initial, const char* name,
                 Copy copy) {
  if (ensure_memory(names, count, capacity, 1, initial) == 0) return;
  char* owned = copy(name);
  if (owned != nullptr) names[count++] = owned;
}

// A file name that carries its status change time behind its terminator, so that sorting
// by change time reads each file's status once instead of at every comparison. It stays a
// single malloc block that free releases like any other name.
char* stamped_copy(const char* name, time_t changed) {
  const size_t length = strlen(name) + 1;
  char* copy = static_cast<char*>(malloc(length + sizeof changed));
  if (copy == nullptr) return nullptr;
  memcpy(copy, name, length);
  memcpy(copy + length, &changed, sizeof changed);
  return copy;
}

time_t stamp_of(const char* name) {
  time_t changed;
  memcpy(&changed, name + strlen(name) + 1, sizeof changed);
  return changed;
}

const char* name_at(const void* slot) { return *static_cast<char* const*>(slot); }

int file_cmp(const void* first, const void* second) {
  return strcasecmp(name_at(first), name_at(second));
}

// The first name's change time minus the second's. The difference is held within int so
// that times more than 68 years apart still compare the right way round, which keeps the
// order one that qsort can rely on.
int file_cmp_status_change_time(const void* first, const void* second) {
  const int64_t difference = static_cast<int64_t>(stamp_of(name_at(first))) -
                             static_cast<int64_t>(stamp_of(name_at(second)));
  return static_cast<int>(std::clamp<int64_t>(difference, -INT_MAX, INT_MAX));
}

void add_file(dir_list* list, const char* name, const struct stat* stamp_from) {
  append_name(list->files, list->nfiles, list->files_capacity, kInitialFiles, name,
              [stamp_from](const char* text) {
                return stamp_from != nullptr ? stamped_copy(text, stamp_from->st_ctime)
                                             : strdup(text);
              });
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

void read_entries(dir_list* list, bool stamp_files) {
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
      add_file(list, entry.name, stamp_files ? &status : nullptr);
    }
  }
  if (!saw_parent) q7::internal::flist_add_dir(list, "..");
  DirectoryClose(&directory);
}

void sort_names(char** names, int count, int (*compare)(const void*, const void*)) {
  if (count >= 2 && compare != nullptr) qsort(names, count, sizeof *names, compare);
}

void sort_listing(dir_list* list, int sort_mode) {
  if (sort_mode == 0) return;
  if (sort_mode == kByChangeTime) {
    zzz_flist_path_global = list;
    sort_names(list->files, list->nfiles, file_cmp_status_change_time);
    zzz_flist_path_global = nullptr;
  } else {
    sort_names(list->files, list->nfiles,
               sort_mode == kByCustomCompare ? flist_custom_compare : file_cmp);
  }
  sort_names(list->dirs, list->ndirs, file_cmp);
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
  append_name(list->dirs, list->ndirs, list->dirs_capacity, kInitialDirs, name, strdup);
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
  read_entries(list, sort_mode == kByChangeTime);
  sort_listing(list, sort_mode);
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
