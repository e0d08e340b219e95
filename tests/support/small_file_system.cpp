// A small tmpfs mounted for one test.
#include "tests/support/small_file_system.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>

namespace q7test {

SmallFileSystem::SmallFileSystem() {
  if (geteuid() != 0) {
    error_ = "mounting a small tmpfs needs root; run as root to check a full disk";
    return;
  }
  mounted_ = mount("q7test", dir_.path().c_str(), "tmpfs", 0, "size=2m,mode=0755") == 0;
  if (!mounted_) error_ = std::string("cannot mount a tmpfs here: ") + strerror(errno);
}

SmallFileSystem::~SmallFileSystem() {
  if (mounted_) umount2(dir_.path().c_str(), MNT_DETACH);
}

bool SmallFileSystem::fill() const {
  const int fd = open(file("filler").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  const std::string block(4096, 'f');
  ssize_t written = 0;
  while (fd >= 0 && (written = write(fd, block.data(), block.size())) > 0) {
  }
  const bool full = fd >= 0 && written < 0 && errno == ENOSPC;
  if (fd >= 0) close(fd);
  return full;
}

void SmallFileSystem::make_room() const { unlink(file("filler").c_str()); }

bool SmallFileSystem::has_leftovers(const std::string& relative) const {
  for (const auto& entry : std::filesystem::directory_iterator(dir_.path() + "/" + relative)) {
    if (entry.path().filename().string().rfind(".q7_", 0) == 0) return true;
  }
  return false;
}

}  // namespace q7test
