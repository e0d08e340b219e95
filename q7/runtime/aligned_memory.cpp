// Aligned blocks with their size and offset kept in front of them.
#include "q7/runtime/aligned_memory.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "q7/mp/sysinfo.h"

namespace {

constexpr int kMinAlignment = 4;
constexpr size_t kHeaderSize = 8;

// The header words may be misaligned (an alignment of 7 puts the block anywhere), so they
// are read and written bytewise.
int32_t read_size(const void* block) {
  int32_t size;
  memcpy(&size, static_cast<const unsigned char*>(block) - 8, sizeof size);
  return size;
}

uint32_t read_offset(const void* block) {
  uint32_t offset;
  memcpy(&offset, static_cast<const unsigned char*>(block) - 4, sizeof offset);
  return offset;
}

void write_header(void* block, int32_t size, uint32_t offset) {
  memcpy(static_cast<unsigned char*>(block) - 8, &size, sizeof size);
  memcpy(static_cast<unsigned char*>(block) - 4, &offset, sizeof offset);
}

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
  write_header(block, static_cast<int32_t>(size), static_cast<uint32_t>(kHeaderSize + gap));
  return block;
}

void mem_align_free(void* block) {
  if (block == nullptr) return;
  free(static_cast<unsigned char*>(block) - read_offset(block));
}

void* mem_align_realloc(void* block, unsigned int size, int alignment) {
  void* fresh = mem_align_alloc(size, alignment);
  if (fresh == nullptr || block == nullptr) return fresh;
  const int32_t old_size = read_size(block);
  if (old_size > 0) {
    const unsigned int kept = static_cast<unsigned int>(old_size) < size ? old_size : size;
    memcpy(fresh, block, kept);
  }
  mem_align_free(block);
  return fresh;
}
