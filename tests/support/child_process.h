// Runs a piece of a test in a forked child process and reports how it ended.
#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace q7test {

// How a child ended, with everything it wrote to standard output and standard error.
struct ChildResult {
  bool exited = false;     // ended through exit or _exit
  int exit_status = -1;    // valid when exited
  int term_signal = 0;     // the signal that killed it, when it did not exit
  bool timed_out = false;  // killed by run_in_child because it ran too long
  std::string out;
  std::string err;

  // True when the child exited with `status`.
  bool exited_with(int status) const { return exited && exit_status == status; }
};

// Forks, runs `body` in the child with its standard output and standard error sent into
// files, and waits at most `timeout` for it. A body that returns ends the child with
// status 0 after flushing its streams, without running exit handlers; a body that calls
// exit or is killed by a signal reports that. A child that outlives the timeout is
// killed with SIGKILL. Process-wide state of the library (thread ids, handlers, signals,
// the default logger) is thus fresh in each child and no test depends on another's order.
ChildResult run_in_child(const std::function<void()>& body,
                         std::chrono::milliseconds timeout = std::chrono::seconds(30));

// Inside a child: when `condition` does not hold, writes "<file>:<line>: check failed:
// <expression>" to standard error and ends the child at once with kCheckFailedStatus, so
// that the parent's describe() says which check failed and where.
#define Q7_CHILD_CHECK(...) \
  ::q7test::check_in_child(static_cast<bool>(__VA_ARGS__), #__VA_ARGS__, __FILE__, __LINE__)

// A status no scenario ends with on purpose (the exit statuses of signals are 1 to 3).
inline constexpr int kCheckFailedStatus = 97;

void check_in_child(bool condition, const char* expression, const char* file, int line);

// Text for a failure message: how the child ended and what it wrote.
std::string describe(const ChildResult& result);

}  // namespace q7test
