// A directory under /tmp holding many empty regular files, for the benchmarks of listings
// and the watcher: made once per benchmark program and removed when it ends.
#pragma once

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace q7bench {

class FilledDirectory {
 public:
  // Makes `count` files, the i-th named `name_of(i)`. The path stays empty when the
  // directory or a file cannot be made.
  FilledDirectory(int count, std::string (*name_of)(int)) {
    char pattern[] = "/tmp/q7bench.XXXXXX";
    if (mkdtemp(pattern) == nullptr) return;
    const std::string made = pattern;
    path_ = made;
    for (int i = 0; i < count; ++i) {
      const int fd = open((made + "/" + name_of(i)).c_str(), O_WRONLY | O_CREAT, 0600);
      if (fd < 0 || close(fd) != 0) {
        path_.clear();
        break;
      }
    }
    if (path_.empty()) remove(made);
  }
  ~FilledDirectory() {
    if (!path_.empty()) remove(path_);
  }
  FilledDirectory(const FilledDirectory&) = delete;
  FilledDirectory& operator=(const FilledDirectory&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  static void remove(const std::string& path) {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }

  std::string path_;
};

}  // namespace q7bench
