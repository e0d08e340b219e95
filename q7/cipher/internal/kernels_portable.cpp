// The portable kernels: plain C++ that enciphers several independent blocks interleaved,
// and the chained modes one block at a time.
#include <memory>
#include <new>

#include "q7/cipher/internal/kernels.h"
#include "q7/cipher/internal/rounds.h"

namespace q7::internal {
namespace {

// Four blocks hide most of a round's latency and still fit the general registers.
constexpr int kLanes = 4;

// Below this many blocks the chained modes gain less from the chunk tables than building
// them costs.
constexpr size_t kChunkTablesFrom = 256;

// Read at load time, possibly before the compiler's own processor probe has run.
const bool has_bit_field_extract = [] {
  __builtin_cpu_init();
  return __builtin_cpu_supports("bmi") != 0;
}();

template <int L, class Round>
void gamma_lanes(const Round& f, const uint32_t* key, uint32_t* counter, const unsigned char* in,
                 unsigned char* out) {
  uint32_t n1[L];
  uint32_t n2[L];
  for (int j = 0; j < L; ++j) {
    counter[0] = add_end_around(counter[0], kGammaStep0);
    counter[1] = add_end_around(counter[1], kGammaStep1);
    n1[j] = counter[0];
    n2[j] = counter[1];
  }
  encipher<L>(f, key, n1, n2);
  for (int j = 0; j < L; ++j) {
    const size_t at = j * kBlockBytes;
    store_word(out + at, load_word(in + at) ^ n2[j]);
    store_word(out + at + 4, load_word(in + at + 4) ^ n1[j]);
  }
}

// Every input block is read before any output of the same lanes is written, which keeps
// the in-place case right.
template <int L, class Round>
void cfb_decrypt_lanes(const Round& f, const uint32_t* key, uint32_t* chain,
                       const unsigned char* in, unsigned char* out) {
  uint32_t w0[L];
  uint32_t w1[L];
  uint32_t n1[L];
  uint32_t n2[L];
  for (int j = 0; j < L; ++j) {
    w0[j] = load_word(in + j * kBlockBytes);
    w1[j] = load_word(in + j * kBlockBytes + 4);
  }
  n1[0] = chain[0];
  n2[0] = chain[1];
  for (int j = 1; j < L; ++j) {
    n1[j] = w0[j - 1];
    n2[j] = w1[j - 1];
  }
  encipher<L>(f, key, n1, n2);
  for (int j = 0; j < L; ++j) {
    store_word(out + j * kBlockBytes, w0[j] ^ n2[j]);
    store_word(out + j * kBlockBytes + 4, w1[j] ^ n1[j]);
  }
  chain[0] = w0[L - 1];
  chain[1] = w1[L - 1];
}

// Calls `step` for whole groups of kLanes blocks, then for the single blocks left, with
// the byte offset of each group.
template <class Step>
void in_lanes(size_t blocks, const Step& step) {
  size_t done = 0;
  for (; done + kLanes <= blocks; done += kLanes) {
    step.template operator()<kLanes>(done * kBlockBytes);
  }
  for (; done < blocks; ++done) step.template operator()<1>(done * kBlockBytes);
}

// Runs `run(f)` with the round function that suits `blocks`.
template <class Run>
void with_round(const ByteTables& tables, size_t blocks, const Run& run) {
  if (blocks < kWideTablesFrom) {
    run(ByteRound{tables});
    return;
  }
  const WideTables wide(tables);
  run(WideRound{wide});
}

void gamma(const ByteTables& tables, const uint32_t* key, uint32_t* counter,
           const unsigned char* in, unsigned char* out, size_t blocks) {
  with_round(tables, blocks, [&](const auto& f) {
    in_lanes(blocks, [&]<int L>(size_t at) { gamma_lanes<L>(f, key, counter, in + at, out + at); });
  });
}

void cfb_decrypt(const ByteTables& tables, const uint32_t* key, uint32_t* chain,
                 const unsigned char* in, unsigned char* out, size_t blocks) {
  with_round(tables, blocks, [&](const auto& f) {
    in_lanes(blocks,
             [&]<int L>(size_t at) { cfb_decrypt_lanes<L>(f, key, chain, in + at, out + at); });
  });
}

// Each cipher block depends on the one before, so blocks go one at a time and only the
// round's own latency counts.
template <class Round>
void cfb_encrypt_chain(const Round& f, const uint32_t* key, uint32_t* chain,
                       const unsigned char* in, unsigned char* out, size_t blocks) {
  uint32_t v0 = chain[0];
  uint32_t v1 = chain[1];
  for (size_t b = 0; b < blocks; ++b, in += kBlockBytes, out += kBlockBytes) {
    encipher<1>(f, key, &v0, &v1);
    const uint32_t c0 = load_word(in) ^ v1;
    const uint32_t c1 = load_word(in + 4) ^ v0;
    store_word(out, c0);
    store_word(out + 4, c1);
    v0 = c0;
    v1 = c1;
  }
  chain[0] = v0;
  chain[1] = v1;
}

template <class Round>
void mac_chain(const Round& f, const uint32_t* key, const unsigned char* in, size_t blocks,
               uint32_t* value) {
  uint32_t m0 = value[0];
  uint32_t m1 = value[1];
  for (size_t b = 0; b < blocks; ++b, in += kBlockBytes) {
    m0 ^= load_word(in);
    m1 ^= load_word(in + 4);
    mac_rounds(f, key, m0, m1);
  }
  value[0] = m0;
  value[1] = m1;
}

// Runs `chain(f, blocks)` with the round function that suits the run: the byte tables for
// short runs, which cost nothing to set up, and the chunk tables for long ones. The chunk
// tables come from the heap, being too large for every thread's stack; without memory the
// byte tables do the work, only slower.
template <class Chain>
void run_chained(const ByteTables& tables, size_t blocks, const Chain& chain) {
  if (blocks < kChunkTablesFrom) {
    chain(ByteRound{tables}, blocks);
    return;
  }
  const std::unique_ptr<ChunkTables> chunks(new (std::nothrow) ChunkTables(tables));
  if (!chunks) {
    chain(ByteRound{tables}, blocks);
  } else if (has_bit_field_extract) {
    chain(ChunkRound<true>{*chunks}, blocks);
  } else {
    chain(ChunkRound<false>{*chunks}, blocks);
  }
}

}  // namespace

void portable_cfb_encrypt(const ByteTables& tables, const uint32_t* key, uint32_t* chain,
                          const unsigned char* in, unsigned char* out, size_t blocks) {
  run_chained(tables, blocks, [&](const auto& f, size_t count) {
    cfb_encrypt_chain(f, key, chain, in, out, count);
  });
}

void portable_mac(const ByteTables& tables, const uint32_t* key, const unsigned char* in,
                  size_t blocks, uint32_t* value) {
  run_chained(tables, blocks,
              [&](const auto& f, size_t count) { mac_chain(f, key, in, count, value); });
}

const CipherKernels kPortableKernels = {gamma, cfb_decrypt, portable_cfb_encrypt, portable_mac};

}  // namespace q7::internal
