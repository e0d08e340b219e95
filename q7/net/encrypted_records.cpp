// Data over a connection record: one payload per encrypted record, and one record read back.
#include <limits.h>
#include <stdint.h>
#include <string.h>

#include <algorithm>

#include "q7/cipher/gost.h"
#include "q7/net/internal/record_format.h"
#include "q7/net/internal/socket_calls.h"
#include "q7/net/netio_x.h"

using q7::internal::kPieceBytes;
using q7::internal::kRecordBlockBytes;
using q7::internal::kRecordIv;
using q7::internal::record_bytes;

namespace {

char* bytes_of(unsigned int* words) { return reinterpret_cast<char*>(words); }

// Makes the buffers hold `needed` bytes of a record of `total`. They grow at least twofold,
// so that a long record costs few copies, and never beyond the record.
bool make_room(Netio_x& io, tagSOCKETXS& record, int needed, int total) {
  if (needed <= record.buf_size) return true;
  const int64_t doubled = static_cast<int64_t>(record.buf_size) * 2;
  const int64_t target = std::min<int64_t>(total, std::max<int64_t>(needed, doubled));
  return io.grow_socket_buffers(&record, static_cast<int>(target));
}

// Reads the record's bytes behind its first block into `cipher_buf`, piece by piece, the
// buffers growing only as far as the bytes that have come: a length word is a claim, not
// a promise. Returns the record's bytes now in the buffer (the first block included),
// fewer than `total` when the stream ended first; -1 on a failure.
int read_rest(Netio_x& io, tagSOCKETXS& record, int total) {
  int have = kRecordBlockBytes;
  while (have < total) {
    const int piece = std::min(total - have, kPieceBytes);
    if (!make_room(io, record, have + piece, total)) return -1;
    const int got = io.Netio::readn(record.sock, bytes_of(record.cipher_buf) + have, piece);
    if (got < 0) return -1;
    have += got;
    if (got < piece) break;
  }
  return have;
}

// Deciphers the blocks behind the first one (deciphered already, the chain going on from
// it) up to the one that holds byte `upto` of the record, of which `arrived` bytes came.
void decipher_rest(tagSOCKETXS& record, int arrived, int upto) {
  const int reach = std::max(std::min(arrived, upto), kRecordBlockBytes);
  const int end = (reach + kRecordBlockBytes - 1) / kRecordBlockBytes * kRecordBlockBytes;
  // A block cut short by the end of the stream is filled with zeros, so that nothing the
  // buffer held before goes through the cipher.
  if (arrived < end) {
    memset(bytes_of(record.cipher_buf) + arrived, 0, static_cast<size_t>(end - arrived));
  }
  constexpr int kBlockWords = kRecordBlockBytes / sizeof(unsigned int);
  record.cipher->cfb_decrypt(record.cipher_buf + kBlockWords, record.plain_buf + kBlockWords,
                             end / kRecordBlockBytes - 1);
}

}  // namespace

int Netio_x::writen(tagSOCKETXS* record, char* data, int count) {
  if (record == nullptr || record->cipher == nullptr || count < 0) return -1;
  if (count == 0) return 0;
  const int64_t total = record_bytes(static_cast<uint32_t>(count));
  if (data == nullptr || total > INT_MAX) return -1;
  if (!grow_socket_buffers(record, static_cast<int>(total))) return -1;

  char* plain = bytes_of(record->plain_buf);
  const uint32_t length = static_cast<uint32_t>(count);
  memcpy(plain, &length, sizeof length);
  memcpy(plain + sizeof length, data, static_cast<size_t>(count));
  memset(plain + sizeof length + count, 0, static_cast<size_t>(total) - sizeof length - count);
  record->cipher->set_iv(kRecordIv);
  record->cipher->cfb_encrypt(record->plain_buf, record->cipher_buf,
                              static_cast<int>(total / kRecordBlockBytes));
  const int sent =
      Netio::writen(record->sock, bytes_of(record->cipher_buf), static_cast<int>(total));
  return sent == total ? count : -1;
}

int Netio_x::readn(tagSOCKETXS* record, char* buffer, int room) {
  if (record == nullptr || record->cipher == nullptr || room < 0) return -1;
  if (buffer == nullptr && room > 0) return -1;
  if (!grow_socket_buffers(record, kRecordBlockBytes)) return -1;
  Gost& cipher = *record->cipher;
  cipher.set_iv(kRecordIv);

  const int first = Netio::readn(record->sock, bytes_of(record->cipher_buf), kRecordBlockBytes);
  if (first <= 0) return first;
  char* plain = bytes_of(record->plain_buf);
  // The missing bytes of a first block cut short read as zero, the length word's too.
  memset(bytes_of(record->cipher_buf) + first, 0, static_cast<size_t>(kRecordBlockBytes - first));
  cipher.cfb_decrypt(record->cipher_buf, record->plain_buf, 1);
  cipher.update_cur_iv();
  memset(plain + first, 0, static_cast<size_t>(kRecordBlockBytes - first));

  uint32_t length;
  memcpy(&length, plain, sizeof length);
  const int64_t total = record_bytes(length);
  if (total > INT_MAX) return -1;
  const int wanted = static_cast<int>(std::min<int64_t>(length, room));

  int arrived = first;
  if (total > kRecordBlockBytes) {
    // A first block cut short has met the end of the stream: nothing of the rest can come.
    if (first < kRecordBlockBytes) return 0;
    arrived = read_rest(*this, *record, static_cast<int>(total));
    if (arrived <= kRecordBlockBytes) return arrived < 0 ? -1 : 0;
    // Only the blocks that hold delivered bytes need deciphering.
    decipher_rest(*record, arrived, static_cast<int>(sizeof length) + wanted);
    plain = bytes_of(record->plain_buf);
  }

  if (wanted == 0) return 0;
  const int present = std::clamp(arrived - static_cast<int>(sizeof length), 0, wanted);
  memcpy(buffer, plain + sizeof length, static_cast<size_t>(present));
  memset(buffer + present, 0, static_cast<size_t>(wanted - present));
  return wanted;
}
