// Tests of the mutex, condition block and semaphore handles, and of the sleep.
#include "q7/mp/sync.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "q7/mp/clock.h"

namespace {

int test_from_other_thread(void* mutex) {
  int taken = -1;
  std::thread([&] {
    if ((taken = q7mp_test_mutex(mutex)) == 1) q7mp_release_mutex(mutex);
  }).join();
  return taken;
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

TEST(Waits, FrameTimerSleepAndSemaphoreWaitGoOnThroughWakeUpsAndSignals) {
  void* cond = q7mp_new_cond_block();
  void* mutex = q7mp_new_mutex(0);
  // Without SA_RESTART, so that the signals interrupt the semaphore wait too.
  struct sigaction action {};
  action.sa_handler = [](int) {};
  struct sigaction previous {};
  sigaction(SIGUSR2, &action, &previous);
  const pthread_t waiter = pthread_self();
  void* sema = q7mp_new_sema(0);
  std::atomic<int> pokes_in_sema_wait{-1};  // -1 until the semaphore wait begins
  std::atomic<bool> done{false};
  std::thread pester([&] {
    for (; !done; std::this_thread::sleep_for(std::chrono::milliseconds(2))) {
      q7mp_get_mutex(mutex);
      q7mp_cond_signal(cond);
      q7mp_release_mutex(mutex);
      pthread_kill(waiter, SIGUSR2);
      if (pokes_in_sema_wait >= 0 && ++pokes_in_sema_wait == 5) q7mp_post_sema(sema);
    }
  });
  const auto start = std::chrono::steady_clock::now();
  q7mp_get_mutex(mutex);
  EXPECT_EQ(q7mp_cond_timedwait(cond, mutex, 20000000), 110);
  q7mp_release_mutex(mutex);
  const auto timed = std::chrono::steady_clock::now();
  EXPECT_EQ(q7mp_timedwait(50000000LL), 0);
  const auto slept = std::chrono::steady_clock::now();
  pokes_in_sema_wait = 0;
  EXPECT_EQ(q7mp_wait_sema(sema), 1);
  done = true;
  pester.join();
  sigaction(SIGUSR2, &previous, nullptr);
  EXPECT_GE(timed - start, std::chrono::milliseconds(19));
  EXPECT_GE(slept - timed, std::chrono::milliseconds(50));
  EXPECT_EQ(q7mp_timedwait(-5), -1);
  EXPECT_EQ(q7mp_cond_timedwait(nullptr, mutex, 1), EINVAL);
  q7mp_delete_cond_block(cond);
  q7mp_delete_mutex(mutex);
  q7mp_delete_sema(sema);
}

}  // namespace
