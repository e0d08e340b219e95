// A socket that delivers a fuzzer's bytes and then the end of the stream, for the fuzzers
// of readers of network input.
#pragma once

#include <stdint.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

namespace q7fuzz {

class SocketStream {
 public:
  // Inputs beyond this stay in the socket pair's buffer without a reader to drain it.
  static constexpr size_t kMaxBytes = 100000;

  SocketStream(const uint8_t* data, size_t size) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) return;
    const int room = static_cast<int>(kMaxBytes) * 2;
    setsockopt(ends[1], SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
    size = std::min(size, kMaxBytes);
    for (size_t done = 0; done < size;) {
      const ssize_t put = write(ends[1], data + done, size - done);
      if (put <= 0) break;
      done += static_cast<size_t>(put);
    }
    close(ends[1]);
    fd_ = ends[0];
  }
  ~SocketStream() {
    if (fd_ >= 0) close(fd_);
  }
  SocketStream(const SocketStream&) = delete;
  SocketStream& operator=(const SocketStream&) = delete;

  // The reading end; -1 when the pair could not be made.
  [[nodiscard]] int fd() const { return fd_; }

 private:
  int fd_ = -1;
};

}  // namespace q7fuzz
