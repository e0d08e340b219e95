// Tests of aligned blocks, byte order, time texts, the growth rule and the diagnostics.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <array>
#include <bit>
#include <numeric>
#include <vector>

#include "q7/runtime/aligned_memory.h"
#include "q7/runtime/byte_order.h"
#include "q7/runtime/diagnostics.h"
#include "q7/runtime/growth.h"
#include "q7/runtime/time_text.h"
#include "tests/support/child_process.h"

namespace {

using ::testing::MatchesRegex;

TEST(ByteOrder, ReversesEachElementUpToTheCountAndKeepsEveryFloatPattern) {
  unsigned int words[3] = {0x11223344u, 0xa0b0c0d0u, 0xdeadbeefu};
  word32_swab_vec(words, 2);
  word32_swab_vec(words, -1);
  EXPECT_TRUE(words[0] == 0x44332211u && words[1] == 0xd0c0b0a0u && words[2] == 0xdeadbeefu);
  unsigned short halves[2] = {0x1234, 0x5678};
  word16_swab_vec(halves, 1);
  EXPECT_TRUE(halves[0] == 0x3412 && halves[1] == 0x5678 && word16_swab(0xabcd) == 0xcdab);
  EXPECT_EQ(std::bit_cast<uint32_t>(float_swab(-2.0f)), 0x000000c0u);
  // Signalling NaN patterns survive the array form twice; 1.0f comes out as 0x0000803f.
  const uint32_t patterns[] = {0x7fa00001u, 0xffa00001u, 0x3f800000u};
  float values[3];
  memcpy(values, patterns, sizeof values);
  float_swab_vec(values, 3);
  EXPECT_EQ(std::bit_cast<uint32_t>(values[2]), 0x0000803fu);
  float_swab_vec(values, 3);
  EXPECT_EQ(memcmp(values, patterns, sizeof patterns), 0);
}

TEST(TimeText, SplitsSecondsAndShowsTheCurrentTime) {
  const struct {
    int in;
    std::array<int, 4> parts;  // days, hours, minutes, seconds
  } cases[] = {{59, {0, 0, 0, 59}},         {3600, {0, 1, 0, 0}},  {86399, {0, 23, 59, 59}},
               {90061, {1, 1, 1, 1}},       {-59, {0, 0, 0, -59}}, {-90061, {-1, -1, -1, -1}},
               {INT_MAX, {24855, 3, 14, 7}}};
  for (const auto& c : cases) {
    std::array<int, 4> parts{};
    secs_to_dhms(c.in, parts[0], parts[1], parts[2], parts[3]);
    EXPECT_EQ(parts, c.parts) << "in=" << c.in;
  }
  EXPECT_THAT(cur_time_string(),
              MatchesRegex("[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} "
                           "[0-9]{4}"));
  EXPECT_STREQ(round_get_mode(), "unknown");
}

TEST(Growth, DoublesThenGrowsBy512AndSurvivesShortMemory) {
  const struct {
    int used, capacity, needed, initial, expected;
  } cases[] = {{0, 0, 40, 16, 64},          {1500, 1500, 1, 16, 3000}, {0, 0, 1024, 1023, 2046},
               {1100, 1100, 1200, 8, 2712}, {2, 10, 3, 16, 10},        {0, 0, 3, 0, 4}};
  for (const auto& c : cases) {
    int capacity = c.capacity;
    auto** array = static_cast<char**>(calloc(c.capacity + 1, sizeof(char*)));
    const unsigned int free_after = ensure_memory(array, c.used, capacity, c.needed, c.initial);
    EXPECT_EQ(capacity, c.expected) << "used=" << c.used << " capacity=" << c.capacity;
    EXPECT_EQ(free_after, static_cast<unsigned int>(c.expected - c.used));
    for (int i = 0; i < capacity; ++i) array[i] = nullptr;  // the whole array is usable
    free(array);
  }
  const auto result = q7test::run_in_child([] {
    int capacity = 4;
    auto** array = static_cast<char**>(calloc(4, sizeof(char*)));
    char** const before = array;
    const int huge = INT_MAX - 8;
    q7test::require_in_child(ensure_memory(array, 4, capacity, huge, 16) == 0, 2);
    q7test::require_in_child(array == before && capacity == 4, 3);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_THAT(result.err, ::testing::HasSubstr("ERROR: ensure_memory(): Out of memory!\n"));
}

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
