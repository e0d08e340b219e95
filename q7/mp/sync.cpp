// Mutex, condition block and semaphore handles over POSIX threads.
#include "q7/mp/sync.h"

#include <errno.h>
#include <pthread.h>
#include <semaphore.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/time.h>

#include "q7/internal/signal_safe_write.h"

namespace {

constexpr long kNanosPerSecond = 1000000000L;

pthread_mutex_t* as_mutex(void* handle) { return static_cast<pthread_mutex_t*>(handle); }
pthread_cond_t* as_cond(void* handle) { return static_cast<pthread_cond_t*>(handle); }
sem_t* as_sema(void* handle) { return static_cast<sem_t*>(handle); }

int report_mutex_result(int result) {
  if (result != 0) q7::internal::write_stderr("THREAD: mutex lock errors...\n");
  return result;
}

// Absolute wall-clock deadline `nanoseconds` from now, in the form pthread_cond_timedwait
// takes; built from gettimeofday because the condition's clock is the wall clock.
timespec deadline_after(int nanoseconds) {
  timeval now;
  gettimeofday(&now, nullptr);
  timespec deadline;
  deadline.tv_sec = now.tv_sec + nanoseconds / kNanosPerSecond;
  deadline.tv_nsec = now.tv_usec * 1000L + nanoseconds % kNanosPerSecond;
  if (deadline.tv_nsec >= kNanosPerSecond) {
    deadline.tv_nsec -= kNanosPerSecond;
    deadline.tv_sec += 1;
  }
  // A negative wait is a deadline already past.
  if (deadline.tv_nsec < 0) {
    deadline.tv_nsec += kNanosPerSecond;
    deadline.tv_sec -= 1;
  }
  return deadline;
}

}  // namespace

void* q7mp_new_mutex(int locked) {
  auto* mutex = static_cast<pthread_mutex_t*>(malloc(sizeof(pthread_mutex_t)));
  if (mutex == nullptr) return nullptr;
  pthread_mutex_init(mutex, nullptr);
  if (locked != 0) report_mutex_result(pthread_mutex_lock(mutex));
  return mutex;
}

void q7mp_delete_mutex(void* mutex) {
  if (mutex == nullptr) return;
  pthread_mutex_destroy(as_mutex(mutex));
  free(mutex);
}

int q7mp_get_mutex(void* mutex) {
  if (mutex == nullptr) return report_mutex_result(EINVAL);
  return report_mutex_result(pthread_mutex_lock(as_mutex(mutex)));
}

int q7mp_test_mutex(void* mutex) {
  if (mutex == nullptr) return 0;
  return pthread_mutex_trylock(as_mutex(mutex)) == 0 ? 1 : 0;
}

int q7mp_release_mutex(void* mutex) {
  if (mutex == nullptr) return report_mutex_result(EINVAL);
  return report_mutex_result(pthread_mutex_unlock(as_mutex(mutex)));
}

void* q7mp_new_cond_block() {
  auto* cond = static_cast<pthread_cond_t*>(malloc(sizeof(pthread_cond_t)));
  if (cond == nullptr) return nullptr;
  pthread_cond_init(cond, nullptr);
  return cond;
}

void q7mp_delete_cond_block(void* cond) {
  if (cond == nullptr) return;
  pthread_cond_destroy(as_cond(cond));
  free(cond);
}

int q7mp_cond_signal(void* cond) {
  if (cond == nullptr) return EINVAL;
  return pthread_cond_signal(as_cond(cond));
}

int q7mp_cond_wait(void* cond, void* mutex) {
  if (cond == nullptr || mutex == nullptr) return EINVAL;
  return pthread_cond_wait(as_cond(cond), as_mutex(mutex));
}

int q7mp_cond_timedwait(void* cond, void* mutex, int nanoseconds) {
  if (cond == nullptr || mutex == nullptr) return EINVAL;
  const timespec deadline = deadline_after(nanoseconds);
  int result;
  do {
    result = pthread_cond_timedwait(as_cond(cond), as_mutex(mutex), &deadline);
  } while (result == 0);
  if (result != ETIMEDOUT) {
    char text[160];
    snprintf(text, sizeof text, "ERROR: Video frame timer error: '%s'\n", strerror(result));
    q7::internal::write_stderr(text);
  }
  return result;
}

void* q7mp_new_sema(int value) {
  auto* sema = static_cast<sem_t*>(malloc(sizeof(sem_t)));
  if (sema == nullptr) return nullptr;
  if (value < 0 || sem_init(sema, 0, static_cast<unsigned>(value)) != 0) {
    free(sema);
    return nullptr;
  }
  return sema;
}

int q7mp_delete_sema(void* sema) {
  if (sema == nullptr) return 0;
  sem_destroy(as_sema(sema));
  free(sema);
  return 0;
}

int q7mp_post_sema(void* sema) {
  if (sema == nullptr) return -1;
  return sem_post(as_sema(sema)) == 0 ? 0 : -1;
}

int q7mp_wait_sema(void* sema) {
  if (sema == nullptr) return -1;
  int result;
  do {
    result = sem_wait(as_sema(sema));
  } while (result != 0 && errno == EINTR);
  return result == 0 ? 1 : -1;
}

int q7mp_test_sema(void* sema) {
  if (sema == nullptr) return -1;
  if (sem_trywait(as_sema(sema)) == 0) return 1;
  return errno == EAGAIN ? 0 : -1;
}
