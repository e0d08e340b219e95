// Fuzzes Q7Star::fileread over arbitrary files. A table that reads back must survive being
// written and read again with the same texts and records.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "fuzz/scratch_file.h"
#include "q7/text/string_table.h"

namespace {

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
  static const q7fuzz::ScratchFile input("string_table_fuzz", "input");
  static const q7fuzz::ScratchFile again("string_table_fuzz", "again");
  if (!input.write(data, size)) return 0;
  Q7Star reader;
  Q7Star* table = reader.fileread(input.path());
  if (table == nullptr) return 0;
  if (table->n() < 0 || table->capacity != table->n()) abort();
  if (table->filewrite(again.path())) {
    Q7Star* copy = reader.fileread(again.path());
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
