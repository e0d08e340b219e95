// The growth rule for arrays of pointers.
#pragma once

#include <stdlib.h>

#include "q7/log/message_log.h"

// Makes room for `needed` more elements after the `used` ones in `array`, which holds
// `capacity` elements and was allocated with malloc (or is null with a capacity of 0).
// The capacity doubles (starting from `initial`, or 1 when `initial` is below 1) until
// used + needed fit, and grows by 512 at a time once it is past 1023. Returns the number of
// free elements after `used`, or 0 when memory is short, after logging
// "ensure_memory(): Out of memory!\n" at level 1; the array and capacity are then left as
// they were. Made for arrays of pointers such as char**.
template <typename T>
unsigned int ensure_memory(T& array, int used, int& capacity, int needed, int initial) {
  if (static_cast<long long>(used) + needed <= capacity)
    return static_cast<unsigned int>(capacity - used);
  constexpr int kDoublingLimit = 1023;
  constexpr int kLinearStep = 512;
  long long grown = capacity > 0 ? 2LL * capacity : (initial > 0 ? initial : 1);
  while (grown < static_cast<long long>(used) + needed) {
    grown = grown <= kDoublingLimit ? grown * 2 : grown + kLinearStep;
  }
  const size_t bytes = static_cast<size_t>(grown) * sizeof(*array);
  void* resized = grown > 0x7fffffff ? nullptr : realloc(array, bytes);
  if (resized == nullptr) {
    q7_notify(1, "ensure_memory(): Out of memory!\n");
    return 0;
  }
  array = static_cast<T>(resized);
  capacity = static_cast<int>(grown);
  return static_cast<unsigned int>(capacity - used);
}
