// Bytes over a stream socket: single reads and writes, and whole counts in pieces.
#include <time.h>
#include <unistd.h>

#include <algorithm>

#include "q7/net/internal/socket_calls.h"
#include "q7/net/netio.h"

using q7::internal::kPieceBytes;
using q7::internal::restarted;
using q7::internal::socket_usable;

namespace {

// The pause after each piece of a large write: long enough to let the receiving side's
// scheduler run, short against the time a piece takes on any network.
constexpr timespec kPieceWritePause = {0, 10'000};

// Moves `count` bytes through `call(offset, piece)`, a read or a write under the restart
// rule, at most kPieceBytes at a time. Returns the bytes moved, fewer only when a call moved
// none (the end of the stream), or -1.
template <typename Call>
int move_in_pieces(int count, bool pause, Call call) {
  int done = 0;
  while (done < count) {
    const ssize_t moved = call(done, static_cast<size_t>(std::min(count - done, kPieceBytes)));
    if (moved < 0) return -1;
    if (moved == 0) break;
    done += static_cast<int>(moved);
    if (pause) nanosleep(&kPieceWritePause, nullptr);
  }
  return done;
}

}  // namespace

int Netio::readb(int sock, char* buffer, int count) {
  if (!socket_usable(*this, sock) || count < 0) return -1;
  return static_cast<int>(
      restarted(restart, false, [&] { return read(sock, buffer, static_cast<size_t>(count)); }));
}

int Netio::readn(int sock, char* buffer, int count) {
  if (!socket_usable(*this, sock)) return -1;
  if (count <= 0) return 0;
  return move_in_pieces(count, false, [&](int offset, size_t piece) {
    return restarted(restart, false, [&] { return read(sock, buffer + offset, piece); });
  });
}

int Netio::writeb(int sock, char* buffer, int count) {
  if (!socket_usable(*this, sock) || count < 0) return -1;
  return static_cast<int>(
      restarted(restart, true, [&] { return write(sock, buffer, static_cast<size_t>(count)); }));
}

int Netio::writen(int sock, char* buffer, int count) {
  if (!socket_usable(*this, sock)) return -1;
  if (count <= 0) return 0;
  // A write that moves nothing is a failure, so a count comes back whole or not at all.
  return move_in_pieces(count, count >= kPieceBytes, [&](int offset, size_t piece) {
    return restarted(restart, true, [&] { return write(sock, buffer + offset, piece); });
  });
}
