// Parallel execution: one thread per processor, each on its band of lines.
#include "q7/mp/parallel.h"

#include <stdint.h>
#include <stdlib.h>

#include <atomic>

#include "q7/internal/scoped_lock.h"
#include "q7/log/message_log.h"
#include "q7/mp/internal/execution.h"
#include "q7/mp/sync.h"
#include "q7/mp/threads.h"

int32_t pp_numprocs = 0;
pthread_key_t q7mp_key;
q7mp_proc_record* q7mp_handlers = nullptr;

using q7::internal::ScopedLock;

namespace {

using ProcessorFunction = void (*)(void*, void*, void*, void*, void*, void*);
using LineFunction = void (*)(void* data, int first_line, int last_line);

// Guards the running execution's thread handles against q7mp_close_threads, which may
// cancel them from another thread: a handle may only be cancelled while its thread has not
// finished, since the execution joins (and so releases) it once it has.
pthread_mutex_t execution_guard = PTHREAD_MUTEX_INITIALIZER;
bool* finished = nullptr;  // per record of q7mp_handlers
int created = 0;           // records whose thread was created
// The first processor of the running execution whose thread could not store its record
// under the key (the key's storage beyond the first 32 keys is allocated per thread); -1
// when there is none.
std::atomic<int> unkeyed_processor{-1};

std::atomic_ref<q7mp_proc_record*> running_records() {
  return std::atomic_ref<q7mp_proc_record*>(q7mp_handlers);
}

// The calling thread's record while an execution runs; null in every other thread.
// The key is only valid while an execution runs, so it is not read otherwise.
const q7mp_proc_record* own_record() {
  if (running_records().load(std::memory_order_acquire) == nullptr) return nullptr;
  return static_cast<const q7mp_proc_record*>(pthread_getspecific(q7mp_key));
}

int fix_count() {
  std::atomic_ref<int32_t> count(pp_numprocs);
  int32_t current = count.load(std::memory_order_acquire);
  if (current > 0) return current;
  const int32_t cpus = std::atomic_ref<int32_t>(q7mp_numcpu).load(std::memory_order_relaxed);
  while (current <= 0) {
    if (count.compare_exchange_weak(current, cpus)) return cpus;
  }
  return current;
}

void drop_to_one_processor() {
  std::atomic_ref<int32_t>(pp_numprocs).store(1, std::memory_order_release);
}

void call(void (*function)(), void* const (&args)[6]) {
  reinterpret_cast<ProcessorFunction>(function)(args[0], args[1], args[2], args[3], args[4],
                                                args[5]);
}

void mark_finished(void* record) {
  ScopedLock lock(&execution_guard);
  if (finished != nullptr) finished[static_cast<q7mp_proc_record*>(record)->processor] = true;
}

// Requests cancellation of the unfinished threads among the first `count` records.
// The caller holds execution_guard.
void cancel_unfinished(int count) {
  for (int i = count - 1; i >= 0; --i) {
    if (!finished[i]) pthread_cancel(q7mp_handlers[i].thread);
  }
}

// Starts one thread per record. Returns the number started; fewer than `count` when a
// creation failed, after that failure has been reported and the others cancelled.
int start_processors(q7mp_proc_record* records, int count) {
  for (int i = 0; i < count; ++i) {
    ScopedLock lock(&execution_guard);
    if (pthread_create(&records[i].thread, nullptr, m_entry, &records[i]) != 0) {
      q7_notify(1, "Can't create MP thread: %d\n", i);
      cancel_unfinished(i);
      return i;
    }
    created = i + 1;
  }
  return count;
}

void run_on_processors(void (*function)(), void* const (&args)[6], int count) {
  auto* records = static_cast<q7mp_proc_record*>(calloc(count, sizeof(q7mp_proc_record)));
  auto* done = static_cast<bool*>(calloc(count, sizeof(bool)));
  if (records == nullptr || done == nullptr) {
    free(records);
    free(done);
    q7_notify(1, "Can't create MP thread: %d\n", 0);
    drop_to_one_processor();
    call(function, args);
    return;
  }
  for (int i = 0; i < count; ++i) {
    records[i] = {i, pthread_t{}, args[0], args[1], args[2], args[3], args[4], args[5], function};
  }
  {
    ScopedLock lock(&execution_guard);
    finished = done;
    created = 0;
    running_records().store(records, std::memory_order_release);
  }
  unkeyed_processor.store(-1);
  const int started = start_processors(records, count);
  // Threads cancelled after a failed start are joined too: their records must outlive them.
  for (int i = 0; i < started; ++i) pthread_join(records[i].thread, nullptr);
  {
    ScopedLock lock(&execution_guard);
    running_records().store(nullptr, std::memory_order_release);
    finished = nullptr;
    created = 0;
  }
  free(records);
  free(done);
  // A processor that could not learn its number would have taken processor 0's band and
  // left its own undone: that is a thread that could not be had.
  const int unkeyed = unkeyed_processor.load();
  if (started == count && unkeyed >= 0) q7_notify(1, "Can't create MP thread: %d\n", unkeyed);
  if (started < count || unkeyed >= 0) {
    drop_to_one_processor();
    call(function, args);
  }
}

}  // namespace

