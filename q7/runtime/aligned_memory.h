// Memory blocks aligned to any boundary, resizable.
#pragma once

// A block of `size` bytes at an address that is a multiple of `alignment` (which need not
// be a power of two; below 4 it means the page size). The two 32-bit words in front of the
// block belong to q7 (the size at -8, the distance to the underlying allocation at -4).
// The contents are not initialised. Returns a block to release with mem_align_free, or
// null when `size` read as a signed 32-bit number is negative or memory is short.
void* mem_align_alloc(unsigned int size, int alignment);

// Releases a block from mem_align_alloc or mem_align_realloc. Null is ignored.
void mem_align_free(void* block);

// A new block of `size` bytes and `alignment` holding the first min(old size, size) bytes
// of `block`, which is then released; a null `block` behaves as mem_align_alloc. When the
// new block cannot be made the result is null and `block` is left as it was.
void* mem_align_realloc(void* block, unsigned int size, int alignment);
