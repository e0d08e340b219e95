// Names for temporary files: from the process id and the clock, or from a fresh UUID.
#include "q7/files/temp_names.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "q7/mp/clock.h"
#include "q7/runtime/identifiers.h"

namespace {

constexpr size_t kDynamicExtra = 51;

char temp_name[4096];

}  // namespace

char* file_get_temp_name() {
  const auto microseconds = static_cast<long long>(q7mp_getclock() * 1000000.0);
  snprintf(temp_name, sizeof temp_name, "%s%s_%d_%u", "/tmp", "/", static_cast<int>(getpid()),
           static_cast<unsigned int>(static_cast<uint32_t>(microseconds)));
  return temp_name;
}

void file_get_temp_name_ex(char* prefix, char* out) {
  if (prefix == nullptr || out == nullptr) return;
  const size_t length = strlen(prefix);
  const char* id = uuid_new();
  if (id == nullptr) {
    out[0] = '\0';
    return;
  }
  // "%s%s" of prefix and identifier, made so that `out` may be the prefix itself.
  memmove(out, prefix, length);
  strcpy(out + length, id);
  uuid_delete(id);
}

void file_get_temp_name_ex_c(char* prefix, char* out) { file_get_temp_name_ex(prefix, out); }

char* file_get_temp_name_ex_dyn(char* prefix) {
  if (prefix == nullptr) return nullptr;
  auto* name = static_cast<char*>(malloc(strlen(prefix) + kDynamicExtra));
  if (name == nullptr) return nullptr;
  file_get_temp_name_ex(prefix, name);
  if (name[0] == '\0') {
    free(name);
    return nullptr;
  }
  return name;
}

char* file_get_temp_name_ex_dyn_c(char* prefix) { return file_get_temp_name_ex_dyn(prefix); }
