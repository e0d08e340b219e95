// The library's substitution rows, and the byte tables made from them.
#include "q7/cipher/gost.h"
#include "q7/cipher/internal/rounds.h"

void Gost::kboxinit() {
  // Defines the rows k8 down to k1 exactly as make_sboxes writes them. The build names the
  // file (Q7_SBOX_FILE), so that a deployment can use its own rows without a code change.
#include Q7_SBOX_INCLUDE

  q7::internal::build_byte_table(k8, k7, k87);
  q7::internal::build_byte_table(k6, k5, k65);
  q7::internal::build_byte_table(k4, k3, k43);
  q7::internal::build_byte_table(k2, k1, k21);
}
