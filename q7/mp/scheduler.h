// The start-up scheduler setup and the priority calls.
#pragma once

// Extern so that programs can see whether the setup has run.
extern int q7mp_initialized;  // 1 after the first setup with a non-zero argument

// The start-up setup a program calls once; 0 does nothing. The first call with a non-zero
// argument sets the thread layer up (fixing q7mp_numcpu), logs "%s Version %s (%s)" (system
// name, release, machine) at level 3 and exchanges the real and effective user ids, then
// the group ids, so that a set-user-id program goes on as the user who started it. Every
// such call then prints, as continuation lines of the last printed q7_notify line, the
// physical and virtual memory totals and free amounts in megabytes, the free RAM as
// "Larget cont.blk" when the default logger's level is above 3, and
// "Current user: '<name>'".
void q7mp_scheduler_setup(int enable);

// Raises the process to the highest static priority of its current policy. Returns the
// result of sched_setscheduler, or that highest priority itself when it is 0 or less (on
// Linux under the normal policy: 0, and nothing changes).
int q7mp_schedule_ndpi();

// Accepted for compatibility; they do nothing.
void q7mp_schedule_high();
void q7mp_schedule_normal();
void q7mp_schedule_low();
