// Tests of the cipher object: keys from text, the gamma counter, zero-length modes.
#include "q7/cipher/gost.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Words = std::vector<unsigned int>;

constexpr unsigned int kKey[8] = {0x01234567, 0x89abcdef, 0xfedcba98, 0x76543210,
                                  0x0f1e2d3c, 0x4b5a6978, 0x8796a5b4, 0xc3d2e1f0};
const Words kIv = {0x11223344, 0x55667788};

Gost keyed() {
  Gost gost;
  gost.set_key(kKey);
  gost.set_iv(kIv.data());
  return gost;
}

TEST(GostKey, ShortFormAndTextFolding) {
  Gost gost;
  const unsigned int a = 0xaaaaaaaa, b = 0xbbbbbbbb, pair[2] = {a, b};
  Words key(8);
  gost.set_key_short(pair);
  gost.get_key(key.data());
  EXPECT_EQ(key, (Words{a, b, b, a, b, b, a, a}));
  const std::string cases[][2] = {
      {"", std::string(32, '\0')},
      {"xyz", "xyzxyzxyzxyzxyzxyzxyzxyzxyzxyzxy"},
      {"abcdefghijklmnopqrstuvwxyz012345ABCDEFGH", "        ijklmnopqrstuvwxyz012345"},
      {std::string(64, 'a') + "bc", "bc" + std::string(30, '\0')}};
  for (const auto& [text, key_bytes] : cases) {
    gost.set_key_string(text.c_str());
    gost.get_key(key.data());
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(key.data()), 32), key_bytes) << text;
  }
}

// The counter, which starts as the encipherment of the IV, steps by 0x01010101 and
// 0x01010104 with end-around carry: 0xFEFEFEFE steps to 0xFFFFFFFF and that to 0x01010101;
// 0xFEFEFEFC steps to 0x00000001.
TEST(Gamma, CounterWordsCarryEndAround) {
  Gost gost = keyed();
  const unsigned int start[2] = {0xFDFDFDFD, 0xFDFDFDF8};
  const unsigned int counters[6] = {0xFEFEFEFE, 0xFEFEFEFC, 0xFFFFFFFF,
                                    0x00000001, 0x01010101, 0x01010105};
  unsigned int iv[2], gamma[6] = {}, expected[6];
  gost.decrypt(start, iv);
  gost.stream(gamma, gamma, 3, iv, kKey);
  for (int b = 0; b < 3; ++b) gost.crypt(counters + 2 * b, expected + 2 * b);
  EXPECT_EQ(Words(gamma, gamma + 6), Words(expected, expected + 6));
}

// Zero blocks touch no data, yet the object forms still restart the running value.
TEST(Modes, ZeroBlocksTouchNothingButRestartTheChain) {
  using Mode = void (Gost::*)(unsigned int const*, unsigned int*, int);
  const Mode modes[] = {&Gost::stream, &Gost::cfb_encrypt, &Gost::cfb_decrypt};
  Gost gost = keyed();
  unsigned int data[2] = {1, 2}, value[2] = {3, 4}, moved[2];
  Words iv(2);
  for (int m = 0; m < 3; ++m) {
    gost.cfb_encrypt(data, moved, 1);
    (gost.*modes[m])(moved, data, 0);
    gost.update_cur_iv();
    gost.get_iv(iv.data());
    EXPECT_EQ(iv, kIv) << "mode " << m;
  }
  gost.mac(data, 0, value);
  EXPECT_EQ(Words({data[0], data[1], value[0], value[1]}), (Words{1, 2, 3, 4}));
}

}  // namespace
