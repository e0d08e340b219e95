// A temporary directory that lives as long as the object, and whole-file helpers.
#pragma once

#include <string>

namespace q7test {

// Makes a fresh directory under /tmp (mkdtemp) and removes it with everything in it when
// destroyed.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// Writes `bytes` to `path`, replacing the file. Returns false when it cannot.
bool write_file(const std::string& path, const std::string& bytes);

// The whole content of `path`; empty when it cannot be read.
std::string read_file(const std::string& path);

}  // namespace q7test
