// The start-up scheduler setup, its report, and the priority calls.
#include "q7/mp/scheduler.h"

#include <sched.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "q7/log/message_log.h"
#include "q7/mp/sysinfo.h"
#include "q7/mp/threads.h"

int q7mp_initialized = 0;

namespace {

constexpr double kBytesPerMegabyte = 1048576.0;

double megabytes(unsigned int bytes) { return bytes / kBytesPerMegabyte; }

void report_system() {
  utsname names;
  if (uname(&names) != 0) return;
  q7_notify(3, "%s Version %s (%s)", names.sysname, names.release, names.machine);
}

// Goes on with the invoking user's ids as the effective ones (and the owner's as the real
// ones), which is what a set-user-id program of the family expects.
void exchange_ids() {
  (void)!setreuid(geteuid(), getuid());
  (void)!setregid(getegid(), getgid());
}

void report_memory() {
  unsigned int total = 0;
  unsigned int free = 0;
  q7mp_get_meminfo(&total, &free, 0);
  q7_msgcont("Physical memory: %8.2f Mb total", megabytes(total));
  q7_msgcont("               : %8.2f Mb free", megabytes(free));
  const unsigned int free_ram = free;
  q7mp_get_meminfo(&total, &free, 1);
  q7_msgcont(" Virtual memory: %8.2f Mb total", megabytes(total));
  q7_msgcont("               : %8.2f Mb free", megabytes(free));
  if (q7_notify_getlevel() > 3) q7_msgcont("Larget cont.blk: %8.2f Mb", megabytes(free_ram));
}

}  // namespace

void q7mp_scheduler_setup(int enable) {
  if (enable == 0) return;
  if (q7mp_initialized == 0) {
    q7mp_init_threads();
    report_system();
    exchange_ids();
    q7mp_initialized = 1;
  }
  report_memory();
  q7_msgcont("Current user: '%s'", q7mp_username());
}

int q7mp_schedule_ndpi() {
  const int policy = sched_getscheduler(0);
  const int highest = sched_get_priority_max(policy);
  if (highest <= 0) return highest;
  sched_param param{};
  param.sched_priority = highest;
  return sched_setscheduler(0, policy, &param);
}

void q7mp_schedule_high() {}
void q7mp_schedule_normal() {}
void q7mp_schedule_low() {}
