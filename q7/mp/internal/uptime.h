// Reading the uptime file, apart so that tests can hand it another file.
#pragma once

#include <stdint.h>

namespace q7::internal {

// The first number of an uptime file (such as /proc/uptime) read as a single-precision
// float and truncated to whole seconds; -1 when the file cannot be opened or holds no
// number.
[[nodiscard]] int32_t read_uptime(const char* path);

}  // namespace q7::internal
