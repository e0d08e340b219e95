// A scratch file for the fuzzers that read files: named after the fuzzer and the process,
// so that parallel fuzzing jobs never share one, and removed when the fuzzer exits.
#pragma once

#include <stdint.h>
#include <stdio.h>
#include <unistd.h>

#include <string>

namespace q7fuzz {

class ScratchFile {
 public:
  ScratchFile(const char* fuzzer, const char* what)
      : path_("/tmp/q7_" + std::string(fuzzer) + "_" + std::to_string(getpid()) + "_" + what) {}
  ~ScratchFile() { unlink(path_.c_str()); }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  // The library takes paths as `char*` without changing them.
  [[nodiscard]] char* path() const { return const_cast<char*>(path_.c_str()); }

  // Replaces the file's contents with `size` bytes of `data`.
  [[nodiscard]] bool write(const uint8_t* data, size_t size) const {
    FILE* file = fopen(path_.c_str(), "wb");
    if (file == nullptr) return false;
    const bool written = fwrite(data, 1, size, file) == size;
    return fclose(file) == 0 && written;
  }

 private:
  std::string path_;
};

}  // namespace q7fuzz
