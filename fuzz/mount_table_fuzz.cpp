// Fuzzes the mount-table readers over arbitrary tables: the local-disk report of
// get_disk_info and the mount-point listing of flist_new. Records must hold terminated texts,
// devices under /dev and sizes that agree; the listing never holds an empty name or ".".
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "fuzz/scratch_file.h"
#include "q7/files/internal/mount_table.h"
#include "q7/files/listings.h"
#include "q7/files/mounts.h"

namespace {

void check_disks(const tagDISKINFO* disks, int count) {
  if (count < 0 || (disks == nullptr && count != 0)) abort();
  for (int i = 0; i < count; ++i) {
    const tagDISKINFO& disk = disks[i];
    if (memchr(disk.device, '\0', sizeof disk.device) == nullptr) abort();
    if (memchr(disk.mount_point, '\0', sizeof disk.mount_point) == nullptr) abort();
    if (strncmp(disk.device, "/dev", 4) != 0) abort();
    if (disk.total_kb < 0 || disk.available_kb < 0) abort();
    if (disk.total_kb == 0 && disk.percent_used != 0) abort();
  }
}

void check_mount_points(const dir_list* list) {
  if (list == nullptr) return;
  if (list->ndirs < 1 || list->nfiles != 0 || list->path[0] != '\0') abort();
  for (int i = 0; i < list->ndirs; ++i) {
    if (list->dirs[i][0] == '\0' || strcmp(list->dirs[i], ".") == 0) abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const q7fuzz::ScratchFile table("mount_table_fuzz", "mtab");
  if (!table.write(data, size)) return 0;
  int count = -1;
  tagDISKINFO* disks = q7::internal::disk_info_from(table.path(), count);
  check_disks(disks, count);
  free(disks);
  dir_list* list = q7::internal::list_mount_points(table.path());
  check_mount_points(list);
  flist_delete(list);
  return 0;
}
