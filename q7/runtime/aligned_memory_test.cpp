// Tests of aligned blocks.
#include "q7/runtime/aligned_memory.h"

#include <gtest/gtest.h>
#include <stdint.h>
#include <string.h>
#include <unistd.h>

namespace {

TEST(AlignedMemory, BlocksLieOnTheirBoundaryAndAreWholeUsable) {
  const long page = sysconf(_SC_PAGESIZE);
  const struct {
    unsigned int size;
    int alignment;
    long expected_alignment;
  } cases[] = {
      {100, 64, 64}, {100, 0, page}, {100, 3, page},     {100, -8, page}, {100, 48, 48},
      {0, 16, 16},   {1, 4, 4},      {4096, 4096, 4096}, {13, 7, 7},      {1000, 1000, 1000},
  };
  for (const auto& c : cases) {
    void* block = mem_align_alloc(c.size, c.alignment);
    ASSERT_NE(block, nullptr) << "size=" << c.size << " alignment=" << c.alignment;
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % c.expected_alignment, 0u)
        << "size=" << c.size << " alignment=" << c.alignment;
    memset(block, 0xa5, c.size);
    mem_align_free(block);
  }
  mem_align_free(nullptr);
}

TEST(AlignedMemory, NegativeSizesFail) {
  EXPECT_EQ(mem_align_alloc(0x80000000u, 16), nullptr);
  EXPECT_EQ(mem_align_alloc(0xffffffffu, 16), nullptr);
}

TEST(AlignedMemory, ReallocKeepsTheLeadingBytes) {
  auto* block = static_cast<unsigned char*>(mem_align_alloc(100, 64));
  for (int i = 0; i < 100; ++i) block[i] = static_cast<unsigned char>(i);

  auto* grown = static_cast<unsigned char*>(mem_align_realloc(block, 200, 48));
  ASSERT_NE(grown, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(grown) % 48, 0u);
  for (int i = 0; i < 100; ++i) ASSERT_EQ(grown[i], i);

  auto* shrunk = static_cast<unsigned char*>(mem_align_realloc(grown, 10, 0));
  ASSERT_NE(shrunk, nullptr);
  for (int i = 0; i < 10; ++i) ASSERT_EQ(shrunk[i], i);

  // A block that cannot be made leaves the old one as it was.
  EXPECT_EQ(mem_align_realloc(shrunk, 0x80000000u, 16), nullptr);
  for (int i = 0; i < 10; ++i) ASSERT_EQ(shrunk[i], i);

  auto* empty = static_cast<unsigned char*>(mem_align_realloc(shrunk, 0, 16));
  ASSERT_NE(empty, nullptr);
  auto* from_empty = static_cast<unsigned char*>(mem_align_realloc(empty, 8, 16));
  ASSERT_NE(from_empty, nullptr);
  mem_align_free(from_empty);

  void* fresh = mem_align_realloc(nullptr, 32, 32);
  ASSERT_NE(fresh, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(fresh) % 32, 0u);
  mem_align_free(fresh);
}

}  // namespace
