// Q7Star's file form: timestamp, record size, count, length-prefixed texts, then records.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <limits>
#include <memory>
#include <new>

#include "q7/text/string_table.h"

namespace {

// Large enough that a table goes to and from the kernel in few calls; stdio allocates it.
constexpr size_t kStreamBuffer = 1 << 16;

// The table's streams are private to one call, so the unlocked stdio calls are safe and
// spare a lock per field.
bool write_bytes(FILE* file, const void* bytes, size_t size) {
  return fwrite_unlocked(bytes, 1, size, file) == size;
}

bool write_int(FILE* file, int32_t value) { return write_bytes(file, &value, sizeof value); }

// Reads fields in order and refuses any that would run past the end of the file, so that
// a damaged length fails like a short file before anything is allocated for it.
class FieldReader {
 public:
  explicit FieldReader(FILE* file) : file_(file) {
    struct stat status;
    // Only a regular file has a size to check against; anything else is read until it
    // comes short.
    if (fstat(fileno(file), &status) == 0 && S_ISREG(status.st_mode)) left_ = status.st_size;
  }

  bool read(void* out, int64_t size) {
    if (size < 0 || size > left_) return false;
    if (fread_unlocked(out, 1, size, file_) != static_cast<size_t>(size)) return false;
    left_ -= size;
    return true;
  }

  // Reads a 32-bit field that must not be negative.
  bool read_count(int32_t& value) { return read(&value, sizeof value) && value >= 0; }

  int64_t left() const { return left_; }

 private:
  FILE* file_;
  int64_t left_ = std::numeric_limits<int64_t>::max();
};

// A text of `length` bytes from the file, terminated; null when it cannot be read.
char* read_text(FieldReader& reader, int32_t length) {
  if (length > reader.left()) return nullptr;
  char* text = static_cast<char*>(malloc(static_cast<size_t>(length) + 1));
  if (text == nullptr) return nullptr;
  if (!reader.read(text, length)) {
    free(text);
    return nullptr;
  }
  text[length] = '\0';
  return text;
}

Q7Star* read_table(FILE* file) {
  FieldReader reader(file);
  int32_t timestamp;
  int32_t record_size;
  int32_t count;
  if (!reader.read(&timestamp, sizeof timestamp) || !reader.read_count(record_size)) {
    return nullptr;
  }
  // Each entry needs at least its length field and its record.
  const int64_t entry_size = 4 + static_cast<int64_t>(record_size);
  if (!reader.read_count(count) || count > reader.left() / entry_size) return nullptr;
  std::unique_ptr<Q7Star> table(new (std::nothrow) Q7Star(record_size));
  if (table == nullptr) return nullptr;
  table->timestamp = timestamp;
  if (count == 0) return table.release();
  table->strings = static_cast<char**>(calloc(count, sizeof(char*)));
  if (table->strings == nullptr) return nullptr;
  if (record_size > 0) {
    table->clients = static_cast<void**>(calloc(count, sizeof(void*)));
    if (table->clients == nullptr) return nullptr;
  }
  // The destructor releases the entries filled so far; the rest are null.
  table->capacity = count;
  table->count = count;
  for (int i = 0; i < count; ++i) {
    int32_t length;
    if (!reader.read_count(length)) return nullptr;
    table->strings[i] = read_text(reader, length);
    if (table->strings[i] == nullptr) return nullptr;
  }
  for (int i = 0; i < count && record_size > 0; ++i) {
    table->clients[i] = malloc(record_size);
    if (table->clients[i] == nullptr || !reader.read(table->clients[i], record_size)) {
      return nullptr;
    }
  }
  return table.release();
}

bool write_table(FILE* file, const Q7Star& table) {
  bool ok = write_int(file, static_cast<int32_t>(table.timestamp)) &&
            write_int(file, table.client_size) && write_int(file, table.count);
  for (int i = 0; ok && i < table.count; ++i) {
    const size_t length = strlen(table.strings[i]);
    ok = length <= INT32_MAX && write_int(file, static_cast<int32_t>(length)) &&
         write_bytes(file, table.strings[i], length);
  }
  for (int i = 0; ok && i < table.count && table.client_size > 0; ++i) {
    ok = write_bytes(file, table.clients[i], table.client_size);
  }
  return ok;
}

}  // namespace

bool Q7Star::filewrite(char* path) {
  if (path == nullptr) return false;
  FILE* file = fopen(path, "wb+");
  if (file == nullptr) return false;
  setvbuf(file, nullptr, _IOFBF, kStreamBuffer);
  timestamp = time(nullptr);
  const bool written = write_table(file, *this);
  // Closing flushes the last block, so its result counts as a write.
  return fclose(file) == 0 && written;
}

Q7Star* Q7Star::fileread(char* path) {
  if (path == nullptr) return nullptr;
  FILE* file = fopen(path, "rb");
  if (file == nullptr) return nullptr;
  setvbuf(file, nullptr, _IOFBF, kStreamBuffer);
  Q7Star* table = read_table(file);
  fclose(file);
  return table;
}
