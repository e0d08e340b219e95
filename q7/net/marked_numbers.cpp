// 32-bit integers and floats over a stream socket, behind a marker word that tells the
// receiver whether the sender had its byte order.
#include <stdint.h>

#include <bit>

#include "q7/net/netio.h"
#include "q7/runtime/byte_order.h"

namespace {

constexpr uint32_t kMarker = 1;
constexpr int kMarkedBytes = 8;

template <typename Value>
bool put_marked(Netio& io, int sock, Value value) {
  uint32_t words[2] = {kMarker, std::bit_cast<uint32_t>(value)};
  return io.writen(sock, reinterpret_cast<char*>(words), kMarkedBytes) == kMarkedBytes;
}

// The value is moved as its bit pattern, so that a float's survives the reversal.
template <typename Value>
bool get_marked(Netio& io, int sock, Value* value) {
  if (value == nullptr) return false;
  uint32_t words[2];
  if (io.readn(sock, reinterpret_cast<char*>(words), kMarkedBytes) != kMarkedBytes) {
    *value = 0;
    return false;
  }
  *value = std::bit_cast<Value>(words[0] == kMarker ? words[1] : word32_swab(words[1]));
  return true;
}

}  // namespace

bool Netio::put_int(int sock, int value) { return put_marked(*this, sock, value); }

bool Netio::put_float(int sock, float value) { return put_marked(*this, sock, value); }

bool Netio::get_int(int sock, int* value) { return get_marked(*this, sock, value); }

bool Netio::get_float(int sock, float* value) { return get_marked(*this, sock, value); }
