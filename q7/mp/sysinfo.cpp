// Machine and process queries.
#include "q7/mp/sysinfo.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <atomic>

#include "q7/internal/signal_safe_write.h"
#include "q7/mp/internal/uptime.h"

int32_t q7mp_pagesize = -1;

namespace {

constexpr int kMinPageSize = 512;
constexpr char kUnknownUser[] = "unknown_user";
constexpr size_t kUserNameSize = L_cuserid > sizeof kUnknownUser ? L_cuserid : sizeof kUnknownUser;

char user_name[kUserNameSize];
char machine_name[256];

// Byte counts are formed the way the family's 32-bit platform forms them.
unsigned int bytes(unsigned long count, unsigned int unit) {
  return static_cast<unsigned int>(count) * unit;
}

}  // namespace

int q7mp_get_raw_cpu_count() { return get_nprocs(); }

int q7mp_get_pagesize() {
  std::atomic_ref<int32_t> cached(q7mp_pagesize);
  int32_t size = cached.load(std::memory_order_relaxed);
  if (size > 0) return size;
  const long reported = sysconf(_SC_PAGESIZE);
  if (reported == -1) return kMinPageSize;
  size = reported < kMinPageSize ? kMinPageSize : static_cast<int32_t>(reported);
  cached.store(size, std::memory_order_relaxed);
  return size;
}

char* q7mp_username() {
  const char* name = cuserid(nullptr);
  if (name == nullptr || name[0] == '\0') name = kUnknownUser;
  snprintf(user_name, sizeof user_name, "%s", name);
  return user_name;
}

char* q7mp_machinename() {
  if (gethostname(machine_name, sizeof machine_name) != 0) {
    snprintf(machine_name, sizeof machine_name, "%s", "unknown_machine");
  }
  machine_name[sizeof machine_name - 1] = '\0';
  return machine_name;
}

char* q7os_errormsg() { return strerror(errno); }

void q7mp_get_meminfo(unsigned int* total, unsigned int* free, int with_swap) {
  struct sysinfo info;
  unsigned int total_bytes = 0;
  unsigned int free_bytes = 0;
  if (sysinfo(&info) != 0) {
    q7::internal::write_stderr("MP MEMORY ERROR: sysinfo failed\n");
  } else {
    total_bytes = bytes(info.totalram, info.mem_unit);
    free_bytes = bytes(info.freeram, info.mem_unit);
    if (with_swap != 0) {
      total_bytes += bytes(info.totalswap, info.mem_unit);
      free_bytes += bytes(info.freeswap, info.mem_unit);
    }
  }
  if (total != nullptr) *total = total_bytes;
  if (free != nullptr) *free = free_bytes;
}

unsigned int q7mp_memfree(unsigned int* kilobytes) {
  struct sysinfo info;
  const unsigned int free_kb = sysinfo(&info) == 0 ? bytes(info.freeram, info.mem_unit) / 1024 : 0;
  if (kilobytes != nullptr) *kilobytes = free_kb;
  return free_kb;
}

q7mp_sysinfo* q7mp_get_sysinfo() {
  auto* record = static_cast<q7mp_sysinfo*>(malloc(sizeof(q7mp_sysinfo)));
  if (record == nullptr) return nullptr;
  utsname names;
  if (uname(&names) != 0) memset(&names, 0, sizeof names);
  // A description too long for the record is cut.
  if (snprintf(record->text, sizeof record->text, "%s Version %s (%s)", names.sysname,
               names.release, names.machine) >= static_cast<int>(sizeof record->text)) {
    record->text[sizeof record->text - 1] = '\0';
  }
  record->uptime = q7::internal::read_uptime("/proc/uptime");
  return record;
}

namespace q7::internal {

int32_t read_uptime(const char* path) {
  FILE* file = fopen(path, "r");
  if (file == nullptr) return -1;
  float seconds = 0;
  const int read = fscanf(file, "%f", &seconds);
  fclose(file);
  if (read != 1 || !(seconds >= -2147483648.0f && seconds < 2147483648.0f)) return -1;
  return static_cast<int32_t>(seconds);
}

}  // namespace q7::internal
