// Tests of aligned blocks.
#include "q7/runtime/aligned_memory.h"

#include <gtest/gtest.h>
#include <stdint.h>
#include <string.h>
#include <unistd.h>

namespace {

bool aligned(const void* block, long alignment) {
  return reinterpret_cast<uintptr_t>(block) % alignment == 0;
}

TEST(AlignedMemory, BlocksLieOnTheirBoundaryAndAreWholeUsable) {
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
}

TEST(AlignedMemory, ReallocKeepsTheLeadingBytesOrLeavesTheBlockOnFailure) {
  auto* block = static_cast<unsigned char*>(mem_align_alloc(100, 64));
  for (int i = 0; i < 100; ++i) block[i] = static_cast<unsigned char>(i);
  auto* grown = static_cast<unsigned char*>(mem_align_realloc(block, 200, 48));
  ASSERT_TRUE(aligned(grown, 48));
  for (int i = 0; i < 100; ++i) ASSERT_EQ(grown[i], i);
  auto* shrunk = static_cast<unsigned char*>(mem_align_realloc(grown, 10, 0));
  EXPECT_EQ(mem_align_realloc(shrunk, 0x80000000u, 16), nullptr);
  for (int i = 0; i < 10; ++i) ASSERT_EQ(shrunk[i], i);
  void* empty = mem_align_realloc(shrunk, 0, 16);
  void* from_empty = mem_align_realloc(empty, 8, 16);
  ASSERT_NE(from_empty, nullptr);
  mem_align_free(from_empty);
  void* fresh = mem_align_realloc(nullptr, 32, 32);
  EXPECT_TRUE(aligned(fresh, 32));
  mem_align_free(fresh);
}

}  // namespace
