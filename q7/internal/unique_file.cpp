// Owned streams and descriptors, and whole reads and writes.
#include "q7/internal/unique_file.h"

#include <errno.h>
#include <unistd.h>

namespace q7::internal {

UniqueFile open_unbuffered(const char* path, const char* mode) {
  UniqueFile file(fopen(path, mode));
  if (file) setvbuf(file.get(), nullptr, _IONBF, 0);
  return file;
}

bool close_file(UniqueFile& file) { return fclose(file.release()) == 0; }

UniqueFd& UniqueFd::operator=(UniqueFd&& other) noexcept {
  if (this != &other) {
    (void)close();
    fd_ = other.release();
  }
  return *this;
}

UniqueFd::~UniqueFd() { (void)close(); }

int UniqueFd::release() {
  const int fd = fd_;
  fd_ = -1;
  return fd;
}

bool UniqueFd::close() {
  if (fd_ < 0) return true;
  // Linux frees the descriptor even when close is interrupted, so it is never retried.
  return ::close(release()) == 0;
}

ssize_t read_full(int fd, void* buffer, size_t size) {
  char* bytes = static_cast<char*>(buffer);
  size_t done = 0;
  while (done < size) {
    const ssize_t got = read(fd, bytes + done, size - done);
    if (got == 0) break;
    if (got < 0) {
      if (errno == EINTR) continue;
      return -1;
    }
    done += static_cast<size_t>(got);
  }
  return static_cast<ssize_t>(done);
}

bool write_full(int fd, const void* buffer, size_t size) {
  const char* bytes = static_cast<const char*>(buffer);
  while (size > 0) {
    const ssize_t put = write(fd, bytes, size);
    if (put < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    bytes += put;
    size -= static_cast<size_t>(put);
  }
  return true;
}

}  // namespace q7::internal
