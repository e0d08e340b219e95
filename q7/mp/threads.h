// Library threads: detached workers entered in a table of at most 32 under ids from 4096.
#pragma once

#include <pthread.h>
#include <stdint.h>

// One entry of the thread table: the library id and the POSIX handle.
struct q7mp_thread_entry {
  int32_t id;
  pthread_t thread;
};

// Process-wide state of the thread layer. Programs may read it; only the operations below
// change it.
extern int pthreads_initialized;          // 1 once the layer is set up
extern q7mp_thread_entry thread_ids[32];  // entries 0 .. num_threads-1, oldest first
extern int32_t num_threads;               // entries in use
extern int32_t thread_id;                 // the id the next started thread gets
extern int32_t create_calls;              // q7mp_start_thread calls so far
extern void* q7mp_data_lock;              // guards changes of the table
extern void* q7mp_serializer;             // held around removals and parallel executions
extern int32_t q7mp_numcpu;               // processors online, at least 1

// Sets the thread layer up once: empties the table, makes the two locks (a lock that
// cannot be allocated stays null and the layer goes on without it) and reads the number of
// processors online into q7mp_numcpu (at least 1). Later calls do nothing. Safe to call
// from several threads at once.
void q7mp_init_threads();

// Starts a detached thread running `function(argument)` and enters it in the table under
// the next id (4096 for the first thread of the process). Creation that fails with EAGAIN
// is tried again once a second, up to 10000 times. Returns the new id, or -1: when the
// table already holds 32 entries ("ERROR: Maximum number of thread's reached !!\n" on
// standard error, no id used), or when creation fails (the id is used up all the same).
// Logs "Created thread id = %d, create_calls=%d\n", "==> EAGAIN condition! (try=%d)\n" and
// "ERROR: Can't create thread: %d, create_calls: %d\n" at level 5.
// A thread that ends without calling q7mp_leaving_thread keeps its entry.
int q7mp_start_thread(void* (*function)(void*), void* argument);

// The library id of the calling thread, or -1 when it is not in the table (the main thread,
// processor threads of a parallel execution, threads that q7 did not start).
int q7mp_threadid();

// Requests cancellation of the thread with library id `id` and removes its entry, keeping
// the order of the others. An id not in the table is ignored. Waits while a parallel
// execution runs, so a processor function must not call it. A thread that has already
// ended is not cancelled (its entry is just removed); a failing cancellation writes
// "ERROR: Can't cancel thread: %d\n" to standard error and the entry is removed all the
// same.
void q7mp_kill_thread(int id);

// Removes the calling thread's own entry; a thread started with q7mp_start_thread calls it
// before it ends, so that its place in the table is free again. Does nothing for a thread
// not in the table. Waits while a parallel execution runs.
void q7mp_leaving_thread();

// Takes the thread layer down: requests cancellation of the processor threads of a
// running parallel execution (every one still running) and of every library thread still
// running, empties the table and frees the two locks. The id counter and create_calls keep
// their values; a later q7mp_start_thread sets the layer up again. Does nothing when the
// layer is not set up.
void q7mp_close_threads();

// Accepted for compatibility; does nothing.
void q7mp_list_activeinfo();
