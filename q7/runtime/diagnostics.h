// Two diagnostics kept for compatibility; they do next to nothing.
#pragma once

// The names of the floating-point rounding modes: "unknown", "chop", "up", "down", "near".
extern const char* const round_mode_names[5];

// Returns "unknown" (the first name); the processor is not inspected.
const char* round_get_mode();

// Does nothing.
void dump_memory_leak_info(void* anything);
