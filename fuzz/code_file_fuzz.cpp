// Fuzzes Gost::code_file deciphering arbitrary coded files in either mode. Whatever the
// header says, a call that succeeds writes exactly the plain length it promises, and one
// that fails writes whole chunks only.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <vector>

#include "fuzz/scratch_file.h"
#include "q7/cipher/gost.h"

namespace {

constexpr int32_t kWholeFileLimit = 1048576;
constexpr int32_t kChunk = 32768;
constexpr size_t kHeader = 12;
// Stretched payloads stay below this, enough for many slabs of many chunks.
constexpr int32_t kStretchLimit = 6 * kWholeFileLimit;

// The coded file: the input as it is, or, stretched, its header and then its payload bytes
// repeated up to the blocks that the header's length promises, less `cut` bytes.
std::vector<uint8_t> coded_file(const uint8_t* data, size_t size, int32_t length, bool stretch,
                                size_t cut) {
  std::vector<uint8_t> coded(data, data + size);
  if (!stretch || size <= kHeader || length <= 0 || length > kStretchLimit) return coded;
  const size_t full = kHeader + (static_cast<size_t>(length) + 7) / 8 * 8;
  coded.resize(full > cut ? full - cut : 0);
  for (size_t at = size; at < coded.size(); ++at)
    coded[at] = data[kHeader + (at - size) % (size - kHeader)];
  return coded;
}

}  // namespace

// The first byte picks the mode (bit 0), whether the payload is stretched (bit 1) and how
// many bytes a stretched file falls short of its length (the upper bits); the rest is the
// coded file, whose length field a stretched file keeps.
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
  int32_t length = 0;
  if (size - 1 >= kHeader) memcpy(&length, data + 1 + 8, sizeof length);
  const std::vector<uint8_t> file =
      coded_file(data + 1, size - 1, length, (data[0] & 2) != 0, data[0] >> 2);
  if (!coded.write(file.data(), file.size())) abort();
  const bool ok = gost.code_file(coded.path(), plain.path(), false, use_stream);

  struct stat status;
  if (stat(plain.path(), &status) != 0) abort();
  if (ok && status.st_size != length) abort();
  const bool whole_chunks =
      status.st_size == 0 ||
      (length > kWholeFileLimit && status.st_size % kChunk == 0 && status.st_size < length);
  if (!ok && !whole_chunks) abort();
  return 0;
}
