// The skeleton of the vector kernels, shared by every vector path.
//
// Include it only after a `#pragma GCC target` that names the path's instructions: its
// templates are then compiled for that path, in the including file alone (they are only
// instantiated with that file's own types).
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "q7/cipher/internal/kernels.h"
#include "q7/cipher/internal/rounds.h"

namespace q7::internal::vector_kernels {

// Registers in flight per step: enough independent rounds to cover one round's latency.
inline constexpr int kGroups = 4;

// A path's Ops work on registers (Vec) that hold one half of each of Ops::kBlocks blocks:
// rows(tables) makes the substitution constants (Rows) and mix(rows, target, x) is target
// XOR the round function of x; broadcast, add, xor_, add_end_around and load_words
// (kBlocks words) work per lane; load_blocks and store_blocks move kBlocks blocks between
// memory order and one register per half; follow(w, previous) is w's blocks moved one lane
// on with the last lane of `previous` first; last(v) is the last lane.

// The substitution constants and the key words, each broadcast to every lane.
template <class Ops>
struct Keyed {
  typename Ops::Rows rows;
  typename Ops::Vec k[8];

  Keyed(const ByteTables& tables, const uint32_t* key) : rows(Ops::rows(tables)) {
    for (int i = 0; i < 8; ++i) k[i] = Ops::broadcast(key[i]);
  }
};

template <class Ops, int G>
[[gnu::always_inline]] inline void eight_rounds(const typename Ops::Rows& rows,
                                                const typename Ops::Vec* k, bool ascending,
                                                typename Ops::Vec* n1, typename Ops::Vec* n2) {
#pragma GCC unroll 4
  for (int step = 0; step < 8; step += 2) {
    const typename Ops::Vec first = ascending ? k[step] : k[7 - step];
    const typename Ops::Vec second = ascending ? k[step + 1] : k[6 - step];
#pragma GCC unroll 4
    for (int g = 0; g < G; ++g) n2[g] = Ops::mix(rows, n2[g], Ops::add(n1[g], first));
#pragma GCC unroll 4
    for (int g = 0; g < G; ++g) n1[g] = Ops::mix(rows, n1[g], Ops::add(n2[g], second));
  }
}

template <class Ops, int G>
[[gnu::always_inline]] inline void encipher(const Keyed<Ops>& keyed, typename Ops::Vec* n1,
                                            typename Ops::Vec* n2) {
  eight_rounds<Ops, G>(keyed.rows, keyed.k, true, n1, n2);
  eight_rounds<Ops, G>(keyed.rows, keyed.k, true, n1, n2);
  eight_rounds<Ops, G>(keyed.rows, keyed.k, true, n1, n2);
  eight_rounds<Ops, G>(keyed.rows, keyed.k, false, n1, n2);
}

// The MAC's sixteen rounds on the running value (m0, m1), without the final exchange.
template <class Ops>
[[gnu::always_inline]] inline void mac_rounds(const Keyed<Ops>& keyed, typename Ops::Vec& m0,
                                              typename Ops::Vec& m1) {
  eight_rounds<Ops, 1>(keyed.rows, keyed.k, true, &m0, &m1);
  eight_rounds<Ops, 1>(keyed.rows, keyed.k, true, &m0, &m1);
}

// Lane i of register g holds the counter of block g * kBlocks + i + 1 after `counter`.
template <class Ops, int G>
[[gnu::always_inline]] inline void counter_lanes(const uint32_t* counter, typename Ops::Vec* c0,
                                                 typename Ops::Vec* c1) {
  uint32_t words0[G * Ops::kBlocks];
  uint32_t words1[G * Ops::kBlocks];
  uint32_t a = counter[0];
  uint32_t b = counter[1];
  for (size_t i = 0; i < G * Ops::kBlocks; ++i) {
    a = add_end_around(a, kGammaStep0);
    b = add_end_around(b, kGammaStep1);
    words0[i] = a;
    words1[i] = b;
  }
  for (int g = 0; g < G; ++g) {
    c0[g] = Ops::load_words(words0 + g * Ops::kBlocks);
    c1[g] = Ops::load_words(words1 + g * Ops::kBlocks);
  }
}

// Runs G registers of blocks per step while at least that many blocks remain, from
// block `done` on, and returns the new `done`.
template <class Ops, int G>
[[gnu::always_inline]] inline size_t gamma_steps(const Keyed<Ops>& keyed, const uint32_t* start,
                                                 const unsigned char* in, unsigned char* out,
                                                 size_t blocks, size_t done) {
  using Vec = typename Ops::Vec;
  constexpr size_t kStep = G * Ops::kBlocks;
  if (blocks - done < kStep) return done;
  const uint32_t here[2] = {advance_end_around(start[0], kGammaStep0, done),
                            advance_end_around(start[1], kGammaStep1, done)};
  Vec c0[G];
  Vec c1[G];
  counter_lanes<Ops, G>(here, c0, c1);
  const Vec step0 = Ops::broadcast(advance_end_around(0, kGammaStep0, kStep));
  const Vec step1 = Ops::broadcast(advance_end_around(0, kGammaStep1, kStep));
  for (; blocks - done >= kStep; done += kStep) {
    Vec n1[G];
    Vec n2[G];
    for (int g = 0; g < G; ++g) {
      n1[g] = c0[g];
      n2[g] = c1[g];
      c0[g] = Ops::add_end_around(c0[g], step0);
      c1[g] = Ops::add_end_around(c1[g], step1);
    }
    encipher<Ops, G>(keyed, n1, n2);
    for (int g = 0; g < G; ++g) {
      const size_t at = (done + g * Ops::kBlocks) * kBlockBytes;
      Vec w0;
      Vec w1;
      Ops::load_blocks(in + at, w0, w1);
      Ops::store_blocks(out + at, Ops::xor_(w0, n2[g]), Ops::xor_(w1, n1[g]));
    }
  }
  return done;
}

// As gamma_steps. All of a step's input is read before its output is written, and later
// steps read only beyond it, so deciphering in place is right.
template <class Ops, int G>
[[gnu::always_inline]] inline size_t cfb_decrypt_steps(const Keyed<Ops>& keyed,
                                                       typename Ops::Vec* previous,
                                                       const unsigned char* in, unsigned char* out,
                                                       size_t blocks, size_t done) {
  using Vec = typename Ops::Vec;
  constexpr size_t kStep = G * Ops::kBlocks;
  for (; blocks - done >= kStep; done += kStep) {
    Vec w0[G];
    Vec w1[G];
    for (int g = 0; g < G; ++g) {
      Ops::load_blocks(in + (done + g * Ops::kBlocks) * kBlockBytes, w0[g], w1[g]);
    }
    Vec n1[G];
    Vec n2[G];
    n1[0] = Ops::follow(w0[0], previous[0]);
    n2[0] = Ops::follow(w1[0], previous[1]);
    for (int g = 1; g < G; ++g) {
      n1[g] = Ops::follow(w0[g], w0[g - 1]);
      n2[g] = Ops::follow(w1[g], w1[g - 1]);
    }
    encipher<Ops, G>(keyed, n1, n2);
    for (int g = 0; g < G; ++g) {
      Ops::store_blocks(out + (done + g * Ops::kBlocks) * kBlockBytes, Ops::xor_(w0[g], n2[g]),
                        Ops::xor_(w1[g], n1[g]));
    }
    previous[0] = w0[G - 1];
    previous[1] = w1[G - 1];
  }
  return done;
}

// A path's kernels: whole vector steps while they last, then the portable code for the
// few blocks left.
template <class Ops>
struct Kernels {
  static void gamma(const ByteTables& tables, const uint32_t* key, uint32_t* counter,
                    const unsigned char* in, unsigned char* out, size_t blocks) {
    size_t done = 0;
    if (blocks >= Ops::kBlocks) {
      const Keyed<Ops> keyed(tables, key);
      done = gamma_steps<Ops, kGroups>(keyed, counter, in, out, blocks, done);
      done = gamma_steps<Ops, 1>(keyed, counter, in, out, blocks, done);
      counter[0] = advance_end_around(counter[0], kGammaStep0, done);
      counter[1] = advance_end_around(counter[1], kGammaStep1, done);
    }
    kPortableKernels.gamma(tables, key, counter, in + done * kBlockBytes, out + done * kBlockBytes,
                           blocks - done);
  }

  static void cfb_decrypt(const ByteTables& tables, const uint32_t* key, uint32_t* chain,
                          const unsigned char* in, unsigned char* out, size_t blocks) {
    size_t done = 0;
    if (blocks >= Ops::kBlocks) {
      const Keyed<Ops> keyed(tables, key);
      typename Ops::Vec previous[2] = {Ops::broadcast(chain[0]), Ops::broadcast(chain[1])};
      done = cfb_decrypt_steps<Ops, kGroups>(keyed, previous, in, out, blocks, done);
      done = cfb_decrypt_steps<Ops, 1>(keyed, previous, in, out, blocks, done);
      chain[0] = Ops::last(previous[0]);
      chain[1] = Ops::last(previous[1]);
    }
    kPortableKernels.cfb_decrypt(tables, key, chain, in + done * kBlockBytes,
                                 out + done * kBlockBytes, blocks - done);
  }
};

}  // namespace q7::internal::vector_kernels
