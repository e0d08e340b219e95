// Process-wide handles (mutexes, mostly) made at their first use, without a race.
#pragma once

namespace q7::internal {

// Returns the handle in `slot`, making it with `make` first when the slot is empty. Threads
// that get here at once make one each; one of them fills the slot, the others destroy
// theirs, and every caller gets the handle in the slot. Returns null only when `make`
// fails, leaving the slot empty for the next call to try again.
[[nodiscard]] void* ensure_handle(void*& slot, void* (*make)(), void (*destroy)(void*));

// Empties `slot` and destroys the handle it held, if any.
void forget_handle(void*& slot, void (*destroy)(void*));

}  // namespace q7::internal
