// Diagnostics that do next to nothing.
#include "q7/runtime/diagnostics.h"

const char* const round_mode_names[5] = {"unknown", "chop", "up", "down", "near"};

const char* round_get_mode() { return round_mode_names[0]; }

void dump_memory_leak_info(void*) {}
