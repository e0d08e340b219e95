// Keys, IVs, single blocks and the four modes of Gost.
#include "q7/cipher/gost.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <memory>
#include <new>

#include "q7/cipher/internal/kernels.h"
#include "q7/cipher/internal/rounds.h"

using q7::internal::ByteRound;
using q7::internal::ByteTables;
using q7::internal::ChunkRound;
using q7::internal::ChunkTables;
using q7::internal::kBlockBytes;
using q7::internal::load_word;
using q7::internal::store_word;

namespace {

constexpr size_t kKeyBytes = 32;

// Below this many blocks the chained modes gain less from the chunk tables than building
// them costs.
constexpr size_t kChunkTablesFrom = 256;

// Read at load time, possibly before the compiler's own processor probe has run.
const bool has_bit_field_extract = [] {
  __builtin_cpu_init();
  return __builtin_cpu_supports("bmi") != 0;
}();

// rand() gives at most 31 bits; three draws spread over the word.
uint32_t random_word() {
  const uint32_t first = static_cast<uint32_t>(rand());
  const uint32_t second = static_cast<uint32_t>(rand());
  const uint32_t third = static_cast<uint32_t>(rand());
  return (first << 17) ^ (second << 9) ^ third;
}

const unsigned char* bytes_of(unsigned int const* words) {
  return reinterpret_cast<const unsigned char*>(words);
}

unsigned char* bytes_of(unsigned int* words) { return reinterpret_cast<unsigned char*>(words); }

// Each cipher block depends on the one before, so blocks go one at a time and only the
// round's own latency counts.
template <class Round>
void cfb_encrypt_chain(const Round& f, const uint32_t* key, uint32_t* chain,
                       const unsigned char* in, unsigned char* out, size_t blocks) {
  uint32_t v0 = chain[0];
  uint32_t v1 = chain[1];
  for (size_t b = 0; b < blocks; ++b, in += kBlockBytes, out += kBlockBytes) {
    q7::internal::encipher<1>(f, key, &v0, &v1);
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
    q7::internal::mac_rounds(f, key, m0, m1);
  }
  value[0] = m0;
  value[1] = m1;
}

// Runs a 32-round cycle on one block; both cycles end with the halves exchanged.
template <class Cycle>
void one_block(const unsigned char* in, unsigned char* out, const Cycle& cycle) {
  uint32_t n1 = load_word(in);
  uint32_t n2 = load_word(in + 4);
  cycle(&n1, &n2);
  store_word(out, n2);
  store_word(out + 4, n1);
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

Gost::Gost() : key{}, iv{}, cur_iv{} { kboxinit(); }

Gost::~Gost() = default;

void Gost::set_key(unsigned int const* new_key) { memcpy(key, new_key, sizeof key); }

void Gost::set_key_short(unsigned int const* short_key) {
  const unsigned int a = short_key[0];
  const unsigned int b = short_key[1];
  const unsigned int expanded[8] = {a, b, b, a, b, b, a, a};
  memcpy(key, expanded, sizeof key);
}

void Gost::set_key_string(char const* text) {
  unsigned char bytes[kKeyBytes] = {};
  const size_t length = strlen(text);
  if (length > 0) {
    for (size_t j = 0; j < kKeyBytes; ++j) bytes[j] ^= static_cast<unsigned char>(text[j % length]);
    for (size_t j = kKeyBytes; j < length; ++j) {
      bytes[j % kKeyBytes] ^= static_cast<unsigned char>(text[j]);
    }
  }
  memcpy(key, bytes, sizeof key);
}

void Gost::set_key_random() {
  for (unsigned int& word : key) word = random_word();
}

void Gost::get_key(unsigned int* out) { memcpy(out, key, sizeof key); }

void Gost::set_iv(unsigned int const* new_iv) { memcpy(iv, new_iv, sizeof iv); }

void Gost::set_iv_random() {
  iv[0] = random_word();
  iv[1] = random_word();
  const uint32_t now = static_cast<uint32_t>(time(nullptr));
  iv[0] ^= now;
  iv[1] ^= now;
}

void Gost::get_iv(unsigned int* out) { memcpy(out, iv, sizeof iv); }

void Gost::update_cur_iv() { memcpy(iv, cur_iv, sizeof iv); }

void Gost::crypt(unsigned int const* in, unsigned int* out) { crypt(in, out, key); }

void Gost::decrypt(unsigned int const* in, unsigned int* out) { decrypt(in, out, key); }

void Gost::stream(unsigned int const* in, unsigned int* out, int len) {
  memcpy(cur_iv, iv, sizeof cur_iv);
  stream(in, out, len, iv, key);
}

void Gost::cfb_encrypt(unsigned int const* in, unsigned int* out, int len) {
  memcpy(cur_iv, iv, sizeof cur_iv);
  cfb_encrypt(in, out, len, cur_iv, key);
}

void Gost::cfb_decrypt(unsigned int const* in, unsigned int* out, int len) {
  memcpy(cur_iv, iv, sizeof cur_iv);
  cfb_decrypt(in, out, len, cur_iv, key);
}

void Gost::mac(unsigned int const* in, int len, unsigned int* out) { mac(in, len, out, key); }

void Gost::crypt(unsigned int const* in, unsigned int* out, unsigned int const* with_key) {
  const ByteTables tables{k87, k65, k43, k21};
  one_block(bytes_of(in), bytes_of(out), [&](uint32_t* n1, uint32_t* n2) {
    q7::internal::encipher<1>(ByteRound{tables}, with_key, n1, n2);
  });
}

void Gost::decrypt(unsigned int const* in, unsigned int* out, unsigned int const* with_key) {
  const ByteTables tables{k87, k65, k43, k21};
  one_block(bytes_of(in), bytes_of(out), [&](uint32_t* n1, uint32_t* n2) {
    q7::internal::decipher<1>(ByteRound{tables}, with_key, n1, n2);
  });
}

void Gost::stream(unsigned int const* in, unsigned int* out, int len, unsigned int const* start_iv,
                  unsigned int const* with_key) {
  if (len <= 0) return;
  unsigned int counter[2];
  crypt(start_iv, counter, with_key);
  const ByteTables tables{k87, k65, k43, k21};
  q7::internal::cipher_kernels().gamma(tables, with_key, counter, bytes_of(in), bytes_of(out),
                                       static_cast<size_t>(len));
}

void Gost::cfb_encrypt(unsigned int const* in, unsigned int* out, int len, unsigned int* chain,
                       unsigned int const* with_key) {
  if (len <= 0) return;
  const ByteTables tables{k87, k65, k43, k21};
  run_chained(tables, static_cast<size_t>(len), [&](const auto& f, size_t blocks) {
    cfb_encrypt_chain(f, with_key, chain, bytes_of(in), bytes_of(out), blocks);
  });
}

void Gost::cfb_decrypt(unsigned int const* in, unsigned int* out, int len, unsigned int* chain,
                       unsigned int const* with_key) {
  if (len <= 0) return;
  const ByteTables tables{k87, k65, k43, k21};
  q7::internal::cipher_kernels().cfb_decrypt(tables, with_key, chain, bytes_of(in), bytes_of(out),
                                             static_cast<size_t>(len));
}

void Gost::mac(unsigned int const* in, int len, unsigned int* out, unsigned int const* with_key) {
  if (len <= 0) return;
  const ByteTables tables{k87, k65, k43, k21};
  run_chained(tables, static_cast<size_t>(len), [&](const auto& f, size_t blocks) {
    mac_chain(f, with_key, bytes_of(in), blocks, out);
  });
}
