// Fuzzes Gost::code_file deciphering arbitrary coded files in either mode. Whatever the
// header says, a call that succeeds writes exactly the plain length it promises.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "fuzz/scratch_file.h"
#include "q7/cipher/gost.h"

// The first byte picks the mode; the rest is the coded file.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  static const q7fuzz::ScratchFile coded("code_file_fuzz", "coded");
  static const q7fuzz::ScratchFile plain("code_file_fuzz", "plain");
  static Gost gost = [] {
    Gost keyed;
    keyed.set_key_string("fuzzing key");
    return keyed;
  }();
  const bool use_stream = (data[0] & 1) != 0;
  if (!coded.write(data + 1, size - 1)) abort();
  if (!gost.code_file(coded.path(), plain.path(), false, use_stream)) return 0;

  int32_t length = 0;
  if (size - 1 >= 12) memcpy(&length, data + 1 + 8, sizeof length);
  struct stat status;
  if (stat(plain.path(), &status) != 0 || status.st_size != length) abort();
  return 0;
}
