// Tests of coded files: the format byte by byte, the chunk rule, and damaged files.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdint.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "q7/cipher/gost.h"
#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"

namespace {

constexpr size_t kWholeFileLimit = 1048576;
constexpr size_t kChunk = 32768;
constexpr size_t kHeader = 12;
// Chunked files move in slabs of this many bytes, and their reads and writes overlap the
// cipher from four slabs on: the sizes below end a slab in every way.
constexpr size_t kSlab = 1048576;

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
  std::string iv() {
    unsigned int words[2];
    gost.get_iv(words);
    return std::string(reinterpret_cast<const char*>(words), sizeof words);
  }
  bool code(const char* in, const char* out, bool encode, bool stream) {
    return gost.code_file(chars(dir.file(in)), chars(dir.file(out)), encode, stream);
  }

  q7test::TempDir dir;
  Gost gost;
};

// The coded file is a fresh IV, the length and the payload: CFB runs on over the whole of
// it, the gamma restarts from the IV at every chunk of a payload over 1 MiB. Deciphering
// gives the plain bytes back; both leave in `iv` where the chain ended (CFB: the last block).
TEST_F(FileCoding, CodedFileIsTheHeaderThenOneChainOrTheGammaRestartedPerChunk) {
  for (size_t size : {size_t{0}, size_t{1}, size_t{8}, size_t{9}, kWholeFileLimit - 1,
                      kWholeFileLimit, kWholeFileLimit + 1, 2 * kSlab - 1, 2 * kSlab + 1,
                      3 * kSlab + 1, 5 * kSlab + 3 * kChunk + 13}) {
    for (bool stream : {false, true}) {
      const std::string plain = letters(size);
      ASSERT_TRUE(put("plain", plain));
      ASSERT_TRUE(code("plain", "coded", true, stream));
      const std::string iv_after_coding = iv();
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
      const std::string chain_end = coded.substr(stream || size == 0 ? 0 : coded.size() - 8, 8);
      EXPECT_EQ(iv_after_coding, chain_end) << "size=" << size << " stream=" << stream;
      ASSERT_TRUE(code("coded", "back", false, stream));
      EXPECT_TRUE(get("back") == plain) << "size=" << size << " stream=" << stream;
      EXPECT_EQ(iv(), chain_end) << "size=" << size << " stream=" << stream;
    }
  }
  ASSERT_TRUE(code("plain", "again", true, true));
  EXPECT_NE(get("again").substr(0, 8), get("coded").substr(0, 8)) << "the IV was not drawn anew";
}

// A damaged coded file deciphers as far as its whole chunks go, leaving the chain (CFB)
// at the last chunk written, or at the file's IV where no chunk was written.
TEST_F(FileCoding, BadCodedFilesFailWithoutReadingPastThem) {
  // Five slabs, the last chunk of 4 bytes: a file cut by 12 bytes still passes the length
  // check, and its short read falls inside the chunk before the last.
  const std::string big = letters(4 * kSlab + 3 * kChunk + 4);
  ASSERT_TRUE(put("big", big));
  for (bool stream : {false, true}) {
    ASSERT_TRUE(code("big", "big.coded", true, stream));
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
        {"cut inside the last chunk", coded.substr(0, coded.size() - 8), false, big.size() - 4},
        {"cut into the chunk before the last", coded.substr(0, coded.size() - 12), false,
         big.size() - 4 - kChunk},
        {"cut inside the third chunk", coded.substr(0, kHeader + 2 * kChunk + 100), false, 0},
        {"bytes after the payload", coded + "trailing", true, big.size()},
        {"negative length", with_length(-8), false, 0},
        {"length beyond the file", with_length(1 << 30), false, 0},
        {"length of the file itself", with_length(64), false, 0},
        {"zero length", with_length(0), true, 0}};
    for (const auto& c : cases) {
      ASSERT_TRUE(put("case", c.coded));
      EXPECT_EQ(code("case", "out", false, stream), c.ok) << c.what << " stream=" << stream;
      EXPECT_TRUE(get("out") == big.substr(0, c.written)) << c.what << " stream=" << stream;
      const size_t chain_at = stream || c.written == 0 ? 0 : kHeader + (c.written + 7) / 8 * 8 - 8;
      EXPECT_EQ(iv(), c.coded.substr(chain_at, 8)) << c.what << " stream=" << stream;
    }
  }
  ASSERT_TRUE(put("case", get("big.coded").substr(0, 11)));
  EXPECT_FALSE(code("case", "out", false, true)) << "short header";
  EXPECT_EQ(get("out"), "");
  EXPECT_FALSE(code("missing", "untouched", true, false));
  EXPECT_EQ(access(dir.file("untouched").c_str(), F_OK), -1);
  EXPECT_FALSE(code("big", "no/such/dir/out", true, false));
}

