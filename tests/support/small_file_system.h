// A small tmpfs mounted for one test, to see what the writing operations do on a full disk.
#pragma once

#include <string>

#include "tests/support/temp_dir.h"

namespace q7test {

// A tmpfs of 2 MiB mounted on a fresh directory for the life of the object. Mounting needs
// root: a test checks mounted() and otherwise skips with error(), which says why.
class SmallFileSystem {
 public:
  SmallFileSystem();
  ~SmallFileSystem();
  SmallFileSystem(const SmallFileSystem&) = delete;
  SmallFileSystem& operator=(const SmallFileSystem&) = delete;

  bool mounted() const { return mounted_; }
  const std::string& error() const { return error_; }
  const std::string& path() const { return dir_.path(); }
  std::string file(const std::string& name) const { return dir_.file(name); }

  // Writes a filler file until the file system refuses more. True when it ended full.
  bool fill() const;
  void make_room() const;

  // True when the directory `relative` (the top by default) holds a new file the library
  // wrote beside another (a ".q7_" name) and left behind.
  bool has_leftovers(const std::string& relative = "") const;

 private:
  TempDir dir_;
  bool mounted_ = false;
  std::string error_;
};

}  // namespace q7test
