// A diagnostic for a peer of the other byte order: the first block of the last record read
// deciphered under every combination of reversed words.
#include <stdio.h>
#include <string.h>

#include "q7/cipher/gost.h"
#include "q7/net/netio_x.h"
#include "q7/runtime/byte_order.h"

namespace {

constexpr int kKeyWords = 8;
constexpr int kBlockWords = 2;

// A copy of `words`, each reversed when `swap` is set.
template <int Count>
void copy_words(const unsigned int* words, bool swap, unsigned int* out) {
  memcpy(out, words, sizeof(unsigned int) * Count);
  if (swap) word32_swab_vec(out, Count);
}

}  // namespace

void Netio_x::decrypt_try_exhaustive(tagSOCKETXS* record) {
  if (record == nullptr || record->cipher == nullptr) return;
  Gost& cipher = *record->cipher;
  unsigned int saved_key[kKeyWords];
  unsigned int saved_iv[kBlockWords];
  unsigned int saved_block[kBlockWords];
  cipher.get_key(saved_key);
  cipher.get_iv(saved_iv);
  memcpy(saved_block, record->cipher_buf, sizeof saved_block);

  printf("+++++++++\n");
  for (int sw_key = 0; sw_key < 2; ++sw_key) {
    for (int sw_iv = 0; sw_iv < 2; ++sw_iv) {
      for (int sw_crypt = 0; sw_crypt < 2; ++sw_crypt) {
        unsigned int key[kKeyWords];
        unsigned int iv[kBlockWords];
        unsigned int block[kBlockWords];
        copy_words<kKeyWords>(saved_key, sw_key != 0, key);
        copy_words<kBlockWords>(saved_iv, sw_iv != 0, iv);
        copy_words<kBlockWords>(saved_block, sw_crypt != 0, block);
        cipher.set_iv(iv);
        cipher.set_key(key);
        cipher.cfb_decrypt(block, block, 1);
        for (int sw_plain = 0; sw_plain < 2; ++sw_plain) {
          if (sw_plain != 0) word32_swab_vec(block, kBlockWords);
          printf("sw_key:%d sw_iv:%d sw_crypt:%d sw_plain:%d result:%d\n", sw_key, sw_iv, sw_crypt,
                 sw_plain, static_cast<int>(block[0]));
        }
      }
    }
  }
  printf("+++++++++\n");
  fflush(stdout);
  cipher.set_key(saved_key);
  cipher.set_iv(saved_iv);
  memcpy(record->cipher_buf, saved_block, sizeof saved_block);
}
