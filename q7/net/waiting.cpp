// Waiting for readable sockets, and the millisecond tick.
#include <stdint.h>
#include <sys/select.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>

#include "q7/net/internal/socket_calls.h"
#include "q7/net/netio.h"

int Netio::wait_on_sockets(int* sockets, int count, int timeout) {
  if (!init_check()) return -1;
  if (count < 0 || (sockets == nullptr && count > 0)) return -1;
  fd_set readable;
  FD_ZERO(&readable);
  for (int i = 0; i < count; ++i) {
    if (sockets[i] < 0 || sockets[i] >= FD_SETSIZE) return -1;
    FD_SET(sockets[i], &readable);
  }
  timeval limit = {0, timeout};
  // The kernel reads and writes as many bits as the bound says: past FD_SETSIZE it would
  // reach beyond the set, so the descriptor-table size is capped there.
  const int bound = std::min(getdtablesize(), FD_SETSIZE);
  const int ready = select(bound, &readable, nullptr, nullptr, timeout < 0 ? nullptr : &limit);
  if (ready < 0) {
    q7::internal::set_error_text(*this, "Netio::wait_on_sockets(): select failed (%d)", errno);
    return -1;
  }
  int mask = 0;
  if (ready == 0) return mask;
  for (int i = 0; i < count; ++i) {
    if (FD_ISSET(sockets[i], &readable)) mask |= static_cast<int>(1u << (i % 32));
  }
  return mask;
}

unsigned int Netio::tick_count() {
  timeval now;
  gettimeofday(&now, nullptr);
  const uint64_t milliseconds =
      static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_usec) / 1000;
  return static_cast<unsigned int>(milliseconds);
}
