// A new file written beside the one it replaces and renamed over it once complete.
#include "q7/files/internal/replacement_file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>
#include <uuid/uuid.h>

namespace q7::internal {
namespace {

// A name made with O_EXCL can only collide with one planted on purpose; a few fresh
// identifiers get past any such plant.
constexpr int kNameAttempts = 8;

// True when a rename over `status` would change more than the file's contents: anything
// but a regular file, a file whose other links would keep the old contents, or a file whose
// owner the process could not give back.
bool needs_in_place(const struct stat& status) {
  const uid_t user = geteuid();
  return !S_ISREG(status.st_mode) || status.st_nlink != 1 || (user != 0 && status.st_uid != user);
}

}  // namespace

ReplacementFile::~ReplacementFile() { remove_new_file(); }

bool ReplacementFile::open(const char* path, mode_t mode) {
  struct stat status;
  if (lstat(path, &status) != 0) {
    if (errno != ENOENT) return false;
    return open_beside(path, nullptr, mode);
  }
  char resolved[PATH_MAX];
  const char* target = path;
  if (S_ISLNK(status.st_mode)) {
    if (stat(path, &status) != 0 || realpath(path, resolved) == nullptr) {
      return open_in_place(path, mode);
    }
    target = resolved;
  }
  if (needs_in_place(status)) return open_in_place(path, mode);
  // The file must be as writable as creat would find it: a read-only file stays refused.
  if (faccessat(AT_FDCWD, path, W_OK, AT_EACCESS) != 0) return false;
  return open_beside(target, &status, mode);
}

bool ReplacementFile::open_beside(const char* target, const struct stat* existing, mode_t mode) {
  if (strlen(target) >= sizeof target_) {
    errno = ENAMETOOLONG;
    return false;
  }
  strcpy(target_, target);
  char* slash = strrchr(target_, '/');
  const char* directory = ".";
  if (slash == target_) {
    directory = "/";
  } else if (slash != nullptr) {
    *slash = '\0';
    directory = target_;
  }
  target_name_ = slash != nullptr ? slash + 1 : target_;
  if (target_name_[0] == '\0') {
    errno = EISDIR;
    return false;
  }
  // O_PATH: creating and renaming in a directory needs write and search permission on it,
  // not read permission.
  directory_ = UniqueFd(::open(directory, O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!directory_) return false;
  for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
    uuid_t id;
    uuid_generate(id);
    strcpy(new_name_, ".q7_");
    uuid_unparse(id, new_name_ + strlen(new_name_));
    file_ = UniqueFd(openat(directory_.get(), new_name_,
                            O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
    if (file_) break;
    new_name_[0] = '\0';
    if (errno == EACCES || errno == EPERM) {
      // The directory admits no new file, but the file itself may still be writable.
      directory_ = UniqueFd();
      return open_in_place(target, mode);
    }
    if (errno != EEXIST) return false;
  }
  if (!file_) return false;
  if (existing != nullptr) {
    // The owner first: a change of owner clears the set-user-ID bits, which the mode then
    // sets again. Where the process may not set the group, the file gets its own.
    (void)!fchown(file_.get(), existing->st_uid, existing->st_gid);
    (void)!fchmod(file_.get(), existing->st_mode & 07777);
  }
  return true;
}

bool ReplacementFile::open_in_place(const char* path, mode_t mode) {
  file_ = UniqueFd(::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode));
  return static_cast<bool>(file_);
}

bool ReplacementFile::commit() {
  if (!file_) return false;
  const bool closed = file_.close();
  if (new_name_[0] == '\0') return closed;
  if (closed && renameat(directory_.get(), new_name_, directory_.get(), target_name_) == 0) {
    new_name_[0] = '\0';
    return true;
  }
  const int error = errno;
  remove_new_file();
  errno = error;
  return false;
}

void ReplacementFile::remove_new_file() {
  if (new_name_[0] == '\0') return;
  (void)file_.close();
  unlinkat(directory_.get(), new_name_, 0);
  new_name_[0] = '\0';
}

}  // namespace q7::internal
