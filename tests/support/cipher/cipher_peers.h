// Calls into independent implementations of the cipher, for the cross-check tests and the
// benchmarks. Keys, IVs and data are bytes in the cipher's little-endian word order.
// Each call returns false when its peer is not available on this machine.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace q7test::peers {

// Crypto++ (GOST with the R 34.11-94 test rows): full-block CFB.
bool cryptopp_cfb(bool encrypt, const uint8_t* key, const uint8_t* iv, const uint8_t* in,
                  uint8_t* out, size_t bytes);

// libgcrypt (GCRY_CIPHER_GOST28147 with the R 34.11-94 test rows): CFB; and its GOST MAC
// (GCRY_MAC_GOST28147_IMIT, CryptoPro-A rows), 8 bytes.
bool gcrypt_cfb(bool encrypt, const uint8_t* key, const uint8_t* iv, const uint8_t* in,
                uint8_t* out, size_t bytes);
bool gcrypt_mac(const uint8_t* key, const uint8_t* data, size_t bytes, uint8_t* mac);

// Botan (GOST-28147-89 with the R 34.11-94 test rows): full-block CFB.
bool botan_cfb(bool encrypt, const uint8_t* key, const uint8_t* iv, const uint8_t* in, uint8_t* out,
               size_t bytes);

// The OpenSSL GOST engine's gost89-cnt (CryptoPro-A rows) with key meshing off.
bool engine_gamma(const uint8_t* key, const uint8_t* iv, const uint8_t* in, uint8_t* out,
                  size_t bytes);

}  // namespace q7test::peers
