// The steps of the watcher's polling cycle: listing a directory into a sorted name array,
// searching it, waiting for a file to stop changing size, releasing a record's contents.
#include "q7/files/internal/watch_steps.h"

#include <dirent.h>
#include <errno.h>
#include <limits.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "q7/mp/clock.h"

namespace q7::internal {
namespace {

constexpr int kFirstSlots = 2;
constexpr long long kLookNanos = 100000000;
constexpr float kLookSeconds = 0.1f;

void release_names(char** names, int count) {
  for (int i = 0; i < count; ++i) free(names[i]);
}

// Doubles the slots of `names`; false, the array unchanged, when memory is short or the
// count of slots would overflow.
bool grow(char**& names, int& capacity) {
  if (capacity > INT_MAX / 2) return false;
  void* grown = reallocarray(names, static_cast<size_t>(capacity) * 2, sizeof(char*));
  if (grown == nullptr) return false;
  names = static_cast<char**>(grown);
  capacity *= 2;
  return true;
}

// stat64, so that a 32-bit build neither skips files past 2 GiB (EOVERFLOW) nor compares
// their sizes by the low 32 bits.
bool look(const char* path, struct stat64& status) { return stat64(path, &status) == 0; }

// Links are followed, so a link to a regular file counts as one. A path too long for the
// buffer names nothing the system could look up, so it is skipped as stat would fail.
bool is_regular_file(tagDWATCH* watch, const char* name) {
  struct stat64 status;
  return watch_compose_path(watch, name) < sizeof watch->path && look(watch->path, status) &&
         S_ISREG(status.st_mode);
}

// Appends copies of the regular files' names; false when memory runs short (`count` then
// says how many are in). A failing read also fails, since a listing cut short would
// report the missing names as removed.
bool read_names(tagDWATCH* watch, char**& names, int& count, int& capacity) {
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(watch->stream);
    if (entry == nullptr) return errno == 0;
    if (!is_regular_file(watch, entry->d_name)) continue;
    if (count == capacity && !grow(names, capacity)) return false;
    names[count] = strdup(entry->d_name);
    if (names[count] == nullptr) return false;
    ++count;
  }
}

}  // namespace

int watch_file_cmp(const void* left, const void* right) {
  return strcmp(*static_cast<char* const*>(left), *static_cast<char* const*>(right));
}

size_t watch_compose_path(tagDWATCH* watch, const char* name) {
  const int length =
      snprintf(watch->path, sizeof watch->path, "%s%s%s", watch->directory, "/", name);
  return length < 0 ? sizeof watch->path : static_cast<size_t>(length);
}

bool watch_dir_get_dir_list(tagDWATCH* watch, char**& names, int& count, int& capacity) {
  if (names == nullptr) {
    names = static_cast<char**>(malloc(kFirstSlots * sizeof(char*)));
    if (names == nullptr) return false;
    capacity = kFirstSlots;
  } else {
    release_names(names, count);
  }
  count = 0;
  watch->stream = opendir(watch->directory);
  if (watch->stream == nullptr) return false;
  int kept = 0;
  const bool complete = read_names(watch, names, kept, capacity);
  closedir(watch->stream);
  watch->stream = nullptr;
  if (!complete) {
    release_names(names, kept);
    return false;
  }
  if (kept >= 2) qsort(names, static_cast<size_t>(kept), sizeof(char*), watch_file_cmp);
  count = kept;
  return true;
}

bool watch_find(const char* name, char* const* names, int count) {
  if (names == nullptr || count == 0 || name == nullptr) return false;
  if (strcmp(name, names[0]) < 0 || strcmp(name, names[count - 1]) > 0) return false;
  int low = 0;
  int high = count - 1;
  while (low <= high) {
    const int middle = low + (high - low) / 2;
    const int order = strcmp(name, names[middle]);
    if (order == 0) return true;
    if (order < 0) {
      high = middle - 1;
    } else {
      low = middle + 1;
    }
  }
  return false;
}

void sleep_cancellable(long long nanoseconds) {
  int state;
  pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &state);
  q7mp_timedwait(nanoseconds);
  pthread_setcancelstate(state, nullptr);
}

bool wait_for_stable(const char* path, float limit) {
  struct stat64 status;
  if (!look(path, status)) return false;
  off64_t size = status.st_size;
  float elapsed = 0.0f;
  for (;;) {
    sleep_cancellable(kLookNanos);
    elapsed += kLookSeconds;
    if (!look(path, status)) return false;
    if (status.st_size == size) return true;
    size = status.st_size;
    if (elapsed > limit) return false;
  }
}

void watch_clean_up(tagDWATCH* watch) {
  free(watch->directory);
  watch->directory = nullptr;
  release_names(watch->known, watch->nknown);
  release_names(watch->fresh, watch->nfresh);
  free(watch->known);
  free(watch->fresh);
  watch->known = watch->fresh = nullptr;
  watch->nknown = watch->known_capacity = watch->nfresh = watch->fresh_capacity = 0;
}

}  // namespace q7::internal
