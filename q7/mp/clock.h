// The wall clock, nanosecond sleeps and yielding the processor.
#pragma once

// The time of day as seconds since the epoch, with microsecond resolution
// (gettimeofday: seconds + microseconds * 1e-6).
double q7mp_getclock();

// Gives up the processor to another runnable thread (sched_yield). Returns its result, 0.
int q7mp_yield();

// Sleeps for `nanoseconds` (64-bit), going on with the remaining time when a signal
// interrupts the sleep. Returns 0, or -1 when the sleep fails for another reason (a
// negative time).
int q7mp_timedwait(long long nanoseconds);
