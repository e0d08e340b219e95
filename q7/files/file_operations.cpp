// Everyday file work: tests and queries, permissions, directories, deleting, moving, copying.
#include "q7/files/file_operations.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <memory>

#include "q7/files/internal/path_components.h"
#include "q7/files/internal/replacement_file.h"
#include "q7/internal/unique_file.h"

using q7::internal::ReplacementFile;
using q7::internal::UniqueFd;
using q7::internal::write_full;

namespace {

constexpr size_t kOwnBufferSize = 65536;

const char* const kMonths[12] = {"JAN", "FEB", "MAR", "APR", "MAY", "JUN",
                                 "JUL", "AUG", "SEP", "OCT", "NOV", "DEC"};

char time_text[64];

bool status_of(const char* path, struct stat& status) {
  return path != nullptr && stat(path, &status) == 0;
}

// The status of the directory that holds the entry `path` names.
bool directory_status(const char* path, struct stat& status) {
  const char* slash = strrchr(path, '/');
  if (slash == nullptr) return stat(".", &status) == 0;
  char directory[PATH_MAX];
  const size_t length = slash == path ? 1 : static_cast<size_t>(slash - path);
  if (length >= sizeof directory) return false;
  memcpy(directory, path, length);
  directory[length] = '\0';
  return stat(directory, &status) == 0;
}

// True when the two paths name one directory entry: the same final name in the same
// directory, however each path spells its way there.
bool same_entry(const char* first, const char* second) {
  const char* first_slash = strrchr(first, '/');
  const char* second_slash = strrchr(second, '/');
  if (strcmp(first_slash != nullptr ? first_slash + 1 : first,
             second_slash != nullptr ? second_slash + 1 : second) != 0) {
    return false;
  }
  struct stat first_directory;
  struct stat second_directory;
  return directory_status(first, first_directory) && directory_status(second, second_directory) &&
         first_directory.st_dev == second_directory.st_dev &&
         first_directory.st_ino == second_directory.st_ino;
}

bool same_file(const struct stat& first, const struct stat& second) {
  return first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

bool copy_contents(int from, int to, char* buffer, size_t size) {
  for (;;) {
    const ssize_t got = read(from, buffer, size);
    if (got == 0) return true;
    if (got < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (!write_full(to, buffer, static_cast<size_t>(got))) return false;
  }
}

}  // namespace

bool file_exists(const char* path) {
  struct stat status;
  return status_of(path, status) && S_ISREG(status.st_mode);
}

bool file_is_directory(const char* path) {
  struct stat status;
  return status_of(path, status) && S_ISDIR(status.st_mode);
}

bool file_is_accessible(const char* path, bool directory, bool write) {
  struct stat status;
  if (!status_of(path, status)) return false;
  if (directory ? !S_ISDIR(status.st_mode) : !S_ISREG(status.st_mode)) return false;
  return access(path, write ? R_OK | W_OK : R_OK) == 0;
}

long long file_size(const char* path) {
  struct stat status;
  return status_of(path, status) && S_ISREG(status.st_mode) ? status.st_size : 0;
}

long file_mod_time(const char* path) {
  struct stat status;
  return status_of(path, status) ? status.st_mtime : 0;
}

long file_status_change_time(const char* path) {
  struct stat status;
  return status_of(path, status) ? status.st_ctime : 0;
}

char* file_time_to_string(long time, int form) {
  const time_t seconds = time;
  struct tm local;
  // localtime_r, unlike localtime, need not look at TZ again; a program may have changed it.
  tzset();
  if (localtime_r(&seconds, &local) == nullptr) {
    time_text[0] = '\0';
    return time_text;
  }
  const int year = local.tm_year + 1900;
  const int month = local.tm_mon + 1;
  if (form == 1) {
    snprintf(time_text, sizeof time_text, "%4.4d/%2.2d/%2.2d %2.2d:%2.2d:%2.2d", year, month,
             local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
  } else if (form == 2) {
    snprintf(time_text, sizeof time_text, "%2.2d/%2.2d/%4.4d %2.2d:%2.2d:%2.2d", local.tm_mday,
             month, year, local.tm_hour, local.tm_min, local.tm_sec);
  } else {
    snprintf(time_text, sizeof time_text, "%2.2d-%s-%4.4d %2.2d:%2.2d:%2.2d", local.tm_mday,
             kMonths[local.tm_mon], year, local.tm_hour, local.tm_min, local.tm_sec);
  }
  return time_text;
}

bool file_set_access(const char* path, bool writable) {
  if (path == nullptr) return false;
  mode_t mode = writable ? 0666 : 0444;
  if (file_is_directory(path)) mode |= 0111;
  return chmod(path, mode) == 0;
}

int file_create_directory(const char* path) { return path != nullptr ? mkdir(path, 0777) : -1; }

int ensure_path_exists(char* path) {
  if (path == nullptr || path[0] == '\0') return 0;
  if (file_is_directory(path)) return 1;
  // The joined components are never longer than the path itself.
  char growing[PATH_MAX];
  if (strnlen(path, sizeof growing) == sizeof growing) return 0;
  size_t length = 0;
  for (int index = 0;; ++index) {
    const auto component = q7::internal::path_component(path, index);
    if (!component) return 1;
    if (length > 0) growing[length++] = '/';
    memcpy(growing + length, component->data(), component->size());
    length += component->size();
    growing[length] = '\0';
    if (!file_is_directory(growing) && mkdir(growing, 0777) != 0 && !file_is_directory(growing)) {
      return 0;
    }
  }
}

bool file_delete(char* path) { return path != nullptr && unlink(path) == 0; }

bool file_rename(char* old_path, char* new_path) {
  return old_path != nullptr && new_path != nullptr && rename(old_path, new_path) == 0;
}

bool file_move(char* source, char* destination, bool by_rename) {
  if (source == nullptr || destination == nullptr || strcmp(source, destination) == 0) {
    return false;
  }
  if (file_exists(destination)) {
    if (same_entry(source, destination)) return false;
    unlink(destination);
  }
  if (by_rename) return rename(source, destination) == 0;
  return file_copy(source, destination, nullptr, 0) && unlink(source) == 0;
}

bool file_copy(char* source, char* destination, char* buffer, int buffer_size) {
  if (source == nullptr || destination == nullptr) return false;
  if (buffer != nullptr && buffer_size < 1) return false;
  std::unique_ptr<char, decltype(&free)> own(nullptr, free);
  size_t size = static_cast<size_t>(buffer_size);
  if (buffer == nullptr) {
    own.reset(static_cast<char*>(malloc(kOwnBufferSize)));
    buffer = own.get();
    size = kOwnBufferSize;
    if (buffer == nullptr) return false;
  }
  const UniqueFd in(open(source, O_RDONLY | O_CLOEXEC));
  if (!in) return false;
  struct stat from;
  struct stat to;
  // Writing a file onto itself would empty it before a byte was read.
  if (fstat(in.get(), &from) == 0 && stat(destination, &to) == 0 && same_file(from, to)) {
    return false;
  }
  ReplacementFile out;
  return out.open(destination, 0777) && copy_contents(in.get(), out.fd(), buffer, size) &&
         out.commit();
}
