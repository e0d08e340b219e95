// The round function and the enciphering cycles, written once for every scalar caller.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <bit>

namespace q7::internal {

// The gamma mode's per-block counter increments.
inline constexpr uint32_t kGammaStep0 = 0x01010101;
inline constexpr uint32_t kGammaStep1 = 0x01010104;

// The object's four byte tables, each entry substituting one byte of the round input.
struct ByteTables {
  const unsigned char* k87;
  const unsigned char* k65;
  const unsigned char* k43;
  const unsigned char* k21;
};

// Entry i of a byte table: (high[i >> 4] << 4) | low[i & 15], two rows in one lookup.
inline void build_byte_table(const unsigned char* high, const unsigned char* low,
                             unsigned char* table) {
  for (int i = 0; i < 256; ++i)
    table[i] = static_cast<unsigned char>((high[i >> 4] << 4) | low[i & 15]);
}

// Below this many blocks the word tables below cost more to build than they save.
inline constexpr size_t kWideTablesFrom = 16;

inline constexpr size_t kBlockBytes = 8;

// Data buffers need not be word aligned; memcpy compiles to plain moves.
[[nodiscard]] inline uint32_t load_word(const unsigned char* bytes) {
  uint32_t word;
  memcpy(&word, bytes, sizeof word);
  return word;
}

inline void store_word(unsigned char* bytes, uint32_t word) { memcpy(bytes, &word, sizeof word); }

// The round function as the tables define it: one lookup per byte, then the rotation.
struct ByteRound {
  const ByteTables& tables;

  [[nodiscard]] uint32_t mix(uint32_t target, uint32_t x) const {
    const uint32_t y = (uint32_t{tables.k87[x >> 24]} << 24) |
                       (uint32_t{tables.k65[(x >> 16) & 255]} << 16) |
                       (uint32_t{tables.k43[(x >> 8) & 255]} << 8) | tables.k21[x & 255];
    return target ^ std::rotl(y, 11);
  }
};

// The same function with the shift and the rotation folded into four word tables, which
// takes the shifts and the rotation off the round's dependency chain. Building them costs
// about as much as enciphering a few blocks, so callers build them for longer runs only.
struct WideTables {
  alignas(64) uint32_t byte0[256];
  alignas(64) uint32_t byte1[256];
  alignas(64) uint32_t byte2[256];
  alignas(64) uint32_t byte3[256];

  explicit WideTables(const ByteTables& tables) {
    for (int i = 0; i < 256; ++i) {
      byte0[i] = std::rotl(uint32_t{tables.k21[i]}, 11);
      byte1[i] = std::rotl(uint32_t{tables.k43[i]} << 8, 11);
      byte2[i] = std::rotl(uint32_t{tables.k65[i]} << 16, 11);
      byte3[i] = std::rotl(uint32_t{tables.k87[i]} << 24, 11);
    }
  }
};

struct WideRound {
  const WideTables& tables;

  // Returns `target` XOR f(x). Byte 2 takes one step more to extract than the others, so
  // its lookup joins last, and the others are paired so that no XOR waits on a chain; the
  // empty asm statements keep the compiler from folding the tree back into one long chain.
  [[nodiscard]] uint32_t mix(uint32_t target, uint32_t x) const {
    uint32_t low = tables.byte0[x & 255] ^ tables.byte1[(x >> 8) & 255];
    uint32_t top = tables.byte3[x >> 24] ^ target;
    __asm__("" : "+r"(low), "+r"(top));
    uint32_t early = low ^ top;
    __asm__("" : "+r"(early));
    return early ^ tables.byte2[(x >> 16) & 255];
  }
};

// For the chained modes, where only a round's latency counts: the round input split at
// nibble boundaries into 12, 12 and 8 bits, so that three lookups and the target make four
// values, which two levels of XOR combine (five values would need three). The tables take
// 33 KiB, within the first-level cache (callers keep them off the stack); building them
// costs about as much as enciphering a hundred blocks.
struct ChunkTables {
  alignas(64) uint32_t low[4096];
  alignas(64) uint32_t middle[4096];
  alignas(64) uint32_t top[256];

