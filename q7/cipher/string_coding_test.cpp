#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "q7/cipher/gost.h"
#include "tests/support/temp_dir.h"

namespace {

constexpr unsigned int kIv[2] = {0x0badcafe, 0x8badf00d};

Gost keyed() {
  Gost gost;
  gost.set_key_string("string coding test key");
  gost.set_iv(kIv);
  return gost;
}

bool code(Gost& gost, const std::string& in, char* out, int out_size, bool encode, bool stream) {
  return gost.code_string(const_cast<char*>(in.c_str()), out, out_size, encode, stream);
}

TEST(CodeString, LengthsAndOutputSizes) {
  Gost gost = keyed();
  const struct {
    std::string text;
    int out_size;
    bool ok;
    size_t digits;
  } cases[] = {
      {"hello", 17, true, 16},     {"hello", 16, false, 0},     {"12345678", 17, true, 16},
      {"123456789", 33, true, 32}, {"123456789", 32, false, 0}, {"", 64, false, 0},
  };
  for (bool stream : {false, true}) {
    for (const auto& c : cases) {
      char out[64];
      memset(out, 'Z', sizeof out);
      EXPECT_EQ(code(gost, c.text, out, c.out_size, true, stream), c.ok) << c.text;
      if (!c.ok) {
        EXPECT_EQ(out[0], 'Z') << c.text;
        continue;
      }
      EXPECT_EQ(strlen(out), c.digits) << c.text;
      EXPECT_EQ(strspn(out, "0123456789abcdef"), c.digits) << c.text;
      EXPECT_EQ(out[c.digits + 1], 'Z') << c.text;
    }
  }
}

TEST(CodeString, RoundTripsAndReadsEitherCase) {
  Gost gost = keyed();
  for (bool stream : {false, true}) {
    for (const std::string text : {"a", "exactly8", "a text of several blocks, 41 characters"}) {
      char coded[128];
      ASSERT_TRUE(code(gost, text, coded, sizeof coded, true, stream)) << text;
      std::string upper = coded;
      for (char& digit : upper) digit = static_cast<char>(toupper(digit));
      for (const std::string& digits : {std::string(coded), upper}) {
        char back[64];
        const size_t needed = digits.size() / 2 + 1;
        EXPECT_FALSE(code(gost, digits, back, static_cast<int>(needed) - 1, false, stream));
        ASSERT_TRUE(code(gost, digits, back, static_cast<int>(needed), false, stream)) << digits;
        EXPECT_EQ(back, text) << "stream=" << stream;
      }
    }
  }
}

TEST(CodeString, SameKeyAndIvGiveSameTextAndLeaveTheIvAlone) {
  Gost gost = keyed();
  char first[64];
  char second[64];
  ASSERT_TRUE(code(gost, "repeat me", first, sizeof first, true, false));
  ASSERT_TRUE(code(gost, "repeat me", second, sizeof second, true, false));
  EXPECT_STREQ(first, second);
  unsigned int iv[2];
  gost.get_iv(iv);
  EXPECT_EQ(iv[0], kIv[0]);
  EXPECT_EQ(iv[1], kIv[1]);
}

// The digits are the cipher's words, most significant digit first.
TEST(CodeString, DigitsAreTheEncipheredWords) {
  Gost gost = keyed();
  char coded[64];
  ASSERT_TRUE(code(gost, "word", coded, sizeof coded, true, true));
  unsigned int block[2] = {0, 0};
  memcpy(block, "word", 4);
  gost.stream(block, block, 1);
  char expected[17];
  snprintf(expected, sizeof expected, "%8.8x%8.8x", block[0], block[1]);
  EXPECT_STREQ(coded, expected);
}

TEST(CodeString, RefusesTextThatNoCodingWrote) {
  Gost gost = keyed();
  char out[64];
  for (const std::string text : {"abc", "0123456789abcdef01", "0123456789abcdef0"}) {
    EXPECT_FALSE(code(gost, text, out, sizeof out, false, false)) << text;
  }
  EXPECT_FALSE(gost.code_string(nullptr, out, sizeof out, true, false));
  EXPECT_FALSE(gost.code_string(const_cast<char*>("text"), nullptr, 64, true, false));
}

TEST(MacString, MatchesTheFileMacExceptForTheEmptyText) {
  Gost gost = keyed();
  q7test::TempDir dir;
  for (const std::string text : {"abc", "sixteen bytes!!!", "a text of nineteen!"}) {
    ASSERT_TRUE(q7test::write_file(dir.file("text"), text));
    unsigned int from_string[2];
    unsigned int from_file[2];
    ASSERT_TRUE(gost.mac_string(const_cast<char*>(text.c_str()), from_string));
    ASSERT_TRUE(gost.mac_file(const_cast<char*>(dir.file("text").c_str()), from_file));
    EXPECT_EQ(from_string[0], from_file[0]) << text;
    EXPECT_EQ(from_string[1], from_file[1]) << text;
  }
  unsigned int empty[2];
  ASSERT_TRUE(gost.mac_string(const_cast<char*>(""), empty));
  const unsigned int zero_block[2] = {0, 0};
  unsigned int expected[2] = {0, 0};
  gost.mac(zero_block, 1, expected);
  EXPECT_EQ(empty[0], expected[0]);
  EXPECT_EQ(empty[1], expected[1]);
}

}  // namespace
