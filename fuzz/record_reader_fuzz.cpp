// Fuzzes the record reader over arbitrary byte streams from a peer: readn and the string
// reads over a keyed record, until the end. No result may exceed its room, and the record
// may hold no more than twice what came plus one piece ahead.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <vector>

#include "fuzz/socket_stream.h"
#include "q7/net/netio_x.h"
#include "tests/support/net_records.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  // The first byte picks the room each read has; the rest is the peer's stream.
  const int room = data[0];
  const q7fuzz::SocketStream stream(data + 1, size - 1);
  if (stream.fd() < 0) return 0;
  Netio_x io;
  auto record = q7test::keyed_record(io, stream.fd());
  if (!record) return 0;
  std::vector<char> buffer(static_cast<size_t>(room) + 1);
  for (int turn = 0;; ++turn) {
    int got;
    switch (turn % 3) {
      case 0:
        got = io.readn(record.get(), buffer.data(), room);
        if (got > room) abort();
        break;
      case 1:
        got = io.getstring(record.get(), buffer.data(), room + 1);
        if (got > room || (got > 0 && buffer[static_cast<size_t>(got) - 1] != '\0')) abort();
        break;
      default:
        got = io.getstring_strip(record.get(), buffer.data(), room + 1);
        if (got > room || strnlen(buffer.data(), buffer.size()) == buffer.size()) abort();
        break;
    }
    if (got <= 0) break;
  }
  const int64_t arrived = static_cast<int64_t>(size);
  if (record->buf_size > 2 * (arrived + 65536) + 32) abort();
  return 0;
}
