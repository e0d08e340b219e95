// Whole files: a file's bytes loaded into one block, and a block saved as a file.
#include "q7/files/whole_files.h"

#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "q7/files/internal/replacement_file.h"
#include "q7/internal/unique_file.h"

using q7::internal::read_full;
using q7::internal::ReplacementFile;
using q7::internal::UniqueFd;
using q7::internal::write_full;

void* file_load(const char* path, int* bytes_read) {
  struct stat status;
  if (path == nullptr || stat(path, &status) != 0 || !S_ISREG(status.st_mode)) return nullptr;
  // O_NONBLOCK keeps a pipe swapped in after the stat from blocking the open; the fstat
  // then refuses it.
  const UniqueFd file(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size < 1 ||
      status.st_size > INT_MAX) {
    return nullptr;
  }
  const auto size = static_cast<size_t>(status.st_size);
  auto* block = static_cast<char*>(malloc(size + 1));
  if (block == nullptr) return nullptr;
  const ssize_t got = read_full(file.get(), block, size);
  if (got < 0) {
    free(block);
    return nullptr;
  }
  memset(block + got, 0, size + 1 - static_cast<size_t>(got));
  if (bytes_read != nullptr) *bytes_read = static_cast<int>(got);
  return block;
}

int file_save(const char* path, void* data, int count) {
  if (path == nullptr || count < 0 || (data == nullptr && count > 0)) return -1;
  ReplacementFile file;
  if (!file.open(path, 0666) || !write_full(file.fd(), data, static_cast<size_t>(count)) ||
      !file.commit()) {
    return -1;
  }
  return count;
}
