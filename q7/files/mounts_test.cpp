// Tests of the mount-table readers: the local disks and the mount points, against the
// machine's own table read here independently, and against tables written for the test.
#include "q7/files/mounts.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/vfs.h>

#include <cmath>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "q7/files/internal/mount_table.h"
#include "q7/files/listings.h"
#include "tests/support/temp_dir.h"

namespace {

using q7test::TempDir;

struct MountLine {
  std::string device, dir, type, options;
};

// Undoes the octal escapes (\040 for a blank) the kernel writes into mount table fields.
std::string unescaped(const std::string& field) {
  std::string text;
  for (size_t i = 0; i < field.size(); ++i) {
    if (field[i] == '\\' && i + 3 < field.size() && isdigit(field[i + 1]) != 0) {
      text += static_cast<char>(strtol(field.substr(i + 1, 3).c_str(), nullptr, 8));
      i += 3;
    } else {
      text += field[i];
    }
  }
  return text;
}

std::vector<MountLine> read_mount_table(const std::string& path) {
  std::vector<MountLine> lines;
  std::ifstream in(path);
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    MountLine mount;
    fields >> mount.device >> mount.dir >> mount.type >> mount.options;
    lines.push_back({unescaped(mount.device), unescaped(mount.dir), unescaped(mount.type),
                     unescaped(mount.options)});
  }
  return lines;
}

double kib(unsigned long block, fsblkcnt_t blocks) {
  return static_cast<double>(block) * static_cast<double>(blocks) / 1024.0;
}

// Checks one record against the mount it stands for, statvfs giving the sizes.
void expect_disk(const tagDISKINFO& disk, const MountLine& mount, double available_slack) {
  EXPECT_EQ(std::string(disk.device), mount.device.substr(0, 255));
  EXPECT_EQ(std::string(disk.mount_point), mount.dir.substr(0, 255));
  struct statvfs figures;
  ASSERT_EQ(statvfs(mount.dir.c_str(), &figures), 0) << mount.dir;
  EXPECT_EQ(disk.total_kb, kib(figures.f_frsize, figures.f_blocks)) << mount.dir;
  EXPECT_NEAR(disk.available_kb, kib(figures.f_frsize, figures.f_bavail), available_slack)
      << mount.dir;
  EXPECT_DOUBLE_EQ(disk.percent_used, (1 - disk.available_kb / disk.total_kb) * 100) << mount.dir;
  EXPECT_EQ(disk.read_only, mount.options.find("ro") != std::string::npos) << mount.options;
}

TEST(Mounts, DiskInfoMatchesTheMachinesOwnTable) {
  std::vector<MountLine> disks;
  for (const MountLine& mount : read_mount_table("/proc/self/mounts")) {
    struct statfs figures;
    if (mount.type != "ignore" && mount.type != "nfs" && mount.device.rfind("/dev", 0) == 0 &&
        statfs(mount.dir.c_str(), &figures) == 0 && figures.f_type != 0x6969 &&
        figures.f_type != 0x9fa0 && figures.f_type != 0x517b) {
      disks.push_back(mount);
    }
  }
  int count = -5;
  tagDISKINFO* found = get_disk_info(count);
  ASSERT_EQ(count, static_cast<int>(disks.size()));
  EXPECT_EQ(found == nullptr, disks.empty());
  // Other programs write to the disks meanwhile: a gigabyte of slack for the free space.
  for (int i = 0; i < count; ++i) expect_disk(found[i], disks[i], 1 << 20);
  free(found);
}

