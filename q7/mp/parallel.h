// Parallel execution of one function per processor, each copy on its own band of lines.
#pragma once

#include <pthread.h>
#include <stdint.h>

// One processor's share of a running execution; the records of one execution form an array
// owned by q7mp_exec.
struct q7mp_proc_record {
  int32_t processor;  // 0 to count-1
  pthread_t thread;   // the thread running this record
  void* arg1;         // the caller's six arguments, the same in every record
  void* arg2;
  void* arg3;
  void* arg4;
  void* arg5;
  void* arg6;
  void (*function)();  // called with arg1 to arg6
};

// Process-wide state of parallel execution.
extern int32_t pp_numprocs;              // processor count; 0 or less until fixed
extern pthread_key_t q7mp_key;           // per execution: each processor thread's record
extern q7mp_proc_record* q7mp_handlers;  // records of the running execution, or null

// Runs `function(arg1, ..., arg6)` once per processor and returns when every copy has
// returned. With a count of n >= 2 there are n new threads (one per processor, created and
// joined for this call) and the caller only waits; with a count of 1 the function runs on
// the calling thread. `function` is declared without parameters; pass a function taking up
// to six pointer-sized parameters, cast to this type. Only one execution runs at a time: a
// second caller waits for the first (q7mp_serializer is held throughout), and a call made
// from inside a processor function runs the function once on its own thread instead of
// waiting for itself. Fixes the processor count from q7mp_numcpu when not yet fixed.
// When the key or a thread cannot be created, or a processor thread cannot store its record
// under the key (for want of memory), logs "Cannot get a PTHREADS thread specific data
// access key." or "Can't create MP thread: %d\n" at level 1, drops the count to 1 for the
// rest of the process and runs the function on the calling thread (after a thread failure
// the copies already started are cancelled, possibly having done part of their work; the
// copies of the other processors of a thread without its record run to the end).
void q7mp_exec(void (*function)(), void* arg1, void* arg2, void* arg3, void* arg4, void* arg5,
               void* arg6);

// The calling thread's processor number (0 to count-1) inside a running execution; 0 when
// the count is below 2 and in every thread that is not a processor thread.
int q7mp_id();

// The calling processor's band of the half-open line range [first, last); the same as
// img_mp_lineband. Returns the processor number.
int q7mp_find_band(int first, int last, int& band_first, int& band_last);

// Splits [first, last) into one band per processor: with n processors each gets
// (last-first)/n lines in processor order and the last also the remainder; with fewer
// lines than processors processor 0 gets them all and the others the empty band
// [last, last). With a count of 1 the band is the whole range. Sets the calling
// processor's half-open band and returns its processor number (0 in a thread that is not
// a processor thread). Fixes the processor count when not yet fixed.
int img_mp_lineband(int first, int last, int& band_first, int& band_last);

// Runs `function(data, first_line, last_line)` once per processor over lines 0 to
// lines-1, each call with its band as an inclusive range; an empty band comes as a
// last_line below first_line. `spare` is not used.
void q7mp_lib_mp_exec(void* spare, void (*function)(void* data, int first_line, int last_line),
                      int lines, void* data);

// The per-processor function q7mp_lib_mp_exec hands to q7mp_exec: `function` is the
// caller's function and `lines` the line count (as an integer in a pointer); calls
// function(data, band_first, band_last - 1) with its band of [0, lines).
void q7mp_lib_internal(void* function, void* lines, void* data, void* spare4, void* spare5,
                       void* spare6);

// The start routine of every processor thread; `record` is its q7mp_proc_record.
void* m_entry(void* record);

// The processor count, fixing it from q7mp_numcpu when not yet fixed (1 before the thread
// layer is set up).
int q7mp_get_nprocs();

// Fixes the processor count to `count` when not yet fixed, printing
// "Simulating %d-way multi-processing" with q7_msg; any count is taken, also more than the
// machine has. When already fixed, logs "%d-way Multi-processing already setup. (Can't
// change it)" at level 2 and changes nothing.
void q7mp_set_nprocs(int count);
