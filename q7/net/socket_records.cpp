// Connection records: making, growing and releasing them, and the caller's fields.
#include <limits.h>
#include <stdlib.h>

#include "q7/cipher/gost.h"
#include "q7/net/netio_x.h"

namespace {

constexpr int kFirstBufferBytes = 32;

}  // namespace

tagSOCKETXS* Netio_x::create_socketx() {
  auto* record = static_cast<tagSOCKETXS*>(calloc(1, sizeof(tagSOCKETXS)));
  if (record == nullptr) return nullptr;
  record->plain_buf = static_cast<unsigned int*>(malloc(kFirstBufferBytes));
  record->cipher_buf = static_cast<unsigned int*>(malloc(kFirstBufferBytes));
  if (record->plain_buf == nullptr || record->cipher_buf == nullptr) {
    destroy_socketx(record);
    return nullptr;
  }
  record->buf_size = kFirstBufferBytes;
  return record;
}

void Netio_x::destroy_socketx(tagSOCKETXS* record) {
  if (record == nullptr) return;
  free(record->plain_buf);
  free(record->cipher_buf);
  delete record->cipher;
  if (record->user_cleanup != nullptr) record->user_cleanup(record->user_data);
  free(record->text_buf);
  free(record->pushback);
  free(record);
}

bool Netio_x::grow_socket_buffers(tagSOCKETXS* record, int size) {
  if (record == nullptr) return false;
  if (size <= record->buf_size) return true;
  if (size > INT_MAX - 7) return false;
  const size_t capacity = static_cast<size_t>((size + 7) & ~7);
  void* plain = realloc(record->plain_buf, capacity);
  if (plain == nullptr) return false;
  record->plain_buf = static_cast<unsigned int*>(plain);
  void* cipher = realloc(record->cipher_buf, capacity);
  if (cipher == nullptr) return false;
  record->cipher_buf = static_cast<unsigned int*>(cipher);
  // Set only now: a size that one buffer lacks would let the next record overrun it.
  record->buf_size = static_cast<int>(capacity);
  return true;
}

void Netio_x::set_user_function(tagSOCKETXS* record, void* (*function)(void*)) {
  if (record != nullptr) record->user_function = function;
}

void Netio_x::set_user_data(tagSOCKETXS* record, void* data) {
  if (record != nullptr) record->user_data = data;
}

void Netio_x::set_user_cleanup(tagSOCKETXS* record, void* (*cleanup)(void*)) {
  if (record != nullptr) record->user_cleanup = cleanup;
}
