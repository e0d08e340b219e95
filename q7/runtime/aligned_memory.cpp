// Aligned blocks with their size and offset kept in front of them.
#include "q7/runtime/aligned_memory.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "q7/mp/sysinfo.h"

namespace {

constexpr int kMinAlignment = 4;
constexpr size_t kHeaderSize = 8;

int32_t& size_word(void* block) { return static_cast<int32_t*>(block)[-2]; }
uint32_t& offset_word(void* block) { return static_cast<uint32_t*>(block)[-1]; }

}  // namespace

void* mem_align_alloc(unsigned int size, int alignment) {
  if (static_cast<int32_t>(size) < 0) return nullptr;
  if (alignment < kMinAlignment) alignment = q7mp_get_pagesize();
  const size_t step = static_cast<size_t>(alignment);
  auto* raw = static_cast<unsigned char*>(malloc(step + size + kHeaderSize));
  if (raw == nullptr) return nullptr;
  // The block lies between 1 and `alignment` bytes past the header, a whole alignment
  // further on when the header already ends on a boundary.
  const uintptr_t after_header = reinterpret_cast<uintptr_t>(raw) + kHeaderSize;
  const size_t gap = step - after_header % step;
  void* block = raw + kHeaderSize + gap;
  size_word(block) = static_cast<int32_t>(size);
  offset_word(block) = static_cast<uint32_t>(kHeaderSize + gap);
  return block;
}

void mem_align_free(void* block) {
  if (block == nullptr) return;
  free(static_cast<unsigned char*>(block) - offset_word(block));
}

void* mem_align_realloc(void* block, unsigned int size, int alignment) {
  void* fresh = mem_align_alloc(size, alignment);
  if (fresh == nullptr || block == nullptr) return fresh;
  const int32_t old_size = size_word(block);
  if (old_size > 0) {
    memcpy(fresh, block, static_cast<size_t>(old_size) < size ? old_size : size);
  }
  mem_align_free(block);
  return fresh;
}
