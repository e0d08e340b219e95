// Gost with the published rows that the peers use instead of the library's own: the same
// code, only the byte tables differ.
#pragma once

#include "q7/cipher/gost.h"
#include "q7/cipher/internal/rounds.h"

namespace q7test {

class GostWithRows : public Gost {
 protected:
  void use_rows(const unsigned char* const (&k8_to_k1)[8]) {
    q7::internal::build_byte_table(k8_to_k1[0], k8_to_k1[1], k87);
    q7::internal::build_byte_table(k8_to_k1[2], k8_to_k1[3], k65);
    q7::internal::build_byte_table(k8_to_k1[4], k8_to_k1[5], k43);
    q7::internal::build_byte_table(k8_to_k1[6], k8_to_k1[7], k21);
  }
};

// The GOST R 34.11-94 test rows (Crypto++, libgcrypt, Botan).
class TestRowsGost : public GostWithRows {
 public:
  TestRowsGost() {
#include "tests/support/cipher/test_paramset_rows.inc"
    use_rows({k8, k7, k6, k5, k4, k3, k2, k1});
  }
};

// The CryptoPro-A rows (the OpenSSL GOST engine's default, libgcrypt's MAC).
class CryptoProARowsGost : public GostWithRows {
 public:
  CryptoProARowsGost() {
#include "tests/support/cipher/cryptopro_a_rows.inc"
    use_rows({k8, k7, k6, k5, k4, k3, k2, k1});
  }
};

}  // namespace q7test
