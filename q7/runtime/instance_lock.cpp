// The single-instance lock file and the count of running processes by name.
#include "q7/runtime/instance_lock.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "q7/files/standard_directories.h"
#include "q7/files/temp_names.h"
#include "q7/internal/unique_file.h"
#include "q7/runtime/internal/exit_registration.h"

namespace {

using q7::internal::add_exit_handler;
using q7::internal::UniqueFd;
using q7::internal::UniqueFile;
using q7::internal::write_full;

constexpr size_t kPathSize = 4096;
// The line buffer of the process list.
constexpr int kListLineSize = 80;
// A temporary name that exists already was planted or is a second call in the same
// microsecond; a few fresh names get past either.
constexpr int kTempNameAttempts = 8;

bool is_regular_file(const char* path) {
  struct stat status;
  return stat(path, &status) == 0 && S_ISREG(status.st_mode);
}

// Copies the first line of the lock file into `owner`, or the empty text when it cannot
// be read. The file is opened without following a link: a link planted there must not
// make the caller show the first line of a file it points to.
void read_owner(const char* path, char* owner, int owner_size) {
  if (owner == nullptr || owner_size < 1) return;
  owner[0] = '\0';
  UniqueFd fd(open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat status;
  if (!fd || fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode)) return;
  const UniqueFile file(fdopen(fd.get(), "r"));
  if (file == nullptr) return;
  (void)fd.release();  // the stream closes it now
  if (fgets(owner, owner_size, file.get()) == nullptr) owner[0] = '\0';
}

// Writes the owner line "%d %s\n" with the process id and ctime's text of now.
bool write_owner_line(int fd) {
  const time_t now = time(nullptr);
  char when[32];
  char line[64];
  if (ctime_r(&now, when) == nullptr) return false;
  const int length = snprintf(line, sizeof line, "%d %s\n", static_cast<int>(getpid()), when);
  return length > 0 && static_cast<size_t>(length) < sizeof line &&
         write_full(fd, line, static_cast<size_t>(length));
}

// Makes the empty temporary file for the process list under a fresh file_get_temp_name.
// Returns its name (that function's buffer), or null when none can be made.
char* make_list_file() {
  for (int attempt = 0; attempt < kTempNameAttempts; ++attempt) {
    char* name = file_get_temp_name();
    const UniqueFd fd(open(name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (fd) return name;
    if (errno != EEXIST) return nullptr;
  }
  return nullptr;
}

int count_lines_equal_to(const char* list, const char* name) {
  const UniqueFile file(fopen(list, "r"));
  if (file == nullptr) return 0;
  int count = 0;
  char line[kListLineSize];
  while (fgets(line, sizeof line, file.get()) != nullptr) {
    line[strcspn(line, "\n")] = '\0';
    if (strcasecmp(line, name) == 0) ++count;
  }
  return count;
}

}  // namespace

int program_lock(char* name, char* owner, int owner_size) {
  ensure_standard_environment();
  if (name == nullptr) return 0;
  char path[kPathSize];
  const int length = snprintf(path, sizeof path, "%s%s%s", "/tmp", "/", name);
  if (length < 0 || static_cast<size_t>(length) >= sizeof path) return 0;
  if (is_regular_file(path)) {
    read_owner(path, owner, owner_size);
    return 0;
  }
  UniqueFd fd(open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
  if (!fd) {
    // Another process made it since the test above: held by that one.
    if (errno == EEXIST && is_regular_file(path)) read_owner(path, owner, owner_size);
    return 0;
  }
  char* copy = strdup(path);
  const bool taken = copy != nullptr && write_owner_line(fd.get()) && fd.close() &&
                     add_exit_handler(remove_program_lock, copy);
  if (!taken) {
    free(copy);
    unlink(path);
    return 0;
  }
  return 1;
}

void remove_program_lock(void* path) {
  if (path == nullptr) return;
  unlink(static_cast<char*>(path));
  free(path);
}

int is_program_running(char* name) {
  if (name == nullptr) return 0;
  const char* list = make_list_file();
  if (list == nullptr) return -1;
  char command[kPathSize + 32];
  snprintf(command, sizeof command, "ps -e -o comm > %s", list);
  fputs(command, stdout);
  // The text goes out before the shell's, not after it whenever the buffer fills.
  fflush(stdout);
  if (system(command) == -1) {
    unlink(list);
    return -1;
  }
  const int count = count_lines_equal_to(list, name);
  unlink(list);
  return count;
}
