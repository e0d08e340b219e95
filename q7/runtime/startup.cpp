// The start-up banner and the program's log file.
#include "q7/runtime/startup.h"

#include <fcntl.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>

#include "q7/files/backup.h"
#include "q7/files/standard_directories.h"
#include "q7/internal/unique_file.h"
#include "q7/log/message_log.h"

namespace {

using q7::internal::UniqueFd;

constexpr size_t kPathSize = 4096;
constexpr int kLogBackups = 10;
constexpr char kBuildLine[] = "[Built on: %s at %s]\n";

}  // namespace

void startup_info(char* title, char* build_date, char* build_time) {
  ensure_standard_environment();
  if (title == nullptr) return;
  char underline[4096];
  const size_t length = std::min(strlen(title), sizeof underline - 1);
  memset(underline, '=', length);
  underline[length] = '\0';
  const bool built = build_date != nullptr && build_time != nullptr;
  printf("\n%s\n", title);
  printf("%s\n", underline);
  if (built) printf(kBuildLine, build_date, build_time);
  printf("\n");
  fflush(stdout);
  q7_notify(3, "%s\n", title);
  q7_msgcont("%s\n", underline);
  if (built) q7_msgcont(kBuildLine, build_date, build_time);
}

extern "C" void startup_info_c(char* title) { startup_info(title, nullptr, nullptr); }

FILE* open_log(char* name) {
  if (name == nullptr) return nullptr;
  q7_notify_set_facility(name);
  ensure_standard_environment();
  char file_name[kPathSize];
  char path[kPathSize];
  const int length = snprintf(file_name, sizeof file_name, "%s.log", name);
  if (length < 0 || static_cast<size_t>(length) >= sizeof file_name ||
      ensure_standard_directory("Logs", file_name, path) == nullptr) {
    return nullptr;
  }
  file_backup(path, kLogBackups);
  const UniqueFd log(open(path, O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0666));
  if (!log) return nullptr;
  // Reopening the path by its name again would follow a link planted since; the
  // descriptor's own entry in /proc names the file just made, whatever happens to the path.
  char opened[64];
  snprintf(opened, sizeof opened, "/proc/self/fd/%d", log.get());
  return freopen(opened, "w+", stderr);
}
