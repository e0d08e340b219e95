// Writing fixed texts straight to a file descriptor, safe inside signal handlers.
#pragma once

namespace q7::internal {

// Writes the whole NUL-terminated `text` to `fd` with write(2), going on after partial
// writes and interruptions. Async-signal-safe; failures are ignored, as there is nowhere
// left to report them.
void write_fd(int fd, const char* text);

// Low-level failure texts of the library ("THREAD: mutex lock errors...\n" and the like)
// go to standard error through here, never through the message log, so that they can be
// written while a log lock is held or from a signal handler.
void write_stderr(const char* text);

}  // namespace q7::internal
