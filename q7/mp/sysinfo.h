// Queries about the machine and the process: processors, pages, memory, names, errors.
#pragma once

#include <stdint.h>

// The machine description q7mp_get_sysinfo fills; the caller frees it with free().
struct q7mp_sysinfo {
  char text[128];  // "%s Version %s (%s)": system name, release, machine; cut to 127
  int32_t uptime;  // whole seconds since boot, or -1 when unknown
};

// The page size cache: -1 until the first successful read.
extern int32_t q7mp_pagesize;

// The number of processors online (get_nprocs), not limited below.
int q7mp_get_raw_cpu_count();

// The page size, read once and cached, never less than 512; 512 when it cannot be read
// (that failure is not cached).
int q7mp_get_pagesize();

// The login name of the process owner (cuserid), or "unknown_user".
// Returns a static buffer that the next call overwrites. Not reentrant.
char* q7mp_username();

// The host name (gethostname), or "unknown_machine".
// Returns a static buffer that the next call overwrites. Not reentrant.
char* q7mp_machinename();

// The system's text for the current errno (strerror(errno)).
char* q7os_errormsg();

// Total and free RAM in bytes, with total and free swap added when `with_swap` is non-zero.
// Byte counts are unsigned 32-bit products of the kernel's count and unit, so they wrap on
// machines with 4 GiB or more. When the sysinfo call fails, writes
// "MP MEMORY ERROR: sysinfo failed\n" to standard error and stores 0 in both.
// Either pointer may be null.
void q7mp_get_meminfo(unsigned int* total, unsigned int* free, int with_swap);

// Free RAM in kilobytes (bytes / 1024), also stored through `kilobytes` when not null;
// 0 when the sysinfo call fails.
unsigned int q7mp_memfree(unsigned int* kilobytes);

// A new machine description: the system name, release and machine type, and the uptime
// from /proc/uptime (-1 when it cannot be read).
// Returns a block from malloc; the caller frees it. Null when memory is short.
q7mp_sysinfo* q7mp_get_sysinfo();
