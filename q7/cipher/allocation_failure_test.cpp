// Allocation failures in the coding of files and strings, at every failure point: false
// with the MAC or output untouched, or the same result as with memory to spare.
#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <string>

#include "q7/cipher/gost.h"
#include "q7/cipher/internal/kernels.h"
#include "tests/support/alloc_failure.h"
#include "tests/support/cipher/cipher_path_guard.h"
#include "tests/support/temp_dir.h"

namespace {

using q7test::FailureRun;
using q7test::for_each_failure_point;
using q7test::read_file;

char* chars(const std::string& text) { return const_cast<char*>(text.c_str()); }

// Long enough for the cipher's larger round tables, which come from the heap.
std::string plain_text() {
  std::string text(40000, '\0');
  for (size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>('a' + (i * 7919) % 26);
  return text;
}

Gost keyed() {
  Gost gost;
  gost.set_key_string("allocation failure test key");
  return gost;
}

// Runs `mac` of `input` at every failure point: the MAC that memory to spare gives, or
// false with the MAC untouched. Returns the failure points covered.
int mac_failure_points(const std::string& name, bool (Gost::*mac)(char*, unsigned int*),
                       char* input) {
  unsigned int expected[2] = {};
  EXPECT_TRUE((keyed().*mac)(input, expected));
  return for_each_failure_point(name, [&](FailureRun& run) {
    Gost gost = keyed();
    unsigned int value[2] = {1, 2};
    const bool computed = run.armed([&] { return (gost.*mac)(input, value); });
    EXPECT_TRUE(computed || run.injected());
    EXPECT_TRUE(computed ? value[0] == expected[0] && value[1] == expected[1]
                         : value[0] == 1 && value[1] == 2);
  });
}

TEST(AllocationFailure, FileCodingFailsWholeOrCodesAlike) {
  q7test::TempDir dir;
  const std::string plain = dir.file("plain");
  const std::string coded = dir.file("coded");
  const std::string back = dir.file("back");
  ASSERT_TRUE(q7test::write_file(plain, plain_text()));
  for (const bool stream : {false, true}) {
    const std::string mode = stream ? "_gamma" : "_cfb";
    int points = for_each_failure_point("encode" + mode, [&](FailureRun& run) {
      Gost gost = keyed();
      const bool coded_ok =
          run.armed([&] { return gost.code_file(chars(plain), chars(coded), true, stream); });
      EXPECT_TRUE(coded_ok || run.injected());
      if (!coded_ok) return;
      ASSERT_TRUE(gost.code_file(chars(coded), chars(back), false, stream));
      EXPECT_TRUE(read_file(back) == plain_text());
    });
    EXPECT_GE(points, 3) << mode;

    points = for_each_failure_point("decode" + mode, [&](FailureRun& run) {
      Gost gost = keyed();
      ASSERT_TRUE(gost.code_file(chars(plain), chars(coded), true, stream));
      const bool decoded =
          run.armed([&] { return gost.code_file(chars(coded), chars(back), false, stream); });
      EXPECT_TRUE(decoded || run.injected());
      EXPECT_TRUE(!decoded || read_file(back) == plain_text());
    });
    EXPECT_GE(points, 3) << mode;
  }

  EXPECT_GE(mac_failure_points("mac_file", &Gost::mac_file, chars(plain)), 2);

  const std::string rows = dir.file("rows.inc");
  const int row_points = for_each_failure_point("make_sboxes", [&](FailureRun& run) {
    Gost gost;
    const int written = run.armed([&] { return gost.make_sboxes(chars(rows)); });
    EXPECT_TRUE(written == 1 || run.injected());
    if (written == 1) {
      const std::string text = read_file(rows);
      EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 8) << text;
    }
  });
  EXPECT_GE(row_points, 1);
}

// On the portable path, whose chained modes take their larger round tables from the heap;
// the AVX-512 path's take none, so it has a failure point less.
TEST(AllocationFailure, StringCodingFailsWithoutWritingOrCodesAlike) {
  const q7test::CipherPathGuard guard;
  ASSERT_TRUE(q7::internal::force_cipher_path(q7::internal::CipherPath::kPortable));
  const std::string text = plain_text().substr(0, 3000);
  const std::string digits_expected = [&] {
    std::string digits(2 * text.size() + 1, '\0');
    EXPECT_TRUE(keyed().code_string(chars(text), digits.data(), digits.size(), true, false));
    return std::string(digits.c_str());
  }();
  for (const bool encode : {true, false}) {
    const std::string& in = encode ? text : digits_expected;
    const std::string& expected = encode ? digits_expected : text;
    const int points =
        for_each_failure_point(encode ? "code_string" : "decode_string", [&](FailureRun& run) {
          Gost gost = keyed();
          std::string out(2 * text.size() + 1, 'x');
          const bool coded = run.armed(
              [&] { return gost.code_string(chars(in), out.data(), out.size(), encode, false); });
          EXPECT_TRUE(coded || run.injected());
          if (coded) {
            EXPECT_TRUE(out.c_str() == expected);
          } else {
            EXPECT_EQ(out.find_first_not_of('x'), std::string::npos);
          }
        });
    // The buffers, and for the enciphering chain the larger round tables.
    EXPECT_GE(points, encode ? 2 : 1) << encode;
  }

  EXPECT_GE(mac_failure_points("mac_string", &Gost::mac_string, chars(text)), 1);
}

}  // namespace
