#include "q7/cipher/gost.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <random>
#include <string>
#include <vector>

#include "q7/cipher/internal/rounds.h"

namespace {

using Words = std::vector<unsigned int>;

constexpr unsigned int kKey[8] = {0x01234567, 0x89abcdef, 0xfedcba98, 0x76543210,
                                  0x0f1e2d3c, 0x4b5a6978, 0x8796a5b4, 0xc3d2e1f0};
constexpr unsigned int kIv[2] = {0x11223344, 0x55667788};

Words random_words(size_t count, unsigned seed) {
  std::mt19937 generator(seed);
  Words words(count);
  for (unsigned int& word : words) word = generator();
  return words;
}

Gost keyed() {
  Gost gost;
  gost.set_key(kKey);
  gost.set_iv(kIv);
  return gost;
}

Words key_of(Gost& gost) {
  Words key(8);
  gost.get_key(key.data());
  return key;
}

Words iv_of(Gost& gost) {
  Words iv(2);
  gost.get_iv(iv.data());
  return iv;
}

TEST(Gost, EveryModeInvertsItselfInPlaceAndOut) {
  Gost gost = keyed();
  for (int len : {0, 1, 2, 7, 16, 33, 300}) {
    const Words plain = random_words(2 * len, len);
    Words coded(plain.size());
    Words back(plain.size());
    gost.stream(plain.data(), coded.data(), len);
    gost.stream(coded.data(), back.data(), len);
    EXPECT_EQ(back, plain) << "stream len=" << len;
    if (len > 0) {
      EXPECT_NE(coded, plain) << "stream len=" << len;
    }

    gost.cfb_encrypt(plain.data(), coded.data(), len);
    back = coded;
    gost.cfb_decrypt(back.data(), back.data(), len);
    EXPECT_EQ(back, plain) << "cfb len=" << len;

    for (int b = 0; b < len; ++b) {
      unsigned int block[2] = {plain[2 * b], plain[2 * b + 1]};
      gost.crypt(block, block);
      gost.decrypt(block, block);
      EXPECT_EQ(Words(block, block + 2), Words(&plain[2 * b], &plain[2 * b] + 2)) << "block " << b;
    }
  }
}

TEST(Gost, ShortAndTextKeys) {
  Gost gost;
  const unsigned int pair[2] = {0xaaaaaaaa, 0xbbbbbbbb};
  gost.set_key_short(pair);
  const unsigned int a = pair[0];
  const unsigned int b = pair[1];
  EXPECT_EQ(key_of(gost), (Words{a, b, b, a, b, b, a, a}));

  const struct {
    std::string text;
    std::string key_bytes;
  } cases[] = {
      {"", std::string(32, '\0')},
      {"xyz", "xyzxyzxyzxyzxyzxyzxyzxyzxyzxyzxy"},
      {"abcdefghijklmnopqrstuvwxyz012345ABCDEFGH",
       [] {
         std::string bytes = "abcdefghijklmnopqrstuvwxyz012345";
         for (int j = 0; j < 8; ++j) bytes[j] ^= "ABCDEFGH"[j];
         return bytes;
       }()},
  };
  for (const auto& c : cases) {
    gost.set_key_string(c.text.c_str());
    const Words key = key_of(gost);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(key.data()), 32), c.key_bytes)
        << "text=" << c.text;
  }
}

TEST(Gost, RandomKeyAndIvDrawThreeValuesPerWord) {
  Gost gost;
  srand(7);
  gost.set_key_random();
  srand(7);
  for (unsigned int word : key_of(gost)) {
    const unsigned int r1 = rand();
    const unsigned int r2 = rand();
    const unsigned int r3 = rand();
    EXPECT_EQ(word, (r1 << 17) ^ (r2 << 9) ^ r3);
  }
  // Both IV words carry the same time, so it cancels out of their XOR.
  srand(9);
  gost.set_iv_random();
  srand(9);
  Words drawn(2);
  for (unsigned int& word : drawn) {
    const unsigned int r1 = rand();
    const unsigned int r2 = rand();
    word = (r1 << 17) ^ (r2 << 9) ^ static_cast<unsigned int>(rand());
  }
  const Words iv = iv_of(gost);
  EXPECT_EQ(iv[0] ^ iv[1], drawn[0] ^ drawn[1]);
}

