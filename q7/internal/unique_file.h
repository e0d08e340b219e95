// Files the library opens and must close on every path: streams and plain descriptors.
#pragma once

#include <stdio.h>
#include <sys/types.h>

#include <memory>

namespace q7::internal {

struct CloseFile {
  void operator()(FILE* file) const { fclose(file); }
};

// A stream closed when it goes out of scope; a failure to close is then ignored, so a
// writer that must know whether its bytes arrived calls close_file.
using UniqueFile = std::unique_ptr<FILE, CloseFile>;

// Opens `path` with fopen's `mode` and no buffer of the stream's own: the library moves
// large blocks, which a stream buffer would only copy again. Null when fopen fails.
[[nodiscard]] UniqueFile open_unbuffered(const char* path, const char* mode);

// Closes `file` (which is then empty). False when the close reports a failure, such as
// a full disk on the last write.
[[nodiscard]] bool close_file(UniqueFile& file);

// A file descriptor closed when it goes out of scope; -1 holds none.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept;
  ~UniqueFd();
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;

  [[nodiscard]] int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  // Gives the descriptor up without closing it.
  [[nodiscard]] int release();
  // Closes the descriptor now. False when close reports a failure.
  [[nodiscard]] bool close();

 private:
  int fd_ = -1;
};

// Reads up to `size` bytes, going on after partial reads and interruptions until `size`
// bytes are in or the end of the file comes. Returns the bytes read, or -1 on a failure.
[[nodiscard]] ssize_t read_full(int fd, void* buffer, size_t size);

// Writes all `size` bytes, going on after partial writes and interruptions. False on a
// failure (a full disk, a closed pipe).
[[nodiscard]] bool write_full(int fd, const void* buffer, size_t size);

}  // namespace q7::internal
