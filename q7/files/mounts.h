// The mounted local disks of the machine, with their size, free space and read-only state.
#pragma once

// One local disk, as get_disk_info reports it.
struct tagDISKINFO {
  char device[256];       // device name from the mount table, at most 255 characters
  char mount_point[256];  // mount directory, at most 255 characters
  double total_kb;        // size in KiB: block size x total blocks / 1024
  double available_kb;    // space available to ordinary users in KiB
  double percent_used;    // (1 - available_kb / total_kb) x 100; 0 when total_kb is 0
  bool read_only;         // the mount options contain the text "ro" anywhere
};

// Reports the local disks of the mount table "/etc/mtab", in the table's order.
//
// An entry is a local disk when its file-system type is neither "ignore" nor "nfs", its
// device name begins with "/dev", statfs on its mount directory succeeds, and the
// file-system magic number statfs gives is none of 0x6969 (NFS), 0x9fa0 (proc) and 0x517b
// (SMB). The text tests come first, so that the file system of a network mount is never
// asked. Device and mount point are cut to 255 characters. The sizes are the total and
// available block counts (read as unsigned 64-bit numbers) times the size of the blocks
// they count (statfs's fragment size, which Linux gives as the block size where the file
// system has no other), divided by 1024. `read_only` is set when the option text contains
// "ro" anywhere, so that errors=remount-ro sets it too.
//
// Returns a block from malloc of `count` records; the caller frees it. The table is read
// twice, once to count and once to fill, and never more records are filled than were
// counted; should the table have changed between the readings, `count` says how many were
// filled (perhaps 0, with the block still returned). Returns null with `count` 0 when the
// table cannot be opened (either time), when it holds no local disk, and when memory is
// short. Logs nothing. Keeps no state of its own, so threads may call it at once.
tagDISKINFO* get_disk_info(int& count);
