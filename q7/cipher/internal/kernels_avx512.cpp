// The AVX-512 kernels: sixteen blocks per register, the 4-bit substitution done with
// byte permutes (VBMI); the chained modes one block at a time.

// GCC 12 takes the undefined pass-through operand inside several AVX-512 intrinsics for an
// uninitialised read (its bug 105593); the warning is about the compiler's header, and
// it must be off where that header is read.
#if !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <immintrin.h>

#include "q7/cipher/internal/kernels.h"
#include "q7/cipher/internal/rounds.h"

// Everything from here on is compiled for the path's instructions; the common headers
// above keep the baseline, so no copy of their inline functions needs more.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx512f,avx512bw,avx512vbmi"))), \
                             apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx512f,avx512bw,avx512vbmi")
#endif

#include "q7/cipher/internal/vector_kernels.h"

namespace q7::internal {
namespace {

struct Avx512Ops {
  using Vec = __m512i;
  static constexpr size_t kBlocks = 16;

  // A byte permute reads 64 entries, which hold four rows of 16: the low-nibble rows of
  // the four byte positions in `low`, the high-nibble rows (shifted up) in `high`. The
  // index of a nibble is the nibble plus 16 times its byte's position in the word.
  struct Rows {
    Vec low;
    Vec high;
    Vec nibbles;
    Vec positions;
  };

  static Rows rows(const ByteTables& tables) {
    const unsigned char* by_position[4] = {tables.k21, tables.k43, tables.k65, tables.k87};
    alignas(64) unsigned char low[64];
    alignas(64) unsigned char high[64];
    for (int p = 0; p < 4; ++p) {
      for (int i = 0; i < 16; ++i) {
        low[16 * p + i] = by_position[p][i] & 0x0F;
        high[16 * p + i] = by_position[p][i << 4] & 0xF0;
      }
    }
    return {_mm512_load_si512(low), _mm512_load_si512(high), _mm512_set1_epi32(0x0F0F0F0F),
            _mm512_set1_epi32(0x30201000)};
  }

  // Each half is rotated on its own, so that one three-way XOR ends the round: on a
  // single block's path that is a step less than joining the halves, rotating, then XOR.
  [[gnu::always_inline]] static Vec mix(const Rows& rows, Vec target, Vec x) {
    // (x AND nibbles) OR positions in one ternary-logic instruction. The high half comes
    // first, so that its shift has read x before the low half's index overwrites it:
    // otherwise the compiler copies x, a step on a single block's path.
    constexpr int kAndOr = 0xEA;
    constexpr int kXor3 = 0x96;
    const Vec high =
        _mm512_ternarylogic_epi32(_mm512_srli_epi32(x, 4), rows.nibbles, rows.positions, kAndOr);
    const Vec low = _mm512_ternarylogic_epi32(x, rows.nibbles, rows.positions, kAndOr);
    return _mm512_ternarylogic_epi32(
        target, _mm512_rol_epi32(_mm512_permutexvar_epi8(low, rows.low), 11),
        _mm512_rol_epi32(_mm512_permutexvar_epi8(high, rows.high), 11), kXor3);
  }

  [[gnu::always_inline]] static Vec broadcast(uint32_t word) {
    return _mm512_set1_epi32(static_cast<int>(word));
  }
  [[gnu::always_inline]] static Vec add(Vec a, Vec b) { return _mm512_add_epi32(a, b); }
  [[gnu::always_inline]] static Vec xor_(Vec a, Vec b) { return _mm512_xor_si512(a, b); }

  [[gnu::always_inline]] static Vec add_end_around(Vec lanes, Vec step) {
    const Vec sum = _mm512_add_epi32(lanes, step);
    const __mmask16 carried = _mm512_cmplt_epu32_mask(sum, step);
    return _mm512_mask_sub_epi32(sum, carried, sum, _mm512_set1_epi32(-1));
  }

  [[gnu::always_inline]] static Vec load_words(const uint32_t* words) {
    return _mm512_loadu_si512(words);
  }

