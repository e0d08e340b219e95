// Fuzzes Gost::code_string on arbitrary text in both directions and modes, into output
// buffers of every small size: nothing may be written past `out_size`, a success is a
// terminated string of the promised length, and enciphered text deciphers back.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "q7/cipher/gost.h"

// Byte 0 picks the direction and the mode, byte 1 the output size; the rest is the text.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  static Gost gost = [] {
    Gost keyed;
    keyed.set_key_string("fuzzing key");
    const unsigned int iv[2] = {0x01234567, 0x89abcdef};
    keyed.set_iv(iv);
    return keyed;
  }();
  const bool encode = (data[0] & 1) != 0;
  const bool use_stream = (data[0] & 2) != 0;
  const int out_size = data[1];
  std::string text(reinterpret_cast<const char*>(data + 2), size - 2);
  // Exactly out_size bytes, so that AddressSanitizer sees any write beyond them.
  std::vector<char> out(out_size);
  if (!gost.code_string(text.data(), out.data(), out_size, encode, use_stream)) return 0;

  const size_t length = strnlen(out.data(), out.size());
  if (length == out.size()) abort();
  if (!encode) return 0;
  const size_t n = strlen(text.c_str());
  if (length != 16 * ((n + 7) / 8)) abort();
  std::vector<char> back(length + 1);
  if (!gost.code_string(out.data(), back.data(), static_cast<int>(back.size()), false,
                        use_stream) ||
      strcmp(back.data(), text.c_str()) != 0) {
    abort();
  }
  return 0;
}
