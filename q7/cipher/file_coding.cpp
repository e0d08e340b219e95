// Coding whole files: the coded-file format, and the MAC of a file's bytes.
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "q7/cipher/gost.h"
#include "q7/cipher/internal/coding_buffers.h"
#include "q7/cipher/internal/rounds.h"
#include "q7/cipher/internal/slab_pipe.h"
#include "q7/internal/unique_file.h"

using q7::internal::as_words;
using q7::internal::blocks_for;
using q7::internal::kBlockBytes;
using q7::internal::open_unbuffered;
using q7::internal::read_full;
using q7::internal::SlabPipe;
using q7::internal::SlabPlan;
using q7::internal::UniqueBlock;
using q7::internal::UniqueFile;
using q7::internal::write_full;
using q7::internal::zeroed_block;

namespace {

// Payloads up to this size are one chunk; larger ones go in chunks of kChunkBytes.
constexpr int32_t kWholeFileLimit = 1048576;
constexpr size_t kChunkBytes = 32768;

// Chunked payloads move in slabs of whole chunks, one read and one write each: a system
// call per chunk cost more than the copying it does.
constexpr size_t kSlabBytes = 32 * kChunkBytes;
// From this many slabs on, a helper thread reads and writes while the cipher runs; below
// it, starting the thread costs about what the overlap saves.
constexpr size_t kOverlapFromSlabs = 4;

constexpr size_t kHeaderWords = 3;
constexpr size_t kHeaderBytes = kHeaderWords * 4;

// The length of a chunk of a payload of `length` bytes (the last may be shorter).
size_t chunk_length(int32_t length) {
  return length > kWholeFileLimit ? kChunkBytes : static_cast<size_t>(length);
}

// The file's size, or -1 when its status cannot be had or it is too large for the signed
// 32-bit length field (2 GiB or more).
int32_t file_size(int fd) {
  struct stat status;
  if (fstat(fd, &status) != 0 || status.st_size < 0 || status.st_size > INT32_MAX) return -1;
  return static_cast<int32_t>(status.st_size);
}

// A chunk rounded up to whole blocks; at least one, so that no allocation asks for 0.
size_t buffer_bytes(size_t chunk) {
  const size_t blocks = blocks_for(chunk);
  return (blocks > 0 ? blocks : 1) * kBlockBytes;
}

void add_gamma(unsigned char* bytes, const unsigned char* gamma, size_t size) {
  for (size_t at = 0; at < size; at += sizeof(uint64_t)) {
    uint64_t word, mask;
    memcpy(&word, bytes + at, sizeof word);
    memcpy(&mask, gamma + at, sizeof mask);
    word ^= mask;
    memcpy(bytes + at, &word, sizeof word);
  }
}

// The coding of one payload of `length` (more than 0) plain bytes between two files whose
// offsets stand at the payload, chunk by chunk as the format has it, in slabs of whole
// chunks. CFB runs on over the chunks; the gamma restarts at each, so every chunk of a
// chunked payload takes the same gamma, made once here.
class PayloadCoding {
 public:
  PayloadCoding(Gost& gost, int in, int out, int32_t length, bool encode, bool use_stream)
      : gost_(gost),
        in_(in),
        out_(out),
        chunk_(chunk_length(length)),
        left_(static_cast<size_t>(length)),
        encode_(encode),
        use_stream_(use_stream),
        pipe_(plan(in, out, length, encode)),
        gamma_(use_stream && chunk_ < left_ ? zeroed_block(1, kChunkBytes) : nullptr),
        ready_(pipe_.ready() && (gamma_ || !use_stream || chunk_ == left_)) {}

  // False when the buffers could not be had.
  [[nodiscard]] bool ready() const { return ready_; }

  // Codes the payload from the `iv` now set. On a failure `iv` is left where writing the
  // chunks one at a time would leave it: at the chain's end after the last chunk written.
  [[nodiscard]] bool run() {
    gost_.get_iv(file_iv_);
    if (gamma_) {
      gost_.stream(as_words(gamma_.get()), as_words(gamma_.get()), kChunkBytes / kBlockBytes);
    }
    if (pipe_.run({&PayloadCoding::code_slab, this})) return true;
    if (!use_stream_) rewind_chain();
    return false;
  }

 private:
  static SlabPlan plan(int in, int out, int32_t length, bool encode) {
    const size_t plain = static_cast<size_t>(length);
    const size_t padded = blocks_for(plain) * kBlockBytes;
    const size_t total = encode ? plain : padded;
    const bool chunked = length > kWholeFileLimit;
    const size_t slab = chunked ? kSlabBytes : total;
    return {.in = in,
            .out = out,
            .total = total,
            .slab = slab,
            .capacity = chunked ? kSlabBytes : padded,
            .overlap = (total + slab - 1) / slab >= kOverlapFromSlabs};
  }

