// Tests of the wall clock and the interruptible sleep.
#include "q7/mp/clock.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

TEST(Clock, SleepGoesOnThroughSignalsAndRefusesNegativeTimes) {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  struct sigaction previous {};
  sigaction(SIGUSR2, &action, &previous);
  const pthread_t sleeper = pthread_self();
  std::atomic<bool> done{false};
  std::thread interrupter([&] {
    for (; !done; std::this_thread::sleep_for(std::chrono::milliseconds(10))) {
      pthread_kill(sleeper, SIGUSR2);
    }
  });
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(q7mp_timedwait(150000000LL), 0);
  const auto slept = std::chrono::steady_clock::now() - start;
  done = true;
  interrupter.join();
  sigaction(SIGUSR2, &previous, nullptr);
  EXPECT_GE(slept, std::chrono::milliseconds(150));
  EXPECT_EQ(q7mp_timedwait(-5), -1);
}

}  // namespace
