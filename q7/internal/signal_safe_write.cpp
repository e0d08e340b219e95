// Async-signal-safe writes of fixed texts to file descriptors.
#include "q7/internal/signal_safe_write.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

namespace q7::internal {

void write_fd(int fd, const char* text) {
  // A signal handler must leave errno as the interrupted code had it.
  const int saved_errno = errno;
  size_t left = strlen(text);
  while (left > 0) {
    const ssize_t written = write(fd, text, left);
    if (written < 0) {
      if (errno == EINTR) continue;
      break;
    }
    text += written;
    left -= static_cast<size_t>(written);
  }
  errno = saved_errno;
}

void write_stderr(const char* text) { write_fd(STDERR_FILENO, text); }

}  // namespace q7::internal
