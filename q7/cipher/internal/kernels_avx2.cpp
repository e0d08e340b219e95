// The AVX2 kernels: eight blocks per register, the 4-bit substitution done with in-lane
// byte shuffles, one row per byte position.
#include <immintrin.h>

#include "q7/cipher/internal/kernels.h"
#include "q7/cipher/internal/rounds.h"

// Everything from here on is compiled for the path's instructions; the common headers
// above keep the baseline, so no copy of their inline functions needs more.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2")
#endif

#include "q7/cipher/internal/vector_kernels.h"

namespace q7::internal {
namespace {

struct Avx2Ops {
  using Vec = __m256i;
  static constexpr size_t kBlocks = 8;

  // A shuffle reads one 16-entry row, the same for every byte, so each nibble is looked
  // up in the four rows of its half and the byte position picks one of the four answers.
  struct Rows {
    Vec low[4];
    Vec high[4];
    Vec nibbles;
    Vec position[4];
  };

  static Rows rows(const ByteTables& tables) {
    const unsigned char* by_position[4] = {tables.k21, tables.k43, tables.k65, tables.k87};
    Rows rows;
    for (int p = 0; p < 4; ++p) {
      alignas(32) unsigned char low[32];
      alignas(32) unsigned char high[32];
      for (int i = 0; i < 32; ++i) {
        low[i] = by_position[p][i & 15] & 0x0F;
        high[i] = by_position[p][(i & 15) << 4] & 0xF0;
      }
      rows.low[p] = _mm256_load_si256(reinterpret_cast<const Vec*>(low));
      rows.high[p] = _mm256_load_si256(reinterpret_cast<const Vec*>(high));
      rows.position[p] = _mm256_set1_epi32(static_cast<int>(0xFFu << (8 * p)));
    }
    rows.nibbles = _mm256_set1_epi32(0x0F0F0F0F);
    return rows;
  }

  [[gnu::always_inline]] static Vec substitute(const Vec* row, const Vec* position, Vec nibbles) {
    Vec result = _mm256_shuffle_epi8(row[0], nibbles);
    for (int p = 1; p < 4; ++p) {
      result = _mm256_blendv_epi8(result, _mm256_shuffle_epi8(row[p], nibbles), position[p]);
    }
    return result;
  }

  [[gnu::always_inline]] static Vec mix(const Rows& rows, Vec target, Vec x) {
    const Vec low = _mm256_and_si256(x, rows.nibbles);
    const Vec high = _mm256_and_si256(_mm256_srli_epi32(x, 4), rows.nibbles);
    const Vec substituted = _mm256_or_si256(substitute(rows.low, rows.position, low),
                                            substitute(rows.high, rows.position, high));
    return _mm256_xor_si256(target, _mm256_or_si256(_mm256_slli_epi32(substituted, 11),
                                                    _mm256_srli_epi32(substituted, 21)));
  }

  [[gnu::always_inline]] static Vec broadcast(uint32_t word) {
    return _mm256_set1_epi32(static_cast<int>(word));
  }
  [[gnu::always_inline]] static Vec add(Vec a, Vec b) { return _mm256_add_epi32(a, b); }
  [[gnu::always_inline]] static Vec xor_(Vec a, Vec b) { return _mm256_xor_si256(a, b); }

  // A sum carried out of bit 31 exactly when it is below the step; the all-ones compare
  // result then subtracts -1.
  [[gnu::always_inline]] static Vec add_end_around(Vec lanes, Vec step) {
    const Vec sum = _mm256_add_epi32(lanes, step);
    const Vec sign = _mm256_set1_epi32(static_cast<int>(0x80000000u));
    const Vec carried =
        _mm256_cmpgt_epi32(_mm256_xor_si256(step, sign), _mm256_xor_si256(sum, sign));
    return _mm256_sub_epi32(sum, carried);
  }

  [[gnu::always_inline]] static Vec load_words(const uint32_t* words) {
    return _mm256_loadu_si256(reinterpret_cast<const Vec*>(words));
  }

  [[gnu::always_inline]] static void load_blocks(const unsigned char* bytes, Vec& w0, Vec& w1) {
    const Vec halves_apart = _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7);
    const Vec first = _mm256_permutevar8x32_epi32(
        _mm256_loadu_si256(reinterpret_cast<const Vec*>(bytes)), halves_apart);
    const Vec second = _mm256_permutevar8x32_epi32(
        _mm256_loadu_si256(reinterpret_cast<const Vec*>(bytes + 32)), halves_apart);
    w0 = _mm256_permute2x128_si256(first, second, 0x20);
    w1 = _mm256_permute2x128_si256(first, second, 0x31);
  }

  [[gnu::always_inline]] static void store_blocks(unsigned char* bytes, Vec w0, Vec w1) {
    const Vec low = _mm256_unpacklo_epi32(w0, w1);
    const Vec high = _mm256_unpackhi_epi32(w0, w1);
    _mm256_storeu_si256(reinterpret_cast<Vec*>(bytes), _mm256_permute2x128_si256(low, high, 0x20));
    _mm256_storeu_si256(reinterpret_cast<Vec*>(bytes + 32),
                        _mm256_permute2x128_si256(low, high, 0x31));
  }

  [[gnu::always_inline]] static Vec follow(Vec w, Vec previous) {
    const Vec one_on = _mm256_setr_epi32(7, 0, 1, 2, 3, 4, 5, 6);
    return _mm256_blend_epi32(_mm256_permutevar8x32_epi32(w, one_on),
                              _mm256_permutevar8x32_epi32(previous, one_on), 0x01);
  }

  [[gnu::always_inline]] static uint32_t last(Vec v) {
    return static_cast<uint32_t>(_mm256_extract_epi32(v, 7));
  }
};

}  // namespace

// A shuffle serves one row, so a single block would wait on the four-way choice of every
// nibble: the chained modes stay in the general registers.
const CipherKernels kAvx2Kernels = {vector_kernels::Kernels<Avx2Ops>::gamma,
                                    vector_kernels::Kernels<Avx2Ops>::cfb_decrypt,
                                    portable_cfb_encrypt, portable_mac};

}  // namespace q7::internal

#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif
