#include "q7/cipher/internal/rounds.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "q7/cipher/gost.h"

namespace {

// Exposes the library's byte tables.
class TablesOf : public Gost {
 public:
  q7::internal::ByteTables tables() const { return {k87, k65, k43, k21}; }
};

// Every table layout computes the same round as the byte tables it is built from.
TEST(RoundFunction, EveryTableLayoutAgrees) {
  const TablesOf gost;
  const q7::internal::ByteTables bytes = gost.tables();
  const q7::internal::WideTables wide(bytes);
  const auto chunks = std::make_unique<q7::internal::ChunkTables>(bytes);
  const q7::internal::ByteRound by_byte{bytes};
  const q7::internal::WideRound by_word{wide};
  const q7::internal::ChunkRound<false> by_chunk{*chunks};
  const q7::internal::ChunkRound<true> by_chunk_extract{*chunks};
  const bool has_extract = __builtin_cpu_supports("bmi");
  std::mt19937 generator(6);
  for (int i = 0; i < 100000; ++i) {
    const uint32_t target = generator();
    const uint32_t x = i < 256 ? i * 0x01010101u : generator();
    const uint32_t expected = by_byte.mix(target, x);
    ASSERT_EQ(by_word.mix(target, x), expected) << std::hex << "x=" << x;
    ASSERT_EQ(by_chunk.mix(target, x), expected) << std::hex << "x=" << x;
    if (has_extract) {
      ASSERT_EQ(by_chunk_extract.mix(target, x), expected) << std::hex << "x=" << x;
    }
  }
}

// Every entry substitutes each nibble by its own row: one row per nibble position, each
// a permutation, so that the whole substitution is a permutation of the words.
TEST(RoundFunction, ByteTablesAreNibblePermutations) {
  const TablesOf gost;
  const q7::internal::ByteTables bytes = gost.tables();
  for (const unsigned char* table : {bytes.k21, bytes.k43, bytes.k65, bytes.k87}) {
    bool seen[256] = {};
    for (int i = 0; i < 256; ++i) {
      seen[table[i]] = true;
      EXPECT_EQ(table[i] & 0x0F, table[i & 0x0F] & 0x0F) << "entry " << i;
      EXPECT_EQ(table[i] & 0xF0, table[i & 0xF0] & 0xF0) << "entry " << i;
    }
    for (int v = 0; v < 256; ++v) EXPECT_TRUE(seen[v]) << "value " << v;
  }
}

}  // namespace
