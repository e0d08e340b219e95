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

}  // namespace

int Netio::readb(int sock, char* buffer, int count) {
  if (!socket_usable(*this, sock) || count < 0) return -1;
  return static_cast<int>(
      restarted(restart, false, [&] { return read(sock, buffer, static_cast<size_t>(count)); }));
}

int Netio::readn(int sock, char* buffer, int count) {
  if (!socket_usable(*this, sock)) return -1;
  if (count <= 0) return 0;
  const int piece = std::min(count, kPieceBytes);
  int done = 0;
  while (done < count) {
    const size_t ask = static_cast<size_t>(std::min(count - done, piece));
    const ssize_t got = restarted(restart, false, [&] { return read(sock, buffer + done, ask); });
    if (got < 0) return -1;
    if (got == 0) break;
    done += static_cast<int>(got);
  }
  return done;
}

int Netio::writeb(int sock, char* buffer, int count) {
  if (!socket_usable(*this, sock) || count < 0) return -1;
  return static_cast<int>(
      restarted(restart, true, [&] { return write(sock, buffer, static_cast<size_t>(count)); }));
}

int Netio::writen(int sock, char* buffer, int count) {
  if (!socket_usable(*this, sock)) return -1;
  if (count <= 0) return 0;
  const bool pause = count >= kPieceBytes;
  int done = 0;
  while (done < count) {
    const size_t ask = static_cast<size_t>(std::min(count - done, kPieceBytes));
    const ssize_t put = restarted(restart, true, [&] { return write(sock, buffer + done, ask); });
    if (put < 0) return -1;
    done += static_cast<int>(put);
    if (pause) nanosleep(&kPieceWritePause, nullptr);
  }
  return count;
}
