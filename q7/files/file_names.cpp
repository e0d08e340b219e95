// Path names as text: components, extensions, joining, cleaning, image-sequence names.
#include "q7/files/file_names.h"

#include <ctype.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>

#include "q7/files/internal/path_components.h"

char temp_path[4096];

namespace {

char empty_extension[1] = "";

// Puts `length` bytes of `text` into temp_path, cut to fit. The text may lie in temp_path
// itself, which is why the copy is a memmove.
char* set_temp_path(const char* text, size_t length) {
  length = std::min(length, sizeof temp_path - 1);
  if (length > 0) memmove(temp_path, text, length);
  temp_path[length] = '\0';
  return temp_path;
}

// Copies the result in temp_path to `out` when there is one, and returns temp_path.
char* deliver(char* out) {
  if (out != nullptr) memmove(out, temp_path, strlen(temp_path) + 1);
  return temp_path;
}

// The text of `name` after its last slash (the final component).
const char* final_component(const char* name) {
  const char* slash = strrchr(name, '/');
  return slash != nullptr ? slash + 1 : name;
}

}  // namespace

namespace q7::internal {

std::optional<std::string_view> path_component(const char* path, int index) {
  if (path == nullptr || index < 0) return std::nullopt;
  const char* at = path[0] == '/' ? path + 1 : path;
  for (int skipped = 0; skipped < index && *at != '\0'; ++skipped) {
    at += strcspn(at, "/");
    if (*at == '/') ++at;
  }
  if (*at == '\0') return std::nullopt;
  const char* from = index == 0 ? path : at;
  return std::string_view(from, at + strcspn(at, "/") - from);
}

}  // namespace q7::internal

char* file_name_lastcomponent(char* path) {
  return path != nullptr ? const_cast<char*>(final_component(path)) : nullptr;
}

char* file_name_extension(char* name) {
  char* dot = name != nullptr ? strrchr(name, '.') : nullptr;
  return dot != nullptr ? dot + 1 : empty_extension;
}

char* file_name_before_lastcomponent(char* path, char* out) {
  const char* slash = path != nullptr ? strrchr(path, '/') : nullptr;
  set_temp_path(path, slash != nullptr ? static_cast<size_t>(slash - path) : 0);
  return deliver(out);
}

char* file_name_component(char* path, int index, char* out) {
  const auto component = q7::internal::path_component(path, index);
  if (!component) return nullptr;
  set_temp_path(component->data(), component->size());
  return deliver(out);
}

char* file_name_add_component(char* path, char* component) {
  if (path == nullptr || component == nullptr) return path;
  const size_t length = strlen(path);
  const size_t gap = length > 0 ? 1 : 0;
  // The component moves first and the slash follows, so that a component lying in the
  // path itself (its end, or the whole path) is read before it is overwritten.
  memmove(path + length + gap, component, strlen(component) + 1);
  if (gap > 0) path[length] = '/';
  return path;
}

char* file_name_concat(char* directory, char* name) {
  if (name == nullptr) name = empty_extension;
  if (directory == nullptr || directory[0] == '\0') return set_temp_path(name, strlen(name));
  // Either part may lie in temp_path, so the join is made beside it first.
  char joined[sizeof temp_path];
  const int length = snprintf(joined, sizeof joined, "%s%s%s", directory, "/", name);
  return set_temp_path(joined, static_cast<size_t>(std::max(length, 0)));
}

void file_name_clean(char* name, int space_replacement, int slash_replacement) {
  if (name == nullptr) return;
  for (char* at = name; *at != '\0'; ++at) {
    if (space_replacement != 0 && isspace(static_cast<unsigned char>(*at))) {
      *at = static_cast<char>(space_replacement);
    }
    if (slash_replacement != 0 && *at == '/') *at = static_cast<char>(slash_replacement);
  }
}

int file_name_parse_image_file_name(char* name, char* base, char* extension, char* digits) {
  if (name == nullptr || base == nullptr || extension == nullptr) return -1;
  base[0] = '\0';
  extension[0] = '\0';
  if (digits != nullptr) digits[0] = '\0';
  if (name[0] == '\0') return -1;
  const char* component = final_component(name);
  const char* dot = strrchr(component, '.');
  if (dot == nullptr || dot == component) return -1;
  memmove(extension, dot, strlen(dot) + 1);
  const char* first_digit = dot;
  while (first_digit > component && isdigit(static_cast<unsigned char>(first_digit[-1]))) {
    --first_digit;
  }
  const size_t count = static_cast<size_t>(dot - first_digit);
  if (digits != nullptr) {
    memmove(digits, first_digit, count);
    digits[count] = '\0';
  }
  const size_t base_length = static_cast<size_t>(first_digit - component);
  memmove(base, component, base_length);
  base[base_length] = '\0';
  return static_cast<int>(count);
}

int file_name_format_image_file_name(char* base, char* extension, int frame, int width, char* out) {
  if (base == nullptr || extension == nullptr || out == nullptr) return -1;
  if (extension[0] == '.') ++extension;
  if (width < 1) return sprintf(out, "%s.%s", base, extension);
  char format[40];
  snprintf(format, sizeof format, "%%s%%%d.%dd.%%s", width, width);
  return sprintf(out, format, base, frame, extension);
}
