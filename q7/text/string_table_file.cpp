// Q7Star's file form: timestamp, record size, count, length-prefixed texts, then records.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <new>

#include "q7/internal/unique_file.h"
#include "q7/text/string_table.h"

using q7::internal::close_file;
using q7::internal::open_unbuffered;
using q7::internal::UniqueFile;

namespace {

// Tables move through the file in blocks of this size; a text or record may straddle two.
// The streams are unbuffered, so each block is one system call and no stdio call is made
// per field.
constexpr size_t kBlock = 1 << 16;

using Block = std::unique_ptr<char[]>;

Block new_block() { return Block(new (std::nothrow) char[kBlock]); }

class BlockWriter {
 public:
  BlockWriter(FILE* file, char* block) : file_(file), block_(block) {}

  bool put(const void* bytes, size_t size) {
    const char* from = static_cast<const char*>(bytes);
    while (size > 0) {
      if (used_ == kBlock && !flush()) return false;
      const size_t part = std::min(size, kBlock - used_);
      memcpy(block_ + used_, from, part);
      used_ += part;
      from += part;
      size -= part;
    }
    return true;
  }

  bool put_int(int32_t value) { return put(&value, sizeof value); }

  bool flush() {
    const bool written = fwrite(block_, 1, used_, file_) == used_;
    used_ = 0;
    return written;
  }

 private:
  FILE* file_;
  char* block_;
  size_t used_ = 0;
};

// Reads fields in order and refuses any that would run past the end of the file, so that
// a damaged length fails like a short file before anything is allocated for it.
class FieldReader {
 public:
  FieldReader(FILE* file, char* block) : file_(file), block_(block) {
    struct stat status;
    // Only a regular file has a size to check against; anything else is read until it
    // comes short.
    if (fstat(fileno(file), &status) == 0 && S_ISREG(status.st_mode)) {
      left_ = status.st_size;
      knows_size_ = true;
    }
  }

  bool read(void* out, int64_t size) {
    if (size < 0 || size > left_) return false;
    left_ -= size;
    char* to = static_cast<char*>(out);
    while (size > 0) {
      if (at_ == end_ && !refill()) return false;
      const size_t part = std::min(static_cast<size_t>(size), end_ - at_);
      memcpy(to, block_ + at_, part);
      at_ += part;
      to += part;
      size -= part;
    }
    return true;
  }

  // Reads a 32-bit field that must not be negative.
  bool read_count(int32_t& value) { return read(&value, sizeof value) && value >= 0; }

  int64_t left() const { return left_; }

  // False for a pipe or device, whose fields are checked only as they arrive.
  bool knows_size() const { return knows_size_; }

 private:
  bool refill() {
    at_ = 0;
    end_ = fread(block_, 1, kBlock, file_);
    return end_ > 0;
  }

  FILE* file_;
  char* block_;
  size_t at_ = 0;
  size_t end_ = 0;
  int64_t left_ = std::numeric_limits<int64_t>::max();
  bool knows_size_ = false;
};

// Reads `size` bytes into a new block with `extra` bytes more at its end; null when they
// cannot be read. Where the file's size is unknown, a damaged size must not reserve memory
// for data that never comes, so the block grows only as the data arrives.
char* read_block(FieldReader& reader, int64_t size, size_t extra) {
  if (size > reader.left()) return nullptr;
  const int64_t first = reader.knows_size() ? size : std::min<int64_t>(size, kBlock);
  char* data = static_cast<char*>(malloc(static_cast<size_t>(first) + extra));
  for (int64_t done = 0, room = first; data != nullptr; room = std::min(room * 2, size)) {
    if (!reader.read(data + done, room - done)) break;
    done = room;
    if (done == size) return data;
    char* grown =
        static_cast<char*>(realloc(data, static_cast<size_t>(std::min(room * 2, size)) + extra));
    if (grown == nullptr) break;
    data = grown;
  }
  free(data);
  return nullptr;
}

// A text of `length` bytes from the file, terminated; null when it cannot be read.
char* read_text(FieldReader& reader, int32_t length) {
  char* text = read_block(reader, length, 1);
  if (text != nullptr) text[length] = '\0';
  return text;
}

// Makes room for entry `index` of `count`: all at once where the file's size vouches for
// the count, otherwise growing as entries arrive. New slots are null.
bool make_room(Q7Star& table, int index, int32_t count, bool all_at_once) {
  if (index < table.capacity) return true;
  const int grown =
      all_at_once ? count
                  : static_cast<int>(std::min<int64_t>(std::max(2 * table.capacity, 1024), count));
  auto* strings = static_cast<char**>(realloc(table.strings, grown * sizeof(char*)));
  if (strings == nullptr) return false;
  table.strings = strings;
  if (table.client_size > 0) {
    auto* clients = static_cast<void**>(realloc(table.clients, grown * sizeof(void*)));
    if (clients == nullptr) return false;
    table.clients = clients;
  }
  for (int i = table.capacity; i < grown; ++i) {
    table.strings[i] = nullptr;
    if (table.client_size > 0) table.clients[i] = nullptr;
  }
  table.capacity = grown;
  return true;
}

Q7Star* read_table(FILE* file, char* block) {
  FieldReader reader(file, block);
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
  // The destructor releases the entries read so far; the rest are null.
  for (int i = 0; i < count; ++i) {
    int32_t length;
    if (!make_room(*table, i, count, reader.knows_size()) || !reader.read_count(length)) {
      return nullptr;
    }
    table->strings[i] = read_text(reader, length);
    if (table->strings[i] == nullptr) return nullptr;
    table->count = i + 1;
  }
  for (int i = 0; i < count && record_size > 0; ++i) {
    table->clients[i] = read_block(reader, record_size, 0);
    if (table->clients[i] == nullptr) return nullptr;
  }
  return table.release();
}

bool write_table(FILE* file, char* block, const Q7Star& table) {
  BlockWriter writer(file, block);
  bool ok = writer.put_int(static_cast<int32_t>(table.timestamp)) &&
            writer.put_int(table.client_size) && writer.put_int(table.count);
  for (int i = 0; ok && i < table.count; ++i) {
    const size_t length = strlen(table.strings[i]);
    ok = length <= INT32_MAX && writer.put_int(static_cast<int32_t>(length)) &&
         writer.put(table.strings[i], length);
  }
  for (int i = 0; ok && i < table.count && table.client_size > 0; ++i) {
    ok = writer.put(table.clients[i], table.client_size);
  }
  return ok && writer.flush();
}

}  // namespace

bool Q7Star::filewrite(char* path) {
  if (path == nullptr) return false;
  const Block block = new_block();
  if (block == nullptr) return false;
  UniqueFile file = open_unbuffered(path, "wb+");
  if (!file) return false;
  timestamp = time(nullptr);
  const bool written = write_table(file.get(), block.get(), *this);
  return close_file(file) && written;
}

Q7Star* Q7Star::fileread(char* path) {
  if (path == nullptr) return nullptr;
  const Block block = new_block();
  if (block == nullptr) return nullptr;
  const UniqueFile file = open_unbuffered(path, "rb");
  if (!file) return nullptr;
  return read_table(file.get(), block.get());
}
