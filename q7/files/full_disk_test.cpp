// The writing operations on a file system with no room left: each reports its failure and
// leaves every value whole.
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "q7/files/backup.h"
#include "q7/files/file_operations.h"
#include "q7/files/whole_files.h"
#include "tests/support/temp_dir.h"

namespace {

using q7test::read_file;
using q7test::TempDir;
using q7test::write_file;

constexpr int kNewBytes = 512 * 1024;

// A tmpfs of 2 MiB mounted on a fresh directory for the life of the object.
class SmallFileSystem {
 public:
  SmallFileSystem() {
    mounted_ = mount("q7test", dir_.path().c_str(), "tmpfs", 0, "size=2m,mode=0755") == 0;
    if (!mounted_) error_ = strerror(errno);
  }
  ~SmallFileSystem() {
    if (mounted_) umount2(dir_.path().c_str(), MNT_DETACH);
  }
  SmallFileSystem(const SmallFileSystem&) = delete;
  SmallFileSystem& operator=(const SmallFileSystem&) = delete;

  bool mounted() const { return mounted_; }
  const std::string& error() const { return error_; }
  std::string file(const std::string& name) const { return dir_.file(name); }

  // Writes a filler file until the file system refuses more. True when it ended full.
  bool fill() const {
    const int fd = open(file("filler").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const std::string block(4096, 'f');
    ssize_t written = 0;
    while (fd >= 0 && (written = write(fd, block.data(), block.size())) > 0) {
    }
    const bool full = fd >= 0 && written < 0 && errno == ENOSPC;
    if (fd >= 0) close(fd);
    return full;
  }

  void make_room() const { unlink(file("filler").c_str()); }

  bool has_leftovers() const {
    for (const auto& entry : std::filesystem::directory_iterator(dir_.path())) {
      if (entry.path().filename().string().rfind(".q7_", 0) == 0) return true;
    }
    return false;
  }

 private:
  TempDir dir_;
  bool mounted_ = false;
  std::string error_;
};

TEST(FullDisk, WritesReportFailureAndLeaveNoTornValue) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "mounting a small tmpfs needs root; run as root to check a full disk";
  }
  SmallFileSystem disk;
  if (!disk.mounted()) GTEST_SKIP() << "cannot mount a tmpfs here: " << disk.error();
  TempDir outside;
  const std::string old_value(64 * 1024, 'o');
  const std::string new_value(kNewBytes, 'n');
  const std::string value = disk.file("value");
  const std::string fresh = disk.file("fresh");
  const std::string source = outside.file("source");
  ASSERT_TRUE(write_file(value, old_value) && write_file(source, new_value));
  ASSERT_TRUE(write_file(disk.file("app.log"), "0") && write_file(disk.file("app.1.log"), "1"));
  ASSERT_TRUE(disk.fill());

  EXPECT_EQ(file_save(value.c_str(), const_cast<char*>(new_value.data()), kNewBytes), -1);
  EXPECT_EQ(file_save(fresh.c_str(), const_cast<char*>(new_value.data()), kNewBytes), -1);
  EXPECT_FALSE(
      file_copy(const_cast<char*>(source.c_str()), const_cast<char*>(value.c_str()), nullptr, 0));
  EXPECT_FALSE(
      file_copy(const_cast<char*>(source.c_str()), const_cast<char*>(fresh.c_str()), nullptr, 0));
  EXPECT_TRUE(read_file(value) == old_value) << "the old value was torn";
  EXPECT_FALSE(file_exists(fresh.c_str()));
  EXPECT_FALSE(disk.has_leftovers());
  // Renames need no room: the rotation goes through, every backup whole.
  EXPECT_EQ(file_backup(disk.file("app.log").c_str(), 3), 2);
  EXPECT_EQ(read_file(disk.file("app.1.log")) + read_file(disk.file("app.2.log")), "01");

  disk.make_room();
  EXPECT_EQ(file_save(value.c_str(), const_cast<char*>(new_value.data()), kNewBytes), kNewBytes);
  EXPECT_TRUE(read_file(value) == new_value);
  EXPECT_TRUE(
      file_copy(const_cast<char*>(source.c_str()), const_cast<char*>(fresh.c_str()), nullptr, 0));
  EXPECT_TRUE(read_file(fresh) == new_value);
}

}  // namespace
