// Settings variables: one file per variable, replaced whole, read with every length checked.
#include "q7/files/settings_variables.h"

#include <fcntl.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "q7/files/file_names.h"
#include "q7/files/file_operations.h"
#include "q7/files/internal/replacement_file.h"
#include "q7/files/standard_directories.h"
#include "q7/internal/lazy_handle.h"
#include "q7/internal/unique_file.h"
#include "q7/mp/sync.h"

void* var_lock = nullptr;
char static_value[4096];

namespace {

using q7::internal::ensure_handle;
using q7::internal::read_full;
using q7::internal::ReplacementFile;
using q7::internal::UniqueFd;
using q7::internal::write_full;

constexpr size_t kPathSize = 4096;
constexpr int32_t kLongestStaticLength = sizeof static_value - 1;
constexpr int kVariablesDirectory = 71;

// The held mutex this thread has just made for var_lock, until it is kept or given up.
thread_local void* made_here = nullptr;

void* make_held_mutex() {
  made_here = q7mp_new_mutex(1);
  return made_here;
}

void give_up_mutex(void* mutex) {
  q7mp_release_mutex(mutex);
  q7mp_delete_mutex(mutex);
  made_here = nullptr;
}

// Holds var_lock for its life. The thread whose held mutex became var_lock holds it from
// the moment it was made; every other thread waits for it.
class VariableLock {
 public:
  VariableLock() : mutex_(ensure_handle(var_lock, make_held_mutex, give_up_mutex)) {
    if (mutex_ != nullptr && mutex_ != made_here) q7mp_get_mutex(mutex_);
    made_here = nullptr;
  }
  ~VariableLock() {
    if (mutex_ != nullptr) q7mp_release_mutex(mutex_);
  }
  VariableLock(const VariableLock&) = delete;
  VariableLock& operator=(const VariableLock&) = delete;

  [[nodiscard]] bool held() const { return mutex_ != nullptr; }

 private:
  void* mutex_;
};

// Sees to the standard directories and builds the path of the variable `name` in
// `temp_path`. False, building nothing, for a null name or a path too long to fit.
bool build_variable_path(const char* name) {
  if (name == nullptr) return false;
  ensure_standard_environment();
  const char* directory = get_standard_directory(kVariablesDirectory);
  if (strlen(directory) + 1 + strlen(name) >= kPathSize) return false;
  file_name_concat(const_cast<char*>(directory), const_cast<char*>(name));
  return true;
}

// The variable's file, opened for reading, with the length its value claims; the length
// is -1 when there is no value to read: no regular file, no whole length field, a length
// below 1 or longer than what follows it in the file.
struct ValueFile {
  UniqueFd fd;
  int32_t length = -1;
};

ValueFile open_value(const char* name) {
  ValueFile file;
  if (!build_variable_path(name) || !file_exists(temp_path)) return file;
  // O_NONBLOCK: a pipe swapped in after the test must not block the open; fstat refuses it.
  file.fd = UniqueFd(open(temp_path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat status;
  int32_t length = 0;
  if (!file.fd || fstat(file.fd.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
      read_full(file.fd.get(), &length, sizeof length) != sizeof length || length < 1 ||
      length > status.st_size - static_cast<off_t>(sizeof length)) {
    return file;
  }
  file.length = length;
  return file;
}

// Reads the value into `out`, which holds file.length bytes. False when fewer bytes
// arrive (the file shrank since its size was taken) or the last is not the terminator.
bool read_value(const ValueFile& file, char* out) {
  const auto size = static_cast<size_t>(file.length);
  return read_full(file.fd.get(), out, size) == static_cast<ssize_t>(size) && out[size - 1] == '\0';
}

}  // namespace

bool set_variable(char* name, char* value) {
  if (value == nullptr) return false;
  const VariableLock lock;
  if (!lock.held() || !build_variable_path(name)) return false;
  const size_t size = strlen(value) + 1;
  if (size > INT32_MAX) return false;
  const auto length = static_cast<int32_t>(size);
  ReplacementFile file;
  return file.open(temp_path, 0666) && write_full(file.fd(), &length, sizeof length) &&
         write_full(file.fd(), value, size) && file.commit();
}

char* get_variable(char* name) {
  const VariableLock lock;
  if (!lock.held()) return nullptr;
  const ValueFile file = open_value(name);
  if (file.length < 0) return nullptr;
  auto* block = static_cast<char*>(malloc(static_cast<size_t>(file.length)));
  if (block == nullptr || read_value(file, block)) return block;
  free(block);
  return nullptr;
}

char* get_variable_static(char* name, char* buffer) {
  const VariableLock lock;
  if (!lock.held()) return nullptr;
  const ValueFile file = open_value(name);
  if (file.length < 0 || file.length > kLongestStaticLength) return nullptr;
  // Read aside first, so that a file that breaks the format leaves the buffer as it was.
  char value[sizeof static_value];
  if (!read_value(file, value)) return nullptr;
  char* out = buffer != nullptr ? buffer : static_value;
  memcpy(out, value, static_cast<size_t>(file.length));
  return out;
}

bool delete_variable(char* name) {
  const VariableLock lock;
  return lock.held() && build_variable_path(name) && file_exists(temp_path) &&
         file_delete(temp_path);
}
