// Fuzzes the settings variable readers over arbitrary bytes as a variable's file. A value
// that reads back must be the file's bytes after the length, and both readers must agree.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "q7/files/settings_variables.h"

namespace {

// A home of this process's own, made once and removed at exit, whose Variables directory
// the readers look in.
class ScratchHome {
 public:
  ScratchHome() : home_("/tmp/q7_settings_variable_file_" + std::to_string(getpid()) + "_home") {
    std::filesystem::create_directories(home_ + "/Settings/Variables");
    setenv("Q7_HOME_DIR", home_.c_str(), 1);
  }
  ~ScratchHome() {
    std::error_code ignored;
    std::filesystem::remove_all(home_, ignored);
  }
  ScratchHome(const ScratchHome&) = delete;
  ScratchHome& operator=(const ScratchHome&) = delete;

 private:
  std::string home_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const ScratchHome home;
  const std::string path = std::string(getenv("Q7_HOME_DIR")) + "/Settings/Variables/v";
  FILE* file = fopen(path.c_str(), "wb");
  if (file == nullptr) return 0;
  const bool written = fwrite(data, 1, size, file) == size;
  if (fclose(file) != 0 || !written) return 0;

  char name[] = "v";
  char* value = get_variable(name);
  char buffer[4096];
  char* into = get_variable_static(name, buffer);
  char* kept = get_variable_static(name, nullptr);
  if (value == nullptr) {
    if (into != nullptr || kept != nullptr) abort();
    return 0;
  }
  int32_t length = 0;
  memcpy(&length, data, sizeof length);
  if (length < 1 || static_cast<size_t>(length) > size - 4 || value[length - 1] != '\0' ||
      memcmp(value, data + 4, static_cast<size_t>(length)) != 0) {
    abort();
  }
  const bool fits = length <= 4095;
  if ((into == buffer) != fits || (kept == static_value) != fits) abort();
  if (fits && (memcmp(buffer, value, static_cast<size_t>(length)) != 0 ||
               memcmp(static_value, value, static_cast<size_t>(length)) != 0)) {
    abort();
  }
  free(value);
  return 0;
}
