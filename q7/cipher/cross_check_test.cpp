// The cipher against independent implementations, run with the peers' published rows.
#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

#include "tests/support/cipher/cipher_peers.h"
#include "tests/support/cipher/peer_rows_gost.h"

namespace {

namespace peers = q7test::peers;
using Bytes = std::vector<uint8_t>;

Bytes random_bytes(std::mt19937& generator, size_t count) {
  Bytes bytes(count);
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(generator());
  return bytes;
}

unsigned int* words(Bytes& bytes) { return reinterpret_cast<unsigned int*>(bytes.data()); }

// Single blocks come from each peer's CFB over one zero block, which enciphers the IV.
// Our side runs in place throughout.
TEST(CrossCheck, BlocksAndCfbMatchCryptoppLibgcryptAndBotan) {
  const std::pair<const char*, decltype(&peers::cryptopp_cfb)> all[] = {
      {"Crypto++ (libcrypto++-dev)", peers::cryptopp_cfb},
      {"libgcrypt (libgcrypt20-dev)", peers::gcrypt_cfb},
      {"Botan (libbotan-2-dev)", peers::botan_cfb}};
  std::mt19937 generator(2);
  q7test::TestRowsGost gost;
  const uint8_t zero_block[8] = {};
  for (const auto& [name, cfb] : all) {
    for (int round = 0; round < 40; ++round) {
      const int len = 1 + static_cast<int>(generator() % 300);
      Bytes key = random_bytes(generator, 32), iv = random_bytes(generator, 8);
      const Bytes plain = random_bytes(generator, 8 * len);
      Bytes theirs(plain.size());
      if (!cfb(true, key.data(), iv.data(), zero_block, theirs.data(), 8))
        GTEST_SKIP() << name << " is not available";
      Bytes ours = iv;
      gost.crypt(words(ours), words(ours), words(key));
      ASSERT_TRUE(std::equal(ours.begin(), ours.end(), theirs.begin())) << name << " block";
      gost.decrypt(words(ours), words(ours), words(key));
      ASSERT_EQ(ours, iv) << name << " round " << round;

      ASSERT_TRUE(cfb(true, key.data(), iv.data(), plain.data(), theirs.data(), plain.size()));
      ours = plain;
      Bytes chain = iv;
      gost.cfb_encrypt(words(ours), words(ours), len, words(chain), words(key));
      ASSERT_EQ(ours, theirs) << name << " enciphering, len=" << len;
      ASSERT_TRUE(std::equal(chain.begin(), chain.end(), ours.end() - 8)) << "len=" << len;
      ASSERT_TRUE(cfb(false, key.data(), iv.data(), ours.data(), theirs.data(), ours.size()));
      chain = iv;
      gost.cfb_decrypt(words(ours), words(ours), len, words(chain), words(key));
      ASSERT_EQ(ours, theirs) << name << " deciphering, len=" << len;
    }
  }
}

// libgcrypt's MAC uses the CryptoPro-A rows and meshes its key after every 1024 bytes, so
// messages stay within that. It follows the standard in running a message of one block as
// that block and a zero block; the library's MAC pads nothing, so the zero block is given.
// Its 8 bytes are both halves of the running value, neither exchanged.
TEST(CrossCheck, MacMatchesLibgcryptImit) {
  std::mt19937 generator(3);
  q7test::CryptoProARowsGost gost;
  for (size_t bytes : {1, 7, 8, 9, 16, 17, 40, 64, 255, 512, 1000, 1024}) {
    for (int round = 0; round < 10; ++round) {
      Bytes key = random_bytes(generator, 32), data = random_bytes(generator, bytes);
      uint8_t theirs[8];
      if (!peers::gcrypt_mac(key.data(), data.data(), data.size(), theirs))
        GTEST_SKIP() << "libgcrypt (libgcrypt20-dev) is not available";
      data.resize(bytes <= 8 ? 16 : (bytes + 7) / 8 * 8, 0);
      unsigned int ours[2] = {0, 0};
      gost.mac(words(data), static_cast<int>(data.size() / 8), ours, words(key));
      ASSERT_EQ(memcmp(ours, theirs, 8), 0) << "bytes=" << bytes << " round " << round;
    }
  }
}

// The engine adds the first counter word modulo 2^32, the library with end-around carry:
// the two agree up to the block whose first counter word first carries out of bit 31.
TEST(CrossCheck, GammaMatchesTheGostEngineUntilTheFirstWordCarries) {
  std::mt19937 generator(4);
  q7test::CryptoProARowsGost gost;
  size_t compared = 0;
  for (int round = 0; round < 60; ++round) {
    const int len = 1 + static_cast<int>(generator() % 400);
    Bytes key = random_bytes(generator, 32), iv = random_bytes(generator, 8),
          ours = random_bytes(generator, 8 * len);
    Bytes theirs(ours.size());
    if (!peers::engine_gamma(key.data(), iv.data(), ours.data(), theirs.data(), ours.size()))
      GTEST_SKIP() << "the OpenSSL GOST engine (libengine-gost-openssl) is not available";
    gost.stream(words(ours), words(ours), len, words(iv), words(key));

    unsigned int counter[2];
    gost.crypt(words(iv), counter, words(key));
    const size_t blocks = std::min<size_t>((0xFFFFFFFFu - counter[0]) / 0x01010101u, len);
    ASSERT_TRUE(std::equal(ours.begin(), ours.begin() + 8 * blocks, theirs.begin()))
        << "len=" << len << " round " << round;
    if (blocks < static_cast<size_t>(len)) {
      EXPECT_FALSE(std::equal(ours.begin(), ours.end(), theirs.begin())) << "round " << round;
    }
    compared += blocks;
  }
  EXPECT_GT(compared, 1000u);
}

}  // namespace
