// Tests of the mutex, condition block and semaphore handles, the clock and the sleep.
#include "q7/mp/sync.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "q7/mp/clock.h"

namespace {

int test_from_other_thread(void* mutex) {
  return std::async(std::launch::async,
                    [mutex] {
                      const int taken = q7mp_test_mutex(mutex);
                      if (taken == 1) q7mp_release_mutex(mutex);
                      return taken;
                    })
      .get();
}

TEST(Mutex, MadeLockedOrFreeAndTestedWithoutWaiting) {
  void* held = q7mp_new_mutex(1);
  ASSERT_NE(held, nullptr);
  EXPECT_EQ(test_from_other_thread(held), 0);
  EXPECT_EQ(q7mp_release_mutex(held), 0);
  EXPECT_EQ(test_from_other_thread(held), 1);
  EXPECT_EQ(q7mp_get_mutex(held), 0);
  EXPECT_EQ(q7mp_test_mutex(held), 0) << "not recursive";
  EXPECT_EQ(q7mp_release_mutex(held), 0);
  q7mp_delete_mutex(held);
  testing::internal::CaptureStderr();
  EXPECT_EQ(q7mp_get_mutex(nullptr), EINVAL);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "THREAD: mutex lock errors...\n");
}

TEST(CondBlock, TimedWaitLastsItsWholeTimeThroughWakeUps) {
  void* cond = q7mp_new_cond_block();
  void* mutex = q7mp_new_mutex(0);
  std::atomic<bool> done{false};
  std::thread signaller([&] {
    for (; !done; std::this_thread::sleep_for(std::chrono::milliseconds(2))) {
      q7mp_get_mutex(mutex);
      q7mp_cond_signal(cond);
      q7mp_release_mutex(mutex);
    }
  });
  q7mp_get_mutex(mutex);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(q7mp_cond_timedwait(cond, mutex, 20000000), 110);
  const auto waited = std::chrono::steady_clock::now() - start;
  q7mp_release_mutex(mutex);
  done = true;
  signaller.join();
  EXPECT_GE(waited, std::chrono::milliseconds(19));
  EXPECT_EQ(q7mp_cond_timedwait(nullptr, mutex, 1), EINVAL);
  q7mp_delete_cond_block(cond);
  q7mp_delete_mutex(mutex);
}

TEST(Semaphore, CountsPostsAndRefusesBadCounts) {
  void* sema = q7mp_new_sema(0);
  ASSERT_NE(sema, nullptr);
  EXPECT_EQ(q7mp_test_sema(sema), 0);
  EXPECT_EQ(q7mp_post_sema(sema), 0);
  EXPECT_EQ(q7mp_test_sema(sema), 1);
  EXPECT_EQ(q7mp_test_sema(sema), 0);
  EXPECT_EQ(q7mp_delete_sema(sema), 0);
  EXPECT_EQ(q7mp_new_sema(-1), nullptr);
  EXPECT_TRUE(q7mp_post_sema(nullptr) == -1 && q7mp_wait_sema(nullptr) == -1);
}

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
