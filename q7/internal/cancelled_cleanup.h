// Telling ThreadSanitizer about the lock calls of a thread cancelled inside a blocking call.
#pragma once

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#include <sanitizer/tsan_interface.h>
#define __SANITIZE_THREAD__ 1
#endif
#endif

namespace q7::internal {

// A thread cancelled inside a blocking call (nanosleep, a semaphore wait) runs its cleanup
// handlers with ThreadSanitizer no longer following its lock calls, since the interceptor of
// that call never returned. A cleanup handler that hands data over under a mutex calls
// these right after taking it and right before giving it up, so that the thread's writes
// reach whoever takes the mutex next. They do nothing in other builds.
inline void cleanup_took_lock([[maybe_unused]] void* mutex) {
#if defined(__SANITIZE_THREAD__)
  __tsan_acquire(mutex);
#endif
}

inline void cleanup_gives_up_lock([[maybe_unused]] void* mutex) {
#if defined(__SANITIZE_THREAD__)
  __tsan_release(mutex);
#endif
}

}  // namespace q7::internal
