// Calls into the peers that this build found (Q7_HAVE_<PEER>).
#include "tests/support/cipher/cipher_peers.h"

#include <string.h>

#ifdef Q7_HAVE_CRYPTOPP
#include <crypto++/gost.h>
#include <crypto++/modes.h>
#endif
#ifdef Q7_HAVE_GCRYPT
#include <gcrypt.h>
#endif
#ifdef Q7_HAVE_BOTAN
#include <botan/cipher_mode.h>
#endif
#ifdef Q7_HAVE_OPENSSL
// The engine interface is the only way to reach the engine's ciphers with their controls.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/engine.h>
#include <openssl/evp.h>
#include <openssl/objects.h>
#endif

namespace q7test::peers {

#ifdef Q7_HAVE_CRYPTOPP
bool cryptopp_cfb(bool encrypt, const uint8_t* key, const uint8_t* iv, const uint8_t* in,
                  uint8_t* out, size_t bytes) {
  CryptoPP::CFB_Mode<CryptoPP::GOST>::Encryption enciphering(key, 32, iv);
  CryptoPP::CFB_Mode<CryptoPP::GOST>::Decryption deciphering(key, 32, iv);
  (encrypt ? static_cast<CryptoPP::StreamTransformation&>(enciphering) : deciphering)
      .ProcessData(out, in, bytes);
  return true;
}
#else
bool cryptopp_cfb(bool, const uint8_t*, const uint8_t*, const uint8_t*, uint8_t*, size_t) {
  return false;
}
#endif

#ifdef Q7_HAVE_GCRYPT
namespace {

constexpr char kTestRows[] = "1.2.643.2.2.30.0";

bool gcrypt_ready() {
  static const bool ready = gcry_check_version(nullptr) != nullptr &&
                            gcry_control(GCRYCTL_DISABLE_SECMEM, 0) == 0 &&
                            gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0) == 0;
  return ready;
}

}  // namespace

bool gcrypt_cfb(bool encrypt, const uint8_t* key, const uint8_t* iv, const uint8_t* in,
                uint8_t* out, size_t bytes) {
  gcry_cipher_hd_t handle;
  if (!gcrypt_ready() ||
      gcry_cipher_open(&handle, GCRY_CIPHER_GOST28147, GCRY_CIPHER_MODE_CFB, 0) != 0) {
    return false;
  }
  const bool ok = gcry_cipher_ctl(handle, GCRYCTL_SET_SBOX, const_cast<char*>(kTestRows), 0) == 0 &&
                  gcry_cipher_setkey(handle, key, 32) == 0 &&
                  gcry_cipher_setiv(handle, iv, 8) == 0 &&
                  (encrypt ? gcry_cipher_encrypt(handle, out, bytes, in, bytes)
                           : gcry_cipher_decrypt(handle, out, bytes, in, bytes)) == 0;
  gcry_cipher_close(handle);
  return ok;
}

bool gcrypt_mac(const uint8_t* key, const uint8_t* data, size_t bytes, uint8_t* mac) {
  if (!gcrypt_ready()) return false;
  gcry_mac_hd_t handle;
  if (gcry_mac_open(&handle, GCRY_MAC_GOST28147_IMIT, 0, nullptr) != 0) return false;
  size_t length = 8;
  const bool ok = gcry_mac_setkey(handle, key, 32) == 0 &&
                  gcry_mac_write(handle, data, bytes) == 0 &&
                  gcry_mac_read(handle, mac, &length) == 0 && length == 8;
  gcry_mac_close(handle);
  return ok;
}
#else
bool gcrypt_cfb(bool, const uint8_t*, const uint8_t*, const uint8_t*, uint8_t*, size_t) {
  return false;
}
bool gcrypt_mac(const uint8_t*, const uint8_t*, size_t, uint8_t*) { return false; }
#endif

#ifdef Q7_HAVE_BOTAN
bool botan_cfb(bool encrypt, const uint8_t* key, const uint8_t* iv, const uint8_t* in, uint8_t* out,
               size_t bytes) {
  auto mode = Botan::Cipher_Mode::create("GOST-28147-89/CFB",
                                         encrypt ? Botan::ENCRYPTION : Botan::DECRYPTION);
  if (!mode) return false;
  mode->set_key(key, 32);
  mode->start(iv, 8);
  memcpy(out, in, bytes);
  mode->process(out, bytes);
  return true;
}
#else
bool botan_cfb(bool, const uint8_t*, const uint8_t*, const uint8_t*, uint8_t*, size_t) {
  return false;
}
#endif

#ifdef Q7_HAVE_OPENSSL
namespace {

ENGINE* gost_engine() {
  static ENGINE* const engine = [] {
    ENGINE_load_builtin_engines();
    ENGINE* found = ENGINE_by_id("gost");
    if (found != nullptr && ENGINE_init(found) != 1) {
      ENGINE_free(found);
      found = nullptr;
    }
    return found;
  }();
  return engine;
}

}  // namespace

bool engine_gamma(const uint8_t* key, const uint8_t* iv, const uint8_t* in, uint8_t* out,
                  size_t bytes) {
  ENGINE* engine = gost_engine();
  const EVP_CIPHER* cipher =
      engine != nullptr ? ENGINE_get_cipher(engine, OBJ_txt2nid("gost89-cnt")) : nullptr;
  if (cipher == nullptr) return false;
  EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
  int produced = 0;
  const bool ok = EVP_EncryptInit_ex(context, cipher, engine, key, iv) == 1 &&
                  EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_KEY_MESH, 0, nullptr) == 1 &&
                  EVP_EncryptUpdate(context, out, &produced, in, static_cast<int>(bytes)) == 1 &&
                  static_cast<size_t>(produced) == bytes;
  EVP_CIPHER_CTX_free(context);
  return ok;
}
#else
bool engine_gamma(const uint8_t*, const uint8_t*, const uint8_t*, uint8_t*, size_t) {
  return false;
}
#endif

}  // namespace q7test::peers