void q7mp_exec(void (*function)(), void* arg1, void* arg2, void* arg3, void* arg4, void* arg5,
               void* arg6) {
  void* const args[6] = {arg1, arg2, arg3, arg4, arg5, arg6};
  const int count = fix_count();
  // A processor function that starts an execution of its own would wait forever for the
  // serializer its own execution holds; it runs the function itself instead.
  if (count <= 1 || own_record() != nullptr) {
    call(function, args);
    return;
  }
  q7mp_init_threads();
  void* serializer = q7mp_serializer;
  q7mp_get_mutex(serializer);
  if (pthread_key_create(&q7mp_key, nullptr) != 0) {
    q7_notify(1, "Cannot get a PTHREADS thread specific data access key.");
    drop_to_one_processor();
    call(function, args);
  } else {
    run_on_processors(function, args, count);
    pthread_key_delete(q7mp_key);
  }
  q7mp_release_mutex(serializer);
}

void* m_entry(void* raw) {
  auto* record = static_cast<q7mp_proc_record*>(raw);
  if (pthread_setspecific(q7mp_key, record) != 0) {
    int none = -1;
    unkeyed_processor.compare_exchange_strong(none, record->processor);
    mark_finished(record);
    return nullptr;
  }
  pthread_cleanup_push(mark_finished, record);
  if (record->function != nullptr) {
    reinterpret_cast<ProcessorFunction>(record->function)(record->arg1, record->arg2, record->arg3,
                                                          record->arg4, record->arg5, record->arg6);
  }
  pthread_cleanup_pop(1);
  return nullptr;
}

int q7mp_id() {
  const q7mp_proc_record* record = own_record();
  return record == nullptr ? 0 : record->processor;
}

int q7mp_find_band(int first, int last, int& band_first, int& band_last) {
  return img_mp_lineband(first, last, band_first, band_last);
}

int img_mp_lineband(int first, int last, int& band_first, int& band_last) {
  const int count = fix_count();
  if (count <= 1) {
    band_first = first;
    band_last = last;
    return 0;
  }
  const int size = (last - first) / count;
  const int processor = q7mp_id();
  if (size != 0) {
    band_first = first + processor * size;
    band_last = band_first + size;
  } else {
    band_first = processor == 0 ? first : last;
    band_last = last;
  }
  if (band_last > last || processor == count - 1) band_last = last;
  return processor;
}

void q7mp_lib_mp_exec(void* /*spare*/, void (*function)(void* data, int first_line, int last_line),
                      int lines, void* data) {
  q7mp_exec(reinterpret_cast<void (*)()>(q7mp_lib_internal), reinterpret_cast<void*>(function),
            reinterpret_cast<void*>(static_cast<intptr_t>(lines)), data, nullptr, nullptr, nullptr);
}

void q7mp_lib_internal(void* function, void* lines, void* data, void* /*spare4*/, void* /*spare5*/,
                       void* /*spare6*/) {
  int band_first = 0;
  int band_last = 0;
  img_mp_lineband(0, static_cast<int>(reinterpret_cast<intptr_t>(lines)), band_first, band_last);
  reinterpret_cast<LineFunction>(function)(data, band_first, band_last - 1);
}

int q7mp_get_nprocs() { return fix_count(); }

void q7mp_set_nprocs(int count) {
  std::atomic_ref<int32_t> fixed(pp_numprocs);
  int32_t current = fixed.load(std::memory_order_acquire);
  while (current <= 0) {
    if (fixed.compare_exchange_weak(current, count)) {
      q7_msg("Simulating %d-way multi-processing", count);
      return;
    }
  }
  q7_notify(2, "%d-way Multi-processing already setup. (Can't change it)", count);
}

namespace q7::internal {

void cancel_running_execution() {
  ScopedLock lock(&execution_guard);
  if (q7mp_handlers != nullptr) cancel_unfinished(created);
}

}  // namespace q7::internal
