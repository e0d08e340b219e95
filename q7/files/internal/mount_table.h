// The machine's mount table, read one entry at a time, and its two readers with the table
// named, for the tests and the fuzzer to hand them tables of their own.
#pragma once

#include <mntent.h>
#include <stdio.h>

#include "q7/files/listings.h"
#include "q7/files/mounts.h"

namespace q7::internal {

inline constexpr char kMountTable[] = "/etc/mtab";

// An open mount table; closed when the object goes.
class MountTable {
 public:
  explicit MountTable(const char* path) : stream_(setmntent(path, "r")) {}
  ~MountTable();
  MountTable(const MountTable&) = delete;
  MountTable& operator=(const MountTable&) = delete;

  explicit operator bool() const { return stream_ != nullptr; }

  // The next entry, valid until the next call, with every field a text (perhaps empty);
  // null at the end of the table.
  [[nodiscard]] const mntent* next();

 private:
  FILE* stream_;
  mntent entry_;
  // As long a line as getmntent reads; the rest of a longer line is skipped.
  char line_[8192];
};

// The mount-point listing of flist_new, from the table at `table`.
[[nodiscard]] dir_list* list_mount_points(const char* table);

// get_disk_info over the table at `table`.
[[nodiscard]] tagDISKINFO* disk_info_from(const char* table, int& count);

}  // namespace q7::internal
