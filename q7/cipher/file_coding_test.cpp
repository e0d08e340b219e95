#include <gtest/gtest.h>
#include <stdint.h>
#include <string.h>

#include <string>
#include <vector>

#include "q7/cipher/gost.h"
#include "tests/support/temp_dir.h"

namespace {

using q7test::read_file;
using q7test::TempDir;
using q7test::write_file;

constexpr size_t kWholeFileLimit = 1048576;
constexpr size_t kChunk = 32768;
constexpr size_t kHeader = 12;

Gost keyed() {
  Gost gost;
  gost.set_key_string("file coding test key");
  return gost;
}

std::string pattern(size_t size) {
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>((i * 7919) >> 3);
  return bytes;
}

int32_t header_length(const std::string& coded) {
  int32_t length;
  memcpy(&length, coded.data() + 8, sizeof length);
  return length;
}

bool code(Gost& gost, const std::string& in, const std::string& out, bool encode, bool stream) {
  return gost.code_file(const_cast<char*>(in.c_str()), const_cast<char*>(out.c_str()), encode,
                        stream);
}

TEST(CodeFile, RoundTripsEverySizeInBothModes) {
  TempDir dir;
  Gost gost = keyed();
  for (size_t size : {size_t{0}, size_t{1}, size_t{8}, size_t{9}, size_t{1000}, kWholeFileLimit,
                      kWholeFileLimit + 1, kWholeFileLimit + 2 * kChunk + 5}) {
    for (bool stream : {false, true}) {
      const std::string plain = pattern(size);
      ASSERT_TRUE(write_file(dir.file("plain"), plain));
      ASSERT_TRUE(code(gost, dir.file("plain"), dir.file("coded"), true, stream));
      const std::string coded = read_file(dir.file("coded"));
      EXPECT_EQ(coded.size(), kHeader + (size + 7) / 8 * 8) << "size=" << size;
      EXPECT_EQ(header_length(coded), static_cast<int32_t>(size)) << "size=" << size;
      unsigned int iv[2];
      gost.get_iv(iv);
      // CFB leaves the last cipher block, the gamma the file's IV.
      const size_t iv_at = stream || size == 0 ? 0 : coded.size() - 8;
      EXPECT_EQ(memcmp(iv, coded.data() + iv_at, 8), 0) << "size=" << size;

      ASSERT_TRUE(code(gost, dir.file("coded"), dir.file("back"), false, stream));
      EXPECT_TRUE(read_file(dir.file("back")) == plain) << "size=" << size << " stream=" << stream;
    }
  }
}

// Zero bytes code to the gamma itself, which restarts with every 32768-byte chunk of a
// payload over 1 MiB and runs on through a payload of 1 MiB or less.
TEST(CodeFile, GammaRestartsAtEveryChunkOfPayloadsOver1MiB) {
  TempDir dir;
  Gost gost = keyed();
  for (size_t size : {kWholeFileLimit, kWholeFileLimit + 1}) {
    ASSERT_TRUE(write_file(dir.file("zeros"), std::string(size, '\0')));
    ASSERT_TRUE(code(gost, dir.file("zeros"), dir.file("coded"), true, true));
    const std::string payload = read_file(dir.file("coded")).substr(kHeader);
    const bool repeats = payload.compare(0, kChunk, payload, kChunk, kChunk) == 0;
    EXPECT_EQ(repeats, size > kWholeFileLimit) << "size=" << size;
    EXPECT_EQ(payload.compare(0, 8, payload, 32 * kChunk, 8) == 0, size > kWholeFileLimit);
  }
}

TEST(CodeFile, EncipheringTwiceDrawsNewIvs) {
  TempDir dir;
  Gost gost = keyed();
  ASSERT_TRUE(write_file(dir.file("plain"), "same text"));
  ASSERT_TRUE(code(gost, dir.file("plain"), dir.file("first"), true, false));
  ASSERT_TRUE(code(gost, dir.file("plain"), dir.file("second"), true, false));
  EXPECT_NE(read_file(dir.file("first")), read_file(dir.file("second")));
  for (const char* coded : {"first", "second"}) {
    ASSERT_TRUE(code(gost, dir.file(coded), dir.file("back"), false, false));
    EXPECT_EQ(read_file(dir.file("back")), "same text");
  }
}

TEST(CodeFile, BadCodedFilesFailWithoutReadingPastThem) {
  TempDir dir;
  Gost gost = keyed();
  const std::string big = pattern(kWholeFileLimit + 3 * kChunk);
  ASSERT_TRUE(write_file(dir.file("big"), big));
  ASSERT_TRUE(code(gost, dir.file("big"), dir.file("big.coded"), true, false));
  const std::string coded = read_file(dir.file("big.coded"));
  auto with_length = [&coded](int32_t length) {
    std::string changed = coded.substr(0, 64);
    memcpy(changed.data() + 8, &length, sizeof length);
    return changed;
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
      {"short header", coded.substr(0, 11), false, 0},
  };
  for (const auto& c : cases) {
    ASSERT_TRUE(write_file(dir.file("case"), c.coded));
    EXPECT_EQ(code(gost, dir.file("case"), dir.file("out"), false, false), c.ok) << c.what;
    EXPECT_EQ(read_file(dir.file("out")).size(), c.written) << c.what;
  }
}

TEST(CodeFile, UnopenableFilesFail) {
  TempDir dir;
  Gost gost = keyed();
  EXPECT_FALSE(code(gost, dir.file("missing"), dir.file("out"), true, false));
  EXPECT_EQ(access(dir.file("out").c_str(), F_OK), -1);
  ASSERT_TRUE(write_file(dir.file("plain"), "text"));
  EXPECT_FALSE(code(gost, dir.file("plain"), dir.file("no/such/dir/out"), true, false));
}

TEST(MacFile, IsTheMacOfTheZeroFilledBytes) {
  TempDir dir;
  Gost gost = keyed();
  for (size_t size : {size_t{0}, size_t{5}, size_t{16}, kWholeFileLimit + kChunk + 3}) {
    std::string bytes = pattern(size);
    ASSERT_TRUE(write_file(dir.file("data"), bytes));
    unsigned int from_file[2] = {1, 1};
    ASSERT_TRUE(gost.mac_file(const_cast<char*>(dir.file("data").c_str()), from_file));
    bytes.resize((size + 7) / 8 * 8, '\0');
    std::vector<unsigned int> words(bytes.size() / 4);
    if (!bytes.empty()) memcpy(words.data(), bytes.data(), bytes.size());
    unsigned int expected[2] = {0, 0};
    gost.mac(words.data(), static_cast<int>(words.size() / 2), expected);
    EXPECT_EQ(from_file[0], expected[0]) << "size=" << size;
    EXPECT_EQ(from_file[1], expected[1]) << "size=" << size;
  }
  unsigned int untouched[2] = {7, 7};
  EXPECT_FALSE(gost.mac_file(const_cast<char*>(dir.file("missing").c_str()), untouched));
  EXPECT_EQ(untouched[0], 7u);
}

}  // namespace
