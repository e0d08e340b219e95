// Trees of files for the file tests, and plain directory streams.
#include "tests/support/file_tree.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/temp_dir.h"

namespace q7test {

bool make_tree(const std::string& root, const std::vector<std::string>& entries) {
  for (const std::string& entry : entries) {
    const size_t arrow = entry.find(" -> ");
    const std::string path = root + "/" + entry.substr(0, arrow);
    bool made;
    if (arrow != std::string::npos) {
      made = symlink(entry.substr(arrow + 4).c_str(), path.c_str()) == 0;
    } else if (entry.back() == '/') {
      made = mkdir(path.c_str(), 0755) == 0;
    } else {
      made = write_file(path, entry);
    }
    if (!made) return false;
  }
  return true;
}

std::vector<std::string> stream_names(const std::string& path) {
  std::vector<std::string> names;
  DIR* directory = opendir(path.c_str());
  if (directory == nullptr) return names;
  while (const dirent* entry = readdir(directory)) names.emplace_back(entry->d_name);
  closedir(directory);
  return names;
}

}  // namespace q7test
