// Fuzzes Q7Star::fileread over arbitrary files. A table that reads back must survive being
// written and read again with the same texts and records.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include "q7/text/string_table.h"

namespace {

// Two files in /tmp named after the process, removed when the fuzzer exits.
struct Scratch {
  std::string input = name("input");
  std::string again = name("again");
  ~Scratch() {
    unlink(input.c_str());
    unlink(again.c_str());
  }
  static std::string name(const char* what) {
    return "/tmp/q7_string_table_fuzz_" + std::to_string(getpid()) + "_" + what;
  }
};

bool write_all(const std::string& path, const uint8_t* data, size_t size) {
  FILE* file = fopen(path.c_str(), "wb");
  if (file == nullptr) return false;
  const bool written = fwrite(data, 1, size, file) == size;
  return fclose(file) == 0 && written;
}

void check_same(Q7Star& first, Q7Star& second) {
  if (first.n() != second.n() || first.client_size != second.client_size) abort();
  for (int i = 0; i < first.n(); ++i) {
    if (strcmp(first.get(i), second.get(i)) != 0) abort();
    if (first.client_size > 0 &&
        memcmp(first.get_client(i), second.get_client(i), first.client_size) != 0) {
      abort();
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const Scratch files;
  const std::string& input = files.input;
  const std::string& again = files.again;
  if (!write_all(input, data, size)) return 0;
  Q7Star reader;
  Q7Star* table = reader.fileread(const_cast<char*>(input.c_str()));
  if (table == nullptr) return 0;
  if (table->n() < 0 || table->capacity != table->n()) abort();
  if (table->filewrite(const_cast<char*>(again.c_str()))) {
    Q7Star* copy = reader.fileread(const_cast<char*>(again.c_str()));
    if (copy == nullptr) abort();
    check_same(*table, *copy);
    delete copy;
  }
  table->hash();
  for (int i = 0; i < table->n(); ++i) {
    if (table->find(table->get(i), true) < 0) abort();
  }
  delete table;
  return 0;
}
