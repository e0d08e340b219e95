// Connection records keyed as the connection setup leaves them, and encrypted records built
// with the cipher alone, for tests, benchmarks and fuzzers of the record layer.
#pragma once

#include <stdint.h>
#include <string.h>

#include <memory>
#include <string>

#include "q7/cipher/gost.h"
#include "q7/net/netio_x.h"

namespace q7test {

inline constexpr unsigned int kRecordKey[8] = {0x0f1e2d3c, 0x4b5a6978, 0x8796a5b4, 0xc3d2e1f0,
                                               0x01234567, 0x89abcdef, 0xfedcba98, 0x76543210};
inline constexpr unsigned int kRecordIvWords[2] = {0x6b2d90e4, 0x1c58f7a3};

// The size of the record that carries `length` payload bytes.
inline int64_t record_size(uint32_t length) { return 8 * ((int64_t{length} + 3) / 8 + 1); }

// A record made by `io` and destroyed through it.
struct RecordDeleter {
  Netio_x* io;
  void operator()(tagSOCKETXS* record) const { io->destroy_socketx(record); }
};
using RecordPtr = std::unique_ptr<tagSOCKETXS, RecordDeleter>;

// A record on `sock` with kRecordKey in `key` and in its cipher.
inline RecordPtr keyed_record(Netio_x& io, int sock) {
  RecordPtr record(io.create_socketx(), RecordDeleter{&io});
  if (!record) return record;
  record->sock = sock;
  memcpy(record->key, kRecordKey, sizeof record->key);
  record->cipher = new Gost;
  record->cipher->set_key(kRecordKey);
  return record;
}

// Runs whole blocks of `bytes` through the cipher under kRecordKey from the record IV.
inline std::string cfb(std::string bytes, bool encipher) {
  Gost gost;
  gost.set_key(kRecordKey);
  gost.set_iv(kRecordIvWords);
  std::string words(bytes.size(), '\0');
  auto* in = reinterpret_cast<unsigned int*>(bytes.data());
  auto* out = reinterpret_cast<unsigned int*>(words.data());
  const int blocks = static_cast<int>(bytes.size() / 8);
  encipher ? gost.cfb_encrypt(in, out, blocks) : gost.cfb_decrypt(in, out, blocks);
  return words;
}

// The bytes of a record carrying `payload` whose length word says `length`.
inline std::string sealed(const std::string& payload, uint32_t length) {
  std::string plain(static_cast<size_t>(record_size(static_cast<uint32_t>(payload.size()))), '\0');
  memcpy(plain.data(), &length, sizeof length);
  memcpy(plain.data() + sizeof length, payload.data(), payload.size());
  return cfb(plain, true);
}

inline std::string sealed(const std::string& payload) {
  return sealed(payload, static_cast<uint32_t>(payload.size()));
}

}  // namespace q7test
