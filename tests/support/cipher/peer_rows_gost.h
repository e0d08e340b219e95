// Gost with the published rows that the peers use instead of the library's own: the same
// code, only the byte tables differ.
#pragma once

#include "q7/cipher/gost.h"
#include "q7/cipher/internal/rounds.h"

namespace q7test {

class GostWithRows : public Gost {
 protected:
  void use_rows(const unsigned char* k8, const unsigned char* k7, const unsigned char* k6,
                const unsigned char* k5, const unsigned char* k4, const unsigned char* k3,
                const unsigned char* k2, const unsigned char* k1) {
    q7::internal::build_byte_table(k8, k7, k87);
    q7::internal::build_byte_table(k6, k5, k65);
    q7::internal::build_byte_table(k4, k3, k43);
    q7::internal::build_byte_table(k2, k1, k21);
  }
};

// The GOST R 34.11-94 test rows (Crypto++, libgcrypt, Botan).
class TestRowsGost : public GostWithRows {
 public:
  TestRowsGost() {
#include "tests/support/cipher/test_paramset_rows.inc"
    use_rows(k8, k7, k6, k5, k4, k3, k2, k1);
  }
};

// The CryptoPro-A rows (the OpenSSL GOST engine's default, libgcrypt's MAC).
class CryptoProARowsGost : public GostWithRows {
 public:
  CryptoProARowsGost() {
#include "tests/support/cipher/cryptopro_a_rows.inc"
    use_rows(k8, k7, k6, k5, k4, k3, k2, k1);
  }
};

}  // namespace q7test
