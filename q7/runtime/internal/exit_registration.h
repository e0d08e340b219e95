// Registering an exit handler where the caller must know that it will run.
#pragma once

namespace q7::internal {

// Registers `handler` with `argument` as register_exit_handler does. Returns false, having
// registered nothing, for a null handler or when the handler's node cannot be allocated.
[[nodiscard]] bool add_exit_handler(void (*handler)(void*), void* argument);

}  // namespace q7::internal
