// Coding strings: a string to hexadecimal text and back, and the MAC of a string.
#include <stdint.h>
#include <string.h>

#include "q7/cipher/gost.h"
#include "q7/cipher/internal/coding_buffers.h"
#include "q7/cipher/internal/rounds.h"
#include "q7/text/text_utils.h"

using q7::internal::as_words;
using q7::internal::blocks_for;
using q7::internal::kBlockBytes;
using q7::internal::load_word;
using q7::internal::store_word;
using q7::internal::UniqueBlock;
using q7::internal::zeroed_block;

namespace {

constexpr size_t kDigitsPerWord = 8;
constexpr size_t kDigitsPerBlock = 2 * kDigitsPerWord;

// As "%8.8x" writes it, without the formatting machinery.
void write_word(uint32_t word, char* digits) {
  static constexpr char kHexDigits[] = "0123456789abcdef";
  for (size_t i = kDigitsPerWord; i-- > 0; word >>= 4) digits[i] = kHexDigits[word & 15];
}

uint32_t read_word(const char* digits) {
  uint32_t word = 0;
  for (size_t i = 0; i < kDigitsPerWord; ++i) {
    word = (word << 4) | static_cast<uint32_t>(hexval(digits[i]));
  }
  return word;
}

}  // namespace

bool Gost::code_string(char* in, char* out, int out_size, bool encode, bool use_stream) {
  if (in == nullptr || out == nullptr || in[0] == '\0' || out_size < 0) return false;
  const size_t length = strlen(in);
  if (!encode && length % kDigitsPerBlock != 0) return false;
  const size_t n = encode ? length : length / 2;
  const size_t blocks = blocks_for(n);
  const size_t padded = blocks * kBlockBytes;
  const size_t needed = encode ? 2 * padded + 1 : padded + 1;
  if (static_cast<size_t>(out_size) < needed) return false;

  // Two zeroed buffers, each a block longer than the text needs: the extra zeros end the
  // deciphered string, and the second buffer starts on a block boundary.
  const UniqueBlock buffers = zeroed_block(2, padded + kBlockBytes);
  if (!buffers) return false;
  unsigned char* const source = buffers.get();
  unsigned char* const result = source + padded + kBlockBytes;

  if (encode) {
    memcpy(source, in, n);
  } else {
    for (size_t w = 0; w < 2 * blocks; ++w) {
      store_word(source + 4 * w, read_word(in + kDigitsPerWord * w));
    }
  }
  // The object forms start from `iv` and move only `cur_iv`.
  if (use_stream) {
    stream(as_words(source), as_words(result), static_cast<int>(blocks));
  } else if (encode) {
    cfb_encrypt(as_words(source), as_words(result), static_cast<int>(blocks));
  } else {
    cfb_decrypt(as_words(source), as_words(result), static_cast<int>(blocks));
  }

  if (encode) {
    for (size_t w = 0; w < 2 * blocks; ++w) write_word(load_word(result + 4 * w), out + 8 * w);
    out[2 * padded] = '\0';
  } else {
    memcpy(out, result, strlen(reinterpret_cast<const char*>(result)) + 1);
  }
  return true;
}

bool Gost::mac_string(char* text, unsigned int* value) {
  const size_t length = strlen(text);
  const size_t blocks = length == 0 ? 1 : blocks_for(length);
  const UniqueBlock buffer = zeroed_block(blocks, kBlockBytes);
  if (!buffer) return false;
  memcpy(buffer.get(), text, length);
  value[0] = 0;
  value[1] = 0;
  mac(as_words(buffer.get()), static_cast<int>(blocks), value);
  return true;
}
