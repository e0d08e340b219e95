// Tests of byte-order reversal of words, halves and floats, one by one and in arrays.
#include "q7/runtime/byte_order.h"

#include <gtest/gtest.h>
#include <stdint.h>
#include <string.h>

#include <bit>

namespace {

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

}  // namespace
