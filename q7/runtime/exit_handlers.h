// Exit handlers that run at exit and after the fatal and interrupting signals.
#pragma once

// One registered handler, in the list from the most recent registration to the first.
struct exit_handler_node {
  void (*handler)(void*);
  void* argument;
  exit_handler_node* next;
};

// Process-wide state: the list of handlers, and 1 once the signal handlers and the exit
// hook are installed (0 again after the handlers have run).
extern exit_handler_node* handler_list;
extern int handlers_initialised;

// Registers `handler` to be called with `argument` when the process ends through exit (or
// a handled signal). The first registration installs call_exit_handlers_abend for SIGHUP,
// SIGINT, SIGQUIT, SIGABRT, SIGTERM, SIGTSTP, SIGFPE, SIGBUS, SIGSEGV, SIGTRAP, SIGILL,
// SIGXCPU, SIGXFSZ and SIGALRM, and call_exit_handlers as an atexit hook. A null handler is
// ignored and installs nothing; a handler that cannot be allocated is dropped silently.
// Safe to call from several threads and from a running handler (which does not get the
// new handler called: the list is emptied after the walk).
void register_exit_handler(void (*handler)(void*), void* argument);

// The exit hook: calls every registered handler once, most recent first, then empties the
// list and marks the handlers uninstalled, so that a later registration installs them
// again.
void call_exit_handlers();

// The signal handler. Writes "In call_exit_handlers_abend( %d )\n" to standard output,
// then by signal:
//   SIGHUP, SIGINT, SIGQUIT, SIGABRT, SIGTERM, SIGTSTP: logs
//     "SIGNAL: Interrupted by user (signal %d)\n" at level 4 and exits with status 1;
//   SIGILL, SIGTRAP, SIGBUS, SIGFPE, SIGSEGV: logs
//     "SIGNAL: Fatal internal error (signal %d)\n" at level 4 and exits with status 2;
//   SIGALRM: "SIGNAL: Alarm call (signal %d)\n" on standard error, status 3;
//   SIGXCPU, SIGXFSZ: "SIGNAL: Quota exceeded (signal %d)\n" on standard error, status 3;
//   any other signal: returns, and the process goes on.
// The exit runs the exit handlers. The handler is safe where the interrupted thread holds
// a log lock (the report then bypasses the lock). Should the exit handlers not finish
// within 10 seconds, because the interrupted thread held a lock they need (inside malloc,
// say), the process ends anyway with the same status, after
// "SIGNAL: exit handlers did not finish\n" on standard error. A second signal while the
// process is exiting leaves the first exit to finish.
void call_exit_handlers_abend(int signal);

// End the process with exit(status), so that the exit handlers run. They do not return.
[[noreturn]] void exit_wait(int status);
extern "C" [[noreturn]] void exit_wait_c(int status);
