// Recursive removal of a directory tree, made relative to the directories being emptied so
// that it never leaves the tree.
#include "q7/files/directory_removal.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "q7/files/listings.h"
#include "q7/internal/unique_file.h"

namespace {

using q7::internal::UniqueFd;

constexpr size_t kPathBytes = sizeof(dir_list::path);

bool is_symbolic_link(int directory, const char* name) {
  struct stat status;
  return fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode);
}

bool is_gone(int directory, const char* name) {
  struct stat status;
  return fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) != 0 && errno == ENOENT;
}

enum class Links { kRemove, kRefuse };

int remove_tree(int parent, const char* name, char* path, int listing_order, Links links);

// Removes what `list` names inside `directory`, whose path is in `path` (kPathBytes).
void remove_entries(int directory, const dir_list* list, char* path, int listing_order) {
  const size_t length = strlen(path);
  for (int i = 0; i < list->ndirs; ++i) {
    const char* name = list->dirs[i];
    if (name[0] == '.') continue;
    const int written = snprintf(path + length, kPathBytes - length, "/%s", name);
    if (written > 0 && static_cast<size_t>(written) < kPathBytes - length) {
      remove_tree(directory, name, path, listing_order, Links::kRemove);
    }
    path[length] = '\0';
  }
  for (int i = 0; i < list->nfiles; ++i) unlinkat(directory, list->files[i], 0);
}

// Removes the directory `name` of `parent` and what it holds; `path` is its path, for the
// listing. The listing follows links, so a link to a directory comes here as a directory:
// opened without following it, it fails and is removed as the link it is (or refused).
// Opened so, the directory is the one emptied even when its path comes to lead elsewhere
// meanwhile: the listing then only names what to try.
int remove_tree(int parent, const char* name, char* path, int listing_order, Links links) {
  const UniqueFd directory(openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!directory) {
    const int failure = errno;
    if (failure == ENOTDIR && links == Links::kRemove && is_symbolic_link(parent, name)) {
      return unlinkat(parent, name, 0);
    }
    return failure == ENOENT ? 0 : -1;
  }
  dir_list* list = flist_new(path, listing_order, 1);
  if (list == nullptr) return is_gone(parent, name) ? 0 : -1;
  remove_entries(directory.get(), list, path, listing_order);
  flist_delete(list);
  return unlinkat(parent, name, AT_REMOVEDIR);
}

}  // namespace

int file_deep_delete_directory(const char* path, int listing_order) {
  if (path == nullptr) return -1;
  char buffer[kPathBytes];
  size_t length = strlen(path);
  if (length >= kPathBytes) return -1;
  memcpy(buffer, path, length + 1);
  // A trailing slash would make lstat and open follow a link; without it a link is seen as
  // one and refused.
  while (length > 1 && buffer[length - 1] == '/') buffer[--length] = '\0';
  // Only a missing path is told apart here; anything but a directory, a link included, is
  // refused when remove_tree opens it.
  struct stat status;
  if (lstat(buffer, &status) != 0) return errno == ENOENT || errno == ENOTDIR ? 0 : -1;
  return remove_tree(AT_FDCWD, buffer, buffer, listing_order, Links::kRefuse);
}

int file_delete_directory(const char* path, bool deep, bool sorted) {
  if (deep) return file_deep_delete_directory(path, sorted ? 1 : 0);
  return path != nullptr ? rmdir(path) : -1;
}
