// What the exit handlers and the signal exit path share: the start of an exit, and the
// watchdog's limit.
#pragma once

namespace q7::internal {

// How long the exit handlers may run after a handled signal before the process ends
// without them (10 seconds unless changed). Tests shorten it.
void set_signal_exit_timeout(unsigned int seconds);

// Called by call_exit_handlers as the exit path begins; a signal that arrives meanwhile
// must not start a second exit.
void note_exit_started();

}  // namespace q7::internal