TEST(Gost, NewObjectStartsWithZeroKeyAndIv) {
  Gost gost;
  EXPECT_EQ(key_of(gost), Words(8, 0));
  EXPECT_EQ(iv_of(gost), Words(2, 0));
}

TEST(GammaCounter, AddsWithEndAroundCarry) {
  using q7::internal::add_end_around;
  using q7::internal::advance_end_around;
  const struct {
    unsigned int value, step, sum;
  } cases[] = {{0xFEFEFEFF, 0x01010101, 0x00000001}, {0xFEFEFEFE, 0x01010101, 0xFFFFFFFF},
               {0xFEFEFEFC, 0x01010104, 0x00000001}, {0xFFFFFFFF, 0x01010101, 0x01010101},
               {0x00000000, 0x01010104, 0x01010104}, {0x12345678, 0x01010101, 0x13355779}};
  for (const auto& c : cases) {
    EXPECT_EQ(add_end_around(c.value, c.step), c.sum) << std::hex << c.value << "+" << c.step;
  }
  // The closed form that the vector paths use to start their lanes.
  for (unsigned int start : {0x00000000u, 0xFEFEFEFEu, 0xFFFFFFFFu, 0x7A5B3C1Du}) {
    unsigned int value = start;
    for (uint64_t count = 1; count <= 600; ++count) {
      value = add_end_around(value, 0x01010104);
      ASSERT_EQ(advance_end_around(start, 0x01010104, count), value)
          << std::hex << start << " count=" << std::dec << count;
    }
  }
}

// The gamma of each block is the encipherment of the counter, which starts as the
// encipherment of the IV; choosing the IV as the decipherment of a counter near the top
// makes both counter words carry out within the first blocks.
TEST(GammaCounter, StreamCarriesBothWordsEndAround) {
  Gost gost = keyed();
  const unsigned int start[2] = {0xFCFCFCFC, 0xFBFBFBF0};
  unsigned int iv[2];
  gost.decrypt(start, iv);
  gost.set_iv(iv);
  const int len = 40;
  const Words zeros(2 * len, 0);
  Words gamma(2 * len);
  gost.stream(zeros.data(), gamma.data(), len);

  unsigned int counter[2] = {start[0], start[1]};
  bool carried[2] = {false, false};
  for (int b = 0; b < len; ++b) {
    const unsigned int before[2] = {counter[0], counter[1]};
    counter[0] = q7::internal::add_end_around(counter[0], 0x01010101);
    counter[1] = q7::internal::add_end_around(counter[1], 0x01010104);
    carried[0] |= counter[0] < before[0];
    carried[1] |= counter[1] < before[1];
    unsigned int expected[2];
    gost.crypt(counter, expected);
    EXPECT_EQ(Words(expected, expected + 2), Words(&gamma[2 * b], &gamma[2 * b] + 2))
        << "block " << b;
  }
  EXPECT_TRUE(carried[0] && carried[1]);
}

TEST(Cfb, ChainCarriesOverCallsOnlyThroughUpdateCurIv) {
  Gost gost = keyed();
  const Words plain = random_words(2 * 12, 5);
  Words whole(plain.size());
  gost.cfb_encrypt(plain.data(), whole.data(), 12);

  Words pieces(plain.size());
  gost.cfb_encrypt(plain.data(), pieces.data(), 5);
  gost.cfb_encrypt(plain.data() + 10, pieces.data() + 10, 7);
  EXPECT_EQ(Words(pieces.begin(), pieces.begin() + 10), Words(whole.begin(), whole.begin() + 10));
  EXPECT_NE(Words(pieces.begin() + 10, pieces.end()), Words(whole.begin() + 10, whole.end()));
  EXPECT_EQ(iv_of(gost), Words(kIv, kIv + 2));

  gost.cfb_encrypt(plain.data(), pieces.data(), 5);
  gost.update_cur_iv();
  gost.cfb_encrypt(plain.data() + 10, pieces.data() + 10, 7);
  EXPECT_EQ(pieces, whole);
  gost.update_cur_iv();
  EXPECT_EQ(iv_of(gost), Words(whole.end() - 2, whole.end()));

  // Deciphering continues the same way.
  gost.set_iv(kIv);
  Words back(plain.size());
  gost.cfb_decrypt(whole.data(), back.data(), 3);
  gost.update_cur_iv();
  gost.cfb_decrypt(whole.data() + 6, back.data() + 6, 9);
  EXPECT_EQ(back, plain);
}

