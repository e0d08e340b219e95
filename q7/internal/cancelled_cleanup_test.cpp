// Tests that the cleanup handler of a thread cancelled in its sleep hands its writes over:
// under ThreadSanitizer a missing annotation shows as a reported race.
#include "q7/internal/cancelled_cleanup.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <semaphore.h>
#include <time.h>

#include "q7/internal/scoped_lock.h"

namespace {

struct Handover {
  pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
  pthread_cond_t changed = PTHREAD_COND_INITIALIZER;
  sem_t asleep;
  int before_sleep = 0;
  bool stopped = false;
};

void hand_over(void* raw) {
  auto* handover = static_cast<Handover*>(raw);
  q7::internal::ScopedLock lock(&handover->lock);
  q7::internal::cleanup_took_lock(&handover->lock);
  handover->stopped = true;
  pthread_cond_signal(&handover->changed);
  q7::internal::cleanup_gives_up_lock(&handover->lock);
}

void* sleep_until_cancelled(void* raw) {
  auto* handover = static_cast<Handover*>(raw);
  pthread_cleanup_push(hand_over, handover);
  sem_post(&handover->asleep);
  // Written after the post, so that only the handover orders it before the reader.
  handover->before_sleep = 42;
  for (;;) {
    const timespec second = {1, 0};
    nanosleep(&second, nullptr);
  }
  pthread_cleanup_pop(0);
  return nullptr;
}

TEST(CancelledCleanup, HandsTheThreadsWritesToWhoeverTakesTheLockNext) {
  auto* handover = new Handover;
  sem_init(&handover->asleep, 0, 0);
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, nullptr, sleep_until_cancelled, handover), 0);
  pthread_detach(thread);
  sem_wait(&handover->asleep);
  pthread_cancel(thread);
  {
    q7::internal::ScopedLock lock(&handover->lock);
    while (!handover->stopped) pthread_cond_wait(&handover->changed, &handover->lock);
  }
  EXPECT_EQ(handover->before_sleep, 42);
  sem_destroy(&handover->asleep);
  delete handover;
}

}  // namespace
