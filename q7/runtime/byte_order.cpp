// Byte-order reversal.
#include "q7/runtime/byte_order.h"

#include <stdint.h>
#include <string.h>

#include <bit>

unsigned int word32_swab(unsigned int value) { return __builtin_bswap32(value); }

unsigned short word16_swab(unsigned short value) { return __builtin_bswap16(value); }

float float_swab(float value) {
  return std::bit_cast<float>(__builtin_bswap32(std::bit_cast<uint32_t>(value)));
}

void word32_swab_vec(unsigned int* values, int count) {
  for (int i = 0; i < count; ++i) values[i] = __builtin_bswap32(values[i]);
}

void word16_swab_vec(unsigned short* values, int count) {
  for (int i = 0; i < count; ++i) values[i] = __builtin_bswap16(values[i]);
}

void float_swab_vec(float* values, int count) {
  // Through integer words: a float load could quieten a signalling NaN pattern.
  for (int i = 0; i < count; ++i) {
    uint32_t word;
    memcpy(&word, &values[i], sizeof word);
    word = __builtin_bswap32(word);
    memcpy(&values[i], &word, sizeof word);
  }
}
