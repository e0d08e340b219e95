// Byte-order reversal of 16- and 32-bit words and floats, singly and in arrays.
#pragma once

// The value with its 4 bytes reversed: 0x11223344 becomes 0x44332211.
unsigned int word32_swab(unsigned int value);
// The value with its 2 bytes exchanged: 0x1234 becomes 0x3412.
unsigned short word16_swab(unsigned short value);
// The float whose 4-byte pattern is the argument's reversed. A reversed pattern may be a
// signalling NaN, which the processor can quieten on the way back; keep floats of foreign
// byte order in memory and use float_swab_vec where every pattern must survive.
float float_swab(float value);

// Reverse each of the first `count` elements in place; nothing for a count of 0 or less.
void word32_swab_vec(unsigned int* values, int count);
void word16_swab_vec(unsigned short* values, int count);
// Works on each element's 4 bytes as a 32-bit word, so every bit pattern survives.
void float_swab_vec(float* values, int count);
