// Buffers of whole blocks for the file and string codings.
#pragma once

#include <stddef.h>
#include <stdlib.h>

#include <memory>

#include "q7/cipher/internal/rounds.h"

namespace q7::internal {

struct FreeBlock {
  void operator()(void* block) const { free(block); }
};

// A block from calloc, released on every way out.
using UniqueBlock = std::unique_ptr<unsigned char, FreeBlock>;

[[nodiscard]] inline UniqueBlock zeroed_block(size_t count, size_t size) {
  return UniqueBlock(static_cast<unsigned char*>(calloc(count, size)));
}

// The number of blocks that hold `bytes` bytes, the last one zero-filled.
[[nodiscard]] inline size_t blocks_for(size_t bytes) {
  return (bytes + kBlockBytes - 1) / kBlockBytes;
}

// The cipher's word view of a buffer that starts on a block boundary.
[[nodiscard]] inline unsigned int* as_words(unsigned char* bytes) {
  return reinterpret_cast<unsigned int*>(bytes);
}

}  // namespace q7::internal
