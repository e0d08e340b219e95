// Coding whole files: the coded-file format, and the MAC of a file's bytes.
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include "q7/cipher/gost.h"
#include "q7/cipher/internal/coding_buffers.h"
#include "q7/cipher/internal/rounds.h"
#include "q7/internal/unique_file.h"

using q7::internal::as_words;
using q7::internal::blocks_for;
using q7::internal::kBlockBytes;
using q7::internal::open_unbuffered;
using q7::internal::UniqueBlock;
using q7::internal::UniqueFile;
using q7::internal::zeroed_block;

namespace {

// Payloads up to this size are one chunk; larger ones go in chunks of kChunkBytes, which
// bounds the memory whatever the file's size.
constexpr int32_t kWholeFileLimit = 1048576;
constexpr size_t kChunkBytes = 32768;

constexpr size_t kHeaderWords = 3;

// The length of a chunk of a payload of `length` bytes (the last may be shorter).
size_t chunk_length(int32_t length) {
  return length > kWholeFileLimit ? kChunkBytes : static_cast<size_t>(length);
}

// The file's size, or -1 when its status cannot be had or it is too large for the signed
// 32-bit length field (2 GiB or more).
int32_t file_size(FILE* file) {
  struct stat status;
  if (fstat(fileno(file), &status) != 0 || status.st_size < 0 || status.st_size > INT32_MAX) {
    return -1;
  }
  return static_cast<int32_t>(status.st_size);
}

// A chunk rounded up to whole blocks; at least one, so that no allocation asks for 0.
size_t buffer_bytes(size_t chunk) {
  const size_t blocks = blocks_for(chunk);
  return (blocks > 0 ? blocks : 1) * kBlockBytes;
}

// `count` zeroed chunk buffers in one block.
UniqueBlock chunk_buffers(size_t chunk, size_t count) {
  return zeroed_block(count, buffer_bytes(chunk));
}

bool encode_file(Gost& gost, FILE* in, FILE* out, int32_t length, bool use_stream) {
  const size_t chunk = chunk_length(length);
  const UniqueBlock buffers = chunk_buffers(chunk, 2);
  if (!buffers) return false;
  unsigned char* const plain = buffers.get();
  unsigned char* const coded = plain + buffer_bytes(chunk);

  gost.set_iv_random();
  unsigned int header[kHeaderWords];
  gost.get_iv(header);
  header[2] = static_cast<unsigned int>(length);
  if (fwrite(header, sizeof header, 1, out) != 1) return false;

  for (size_t left = static_cast<size_t>(length); left > 0;) {
    const size_t n = left < chunk ? left : chunk;
    const size_t blocks = blocks_for(n);
    memset(plain + n, 0, blocks * kBlockBytes - n);
    if (fread(plain, 1, n, in) != n) return false;
    if (use_stream) {
      gost.stream(as_words(plain), as_words(coded), static_cast<int>(blocks));
    } else {
      gost.cfb_encrypt(as_words(plain), as_words(coded), static_cast<int>(blocks));
    }
    gost.update_cur_iv();
    if (fwrite(coded, 1, blocks * kBlockBytes, out) != blocks * kBlockBytes) return false;
    left -= n;
  }
  return true;
}

bool decode_file(Gost& gost, FILE* in, FILE* out, int32_t coded_size, bool use_stream) {
  unsigned int header[kHeaderWords];
  if (fread(header, sizeof header, 1, in) != 1) return false;
  gost.set_iv(header);
  const int32_t length = static_cast<int32_t>(header[2]);
  if (length == 0) return true;
  // The header alone decides the buffers, so it must not promise more than the file holds.
  if (length < 0 || blocks_for(static_cast<size_t>(length)) > blocks_for(coded_size)) {
    return false;
  }

  const size_t chunk = chunk_length(length);
  const UniqueBlock buffers = chunk_buffers(chunk, 2);
  if (!buffers) return false;
  unsigned char* const coded = buffers.get();
  unsigned char* const plain = coded + buffer_bytes(chunk);

  for (size_t left = static_cast<size_t>(length); left > 0;) {
    const size_t n = left < chunk ? left : chunk;
    const size_t blocks = blocks_for(n);
    if (fread(coded, 1, blocks * kBlockBytes, in) != blocks * kBlockBytes) return false;
    if (use_stream) {
      gost.stream(as_words(coded), as_words(plain), static_cast<int>(blocks));
    } else {
      gost.cfb_decrypt(as_words(coded), as_words(plain), static_cast<int>(blocks));
    }
    gost.update_cur_iv();
    if (fwrite(plain, 1, n, out) != n) return false;
    left -= n;
  }
  return true;
}

}  // namespace

bool Gost::code_file(char* in_path, char* out_path, bool encode, bool use_stream) {
  const UniqueFile in = open_unbuffered(in_path, "rb");
  if (!in) return false;
  const UniqueFile out = open_unbuffered(out_path, "wb+");
  if (!out) return false;
  const int32_t size = file_size(in.get());
  if (size < 0) return false;
  return encode ? encode_file(*this, in.get(), out.get(), size, use_stream)
                : decode_file(*this, in.get(), out.get(), size, use_stream);
}

bool Gost::mac_file(char* path, unsigned int* value) {
  const UniqueFile in = open_unbuffered(path, "rb");
  if (!in) return false;
  const int32_t size = file_size(in.get());
  if (size < 0) return false;
  const size_t chunk = chunk_length(size);
  const UniqueBlock buffer = chunk_buffers(chunk, 1);
  if (!buffer) return false;

  value[0] = 0;
  value[1] = 0;
  for (size_t left = static_cast<size_t>(size); left > 0;) {
    const size_t n = left < chunk ? left : chunk;
    const size_t blocks = blocks_for(n);
    memset(buffer.get() + n, 0, blocks * kBlockBytes - n);
    if (fread(buffer.get(), 1, n, in.get()) != n) return false;
    mac(as_words(buffer.get()), static_cast<int>(blocks), value);
    left -= n;
  }
  return true;
}
