// The signal handler that turns the handled signals into exits with status 1, 2 or 3.
#include "q7/runtime/internal/signal_exit.h"

#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>

#include "q7/internal/signal_log.h"
#include "q7/internal/signal_safe_write.h"
#include "q7/runtime/exit_handlers.h"

namespace {

constexpr int kDebugLevel = 4;

std::atomic<bool> exiting{false};
std::atomic<pthread_t> exiting_thread{};
std::atomic<unsigned int> exit_timeout_seconds{10};
volatile sig_atomic_t watchdog_status = 0;

struct SignalOutcome {
  int status;          // -1: the process goes on
  const char* format;  // the report, with the signal number
  bool to_log;         // through the log at level 4, otherwise straight to standard error
};

SignalOutcome outcome_of(int signal_number) {
  switch (signal_number) {
    case SIGHUP:
    case SIGINT:
    case SIGQUIT:
    case SIGABRT:
    case SIGTERM:
    case SIGTSTP:
      return {1, "SIGNAL: Interrupted by user (signal %d)\n", true};
    case SIGILL:
    case SIGTRAP:
    case SIGBUS:
    case SIGFPE:
    case SIGSEGV:
      return {2, "SIGNAL: Fatal internal error (signal %d)\n", true};
    case SIGALRM:
      return {3, "SIGNAL: Alarm call (signal %d)\n", false};
    case SIGXCPU:
    case SIGXFSZ:
      return {3, "SIGNAL: Quota exceeded (signal %d)\n", false};
    default:
      return {-1, nullptr, false};
  }
}

// Makes the calling thread the one that ends the process. A signal that arrives while an
// exit is already under way must not start a second one: on the exiting thread itself
// (a handler that crashed) the process ends at once; any other thread waits for the
// exiting one to end the process.
void become_exiting_thread(int status) {
  bool expected = false;
  if (exiting.compare_exchange_strong(expected, true)) {
    exiting_thread.store(pthread_self());
    return;
  }
  if (pthread_equal(exiting_thread.load(), pthread_self())) _exit(status);
  for (;;) pause();
}

void end_stuck_exit(int) {
  q7::internal::write_stderr("SIGNAL: exit handlers did not finish\n");
  _exit(watchdog_status);
}

// The exit handlers run on the interrupted thread, which may hold a lock they need (the
// allocator's, say); an alarm bounds the wait and ends the process with the same status.
void arm_watchdog(int status) {
  watchdog_status = status;
  struct sigaction action {};
  action.sa_handler = end_stuck_exit;
  sigemptyset(&action.sa_mask);
  sigaction(SIGALRM, &action, nullptr);
  sigset_t alarm_only;
  sigemptyset(&alarm_only);
  sigaddset(&alarm_only, SIGALRM);
  pthread_sigmask(SIG_UNBLOCK, &alarm_only, nullptr);
  alarm(exit_timeout_seconds.load());
}

}  // namespace

void call_exit_handlers_abend(int signal_number) {
  printf("In call_exit_handlers_abend( %d )\n", signal_number);
  fflush(stdout);
  const SignalOutcome outcome = outcome_of(signal_number);
  if (outcome.status < 0) return;
  become_exiting_thread(outcome.status);
  arm_watchdog(outcome.status);
  char report[80];
  snprintf(report, sizeof report, outcome.format, signal_number);
  if (outcome.to_log) {
    q7::internal::notify_from_signal(kDebugLevel, report);
  } else {
    q7::internal::write_stderr(report);
  }
  exit(outcome.status);
}

namespace q7::internal {

void set_signal_exit_timeout(unsigned int seconds) { exit_timeout_seconds.store(seconds); }

void note_exit_started() {
  bool expected = false;
  if (exiting.compare_exchange_strong(expected, true)) exiting_thread.store(pthread_self());
}

}  // namespace q7::internal