TEST(Gost, ExplicitKeyFormsMatchObjectFormsAndLeaveObjectAlone) {
  Gost gost;
  const Words plain = random_words(2 * 20, 8);
  Gost reference = keyed();
  for (int len : {1, 20}) {
    Words expected(plain.size());
    Words got(plain.size());
    unsigned int chain[2] = {kIv[0], kIv[1]};
    reference.stream(plain.data(), expected.data(), len);
    gost.stream(plain.data(), got.data(), len, kIv, kKey);
    EXPECT_EQ(got, expected) << "stream len=" << len;
    reference.cfb_encrypt(plain.data(), expected.data(), len);
    gost.cfb_encrypt(plain.data(), got.data(), len, chain, kKey);
    EXPECT_EQ(got, expected) << "cfb_encrypt len=" << len;
    EXPECT_EQ(Words(chain, chain + 2), Words(&got[2 * len - 2], &got[2 * len])) << "len=" << len;
    chain[0] = kIv[0];
    chain[1] = kIv[1];
    reference.cfb_decrypt(plain.data(), expected.data(), len);
    gost.cfb_decrypt(plain.data(), got.data(), len, chain, kKey);
    EXPECT_EQ(got, expected) << "cfb_decrypt len=" << len;
    unsigned int mac_expected[2] = {0, 0};
    unsigned int mac_got[2] = {0, 0};
    reference.mac(plain.data(), len, mac_expected);
    gost.mac(plain.data(), len, mac_got, kKey);
    EXPECT_EQ(Words(mac_got, mac_got + 2), Words(mac_expected, mac_expected + 2));
  }
  EXPECT_EQ(key_of(gost), Words(8, 0));
  EXPECT_EQ(iv_of(gost), Words(2, 0));
}

TEST(Mac, ContinuesOverCallsAndZeroBlocksTouchNothing) {
  Gost gost = keyed();
  const Words data = random_words(2 * 40, 11);
  unsigned int whole[2] = {0, 0};
  gost.mac(data.data(), 40, whole);
  unsigned int split[2] = {0, 0};
  gost.mac(data.data(), 3, split);
  gost.mac(data.data() + 6, 37, split);
  EXPECT_EQ(Words(split, split + 2), Words(whole, whole + 2));

  unsigned int untouched[2] = {0xdeadbeef, 0x12345678};
  gost.mac(data.data(), 0, untouched);
  EXPECT_EQ(untouched[0], 0xdeadbeefu);
  EXPECT_EQ(untouched[1], 0x12345678u);
}

// Long runs take other tables than short ones; both must give the same chain.
TEST(Gost, LongChainedRunsMatchShortPieces) {
  Gost gost = keyed();
  const int len = 700;
  const Words plain = random_words(2 * len, 12);
  Words whole(plain.size());
  unsigned int mac_whole[2] = {0, 0};
  gost.cfb_encrypt(plain.data(), whole.data(), len);
  gost.mac(plain.data(), len, mac_whole);

  Words pieces(plain.size());
  unsigned int mac_pieces[2] = {0, 0};
  for (int done = 0; done < len; done += 7) {
    gost.cfb_encrypt(plain.data() + 2 * done, pieces.data() + 2 * done, 7);
    gost.update_cur_iv();
    gost.mac(plain.data() + 2 * done, 7, mac_pieces);
  }
  EXPECT_EQ(pieces, whole);
  EXPECT_EQ(Words(mac_pieces, mac_pieces + 2), Words(mac_whole, mac_whole + 2));
}

TEST(Gost, ZeroLengthModesOnlyResetTheRunningValue) {
  Gost gost = keyed();
  const Words plain = random_words(4, 2);
  Words encrypted(4);
  gost.cfb_encrypt(plain.data(), encrypted.data(), 2);
  Words untouched(4, 0x5a5a5a5a);
  gost.cfb_encrypt(plain.data(), untouched.data(), 0);
  gost.stream(plain.data(), untouched.data(), 0);
  gost.cfb_decrypt(plain.data(), untouched.data(), 0);
  EXPECT_EQ(untouched, Words(4, 0x5a5a5a5a));
  gost.update_cur_iv();
  EXPECT_EQ(iv_of(gost), Words(kIv, kIv + 2));
}

}  // namespace
