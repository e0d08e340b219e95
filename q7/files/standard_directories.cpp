// The home directory, its standard subdirectories and the paths built under them.
#include "q7/files/standard_directories.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "q7/files/file_names.h"
#include "q7/files/file_operations.h"
#include "q7/log/message_log.h"

namespace {

constexpr size_t kPathSize = 4096;

// Returned as char* by the description's signatures, so they are arrays, not literals.
char default_home[] = "/usr/local/Fernmoss";
char temp_directory[] = "/tmp";
char system_directory[] = "/";

char standard_directory[kPathSize];

// The directories ensure_standard_environment sees to, in this order.
constexpr int kStandardCodes[] = {69, 70, 71, 73};

char* home_lookup() {
  char* home = getenv("Q7_HOME_DIR");
  if (home != nullptr) {
    q7_notify(5, "get_home_directory() is returning: %s\n", home);
    return home;
  }
  q7_notify(5, "get_home_directory() is returning utils hardwired DEFAULT: %s\n", default_home);
  return default_home;
}

// The length of the whole path of `code`, built into the static buffer after the home
// lookup; 4096 or more when the buffer holds it cut.
int format_standard_directory(int code) {
  const char* home = home_lookup();
  char* out = standard_directory;
  switch (code) {
    case 69:
      return snprintf(out, kPathSize, "%s", home);
    case 70:
      return snprintf(out, kPathSize, "%s%s%s", home, "/", "Settings");
    case 71:
      return snprintf(out, kPathSize, "%s%s%s%s%s", home, "/", "Settings", "/", "Variables");
    case 73:
      return snprintf(out, kPathSize, "%s%s%s", home, "/", "Logs");
    default:
      return snprintf(out, kPathSize, " ");
  }
}

// Builds and logs the path of `code` in the static buffer. False when it was cut to fit.
bool build_standard_directory(int code) {
  const bool whole = format_standard_directory(code) < static_cast<int>(kPathSize);
  q7_notify(5, "get_standard_directory(%d) is returning: %s\n", code, standard_directory);
  return whole;
}

// Appends `text` to the path of `length` characters in `temp_path`. False, appending
// nothing, when the result would not fit the buffer with its terminator.
bool append(size_t& length, const char* text) {
  const size_t more = strlen(text);
  if (length + more >= kPathSize) return false;
  memcpy(temp_path + length, text, more + 1);
  length += more;
  return true;
}

// A slash after the path unless it ends with one; a path of 4095 characters gets none.
void append_slash(size_t& length) {
  if (length > kPathSize - 2 || (length > 0 && temp_path[length - 1] == '/')) return;
  temp_path[length++] = '/';
  temp_path[length] = '\0';
}

// True when `temp_path` is a directory now, made here if it was missing.
bool make_directory() {
  if (file_is_directory(temp_path) || file_create_directory(temp_path) == 0) return true;
  const int error = errno;
  // Another process making the same directory at the same moment is no failure.
  if (error == EEXIST && file_is_directory(temp_path)) return true;
  q7_notify(1, "Error creating directory %s : %s\n", temp_path, strerror(error));
  return false;
}

}  // namespace

char* get_home_directory() { return home_lookup(); }

const char* get_standard_directory(int code) {
  build_standard_directory(code);
  return standard_directory;
}

char* ensure_standard_directory(const char* subdirectory, const char* name, char* out) {
  if (subdirectory == nullptr) return nullptr;
  snprintf(temp_path, kPathSize, "%s", home_lookup());
  size_t length = strlen(temp_path);
  if (length <= kPathSize - 2) {
    append_slash(length);
    if (!append(length, subdirectory)) return nullptr;
  }
  if (!make_directory()) return nullptr;
  append_slash(length);
  if (name != nullptr && !append(length, name)) return nullptr;
  if (out == nullptr) return temp_path;
  memcpy(out, temp_path, length + 1);
  return out;
}

int ensure_standard_environment() {
  for (const int code : kStandardCodes) {
    // A path cut to fit the buffer would name another directory: it is not made.
    if (!build_standard_directory(code) || ensure_path_exists(standard_directory) != 1) return 0;
  }
  for (const int code : kStandardCodes) (void)file_set_access(get_standard_directory(code), true);
  return 1;
}

char* get_temp_directory() { return temp_directory; }

char* get_system_directory() { return system_directory; }
