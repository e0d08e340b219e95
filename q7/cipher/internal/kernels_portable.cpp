// The portable kernels: plain C++ that enciphers several independent blocks interleaved.
#include "q7/cipher/internal/kernels.h"
#include "q7/cipher/internal/rounds.h"

namespace q7::internal {
namespace {

// Four blocks hide most of a round's latency and still fit the general registers.
constexpr int kLanes = 4;

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

}  // namespace

const CipherKernels kPortableKernels = {gamma, cfb_decrypt};

}  // namespace q7::internal
