// Injected allocation failures: the N-th allocation of a scenario fails, for N = 1, 2, ...
//
// The executables that link q7_alloc_failure get their own malloc, calloc, realloc,
// posix_memalign, aligned_alloc, memalign, strdup, strndup and every allocating form of
// operator new (alloc_interposer.cpp). They forward to the next definition (the C library's
// and the C++ runtime's, or AddressSanitizer's), so that the sanitizers see every block,
// and the C library's own allocations (inside fopen, opendir, pthread_create, ...) pass
// through them too. Counting is off until a scenario arms it, and then counts the
// allocations of every thread of the process, so that work a call hands to threads of its
// own is covered; a new thread counts from the moment its start routine runs, which leaves
// the thread's set-up to the threads library and the sanitizers.
#pragma once

#include <functional>
#include <string>
#include <utility>

namespace q7test {

// One run of a scenario, in which the point()-th allocation made while armed fails and
// every other one succeeds. A run counts on across its armed stretches.
class FailureRun {
 public:
  // `point` 0 fails nothing, which makes a run that only counts.
  explicit FailureRun(long point);
  ~FailureRun();
  FailureRun(const FailureRun&) = delete;
  FailureRun& operator=(const FailureRun&) = delete;

  // Calls `operation` with counting on and returns its result. Arm only the operation
  // under test, so that the test framework's own allocations are not counted.
  template <typename Operation>
  decltype(auto) armed(Operation&& operation) {
    const Arming arming;
    return std::forward<Operation>(operation)();
  }

  long point() const { return point_; }
  // Whether this run's failing allocation has come.
  bool injected() const;
  // Allocations counted in this run so far.
  long counted() const;

 private:
  class Arming {
   public:
    Arming();
    ~Arming();
    Arming(const Arming&) = delete;
    Arming& operator=(const Arming&) = delete;
  };

  long point_;
};

// Runs `scenario` with its first armed allocation failing, then its second, and so on,
// until a run completes without a failure injected. `scenario` arms the operation under
// test, checks its result against what the injected failure (run.injected()) allows, and
// leaves everything it made released. Under LeakSanitizer each run ends with a leak check,
// so a leak is reported with the allocation that caused it. Stops at the first run that
// fails a check (its failing allocation is in the message, after `name`).
//
// Returns the number of failure points covered, the runs with a failure injected; the
// count is also recorded as the test property "<name> failure points".
int for_each_failure_point(const std::string& name,
                           const std::function<void(FailureRun&)>& scenario);

}  // namespace q7test
