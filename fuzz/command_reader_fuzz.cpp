// Fuzzes get_command over arbitrary input lines with a fixed table, with and without an
// output stream and with copied and static arguments, until the input ends.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "q7/text/command_reader.h"

namespace {

char* text(const char* literal) { return const_cast<char*>(literal); }

tagSCOMMANDS table[] = {
    {text("list"), 1, text("list things"), 0, 1, false},
    {text("load"), 2, text("load a file"), 1, 3, false},
    {text("show status"), 3, text("status"), 0, 0, false},
    {text("show files"), 4, text("files"), 0, 20, false},
    {text("\"quoted word\" x"), 5, text("quoted"), 0, 2, false},
    {text("same"), 6, text("first"), 0, 0, false},
    {text("same"), 7, text("second"), 0, 0, false},
    {text("trail\\"), 8, text("dangling backslash"), 0, 25, false},
};
constexpr int kEntries = sizeof table / sizeof table[0];

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  // The first byte picks the mode, the rest is the input script.
  const bool copy = data[0] & 1;
  const bool silent = data[0] & 2;
  const int capacity = data[0] >> 3;
  FILE* input =
      size > 1 ? fmemopen(const_cast<uint8_t*>(data + 1), size - 1, "r") : fopen("/dev/null", "r");
  FILE* output = silent ? nullptr : fopen("/dev/null", "w");
  char* arguments[32];
  int count = 0;
  for (;;) {
    memset(arguments, 0, sizeof arguments);
    const int result =
        get_command(table, kEntries, input, text("fz"), output, arguments, &count, capacity, copy);
    if (result == 0) break;
    if (result > 0) {
      if (count < 0 || count > capacity || count > 20) abort();
      for (int i = 0; i < count; ++i) {
        if (arguments[i] == nullptr || strlen(arguments[i]) > 79) abort();
      }
    } else if (result < -5 || count != 0) {
      abort();
    }
    if (copy) free_command_args(arguments, count);
  }
  fclose(input);
  if (output != nullptr) fclose(output);
  return 0;
}
