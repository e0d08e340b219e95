// Logging from a signal handler: what the message log gives the signal exit path.
#pragma once

namespace q7::internal {

// Logs `text` (a whole message, no formatting) at `level` on the default logger as
// q7_notify does, from a signal handler. When the interrupted thread itself holds a log
// lock, taking it again would wait forever; the line is then written straight to the
// logger's file descriptor instead, without locks or stdio.
void notify_from_signal(int level, const char* text);

}  // namespace q7::internal