  explicit ChunkTables(const ByteTables& tables) {
    for (uint32_t i = 0; i < 4096; ++i) {
      const uint32_t nibble2 = tables.k43[i >> 8] & 0x0F;
      low[i] = std::rotl(uint32_t{tables.k21[i & 255]} | (nibble2 << 8), 11);
      const uint32_t nibble3 = tables.k43[(i & 15) << 4] >> 4;
      middle[i] = std::rotl((nibble3 << 12) | (uint32_t{tables.k65[i >> 4]} << 16), 11);
    }
    for (uint32_t i = 0; i < 256; ++i) top[i] = std::rotl(uint32_t{tables.k87[i]} << 24, 11);
  }
};

// With `kBitField`, the middle twelve bits come out in one instruction (BMI1's bit-field
// extract), which keeps every lookup equally early; callers choose it where the processor
// has the instruction.
template <bool kBitField>
struct ChunkRound {
  const ChunkTables& tables;

  [[gnu::always_inline]] [[nodiscard]] uint32_t mix(uint32_t target, uint32_t x) const {
    // A word-sized index, so that no zero extension stands between it and the lookup.
    size_t middle;
    if constexpr (kBitField) {
      constexpr uint32_t kStartAndLength = 12 | (12 << 8);
      __asm__("bextr %k2, %k1, %k0" : "=r"(middle) : "r"(x), "r"(kStartAndLength));
    } else {
      middle = (x >> 12) & 0xFFF;
    }
    uint32_t first = tables.low[x & 0xFFF] ^ tables.middle[middle];
    uint32_t second = tables.top[x >> 24] ^ target;
    __asm__("" : "+r"(first), "+r"(second));
    return first ^ second;
  }
};

// Runs eight rounds with key words k[0] to k[7] (ascending) or k[7] to k[0] on L blocks at
// once, n1[j] and n2[j] being the halves of block j. Interleaving independent blocks lets
// the processor overlap their dependency chains.
template <int L, class Round>
[[gnu::always_inline]] inline void eight_rounds(const Round& f, const uint32_t* k, bool ascending,
                                                uint32_t* n1, uint32_t* n2) {
#pragma GCC unroll 4
  for (int step = 0; step < 8; step += 2) {
    const uint32_t first = ascending ? k[step] : k[7 - step];
    const uint32_t second = ascending ? k[step + 1] : k[6 - step];
#pragma GCC unroll 8
    for (int j = 0; j < L; ++j) n2[j] = f.mix(n2[j], n1[j] + first);
#pragma GCC unroll 8
    for (int j = 0; j < L; ++j) n1[j] = f.mix(n1[j], n2[j] + second);
  }
}

// The 32-round enciphering cycle on L blocks; the result block j is (n2[j], n1[j]).
template <int L, class Round>
[[gnu::always_inline]] inline void encipher(const Round& f, const uint32_t* k, uint32_t* n1,
                                            uint32_t* n2) {
  eight_rounds<L>(f, k, true, n1, n2);
  eight_rounds<L>(f, k, true, n1, n2);
  eight_rounds<L>(f, k, true, n1, n2);
  eight_rounds<L>(f, k, false, n1, n2);
}

// The 32-round deciphering cycle on L blocks; the result block j is (n2[j], n1[j]).
template <int L, class Round>
[[gnu::always_inline]] inline void decipher(const Round& f, const uint32_t* k, uint32_t* n1,
                                            uint32_t* n2) {
  eight_rounds<L>(f, k, true, n1, n2);
  eight_rounds<L>(f, k, false, n1, n2);
  eight_rounds<L>(f, k, false, n1, n2);
  eight_rounds<L>(f, k, false, n1, n2);
}

// The MAC's sixteen rounds on one running value (m0, m1), without the final exchange.
template <class Round>
[[gnu::always_inline]] inline void mac_rounds(const Round& f, const uint32_t* k, uint32_t& m0,
                                              uint32_t& m1) {
  eight_rounds<1>(f, k, true, &m0, &m1);
  eight_rounds<1>(f, k, true, &m0, &m1);
}

// Adds `step` modulo 2^32 with end-around carry: a carry out of bit 31 adds 1 back in.
[[nodiscard]] inline uint32_t add_end_around(uint32_t value, uint32_t step) {
  const uint32_t sum = value + step;
  return sum + (sum < step ? 1 : 0);
}

// The value after `count` end-around additions of `step`. End-around addition is
// addition modulo 2^32 - 1 with results in 1 .. 2^32 - 1, which gives a closed form.
[[nodiscard]] inline uint32_t advance_end_around(uint32_t value, uint32_t step, uint64_t count) {
  if (count == 0) return value;
  constexpr uint64_t kModulus = 0xFFFFFFFFu;
  const uint64_t residue = (value + (count % kModulus) * step) % kModulus;
  return residue == 0 ? 0xFFFFFFFFu : static_cast<uint32_t>(residue);
}

}  // namespace q7::internal