  [[gnu::always_inline]] static void load_blocks(const unsigned char* bytes, Vec& w0, Vec& w1) {
    const Vec first = _mm512_loadu_si512(bytes);
    const Vec second = _mm512_loadu_si512(bytes + 64);
    const Vec evens = _mm512_set_epi32(30, 28, 26, 24, 22, 20, 18, 16, 14, 12, 10, 8, 6, 4, 2, 0);
    const Vec odds = _mm512_set_epi32(31, 29, 27, 25, 23, 21, 19, 17, 15, 13, 11, 9, 7, 5, 3, 1);
    w0 = _mm512_permutex2var_epi32(first, evens, second);
    w1 = _mm512_permutex2var_epi32(first, odds, second);
  }

  [[gnu::always_inline]] static void store_blocks(unsigned char* bytes, Vec w0, Vec w1) {
    const Vec first_half = _mm512_set_epi32(23, 7, 22, 6, 21, 5, 20, 4, 19, 3, 18, 2, 17, 1, 16, 0);
    const Vec second_half =
        _mm512_set_epi32(31, 15, 30, 14, 29, 13, 28, 12, 27, 11, 26, 10, 25, 9, 24, 8);
    _mm512_storeu_si512(bytes, _mm512_permutex2var_epi32(w0, first_half, w1));
    _mm512_storeu_si512(bytes + 64, _mm512_permutex2var_epi32(w0, second_half, w1));
  }

  [[gnu::always_inline]] static Vec follow(Vec w, Vec previous) {
    return _mm512_alignr_epi32(w, previous, 15);
  }

  [[gnu::always_inline]] static uint32_t last(Vec v) {
    return static_cast<uint32_t>(_mm_extract_epi32(_mm512_extracti32x4_epi32(v, 3), 3));
  }
};

using Keyed = vector_kernels::Keyed<Avx512Ops>;

// The chained modes take one block at a time, in every lane. The rows then sit in
// registers rather than behind the loads of the general registers' tables, which makes a
// round the addition, the index forming, a permute, the rotation and the XOR.
// A single block runs faster in the general registers than building the rows takes.
constexpr size_t kChainedRowsFrom = 2;

[[gnu::always_inline]] inline __m512i word_in(const unsigned char* bytes) {
  return Avx512Ops::broadcast(load_word(bytes));
}

[[gnu::always_inline]] inline uint32_t first_lane(__m512i lanes) {
  return static_cast<uint32_t>(_mm512_cvtsi512_si32(lanes));
}

void cfb_encrypt(const ByteTables& tables, const uint32_t* key, uint32_t* chain,
                 const unsigned char* in, unsigned char* out, size_t blocks) {
  if (blocks < kChainedRowsFrom) {
    portable_cfb_encrypt(tables, key, chain, in, out, blocks);
    return;
  }
  const Keyed keyed(tables, key);
  __m512i v0 = Avx512Ops::broadcast(chain[0]);
  __m512i v1 = Avx512Ops::broadcast(chain[1]);
  for (size_t b = 0; b < blocks; ++b, in += kBlockBytes, out += kBlockBytes) {
    vector_kernels::encipher<Avx512Ops, 1>(keyed, &v0, &v1);
    const __m512i c0 = Avx512Ops::xor_(word_in(in), v1);
    const __m512i c1 = Avx512Ops::xor_(word_in(in + 4), v0);
    store_word(out, first_lane(c0));
    store_word(out + 4, first_lane(c1));
    v0 = c0;
    v1 = c1;
  }
  chain[0] = first_lane(v0);
  chain[1] = first_lane(v1);
}

void mac(const ByteTables& tables, const uint32_t* key, const unsigned char* in, size_t blocks,
         uint32_t* value) {
  if (blocks < kChainedRowsFrom) {
    portable_mac(tables, key, in, blocks, value);
    return;
  }
  const Keyed keyed(tables, key);
  __m512i m0 = Avx512Ops::broadcast(value[0]);
  __m512i m1 = Avx512Ops::broadcast(value[1]);
  for (size_t b = 0; b < blocks; ++b, in += kBlockBytes) {
    m0 = Avx512Ops::xor_(m0, word_in(in));
    m1 = Avx512Ops::xor_(m1, word_in(in + 4));
    vector_kernels::mac_rounds<Avx512Ops>(keyed, m0, m1);
  }
  value[0] = first_lane(m0);
  value[1] = first_lane(m1);
}

}  // namespace

const CipherKernels kAvx512Kernels = {vector_kernels::Kernels<Avx512Ops>::gamma,
                                      vector_kernels::Kernels<Avx512Ops>::cfb_decrypt, cfb_encrypt,
                                      mac};

}  // namespace q7::internal

#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif
