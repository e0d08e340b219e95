// Tests of aligned blocks: their boundaries, and reallocation keeping the leading bytes.
#include "q7/runtime/aligned_memory.h"

#include <gtest/gtest.h>
#include <stdint.h>
#include <string.h>
#include <unistd.h>

#include <numeric>
#include <vector>

namespace {

bool aligned(const void* block, long alignment) {
  return reinterpret_cast<uintptr_t>(block) % alignment == 0;
}

TEST(AlignedMemory, BlocksLieOnTheirBoundaryAndReallocKeepsTheLeadingBytes) {
  const long page = sysconf(_SC_PAGESIZE);
  const struct {
    unsigned int size;
    int alignment;
    long expected;
  } cases[] = {{100, 64, 64}, {100, 0, page}, {100, 3, page},     {100, -8, page},
               {100, 48, 48}, {0, 16, 16},    {4096, 4096, 4096}, {13, 7, 7}};
  for (const auto& c : cases) {
    void* block = mem_align_alloc(c.size, c.alignment);
    ASSERT_NE(block, nullptr) << "size=" << c.size << " alignment=" << c.alignment;
    EXPECT_TRUE(aligned(block, c.expected)) << "size=" << c.size << " alignment=" << c.alignment;
    memset(block, 0xa5, c.size);
    mem_align_free(block);
  }
  EXPECT_EQ(mem_align_alloc(0x80000000u, 16), nullptr);
  mem_align_free(nullptr);

  std::vector<unsigned char> bytes(100);
  std::iota(bytes.begin(), bytes.end(), 0);
  void* block = mem_align_realloc(nullptr, 100, 64);
  memcpy(block, bytes.data(), 100);
  void* grown = mem_align_realloc(block, 200, 48);
  ASSERT_TRUE(aligned(grown, 48));
  EXPECT_EQ(memcmp(grown, bytes.data(), 100), 0);
  void* shrunk = mem_align_realloc(grown, 10, 0);
  EXPECT_EQ(mem_align_realloc(shrunk, 0x80000000u, 16), nullptr);  // leaves the block as it was
  EXPECT_EQ(memcmp(shrunk, bytes.data(), 10), 0);
  mem_align_free(shrunk);
}

}  // namespace
