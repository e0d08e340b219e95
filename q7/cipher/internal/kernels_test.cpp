#include "q7/cipher/internal/kernels.h"

#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <vector>

#include "q7/cipher/gost.h"

namespace {

using q7::internal::CipherPath;
using Bytes = std::vector<unsigned char>;

constexpr unsigned int kKey[8] = {0x9f3c1a27, 0x00000000, 0xffffffff, 0x80000001,
                                  0x13579bdf, 0x2468ace0, 0xdeadbeef, 0x0badf00d};

// Restores the path in use when a test ends, so that no test depends on another.
class PathGuard {
 public:
  PathGuard() : saved_(q7::internal::cipher_path()) {}
  ~PathGuard() { static_cast<void>(q7::internal::force_cipher_path(saved_)); }

 private:
  CipherPath saved_;
};

enum class Mode { kStream, kCfbDecrypt };

struct Outcome {
  Bytes out;
  unsigned int chain[2];
};

// Runs one mode over `blocks` blocks taken `in_offset` bytes into a buffer, writing
// `out_offset` bytes into another, or in place when `in_place`.
Outcome run(Mode mode, const Bytes& data, size_t blocks, size_t in_offset, size_t out_offset,
            bool in_place) {
  Gost gost;
  const int len = static_cast<int>(blocks);
  const size_t bytes = 8 * blocks;
  if (bytes > data.size()) {
    ADD_FAILURE() << "the test data hold fewer than " << blocks << " blocks";
    return {};
  }
  Bytes in(in_offset, 0xEE);
  in.insert(in.end(), data.begin(), data.begin() + static_cast<std::ptrdiff_t>(bytes));
  in.resize(bytes + 16, 0xEE);
  Bytes out(bytes + 16, 0xEE);
  unsigned char* target = in_place ? in.data() + in_offset : out.data() + out_offset;
  const auto* source = reinterpret_cast<const unsigned int*>(in.data() + in_offset);
  auto* destination = reinterpret_cast<unsigned int*>(target);
  Outcome result{};
  result.chain[0] = 0xFEFEFEFA;
  result.chain[1] = 0x01234567;
  if (mode == Mode::kStream) {
    gost.stream(source, destination, len, result.chain, kKey);
  } else {
    gost.cfb_decrypt(source, destination, len, result.chain, kKey);
  }
  result.out.assign(target, target + bytes);
  // Nothing outside the blocks may change.
  const Bytes& whole = in_place ? in : out;
  const size_t start = target - whole.data();
  for (size_t i = 0; i < whole.size(); ++i) {
    if (i < start || i >= start + bytes) {
      EXPECT_EQ(whole[i], 0xEE) << "byte " << i;
    }
  }
  return result;
}

TEST(CipherPaths, EveryPathMatchesThePortableOne) {
  PathGuard guard;
  std::mt19937 generator(42);
  Bytes data(8 * 2000);
  for (unsigned char& byte : data) byte = static_cast<unsigned char>(generator());
  std::vector<size_t> lengths;
  for (size_t len = 0; len <= 140; ++len) lengths.push_back(len);
  for (size_t len : {191, 192, 193, 1000, 1999}) lengths.push_back(len);

  int compared = 0;
  for (CipherPath path : {CipherPath::kAvx2, CipherPath::kAvx512}) {
    if (!q7::internal::cipher_path_supported(path)) {
      printf("this processor lacks cipher path %d; it is not compared\n", static_cast<int>(path));
      continue;
    }
    for (Mode mode : {Mode::kStream, Mode::kCfbDecrypt}) {
      for (size_t len : lengths) {
        for (size_t offset = 0; offset < 8; ++offset) {
          const size_t out_offset = (offset * 5 + 3) % 8;
          for (bool in_place : {false, true}) {
            ASSERT_TRUE(q7::internal::force_cipher_path(CipherPath::kPortable));
            const Outcome expected = run(mode, data, len, offset, out_offset, in_place);
            ASSERT_TRUE(q7::internal::force_cipher_path(path));
            const Outcome got = run(mode, data, len, offset, out_offset, in_place);
            ASSERT_EQ(got.out, expected.out)
                << "path=" << static_cast<int>(path) << " mode=" << static_cast<int>(mode)
                << " len=" << len << " offset=" << offset << " in_place=" << in_place;
            ASSERT_EQ(got.chain[0], expected.chain[0]) << "len=" << len;
            ASSERT_EQ(got.chain[1], expected.chain[1]) << "len=" << len;
          }
        }
      }
    }
    ++compared;
  }
  if (compared == 0) GTEST_SKIP() << "no vector path on this processor";
}

TEST(CipherPaths, ForcingAnUnsupportedPathChangesNothing) {
  PathGuard guard;
  ASSERT_TRUE(q7::internal::force_cipher_path(CipherPath::kPortable));
  for (CipherPath path : {CipherPath::kAvx2, CipherPath::kAvx512}) {
    if (q7::internal::cipher_path_supported(path)) continue;
    EXPECT_FALSE(q7::internal::force_cipher_path(path));
    EXPECT_EQ(q7::internal::cipher_path(), CipherPath::kPortable);
  }
}

}  // namespace
