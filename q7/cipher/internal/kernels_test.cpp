// Every vector path of the kernels must equal the portable one.
#include "q7/cipher/internal/kernels.h"

#include <gtest/gtest.h>
#include <stdio.h>

#include <algorithm>
#include <random>
#include <vector>

#include "q7/cipher/gost.h"
#include "tests/support/cipher/cipher_path_guard.h"

namespace q7::internal {
namespace {

using Bytes = std::vector<unsigned char>;

constexpr unsigned int kKey[8] = {0x9f3c1a27, 0x00000000, 0xffffffff, 0x80000001,
                                  0x13579bdf, 0x2468ace0, 0xdeadbeef, 0x0badf00d};
// Near the top, so that both counter words carry inside the first vector step.
constexpr unsigned int kFirstCounter[2] = {0xFCFCFCFC, 0xFBFBFBF0};
constexpr unsigned char kUntouched = 0xEE;

enum class Mode { kGamma, kCfbDecrypt, kCfbEncrypt, kMac };

// Runs `mode` on `data`, placed `in_at` bytes into a buffer, in place or into another
// buffer `out_at` bytes in. Returns the output and the chain (the MAC: its running value),
// and checks that no byte around the output changed.
Bytes run(Mode mode, const Bytes& data, size_t in_at, size_t out_at, bool in_place) {
  Gost gost;
  unsigned int chain[2];
  gost.decrypt(kFirstCounter, chain, kKey);
  Bytes in(in_at + data.size() + 16, kUntouched), out(out_at + data.size() + 16, kUntouched);
  std::copy(data.begin(), data.end(), in.begin() + in_at);
  Bytes& target = in_place ? in : out;
  const size_t at = in_place ? in_at : out_at;
  const auto* source = reinterpret_cast<const unsigned int*>(in.data() + in_at);
  auto* destination = reinterpret_cast<unsigned int*>(target.data() + at);
  const int len = static_cast<int>(data.size() / 8);
  switch (mode) {
    case Mode::kGamma:
      gost.stream(source, destination, len, chain, kKey);
      break;
    case Mode::kCfbDecrypt:
      gost.cfb_decrypt(source, destination, len, chain, kKey);
      break;
    case Mode::kCfbEncrypt:
      gost.cfb_encrypt(source, destination, len, chain, kKey);
      break;
    case Mode::kMac:
      gost.mac(source, len, chain, kKey);
      break;
  }
  EXPECT_EQ(Bytes(target.begin(), target.begin() + at), Bytes(at, kUntouched));
  EXPECT_EQ(Bytes(target.end() - 16, target.end()), Bytes(16, kUntouched));
  const auto* chain_bytes = reinterpret_cast<const unsigned char*>(chain);
  Bytes result(target.begin() + at, target.begin() + at + data.size());
  result.insert(result.end(), chain_bytes, chain_bytes + 8);
  return result;
}

// The lengths take every tail after each kind of vector step (four registers of 8 or 16
// blocks, then single registers), and the portable code's lanes and table switches.
TEST(CipherPaths, EveryPathMatchesThePortableOne) {
  q7test::CipherPathGuard guard;
  std::vector<size_t> lengths = {48, 63, 64, 65, 80, 96, 127, 128, 191, 193, 255, 256, 1000};
  for (size_t len = 0; len <= 40; ++len) lengths.push_back(len);
  std::mt19937 generator(42);
  int compared = 0;
  for (CipherPath path : {CipherPath::kAvx2, CipherPath::kAvx512}) {
    if (!cipher_path_supported(path)) {
      printf("this processor lacks cipher path %d; it is not compared\n", static_cast<int>(path));
      continue;
    }
    ++compared;
    for (size_t len : lengths) {
      Bytes data(8 * len);
      for (unsigned char& byte : data) byte = static_cast<unsigned char>(generator());
      const size_t in_at = len % 8, out_at = (len * 5 + 3) % 8;
      for (Mode mode : {Mode::kGamma, Mode::kCfbDecrypt, Mode::kCfbEncrypt, Mode::kMac}) {
        for (bool in_place : {false, true}) {
          ASSERT_TRUE(force_cipher_path(CipherPath::kPortable));
          const Bytes expected = run(mode, data, in_at, out_at, in_place);
          ASSERT_TRUE(force_cipher_path(path));
          ASSERT_EQ(run(mode, data, in_at, out_at, in_place), expected)
              << "path=" << static_cast<int>(path) << " mode=" << static_cast<int>(mode)
              << " len=" << len << " in_place=" << in_place;
        }
      }
    }
  }
  if (compared == 0) GTEST_SKIP() << "no vector path on this processor";
}

}  // namespace
}  // namespace q7::internal
