// The thread layer: its set-up and take-down, and the table of library threads.
#include "q7/mp/threads.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <atomic>

#include "q7/internal/cancelled_cleanup.h"
#include "q7/internal/scoped_lock.h"
#include "q7/internal/signal_safe_write.h"
#include "q7/log/message_log.h"
#include "q7/mp/internal/execution.h"
#include "q7/mp/sync.h"

int pthreads_initialized = 0;
q7mp_thread_entry thread_ids[32];
int32_t num_threads = 0;
int32_t thread_id = 4096;
int32_t create_calls = 0;
void* q7mp_data_lock = nullptr;
void* q7mp_serializer = nullptr;
int32_t q7mp_numcpu = 1;

using q7::internal::ScopedLock;

namespace {

constexpr int kMaxThreads = 32;
constexpr int kMaxCreateRetries = 9999;

// Serialises q7mp_init_threads against q7mp_close_threads.
pthread_mutex_t layer_guard = PTHREAD_MUTEX_INITIALIZER;

// Guards the contents of the table below. It is never destroyed, unlike the layer's own
// locks, because a cancelled thread takes it on its way out, possibly after
// q7mp_close_threads has freed those. Taken last in the lock order and held only briefly.
pthread_mutex_t table_guard = PTHREAD_MUTEX_INITIALIZER;
// Parallel to thread_ids: false once the thread has ended. A detached thread's handle is
// no longer valid then, so it must not be cancelled.
bool running[kMaxThreads];
// Starts under way whose entry is not in the table yet; they hold a place against the
// limit while the data lock is released for an EAGAIN retry.
int pending_starts = 0;

struct StartRecord {
  void* (*function)(void*);
  void* argument;
  int32_t id;
};

// Index of the entry with `id`; -1 when there is none. The caller holds table_guard.
int find_entry(int32_t id) {
  for (int i = 0; i < num_threads; ++i) {
    if (thread_ids[i].id == id) return i;
  }
  return -1;
}

// The caller holds table_guard.
void erase_entry(int index) {
  for (int i = index + 1; i < num_threads; ++i) {
    thread_ids[i - 1] = thread_ids[i];
    running[i - 1] = running[i];
  }
  --num_threads;
}

void mark_ended(void* id) {
  ScopedLock table(&table_guard);
  q7::internal::cleanup_took_lock(&table_guard);
  const int index = find_entry(*static_cast<int32_t*>(id));
  if (index >= 0) running[index] = false;
  q7::internal::cleanup_gives_up_lock(&table_guard);
}

// Start routine of every library thread: runs the caller's function and records the end
// of the thread however it ends (return, pthread_exit or cancellation).
void* library_thread(void* raw) {
  StartRecord record = *static_cast<StartRecord*>(raw);
  free(raw);
  void* result = nullptr;
  pthread_cleanup_push(mark_ended, &record.id);
  result = record.function(record.argument);
  pthread_cleanup_pop(1);
  return result;
}

// Creates the thread and, on success, enters it in the table. Returns the POSIX result.
int create_entry(StartRecord* record) {
  // The new thread frees the record, maybe before pthread_create returns.
  const int32_t id = record->id;
  ScopedLock table(&table_guard);
  pthread_t handle;
  const int result = pthread_create(&handle, nullptr, library_thread, record);
  if (result != 0) return result;
  pthread_detach(handle);
  thread_ids[num_threads] = {id, handle};
  running[num_threads] = true;
  ++num_threads;
  --pending_starts;
  return 0;
}

int create_with_retries(StartRecord* record, void* data_lock) {
  int result = create_entry(record);
  for (int tries = 0; result == EAGAIN; ++tries) {
    q7_notify(5, "==> EAGAIN condition! (try=%d)\n", tries);
    q7mp_release_mutex(data_lock);
    sleep(1);
    q7mp_get_mutex(data_lock);
    if (tries + 1 > kMaxCreateRetries) break;
    result = create_entry(record);
  }
  return result;
}

// Removes the entry of `id`, cancelling its thread first when asked and still running.
void remove_entry(int32_t id, bool cancel) {
  {
    ScopedLock table(&table_guard);
    if (find_entry(id) < 0) return;
  }
  void* serializer = q7mp_serializer;
  void* data_lock = q7mp_data_lock;
  q7mp_get_mutex(serializer);
  q7mp_get_mutex(data_lock);
  bool cancel_failed = false;
  {
    ScopedLock table(&table_guard);
    const int index = find_entry(id);
    if (index >= 0) {
      if (cancel && running[index]) cancel_failed = pthread_cancel(thread_ids[index].thread) != 0;
      erase_entry(index);
    }
  }
  q7mp_release_mutex(data_lock);
  q7mp_release_mutex(serializer);
  if (cancel_failed) {
    char text[64];
    snprintf(text, sizeof text, "ERROR: Can't cancel thread: %d\n", id);
    q7::internal::write_stderr(text);
  }
}

}  // namespace

