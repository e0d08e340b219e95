// Fuzzes Gost::code_file deciphering arbitrary coded files in either mode. Whatever the
// header says, a call that succeeds writes exactly the plain length it promises.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "q7/cipher/gost.h"

namespace {

// Two files in /tmp named after the process, removed when the fuzzer exits.
struct Scratch {
  std::string coded = name("coded");
  std::string plain = name("plain");
  ~Scratch() {
    unlink(coded.c_str());
    unlink(plain.c_str());
  }
  static std::string name(const char* what) {
    return "/tmp/q7_code_file_fuzz_" + std::to_string(getpid()) + "_" + what;
  }
};

bool write_all(const std::string& path, const uint8_t* data, size_t size) {
  FILE* file = fopen(path.c_str(), "wb");
  if (file == nullptr) return false;
  const bool written = fwrite(data, 1, size, file) == size;
  return fclose(file) == 0 && written;
}

}  // namespace

// The first byte picks the mode; the rest is the coded file.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  static Scratch scratch;
  static Gost gost = [] {
    Gost keyed;
    keyed.set_key_string("fuzzing key");
    return keyed;
  }();
  const bool use_stream = (data[0] & 1) != 0;
  if (!write_all(scratch.coded, data + 1, size - 1)) abort();
  if (!gost.code_file(scratch.coded.data(), scratch.plain.data(), false, use_stream)) return 0;

  int32_t length = 0;
  if (size - 1 >= 12) memcpy(&length, data + 1 + 8, sizeof length);
  struct stat status;
  if (stat(scratch.plain.c_str(), &status) != 0 || status.st_size != length) abort();
  return 0;
}
