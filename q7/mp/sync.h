// Mutexes, condition blocks and semaphores as opaque handles made and deleted by q7.
#pragma once

// Every handle below is a `void*` that q7 allocates and the caller gives back to the
// matching delete operation. Handles may be shared by any number of threads. A failing
// lock or unlock writes "THREAD: mutex lock errors...\n" to standard error and the
// operation goes on.

// Allocates a plain (non-recursive) mutex with default attributes. When `locked` is
// non-zero the calling thread holds it on return, so a lock is made and taken in one step.
// Returns the handle, or null when memory is short.
void* q7mp_new_mutex(int locked);

// Destroys and frees a mutex from q7mp_new_mutex. A null handle is ignored.
void q7mp_delete_mutex(void* mutex);

// Locks the mutex, waiting as long as it takes. Returns 0, or the POSIX error code; a
// null handle gives EINVAL. A failure also writes the mutex error text.
int q7mp_get_mutex(void* mutex);

// Tries to lock without waiting. Returns 1 when the caller now holds the lock, 0 when
// another thread holds it (or the handle is null).
int q7mp_test_mutex(void* mutex);

// Unlocks. Returns 0, or the POSIX error code (EINVAL for a null handle), with the mutex
// error text on a failure.
int q7mp_release_mutex(void* mutex);

// Allocates a condition block (a POSIX condition variable with default attributes).
// Returns the handle, or null when memory is short.
void* q7mp_new_cond_block();

// Destroys and frees a condition block; nobody may be waiting on it. Null is ignored.
void q7mp_delete_cond_block(void* cond);

// Wakes one thread waiting on the block. Returns the POSIX result (EINVAL for null).
int q7mp_cond_signal(void* cond);

// Waits on the block; the caller holds `mutex`, which is released during the wait and
// held again on return. Returns the POSIX result (EINVAL for a null handle).
int q7mp_cond_wait(void* cond, void* mutex);

// A frame timer: waits on the block, with `mutex` held by the caller, until `nanoseconds`
// have passed on the wall clock. Wake-ups before then are ignored and the wait goes on.
// Returns 110 (ETIMEDOUT) when the time has passed. Any other failure writes
// "ERROR: Video frame timer error: '<system text>'\n" to standard error and returns the
// error code (EINVAL for a null handle, without the text).
int q7mp_cond_timedwait(void* cond, void* mutex, int nanoseconds);

// Allocates an unnamed semaphore private to the process with the count `value`.
// Returns the handle, or null when memory is short or the count is not valid.
void* q7mp_new_sema(int value);

// Destroys and frees a semaphore; nobody may be waiting on it. Returns 0.
int q7mp_delete_sema(void* sema);

// Increments the count, waking a waiter. Returns 0, or -1 on failure (null handle,
// count overflow).
int q7mp_post_sema(void* sema);

// Waits until the count is above zero and decrements it; a signal that interrupts the
// wait does not end it. Returns 1 on success, -1 on failure (null handle).
int q7mp_wait_sema(void* sema);

// Decrements the count without waiting. Returns 1 when it did, 0 when the count was zero,
// -1 on any other failure (null handle).
int q7mp_test_sema(void* sema);
