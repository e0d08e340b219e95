// Fuzzes the marked-number reader over arbitrary byte streams: every whole 8 bytes give the
// value behind the marker, reversed unless the marker is 1; a short rest gives false and 0.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <bit>

#include "fuzz/socket_stream.h"
#include "q7/net/netio.h"

namespace {

uint32_t expected_bits(const uint8_t* group) {
  uint32_t marker;
  uint32_t value;
  memcpy(&marker, group, 4);
  memcpy(&value, group + 4, 4);
  return marker == 1 ? value : __builtin_bswap32(value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  size = std::min(size, q7fuzz::SocketStream::kMaxBytes);
  const q7fuzz::SocketStream stream(data, size);
  if (stream.fd() < 0) return 0;
  Netio io;
  size_t at = 0;
  for (bool as_int = true;; as_int = !as_int, at += 8) {
    uint32_t bits;
    bool complete;
    if (as_int) {
      int value = 7;
      complete = io.get_int(stream.fd(), &value);
      bits = std::bit_cast<uint32_t>(value);
    } else {
      float value = 7;
      complete = io.get_float(stream.fd(), &value);
      bits = std::bit_cast<uint32_t>(value);
    }
    if (complete != (at + 8 <= size)) abort();
    if (!complete) {
      if (bits != 0) abort();
      break;
    }
    if (bits != expected_bits(data + at)) abort();
  }
  return 0;
}
