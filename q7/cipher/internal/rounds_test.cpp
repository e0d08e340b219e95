// The round and cycle helpers, on the paths this processor does not take by itself.
#include "q7/cipher/internal/rounds.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "q7/cipher/gost.h"

namespace q7::internal {
namespace {

class LibraryTables : public Gost {
 public:
  ByteTables tables() const { return {k87, k65, k43, k21}; }
};

// The byte tables are cross-checked with the peers' rows; the word and chunk tables built
// from them must give the same round, the chunk tables also without the bit-field extract,
// which only processors that lack it would otherwise run.
TEST(RoundFunction, EveryTableLayoutAgrees) {
  const LibraryTables library;
  const ByteTables bytes = library.tables();
  const WideTables wide(bytes);
  const auto chunks = std::make_unique<ChunkTables>(bytes);
  const bool has_extract = __builtin_cpu_supports("bmi");
  std::mt19937 generator(6);
  for (int i = 0; i < 20000; ++i) {
    const uint32_t target = generator();
    const uint32_t x = i < 256 ? i * 0x01010101u : generator();
    const uint32_t expected = ByteRound{bytes}.mix(target, x);
    ASSERT_EQ(WideRound{wide}.mix(target, x), expected) << std::hex << x;
    ASSERT_EQ(ChunkRound<false>{*chunks}.mix(target, x), expected) << std::hex << x;
    ASSERT_TRUE(!has_extract || ChunkRound<true>{*chunks}.mix(target, x) == expected) << x;
  }
}

}  // namespace
}  // namespace q7::internal