TEST(Mounts, DiskInfoKeepsLocalDisksOfATableInItsOrder) {
  TempDir dir;
  const std::string spaced = dir.file("with space");
  ASSERT_EQ(mkdir(spaced.c_str(), 0755), 0);
  const std::string escaped = dir.path() + "/with\\040space";
  const std::string long_device = "/dev/" + std::string(300, 'd');
  const std::string table = dir.file("mtab");
  ASSERT_TRUE(q7test::write_file(
      table, "/dev/one " + dir.path() + " ext4 rw,relatime 0 0\n" +             //
                 "/dev/two " + escaped + " ext4 errors=remount-ro 0 0\n" +      //
                 "/dev/three " + dir.path() + " nfs rw 0 0\n" +                 //
                 "/dev/four " + dir.path() + " ignore rw 0 0\n" +               //
                 "tmpfs " + dir.path() + " tmpfs rw 0 0\n" +                    //
                 "/dev/five /proc proc rw 0 0\n" +                              //
                 "/dev/six " + dir.path() + "/missing ext4 rw 0 0\n" +          //
                 "# /dev/seven " + dir.path() + " ext4 rw 0 0\n" +              //
                 "/devx " + dir.path() + " nfs4 ro 0 0\n" +                     //
                 long_device + " " + dir.path() + " ext4 noatime,nodiratime\n"  //
                 + "/dev/eight " + dir.path() + "\n"));
  const std::vector<MountLine> expected = {
      {"/dev/one", dir.path(), "ext4", "rw,relatime"},
      {"/dev/two", spaced, "ext4", "errors=remount-ro"},
      {"/devx", dir.path(), "nfs4", "ro"},
      {long_device, dir.path(), "ext4", "noatime,nodiratime"},
      {"/dev/eight", dir.path(), "", ""},
  };
  int count = 0;
  tagDISKINFO* found = q7::internal::disk_info_from(table.c_str(), count);
  ASSERT_EQ(count, static_cast<int>(expected.size()));
  ASSERT_NE(found, nullptr);
  for (int i = 0; i < count; ++i) expect_disk(found[i], expected[i], 1 << 20);
  free(found);
}

TEST(Mounts, DiskInfoIsNullWithCountZeroWithoutLocalDisks) {
  TempDir dir;
  const std::string pseudo = dir.file("pseudo");
  ASSERT_TRUE(q7test::write_file(pseudo,
                                 "proc /proc proc rw 0 0\nsysfs /sys sysfs rw 0 0\n"
                                 "server:/export /mnt nfs4 rw 0 0\n"));
  ASSERT_TRUE(q7test::write_file(dir.file("empty"), ""));
  for (const std::string& table : {pseudo, dir.file("empty"), dir.file("missing")}) {
    int count = 7;
    EXPECT_EQ(q7::internal::disk_info_from(table.c_str(), count), nullptr) << table;
    EXPECT_EQ(count, 0) << table;
  }
}

std::string mount_points(dir_list* list) {
  if (list == nullptr) return "null";
  std::string text = std::string("path=") + list->path;
  for (int i = 0; i < list->ndirs; ++i) text += std::string(" ") + list->dirs[i];
  text += " files=" + std::to_string(list->nfiles);
  flist_delete(list);
  return text;
}

TEST(Mounts, MountPointsListTheTableUnsortedWithoutProcAndFd) {
  TempDir dir;
  const std::string table = dir.file("mtab");
  ASSERT_TRUE(q7test::write_file(table,
                                 "proc /proc proc rw 0 0\n"
                                 "fd /dev/fd fd rw 0 0\n"
                                 "x /c c rw 0 0\n"
                                 "x /z zfs rw 0 0\n"
                                 "x /b ext4 rw 0 0\n"
                                 "x . ext4 rw 0 0\n"
                                 "x .. ext4 rw 0 0\n"
                                 "x /e\n"
                                 "x /with\\040space ext4 rw 0 0\n"
                                 "procfs /pf procfs rw 0 0\n"));
  EXPECT_EQ(mount_points(q7::internal::list_mount_points(table.c_str())),
            "path= /z /b .. /with space /pf files=0");
  ASSERT_TRUE(q7test::write_file(dir.file("pseudo"), "proc /proc proc rw 0 0\nfd /x fd rw 0 0\n"));
  EXPECT_EQ(mount_points(q7::internal::list_mount_points(dir.file("pseudo").c_str())), "null");
  EXPECT_EQ(mount_points(q7::internal::list_mount_points(dir.file("missing").c_str())), "null");

  std::string machine = "path=";
  for (const MountLine& mount : read_mount_table("/etc/mtab")) {
    if (strstr("proc,fd", mount.type.c_str()) == nullptr && mount.dir != ".") {
      machine += " " + mount.dir;
    }
  }
  machine += " files=0";
  EXPECT_EQ(mount_points(flist_new(nullptr, 1, 0)), machine);
  EXPECT_EQ(mount_points(flist_new("", 0, 0)), machine);
  EXPECT_EQ(mount_points(flist_new("", 0, 1)), "null");
}

}  // namespace
