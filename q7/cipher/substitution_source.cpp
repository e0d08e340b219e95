// Writing a fresh set of substitution rows as the source text that builds read.
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include "q7/cipher/gost.h"

namespace {

constexpr int kRows = 8;
constexpr int kRowLength = 16;

// A random permutation of 0 to 15, drawn value by value and redrawn on repeats.
void draw_row(int* row) {
  bool taken[kRowLength] = {};
  for (int filled = 0; filled < kRowLength;) {
    rand();
    rand();
    const int candidate = rand() & (kRowLength - 1);
    if (taken[candidate]) continue;
    taken[candidate] = true;
    row[filled++] = candidate;
  }
}

bool write_row(FILE* file, int number, const int* row) {
  if (fprintf(file, "static unsigned char const k%d[16] = { ", number) < 0) return false;
  for (int i = 0; i < kRowLength; ++i) {
    if (fprintf(file, i + 1 < kRowLength ? "%3d," : "%3d", row[i]) < 0) return false;
  }
  return fprintf(file, "};\n") >= 0;
}

}  // namespace

int Gost::make_sboxes(char* path) {
  FILE* file = fopen(path, "w+");
  if (file == nullptr) return 0;
  srand(static_cast<unsigned int>(time(nullptr)));
  bool written = true;
  for (int number = kRows; number >= 1 && written; --number) {
    int row[kRowLength];
    draw_row(row);
    written = write_row(file, number, row);
  }
  return fclose(file) == 0 && written ? 1 : 0;
}
