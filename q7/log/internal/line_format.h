// Composing log lines without the cost of printf's floating-point formatting.
#pragma once

#include <stddef.h>

namespace q7::internal {

// `value` rounded to hundredths exactly as printf's "%.2f" rounds it (to nearest, ties to
// even, on the exact binary value), as a whole number of hundredths. Returns false for
// values outside [0, 100), which callers format with printf instead.
[[nodiscard]] bool round_to_hundredths(double value, long long& hundredths);

// Writes "<facility> HH:MM:SS.hh <level>: <text>" into `line` when `level` is not null,
// or "<facility>                  : <text>" when it is, cut to `size` - 1 characters and
// terminated; the same text as printf with "%s %02d:%02d:%05.2f %s: %s" and
// "%s                  : %s". `text_length` is the length of `text`. Returns the length
// written.
size_t compose_line(char* line, size_t size, const char* facility, int hours, int minutes,
                    double seconds, const char* level, const char* text, size_t text_length);

}  // namespace q7::internal
