// Writing a file whole before it takes the place of another, so that no reader and no
// failure ever leaves a torn file behind.
#pragma once

#include <limits.h>
#include <sys/stat.h>
#include <sys/types.h>

#include "q7/internal/unique_file.h"

namespace q7::internal {

// One new file being written for `path`. Where it can, it writes a new file beside the
// path (a hidden ".q7_" name with a fresh identifier, made with O_EXCL and O_NOFOLLOW, so
// that nothing planted there is followed) and renames it over the path at commit; until
// then the path keeps what it held, and a ReplacementFile that ends without commit
// removes its new file. It writes in place instead (opening the path with O_CREAT and
// O_TRUNC, as creat does) where a rename would change more than the contents: a path that
// is not a regular file, a file with more than one link, a file of another owner when the
// process is not root, and a directory the process may not create files in. A symbolic
// link is followed to the file it names, which is then the file replaced. A file that
// creat could not open for writing (read-only, say) is refused as creat refuses it. Used
// by one thread.
class ReplacementFile {
 public:
  ReplacementFile() = default;
  ~ReplacementFile();
  ReplacementFile(const ReplacementFile&) = delete;
  ReplacementFile& operator=(const ReplacementFile&) = delete;

  // Opens the file to write for `path`. A new file gets `mode` less the umask; one that
  // replaces an existing file gets that file's permissions, and its owner and group where
  // the process may set them. False, with errno set, when no file can be opened.
  [[nodiscard]] bool open(const char* path, mode_t mode);

  // The descriptor to write to; -1 before open and after commit.
  [[nodiscard]] int fd() const { return file_.get(); }

  // Closes the file and, when it was written beside the path, renames it over the path.
  // False, with errno set, when the close or the rename fails: the new file is then
  // removed and the path is as it was before open.
  [[nodiscard]] bool commit();

 private:
  [[nodiscard]] bool open_beside(const char* target, const struct stat* existing, mode_t mode);
  [[nodiscard]] bool open_in_place(const char* path, mode_t mode);
  void remove_new_file();

  UniqueFd directory_;
  UniqueFd file_;
  char new_name_[48] = "";  // empty when writing in place
  char target_[PATH_MAX] = "";
  const char* target_name_ = target_;
};

}  // namespace q7::internal
