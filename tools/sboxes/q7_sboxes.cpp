// q7-sboxes FILE: writes a fresh set of the cipher's substitution rows to FILE, in the form
// that the build option Q7_SBOX_FILE reads.
#include <stdio.h>

#include "q7/cipher/gost.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: q7-sboxes FILE\n");
    return 2;
  }
  Gost gost;
  if (gost.make_sboxes(argv[1]) != 1) {
    fprintf(stderr, "q7-sboxes: cannot write %s\n", argv[1]);
    return 1;
  }
  return 0;
}
