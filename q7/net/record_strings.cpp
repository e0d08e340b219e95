// Strings over a connection record: a text and its terminator as one record's payload.
#include <limits.h>
#include <stdlib.h>
#include <string.h>

#include "q7/log/message_log.h"
#include "q7/net/netio_x.h"

namespace {

constexpr int kTraceLevel = 5;

// Room readn leaves in a getstring buffer: a terminator may have to follow the payload.
constexpr int kStringReserve = 2;

// The length of `text` when a record can carry it with its terminator, else -1.
int string_length(const char* text) {
  const size_t length = strlen(text);
  return length < INT_MAX ? static_cast<int>(length) : -1;
}

// Makes `text_buf` hold `size` bytes.
bool ensure_text_room(tagSOCKETXS& record, int size) {
  if (record.text_size >= size) return true;
  char* grown = static_cast<char*>(realloc(record.text_buf, static_cast<size_t>(size)));
  if (grown == nullptr) {
    record.text_size = 0;
    return false;
  }
  record.text_buf = grown;
  record.text_size = size;
  return true;
}

}  // namespace

int Netio_x::putstring(tagSOCKETXS* record, char* text) {
  if (text == nullptr) return -1;
  if (secure_trace) q7_notify(kTraceLevel, "Netio_x::putstring():\"%s\"\n", text);
  const int length = string_length(text);
  return length < 0 ? -1 : writen(record, text, length + 1);
}

int Netio_x::putstring_strip(tagSOCKETXS* record, char* text) {
  if (record == nullptr || text == nullptr) return -1;
  int length = string_length(text);
  if (length < 0 || !ensure_text_room(*record, length + 1)) return -1;
  char* copy = record->text_buf;
  memcpy(copy, text, static_cast<size_t>(length) + 1);
  while (length > 0 && copy[length - 1] == '\n') copy[--length] = '\0';
  if (secure_trace) q7_notify(kTraceLevel, "Netio_x::putstring_strip():\"%s\"\n", copy);
  return writen(record, copy, length + 1);
}

int Netio_x::getstring(tagSOCKETXS* record, char* buffer, int size) {
  if (buffer == nullptr || size <= kStringReserve) return -1;
  int count = readn(record, buffer, size - kStringReserve);
  if (count <= 0) return count;
  if (buffer[count - 1] != '\0') buffer[count++] = '\0';
  if (secure_trace) q7_notify(kTraceLevel, "Netio_x::getstring():\"%s\"\n", buffer);
  return count;
}

int Netio_x::getstring_strip(tagSOCKETXS* record, char* buffer, int size) {
  int count = getstring(record, buffer, size);
  if (count <= 0) {
    if (buffer != nullptr && size >= 1) buffer[0] = '\0';
    return count;
  }
  if (count > 1 && buffer[count - 2] == '\n') buffer[--count - 1] = '\0';
  if (secure_trace) q7_notify(kTraceLevel, "Netio_x::getstring_strip():\"%s\"\n", buffer);
  return count;
}
