// The directory watcher: starting and ending it, and the watch thread's polling cycle.
#include "q7/files/watcher.h"

#include <pthread.h>
#include <stdio.h>
#include <string.h>

#include <utility>

#include "q7/files/internal/watch_steps.h"
#include "q7/internal/cancelled_cleanup.h"
#include "q7/internal/scoped_lock.h"
#include "q7/mp/threads.h"

using q7::internal::ScopedLock;

namespace {

constexpr long long kPollNanos = 1000000000;
constexpr float kStableLimitSeconds = 100.0f;
// A record's `thread` while its start is under way; library ids begin at 4096.
constexpr int kStarting = 0;
constexpr int kStopped = -1;

// Guards the `thread` field of every record: the watch thread sets it to kStopped as its
// last touch of the record, and watch_directory_end waits for that before it frees
// anything. The threads are detached, so this is how the end learns that one has stopped.
// One lock for all records, held only for moments.
pthread_mutex_t stop_lock = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t stopped = PTHREAD_COND_INITIALIZER;

// Cleanup of the watch thread, which stops only by cancellation.
void note_stopped(void* raw) {
  auto* watch = static_cast<tagDWATCH*>(raw);
  ScopedLock lock(&stop_lock);
  q7::internal::cleanup_took_lock(&stop_lock);
  watch->thread = kStopped;
  pthread_cond_broadcast(&stopped);
  q7::internal::cleanup_gives_up_lock(&stop_lock);
}

// The end may have been asked for during the listing or an earlier callback; no callback
// starts after that. The callback itself runs with cancellation off, so that it is never
// left half done with the caller's locks or memory.
void call_back(void (*callback)(char*), char* text) {
  int state;
  pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &state);
  pthread_testcancel();
  pthread_setcancelstate(state, nullptr);
  callback(text);
}

// The text a callback receives goes into watch->path. Every name was listed with its full
// path, which fitted then and fits now.
void compose_report(tagDWATCH* watch, const char* name) {
  if (watch->full_path) {
    q7::internal::watch_compose_path(watch, name);
  } else {
    snprintf(watch->path, sizeof watch->path, "%s", name);
  }
}

void report_removals(tagDWATCH* watch) {
  for (int i = 0; i < watch->nknown; ++i) {
    if (q7::internal::watch_find(watch->known[i], watch->fresh, watch->nfresh)) continue;
    compose_report(watch, watch->known[i]);
    call_back(watch->on_removed, watch->path);
  }
}

// Stability is judged on the full path even when the callback gets the name alone: the
// name would be looked up in the process's working directory.
void report_additions(tagDWATCH* watch) {
  for (int i = 0; i < watch->nfresh; ++i) {
    const char* name = watch->fresh[i];
    if (q7::internal::watch_find(name, watch->known, watch->nknown)) continue;
    q7::internal::watch_compose_path(watch, name);
    if (!q7::internal::wait_for_stable(watch->path, kStableLimitSeconds)) continue;
    compose_report(watch, name);
    call_back(watch->on_added, watch->path);
  }
}

// A failed listing reports nothing and keeps `known`, so that the next good listing is
// compared with the last good one.
void watch_cycle(tagDWATCH* watch) {
  if (!q7::internal::watch_dir_get_dir_list(watch, watch->fresh, watch->nfresh,
                                            watch->fresh_capacity)) {
    return;
  }
  if (watch->on_removed != nullptr) report_removals(watch);
  if (watch->on_added != nullptr) report_additions(watch);
  std::swap(watch->known, watch->fresh);
  std::swap(watch->nknown, watch->nfresh);
  std::swap(watch->known_capacity, watch->fresh_capacity);
}

// What a start that cannot go on leaves behind: nothing to release.
bool abandon_start(tagDWATCH* watch) {
  q7::internal::watch_clean_up(watch);
  watch->thread = kStopped;
  return false;
}

void* watch_thread_func(void* raw) {
  auto* watch = static_cast<tagDWATCH*>(raw);
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
  pthread_cleanup_push(note_stopped, watch);
  for (;;) {
    q7::internal::sleep_cancellable(kPollNanos);
    watch_cycle(watch);
  }
  pthread_cleanup_pop(0);
  return nullptr;
}

}  // namespace

bool watch_directory_start(tagDWATCH* watch, char* directory, void (*on_added)(char*),
                           void (*on_removed)(char*), bool full_path) {
  if (watch == nullptr || directory == nullptr) return false;
  memset(watch, 0, sizeof *watch);
  watch->directory = strdup(directory);
  watch->on_added = on_added;
  watch->on_removed = on_removed;
  watch->full_path = full_path;
  if (watch->directory == nullptr ||
      !q7::internal::watch_dir_get_dir_list(watch, watch->known, watch->nknown,
                                            watch->known_capacity)) {
    return abandon_start(watch);
  }
  const int id = q7mp_start_thread(watch_thread_func, watch);
  if (id < 0) return abandon_start(watch);
  // The thread may already have been cancelled by q7mp_close_threads and have marked
  // itself stopped; that mark stands.
  ScopedLock lock(&stop_lock);
  if (watch->thread == kStarting) watch->thread = id;
  return true;
}

void watch_directory_end(tagDWATCH* watch) {
  if (watch == nullptr) return;
  // A caller cancelled while it waits here would leave stop_lock held for good.
  int state;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
  int id;
  {
    ScopedLock lock(&stop_lock);
    id = watch->thread;
  }
  if (id > kStarting) q7mp_kill_thread(id);
  {
    ScopedLock lock(&stop_lock);
    while (watch->thread > kStarting) pthread_cond_wait(&stopped, &stop_lock);
  }
  q7::internal::watch_clean_up(watch);
  watch->thread = kStopped;
  pthread_setcancelstate(state, nullptr);
}
