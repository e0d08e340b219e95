// Wall clock, sleeping and yielding.
#include "q7/mp/clock.h"

#include <errno.h>
#include <sched.h>
#include <sys/time.h>
#include <time.h>

namespace {
constexpr long long kNanosPerSecond = 1000000000LL;
}  // namespace

double q7mp_getclock() {
  timeval now;
  gettimeofday(&now, nullptr);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_usec) * 1e-6;
}

int q7mp_yield() { return sched_yield(); }

int q7mp_timedwait(long long nanoseconds) {
  timespec wait;
  wait.tv_sec = static_cast<time_t>(nanoseconds / kNanosPerSecond);
  wait.tv_nsec = static_cast<long>(nanoseconds % kNanosPerSecond);
  timespec remaining;
  while (nanosleep(&wait, &remaining) != 0) {
    if (errno != EINTR) return -1;
    wait = remaining;
  }
  return 0;
}
