// Holding a mutex for the rest of a scope.
#pragma once

#include <pthread.h>

namespace q7::internal {

// Holds `mutex` from construction to the end of the scope, through the lock and unlock
// operations of its kind. A null mutex is not taken: a switched-off log, for one, has none.
template <typename Mutex, auto Lock, auto Unlock>
class [[nodiscard]] BasicScopedLock {
 public:
  explicit BasicScopedLock(Mutex* mutex) : mutex_(mutex) {
    if (mutex_ != nullptr) Lock(mutex_);
  }
  ~BasicScopedLock() {
    if (mutex_ != nullptr) Unlock(mutex_);
  }
  BasicScopedLock(const BasicScopedLock&) = delete;
  BasicScopedLock& operator=(const BasicScopedLock&) = delete;

 private:
  Mutex* mutex_;
};

// For the library's own POSIX mutexes. A handle of the thread layer is held with
// BasicScopedLock<void, q7mp_get_mutex, q7mp_release_mutex>, so that its failures are
// reported as the layer reports them.
using ScopedLock = BasicScopedLock<pthread_mutex_t, pthread_mutex_lock, pthread_mutex_unlock>;

}  // namespace q7::internal
