// Tests of coded files: the format byte by byte, the chunk rule, and damaged files.
#include <gtest/gtest.h>
#include <stdint.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "q7/cipher/gost.h"
#include "tests/support/temp_dir.h"

namespace {

constexpr size_t kWholeFileLimit = 1048576;
constexpr size_t kChunk = 32768;
constexpr size_t kHeader = 12;

// Letters only, shifted from one chunk to the next so that misplaced chunks show.
std::string letters(size_t size) {
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>('a' + ((i * 7919) >> 3) % 26);
  return bytes;
}

char* chars(const std::string& text) { return const_cast<char*>(text.c_str()); }

using Mode = void (Gost::*)(unsigned int const*, unsigned int*, int);

class FileCoding : public testing::Test {
 protected:
  FileCoding() { gost.set_key_string("file coding test key"); }

  bool put(const char* name, const std::string& bytes) {
    return q7test::write_file(dir.file(name), bytes);
  }
  std::string get(const char* name) { return q7test::read_file(dir.file(name)); }
  bool code(const char* in, const char* out, bool encode, bool stream) {
    return gost.code_file(chars(dir.file(in)), chars(dir.file(out)), encode, stream);
  }

  q7test::TempDir dir;
  Gost gost;
};

// The coded file is a fresh IV, the length and the payload: CFB runs on over the whole of
// it, the gamma restarts from the IV at every chunk of a payload over 1 MiB. Deciphering
// gives the plain bytes back and leaves in `iv` where the chain ended (CFB: the last block).
TEST_F(FileCoding, CodedFileIsTheHeaderThenOneChainOrTheGammaRestartedPerChunk) {
  for (size_t size : {size_t{0}, size_t{9}, kWholeFileLimit, kWholeFileLimit + 1}) {
    for (bool stream : {false, true}) {
      const std::string plain = letters(size);
      ASSERT_TRUE(put("plain", plain));
      ASSERT_TRUE(code("plain", "coded", true, stream));
      const std::string coded = get("coded");
      ASSERT_GE(coded.size(), kHeader);
      const int32_t length = static_cast<int32_t>(size);
      std::string expected =
          coded.substr(0, 8) + std::string(reinterpret_cast<const char*>(&length), 4) + plain;
      expected.resize(kHeader + (size + 7) / 8 * 8, '\0');
      gost.set_iv(reinterpret_cast<const unsigned int*>(coded.data()));
      const Mode mode = stream ? Mode{&Gost::stream} : Mode{&Gost::cfb_encrypt};
      const size_t chunk = stream && size > kWholeFileLimit ? kChunk : expected.size();
      for (size_t at = kHeader; at < expected.size(); at += chunk) {
        auto* words = reinterpret_cast<unsigned int*>(&expected[at]);
        (gost.*mode)(words, words, static_cast<int>(std::min(chunk, expected.size() - at) / 8));
      }
      EXPECT_TRUE(coded == expected) << "size=" << size << " stream=" << stream;
      ASSERT_TRUE(code("coded", "back", false, stream));
      EXPECT_TRUE(get("back") == plain) << "size=" << size << " stream=" << stream;
      unsigned int iv[2];
      gost.get_iv(iv);
      EXPECT_EQ(memcmp(iv, &coded[stream || size == 0 ? 0 : coded.size() - 8], 8), 0) << size;
    }
  }
  ASSERT_TRUE(code("plain", "again", true, true));
  EXPECT_NE(get("again").substr(0, 8), get("coded").substr(0, 8)) << "the IV was not drawn anew";
}

TEST_F(FileCoding, BadCodedFilesFailWithoutReadingPastThem) {
  const std::string big = letters(kWholeFileLimit + 3 * kChunk);
  ASSERT_TRUE(put("big", big));
  ASSERT_TRUE(code("big", "big.coded", true, false));
  const std::string coded = get("big.coded");
  const auto with_length = [&coded](int32_t length) {
    return coded.substr(0, 8) + std::string(reinterpret_cast<char*>(&length), 4) +
           coded.substr(12, 52);
  };
  const struct {
    const char* what;
    std::string coded;
    bool ok;
    size_t written;
  } cases[] = {
      {"cut inside the last chunk", coded.substr(0, coded.size() - 8), false, big.size() - kChunk},
      {"cut inside the third chunk", coded.substr(0, kHeader + 2 * kChunk + 100), false, 0},
      {"bytes after the payload", coded + "trailing", true, big.size()},
      {"negative length", with_length(-8), false, 0},
      {"length beyond the file", with_length(1 << 30), false, 0},
      {"length of the file itself", with_length(64), false, 0},
      {"zero length", with_length(0), true, 0},
      {"short header", coded.substr(0, 11), false, 0}};
  for (const auto& c : cases) {
    ASSERT_TRUE(put("case", c.coded));
    EXPECT_EQ(code("case", "out", false, false), c.ok) << c.what;
    EXPECT_EQ(get("out").size(), c.written) << c.what;
  }
  EXPECT_FALSE(code("missing", "untouched", true, false));
  EXPECT_EQ(access(dir.file("untouched").c_str(), F_OK), -1);
  EXPECT_FALSE(code("big", "no/such/dir/out", true, false));
}

// A file's MAC is that of its bytes zero-filled to whole blocks, and so is a string's,
// except that an empty string counts as one zero block.
TEST_F(FileCoding, MacsOfFilesAndStringsAreThoseOfTheZeroFilledBytes) {
  for (size_t size : {size_t{0}, size_t{5}, size_t{16}, kWholeFileLimit + kChunk + 3}) {
    std::string bytes = letters(size);
    ASSERT_TRUE(put("data", bytes));
    unsigned int from_file[2] = {1, 1}, from_string[2] = {1, 1}, expected[2] = {0, 0};
    ASSERT_TRUE(gost.mac_file(chars(dir.file("data")), from_file));
    ASSERT_TRUE(gost.mac_string(bytes.data(), from_string));
    bytes.resize(size == 0 ? 8 : (size + 7) / 8 * 8, '\0');
    gost.mac(reinterpret_cast<const unsigned int*>(bytes.data()), bytes.size() / 8, expected);
    EXPECT_EQ(memcmp(from_string, expected, 8), 0) << "size=" << size;
    if (size == 0) expected[0] = expected[1] = 0;
    EXPECT_EQ(memcmp(from_file, expected, 8), 0) << "size=" << size;
  }
  unsigned int untouched[2] = {7, 7};
  EXPECT_FALSE(gost.mac_file(chars(dir.file("missing")), untouched));
  EXPECT_EQ(untouched[0], 7u);
}

}  // namespace
