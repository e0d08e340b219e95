// The encrypted record's framing: its block, its fixed IV and its size for a payload.
#pragma once

#include <stdint.h>

namespace q7::internal {

inline constexpr int kRecordBlockBytes = 8;

// Every record of every connection is enciphered from this IV, so no chain state survives
// from one record to the next.
inline constexpr unsigned int kRecordIv[2] = {0x6b2d90e4, 0x1c58f7a3};

// The record's size T for a payload of `length` bytes: the length word and the payload,
// zero-filled to whole blocks. Counted in 64 bits, so that a hostile length shows as a size
// beyond int rather than wrapping.
[[nodiscard]] constexpr int64_t record_bytes(uint32_t length) {
  return kRecordBlockBytes * ((static_cast<int64_t>(length) + 3) / kRecordBlockBytes + 1);
}

}  // namespace q7::internal