  static size_t code_slab(void* self, unsigned char* slab, size_t got) {
    return static_cast<PayloadCoding*>(self)->code_slab(slab, got);
  }

  // Codes the whole chunks among the `got` bytes of `slab` in place. Only the payload's
  // last chunk can be short of a full one, so the chunks lie back to back, block-aligned.
  size_t code_slab(unsigned char* slab, size_t got) {
    size_t plain = 0;
    size_t padded = 0;
    while (plain < left_) {
      const size_t n = left_ - plain < chunk_ ? left_ - plain : chunk_;
      const size_t blocks_bytes = blocks_for(n) * kBlockBytes;
      if ((encode_ ? n : blocks_bytes) > got - padded) break;
      if (encode_) memset(slab + padded + n, 0, blocks_bytes - n);
      if (gamma_) add_gamma(slab + padded, gamma_.get(), blocks_bytes);
      plain += n;
      padded += blocks_bytes;
    }
    const int blocks = static_cast<int>(padded / kBlockBytes);
    if (!use_stream_) {
      if (encode_) {
        gost_.cfb_encrypt(as_words(slab), as_words(slab), blocks);
      } else {
        gost_.cfb_decrypt(as_words(slab), as_words(slab), blocks);
      }
      gost_.update_cur_iv();
    } else if (!gamma_) {
      gost_.stream(as_words(slab), as_words(slab), blocks);
    }
    left_ -= plain;
    return encode_ ? padded : plain;
  }

  // CFB's chain after chunk c is the last cipher block of that chunk: in the output when
  // enciphering, in the input when deciphering. How far the output got tells c.
  void rewind_chain() {
    gost_.set_iv(file_iv_);
    const off_t end = lseek(out_, 0, SEEK_CUR);
    const off_t chunk = static_cast<off_t>(chunk_);
    const off_t payload_end = encode_ ? end - static_cast<off_t>(kHeaderBytes) : end;
    if (payload_end < chunk) return;
    const off_t chain_at = payload_end / chunk * chunk + kHeaderBytes - kBlockBytes;
    unsigned int chain[2];
    if (pread(encode_ ? out_ : in_, chain, sizeof chain, chain_at) == sizeof chain) {
      gost_.set_iv(chain);
    }
  }

  Gost& gost_;
  int in_;
  int out_;
  size_t chunk_;
  size_t left_;  // plain bytes not yet coded
  bool encode_;
  bool use_stream_;
  SlabPipe pipe_;
  UniqueBlock gamma_;  // chunked payloads in gamma mode: the gamma of one chunk
  bool ready_;
  unsigned int file_iv_[2] = {};
};

// Draws the file's IV into `iv` and writes the header.
bool write_header(Gost& gost, int out, int32_t length) {
  gost.set_iv_random();
  unsigned int header[kHeaderWords];
  gost.get_iv(header);
  header[2] = static_cast<unsigned int>(length);
  return write_full(out, header, sizeof header);
}

bool encode_file(Gost& gost, int in, int out, int32_t length, bool use_stream) {
  if (length == 0) return write_header(gost, out, length);
  PayloadCoding coding(gost, in, out, length, true, use_stream);
  return coding.ready() && write_header(gost, out, length) && coding.run();
}

bool decode_file(Gost& gost, int in, int out, int32_t coded_size, bool use_stream) {
  unsigned int header[kHeaderWords];
  if (read_full(in, header, sizeof header) != sizeof header) return false;
  gost.set_iv(header);
  const int32_t length = static_cast<int32_t>(header[2]);
  if (length == 0) return true;
  // The header alone decides the buffers, so it must not promise more than the file holds.
  if (length < 0 || blocks_for(static_cast<size_t>(length)) > blocks_for(coded_size)) {
    return false;
  }
  PayloadCoding coding(gost, in, out, length, false, use_stream);
  return coding.ready() && coding.run();
}

}  // namespace

bool Gost::code_file(char* in_path, char* out_path, bool encode, bool use_stream) {
  const UniqueFile in = open_unbuffered(in_path, "rb");
  if (!in) return false;
  const UniqueFile out = open_unbuffered(out_path, "wb+");
  if (!out) return false;
  const int in_fd = fileno(in.get());
  const int out_fd = fileno(out.get());
  const int32_t size = file_size(in_fd);
  if (size < 0) return false;
  return encode ? encode_file(*this, in_fd, out_fd, size, use_stream)
                : decode_file(*this, in_fd, out_fd, size, use_stream);
}

bool Gost::mac_file(char* path, unsigned int* value) {
  const UniqueFile in = open_unbuffered(path, "rb");
  if (!in) return false;
  const int32_t size = file_size(fileno(in.get()));
  if (size < 0) return false;
  const size_t chunk = chunk_length(size);
  const UniqueBlock buffer = zeroed_block(1, buffer_bytes(chunk));
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
