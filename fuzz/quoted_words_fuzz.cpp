// Fuzzes the word scanners: every word number from 1 to the count exists, none beyond it,
// and no copy overruns an out buffer of exactly the size it was given.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "q7/text/text_utils.h"

namespace {

// A heap buffer of exactly `size` bytes, so that AddressSanitizer sees any write past it.
struct Out {
  explicit Out(int size) : bytes(static_cast<char*>(malloc(size))), size(size) {}
  ~Out() { free(bytes); }
  char* bytes;
  int size;
};

void check_words(std::string& text, bool quoted, int size) {
  const int count = quoted ? count_words_quoted(text.data()) : count_words(text.data());
  Out out(size);
  for (int number = 0; number <= count + 1; ++number) {
    for (bool strip : {false, true}) {
      const bool found = quoted ? get_word_quoted(text.data(), number, out.bytes, size, strip)
                                : get_word(text.data(), number, out.bytes, size);
      if (found != (number >= 1 && number <= count)) abort();
      if (found && strlen(out.bytes) > static_cast<size_t>(size - 1)) abort();
    }
  }
}

}  // namespace

// Every word number is checked, which costs the square of the length; texts are cut to
// keep each run fast, which still leaves room for hundreds of words.
constexpr size_t kMaxText = 512;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size < kMaxText ? size : kMaxText);
  text = text.c_str();
  const int whole = static_cast<int>(text.size()) + 1;
  for (bool quoted : {false, true}) {
    check_words(text, quoted, whole);
    check_words(text, quoted, 3);
    check_words(text, quoted, 1);
  }
  if (strlen(safe_string_constant(text.data())) > 4095) abort();
  std::string half = text.substr(0, text.size() / 2);
  std::string rest = text.substr(text.size() / 2);
  partial_match(half.data(), rest.data());
  return 0;
}
