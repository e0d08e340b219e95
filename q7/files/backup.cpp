// Numbered backups of a file, rotated newest first.
#include "q7/files/backup.h"

#include <limits.h>
#include <stdio.h>
#include <string.h>

#include "q7/files/file_operations.h"

namespace {

// The path split into the part before its extension and the extension with its dot.
class BackupNames {
 public:
  explicit BackupNames(const char* path) : path_(path) {
    const char* dot = strrchr(path, '.');
    if (dot == path) dot = nullptr;
    extension_ = dot != nullptr ? dot : "";
    const size_t length = dot != nullptr ? static_cast<size_t>(dot - path) : strlen(path);
    fits_ = length < sizeof stem_;
    if (!fits_) return;
    memcpy(stem_, path, length);
    stem_[length] = '\0';
  }

  // Puts the name of backup `number` into `name` (backup 0 is the file itself). False when
  // it does not fit: a cut name could name another file.
  bool name(int number, char (&name)[PATH_MAX]) const {
    const int length = number == 0
                           ? snprintf(name, sizeof name, "%s", path_)
                           : snprintf(name, sizeof name, "%s.%d%s", stem_, number, extension_);
    return fits_ && length >= 0 && static_cast<size_t>(length) < sizeof name;
  }

 private:
  const char* path_;
  const char* extension_;
  char stem_[PATH_MAX];
  bool fits_;
};

}  // namespace

int file_backup(const char* path, int count) {
  if (path == nullptr || path[0] == '\0') return -1;
  const BackupNames names(path);
  int renamed = 0;
  for (int number = count - 1; number >= 0; --number) {
    char source[PATH_MAX];
    char target[PATH_MAX];
    if (!names.name(number, source) || !names.name(number + 1, target)) return -1;
    if (!file_exists(source)) continue;
    if (rename(source, target) != 0) return -1;
    ++renamed;
  }
  return renamed;
}
