// Tests of coded strings: the hexadecimal digits, both modes, and the output size.
#include <ctype.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <string>

#include "q7/cipher/gost.h"

namespace {

constexpr unsigned int kIv[2] = {0x0badcafe, 0x8badf00d};

Gost keyed() {
  Gost gost;
  gost.set_key_string("string coding test key");
  gost.set_iv(kIv);
  return gost;
}

using Mode = void (Gost::*)(unsigned int const*, unsigned int*, int);

bool code(Gost& gost, const char* in, char* out, int out_size, bool encode, bool stream) {
  return gost.code_string(const_cast<char*>(in), out, out_size, encode, stream);
}

// Enciphering needs 2 * P + 1 bytes and deciphering P + 1, P being the text padded to
// whole blocks; deciphering takes only a multiple of 16 digits. A failure writes nothing,
// a success nothing past its terminator.
TEST(CodeString, ChecksSizesAndLengthsAndWritesOnlyItsResult) {
  Gost gost = keyed();
  const struct {
    const char* in;
    bool encode;
    int out_size;
    bool ok;
  } cases[] = {{"hello", true, 17, true},      {"0123456789abcdef", false, 9, true},
               {"hello", true, 16, false},     {"0123456789ABCDEF", false, 8, false},
               {"12345678", true, 17, true},   {"0123456789abcdef0", false, 64, false},
               {"123456789", true, 33, true},  {"0123456789abcdef01234567", false, 64, false},
               {"123456789", true, 32, false}, {"", true, 64, false}};
  char out[64];
  for (bool stream : {false, true}) {
    for (const auto& c : cases) {
      memset(out, 'Z', sizeof out);
      EXPECT_EQ(code(gost, c.in, out, c.out_size, c.encode, stream), c.ok) << c.in << c.out_size;
      const size_t written = c.ok ? strnlen(out, sizeof out - 1) + 1 : 0;
      EXPECT_LE(written, static_cast<size_t>(c.out_size)) << c.in;
      EXPECT_TRUE(std::all_of(out + written, std::end(out), [](char z) { return z == 'Z'; }))
          << c.in;
    }
  }
  EXPECT_FALSE(gost.code_string(nullptr, out, sizeof out, true, false));
  EXPECT_FALSE(code(gost, "text", nullptr, sizeof out, true, false));
}

// The digits are the enciphered words, each as "%8.8x"; either case reads back. Every call
// starts from the IV, which the coding leaves alone.
TEST(CodeString, DigitsAreTheEncipheredWordsAndReadBack) {
  Gost gost = keyed();
  for (bool stream : {false, true}) {
    for (const std::string text : {"a", "exactly8", "a text of several blocks, 41 characters"}) {
      std::string words = text;
      words.resize((text.size() + 7) / 8 * 8, '\0');
      auto* data = reinterpret_cast<unsigned int*>(words.data());
      const int blocks = static_cast<int>(words.size() / 8);
      (gost.*(stream ? Mode{&Gost::stream} : Mode{&Gost::cfb_encrypt}))(data, data, blocks);
      char expected[128] = {}, coded[128], back[64];
      for (int w = 0; w < 2 * blocks; ++w) snprintf(expected + 8 * w, 9, "%8.8x", data[w]);
      ASSERT_TRUE(code(gost, text.c_str(), coded, sizeof coded, true, stream)) << text;
      EXPECT_STREQ(coded, expected);
      std::transform(coded, coded + strlen(coded), coded, [](char c) { return toupper(c); });
      for (const char* digits : {expected, coded}) {
        ASSERT_TRUE(code(gost, digits, back, sizeof back, false, stream)) << digits;
        EXPECT_EQ(back, text) << digits;
      }
    }
  }
  unsigned int iv[2];
  gost.get_iv(iv);
  EXPECT_TRUE(iv[0] == kIv[0] && iv[1] == kIv[1]);
}

}  // namespace
