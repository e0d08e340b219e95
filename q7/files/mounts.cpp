// The mount table: the mount-point listing and the report of local disks.
#include "q7/files/mounts.h"

#include <mntent.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/vfs.h>

#include "q7/files/internal/listing_names.h"
#include "q7/files/internal/mount_table.h"
#include "q7/files/listings.h"

namespace q7::internal {

MountTable::~MountTable() {
  if (stream_ != nullptr) endmntent(stream_);
}

const mntent* MountTable::next() {
  return stream_ != nullptr ? getmntent_r(stream_, &entry_, line_, sizeof line_) : nullptr;
}

}  // namespace q7::internal

namespace {

using q7::internal::MountTable;

// File-system magic numbers of statfs that are never local disks.
constexpr long kNfsMagic = 0x6969;
constexpr long kProcMagic = 0x9fa0;
constexpr long kSmbMagic = 0x517b;

// Whether `entry` is a local disk, leaving its figures in `figures` when it is.
bool is_local_disk(const mntent& entry, struct statfs& figures) {
  if (strcmp(entry.mnt_type, "ignore") == 0 || strcmp(entry.mnt_type, "nfs") == 0) return false;
  if (strncmp(entry.mnt_fsname, "/dev", 4) != 0) return false;
  if (statfs(entry.mnt_dir, &figures) != 0) return false;
  const long magic = static_cast<long>(figures.f_type);
  return magic != kNfsMagic && magic != kProcMagic && magic != kSmbMagic;
}

double kibibytes(const struct statfs& figures, uint64_t blocks) {
  const uint64_t block_bytes = figures.f_frsize != 0 ? figures.f_frsize : figures.f_bsize;
  return static_cast<double>(block_bytes) * static_cast<double>(blocks) / 1024.0;
}

void describe_disk(tagDISKINFO& disk, const mntent& entry, const struct statfs& figures) {
  snprintf(disk.device, sizeof disk.device, "%s", entry.mnt_fsname);
  snprintf(disk.mount_point, sizeof disk.mount_point, "%s", entry.mnt_dir);
  disk.total_kb = kibibytes(figures, figures.f_blocks);
  disk.available_kb = kibibytes(figures, figures.f_bavail);
  disk.percent_used = disk.total_kb > 0 ? (1.0 - disk.available_kb / disk.total_kb) * 100.0 : 0.0;
  disk.read_only = strstr(entry.mnt_opts, "ro") != nullptr;
}

// The number of local disks in the table at `table`, or -1 when it cannot be opened.
int count_local_disks(const char* table) {
  MountTable mounts(table);
  if (!mounts) return -1;
  int count = 0;
  struct statfs figures;
  while (const mntent* entry = mounts.next()) {
    if (is_local_disk(*entry, figures)) ++count;
  }
  return count;
}

}  // namespace

namespace q7::internal {

dir_list* list_mount_points(const char* table) {
  MountTable mounts(table);
  if (!mounts) return nullptr;
  auto* list = static_cast<dir_list*>(calloc(1, sizeof(dir_list)));
  if (list == nullptr) return nullptr;
  while (const mntent* entry = mounts.next()) {
    // Process and descriptor file systems hold no files of a program's own; any type that
    // is a part of this text is left out with them.
    if (strstr("proc,fd", entry->mnt_type) == nullptr) flist_add_dir(list, entry->mnt_dir);
  }
  if (list->ndirs == 0) {
    flist_delete(list);
    return nullptr;
  }
  return list;
}

tagDISKINFO* disk_info_from(const char* table, int& count) {
  count = 0;
  const int counted = count_local_disks(table);
  if (counted <= 0) return nullptr;
  auto* disks = static_cast<tagDISKINFO*>(calloc(counted, sizeof(tagDISKINFO)));
  if (disks == nullptr) return nullptr;
  MountTable mounts(table);
  if (!mounts) {
    free(disks);
    return nullptr;
  }
  int filled = 0;
  struct statfs figures;
  while (filled < counted) {
    const mntent* entry = mounts.next();
    if (entry == nullptr) break;
    if (is_local_disk(*entry, figures)) describe_disk(disks[filled++], *entry, figures);
  }
  count = filled;
  return disks;
}

}  // namespace q7::internal

tagDISKINFO* get_disk_info(int& count) {
  return q7::internal::disk_info_from(q7::internal::kMountTable, count);
}