// A write that fails (a full disk, a file-size limit) ends the call with false, the output
// holding what was written up to it and the chain (CFB) at the last chunk written whole,
// whether the file went through one slab at a time or with its I/O overlapped.
TEST_F(FileCoding, FailedWritesKeepTheOutputAndTheChainAsFarAsTheyGot) {
  for (bool encode : {true, false}) {
    for (bool stream : {false, true}) {
      ASSERT_TRUE(put("small", letters(100)));
      ASSERT_TRUE(code("small", "small.coded", true, stream));
      const std::string coded = get("small.coded");
      EXPECT_FALSE(gost.code_file(chars(dir.file(encode ? "small" : "small.coded")),
                                  const_cast<char*>("/dev/full"), encode, stream))
          << "encode=" << encode << " stream=" << stream;
      if (!encode) {
        EXPECT_EQ(iv(), coded.substr(0, 8)) << "stream=" << stream;
      }
    }
  }

  const struct {
    size_t size;
    size_t limit;  // of the output file
  } cases[] = {{2 * kSlab + 5 * kChunk, kHeader + kSlab + 3 * kChunk + 100},
               {5 * kSlab + 7, kHeader + 4 * kSlab + 2 * kChunk + 1},
               {5 * kSlab + 7, kHeader + 5}};
  for (const auto& c : cases) {
    const std::string plain = letters(c.size);
    ASSERT_TRUE(put("plain", plain));
    for (bool stream : {false, true}) {
      ASSERT_TRUE(code("plain", "coded", true, stream));
      const std::string coded = get("coded");
      const auto result = q7test::run_in_child([&] {
        // Past the limit a write fails with EFBIG instead of raising SIGXFSZ.
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {c.limit, c.limit};
        Q7_CHILD_CHECK(setrlimit(RLIMIT_FSIZE, &limit) == 0);
        Q7_CHILD_CHECK(!code("plain", "coded.out", true, stream));
        const std::string coded_out = get("coded.out");
        Q7_CHILD_CHECK(coded_out.size() == c.limit);
        const size_t chunks_end = (c.limit - kHeader) / kChunk * kChunk;
        const size_t chain_at = stream || chunks_end == 0 ? 0 : kHeader + chunks_end - 8;
        Q7_CHILD_CHECK(iv() == coded_out.substr(chain_at, 8));

        Q7_CHILD_CHECK(!code("coded", "plain.out", false, stream));
        Q7_CHILD_CHECK(get("plain.out") == plain.substr(0, c.limit));
        const size_t plain_end = c.limit / kChunk * kChunk;
        const size_t plain_chain_at = stream || plain_end == 0 ? 0 : kHeader + plain_end - 8;
        Q7_CHILD_CHECK(iv() == coded.substr(plain_chain_at, 8));
      });
      EXPECT_TRUE(result.exited_with(0))
          << "size=" << c.size << " limit=" << c.limit << " stream=" << stream << "\n"
          << q7test::describe(result);
    }
  }
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
