// Tests of the wall clock and the interruptible sleep.
#include "q7/mp/clock.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/time.h>
#include <time.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

TEST(Clock, ReadsTheTimeOfDayToTheMicrosecond) {
  timeval before;
  gettimeofday(&before, nullptr);
  const double clock = q7mp_getclock();
  timeval after;
  gettimeofday(&after, nullptr);
  EXPECT_GE(clock, before.tv_sec + before.tv_usec * 1e-6 - 1e-6);
  EXPECT_LE(clock, after.tv_sec + after.tv_usec * 1e-6 + 1e-6);
  EXPECT_EQ(q7mp_yield(), 0);
}

void ignore_signal(int) {}

TEST(Clock, SleepGoesOnThroughSignals) {
  struct sigaction action {};
  action.sa_handler = ignore_signal;
  struct sigaction previous {};
  sigaction(SIGUSR2, &action, &previous);

  const pthread_t sleeper = pthread_self();
  std::atomic<bool> done{false};
  std::thread interrupter([&] {
    while (!done) {
      pthread_kill(sleeper, SIGUSR2);
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  });
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(q7mp_timedwait(150000000LL), 0);
  const auto slept = std::chrono::steady_clock::now() - start;
  done = true;
  interrupter.join();
  sigaction(SIGUSR2, &previous, nullptr);
  EXPECT_GE(slept, std::chrono::milliseconds(150));
}

TEST(Clock, NegativeSleepFails) { EXPECT_EQ(q7mp_timedwait(-5), -1); }

}  // namespace
