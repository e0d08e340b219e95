// What the operations of the socket layer share: their prologue, the restart rule, the
// failure text and bound sockets.
#pragma once

#include <errno.h>
#include <netinet/in.h>
#include <sys/types.h>

#include "q7/net/netio.h"

namespace q7::internal {

// Reads and writes are cut into pieces of at most this many bytes.
inline constexpr int kPieceBytes = 65536;

// The prologue of every operation that takes a socket: the ready check, then -1 refused.
[[nodiscard]] inline bool socket_usable(Netio& io, int sock) {
  return io.init_check() && sock != -1;
}

// Issues `call` (a read, write, recvfrom, sendto or accept) until it succeeds, again after
// EINTR or EAGAIN while `restart` holds. A result below 0 is a failure, and so is 0 when
// `zero_fails` (a write that moved nothing). Returns the call's result, or -1 with errno
// from the failing call.
template <typename Call>
[[nodiscard]] ssize_t restarted(bool restart, bool zero_fails, Call call) {
  for (;;) {
    // A write that returns 0 sets no errno; a stale EINTR must not make it spin.
    errno = 0;
    const ssize_t result = call();
    if (result > 0 || (result == 0 && !zero_fails)) return result;
    if (!restart || (errno != EINTR && errno != EAGAIN)) return -1;
  }
}

// Writes the printf-style text into `io.error_text`, cut to 255 characters.
void set_error_text(Netio& io, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Opens a socket of `type` (SOCK_STREAM, SOCK_DGRAM), sets SO_REUSEADDR and, with
// `broadcast`, SO_BROADCAST to 1 (refusals ignored), and binds it to any local address and
// the low 16 bits of `port`, which `address` records. Returns the socket; -1 after writing
// `open_failure` or `bind_failure` into the error text, the socket closed.
[[nodiscard]] int open_bound_socket(Netio& io, int type, bool broadcast, int port,
                                    sockaddr_in& address, const char* open_failure,
                                    const char* bind_failure);

}  // namespace q7::internal
