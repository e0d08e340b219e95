// Keys, IVs, single blocks and the four modes of Gost.
#include "q7/cipher/gost.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "q7/cipher/internal/kernels.h"
#include "q7/cipher/internal/rounds.h"

using q7::internal::ByteRound;
using q7::internal::ByteTables;
using q7::internal::load_word;
using q7::internal::store_word;

namespace {

constexpr size_t kKeyBytes = 32;

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

// Runs a 32-round cycle on one block; both cycles end with the halves exchanged.
template <class Cycle>
void one_block(const unsigned char* in, unsigned char* out, const Cycle& cycle) {
  uint32_t n1 = load_word(in);
  uint32_t n2 = load_word(in + 4);
  cycle(&n1, &n2);
  store_word(out, n2);
  store_word(out + 4, n1);
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
  q7::internal::cipher_kernels().cfb_encrypt(tables, with_key, chain, bytes_of(in), bytes_of(out),
                                             static_cast<size_t>(len));
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
  q7::internal::cipher_kernels().mac(tables, with_key, bytes_of(in), static_cast<size_t>(len), out);
}