void q7mp_init_threads() {
  if (std::atomic_ref<int>(pthreads_initialized).load(std::memory_order_acquire) != 0) return;
  pthread_mutex_lock(&layer_guard);
  if (pthreads_initialized == 0) {
    {
      ScopedLock table(&table_guard);
      num_threads = 0;
    }
    q7mp_data_lock = q7mp_new_mutex(0);
    q7mp_serializer = q7mp_new_mutex(0);
    const int online = get_nprocs();
    std::atomic_ref<int32_t>(q7mp_numcpu).store(online < 1 ? 1 : online, std::memory_order_relaxed);
    std::atomic_ref<int>(pthreads_initialized).store(1, std::memory_order_release);
  }
  pthread_mutex_unlock(&layer_guard);
}

int q7mp_start_thread(void* (*function)(void*), void* argument) {
  const int calls = std::atomic_ref<int32_t>(create_calls).fetch_add(1) + 1;
  q7mp_init_threads();

  void* data_lock = q7mp_data_lock;
  q7mp_get_mutex(data_lock);
  int32_t id;
  {
    ScopedLock table(&table_guard);
    if (num_threads + pending_starts >= kMaxThreads) {
      id = -1;
    } else {
      id = thread_id++;
      ++pending_starts;
    }
  }
  if (id < 0) {
    q7mp_release_mutex(data_lock);
    q7::internal::write_stderr("ERROR: Maximum number of thread's reached !!\n");
    return -1;
  }

  auto* record = static_cast<StartRecord*>(malloc(sizeof(StartRecord)));
  int result = ENOMEM;
  if (record != nullptr) {
    *record = {function, argument, id};
    result = create_with_retries(record, data_lock);
  }
  if (result != 0) {
    free(record);
    {
      ScopedLock table(&table_guard);
      --pending_starts;
    }
    q7_notify(5, "ERROR: Can't create thread: %d, create_calls: %d\n", id, calls);
    q7mp_release_mutex(data_lock);
    return -1;
  }
  q7_notify(5, "Created thread id = %d, create_calls=%d\n", id, calls);
  q7mp_release_mutex(data_lock);
  return id;
}

int q7mp_threadid() {
  const pthread_t self = pthread_self();
  ScopedLock table(&table_guard);
  for (int i = 0; i < num_threads; ++i) {
    if (pthread_equal(thread_ids[i].thread, self)) return thread_ids[i].id;
  }
  return -1;
}

void q7mp_kill_thread(int id) { remove_entry(id, true); }

void q7mp_leaving_thread() {
  const int id = q7mp_threadid();
  if (id >= 0) remove_entry(id, false);
}

void q7mp_close_threads() {
  pthread_mutex_lock(&layer_guard);
  if (pthreads_initialized != 0) {
    q7::internal::cancel_running_execution();
    {
      ScopedLock table(&table_guard);
      for (int i = 0; i < num_threads; ++i) {
        if (running[i]) pthread_cancel(thread_ids[i].thread);
      }
      num_threads = 0;
    }
    // A running execution holds the serializer until its cancelled processors are joined,
    // and a removal holds both locks for a moment: the locks are freed only once nobody
    // holds them.
    void* serializer = q7mp_serializer;
    void* data_lock = q7mp_data_lock;
    q7mp_get_mutex(serializer);
    q7mp_get_mutex(data_lock);
    std::atomic_ref<int>(pthreads_initialized).store(0, std::memory_order_release);
    q7mp_serializer = nullptr;
    q7mp_data_lock = nullptr;
    q7mp_release_mutex(data_lock);
    q7mp_release_mutex(serializer);
    q7mp_delete_mutex(data_lock);
    q7mp_delete_mutex(serializer);
  }
  pthread_mutex_unlock(&layer_guard);
}

void q7mp_list_activeinfo() {}
