// Fuzzes the path component functions over arbitrary texts: each result agrees with the
// text it came from, the components joined give the path back, results in temp_path are
// cut at 4095 characters, and no copy overruns an out buffer of exactly 4096 bytes.
#include <ctype.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <string>

#include "q7/files/file_names.h"

namespace {

constexpr size_t kPathBuffer = sizeof temp_path;

// Out buffers of exactly the size the header asks of them, on the heap so that
// AddressSanitizer sees any write past them.
struct Out {
  Out() : bytes(static_cast<char*>(malloc(kPathBuffer))) {}
  ~Out() { free(bytes); }
  Out(const Out&) = delete;
  Out& operator=(const Out&) = delete;
  char* bytes;
};

std::string cut(const std::string& text) { return text.substr(0, kPathBuffer - 1); }

void check_in_temp_path(const char* result, const std::string& expected, const Out& out) {
  if (result != temp_path || cut(expected) != temp_path || strcmp(out.bytes, temp_path) != 0) {
    abort();
  }
}

void check_pointers(std::string path) {
  char* last = file_name_lastcomponent(path.data());
  const size_t slash = path.rfind('/');
  if (last != path.data() + (slash == std::string::npos ? 0 : slash + 1)) abort();
  char* extension = file_name_extension(path.data());
  const size_t dot = path.rfind('.');
  if (dot == std::string::npos ? extension[0] != '\0' || (extension >= path.data() &&
                                                          extension <= path.data() + path.size())
                               : extension != path.data() + dot + 1) {
    abort();
  }
}

// Components of the path joined with slashes give the path without one trailing slash.
// Each lookup walks the path from its start, so at most kMostComponents are looked up.
void check_components(std::string path) {
  constexpr int kMostComponents = 256;
  Out out;
  std::string joined;
  int index = 0;
  for (; index < kMostComponents; ++index) {
    char* component = file_name_component(path.data(), index, out.bytes);
    if (component == nullptr) break;
    check_in_temp_path(component, temp_path, out);
    joined += (index > 0 ? "/" : "") + std::string(component);
  }
  if (index == kMostComponents) return;
  if (file_name_component(path.data(), index + 1, nullptr) != nullptr) abort();
  if (file_name_component(path.data(), -1 - index, nullptr) != nullptr) abort();
  std::string expected = path;
  if (!expected.empty() && expected.back() == '/') expected.pop_back();
  if (path.size() < kPathBuffer && joined != expected) abort();
}

void check_before(std::string path) {
  Out out;
  const size_t slash = path.rfind('/');
  const std::string expected = slash == std::string::npos ? "" : path.substr(0, slash);
  check_in_temp_path(file_name_before_lastcomponent(path.data(), out.bytes), expected, out);
  // The result passed straight back from temp_path.
  const std::string first = temp_path;
  const size_t again = first.rfind('/');
  file_name_before_lastcomponent(temp_path, out.bytes);
  if (temp_path != (again == std::string::npos ? "" : first.substr(0, again))) abort();
}

void check_joins(std::string directory, std::string name) {
  const std::string expected = directory.empty() ? name : directory + "/" + name;
  if (file_name_concat(directory.data(), name.data()) != temp_path) abort();
  if (cut(expected) != temp_path) abort();
  file_name_concat(name.data(), temp_path);
  if (cut(name.empty() ? cut(expected) : name + "/" + cut(expected)) != temp_path) abort();
  char* extended = static_cast<char*>(malloc(expected.size() + 1));
  memcpy(extended, directory.c_str(), directory.size() + 1);
  if (file_name_add_component(extended, name.data()) != extended) abort();
  if (expected != extended) abort();
  free(extended);
}

void check_clean(std::string name, int space, int slash) {
  std::string cleaned = name;
  file_name_clean(cleaned.data(), space, slash);
  for (size_t i = 0; i < name.size(); ++i) {
    char expected = name[i];
    if (space != 0 && isspace(static_cast<unsigned char>(expected))) {
      expected = static_cast<char>(space);
    }
    if (slash != 0 && expected == '/') expected = static_cast<char>(slash);
    if (cleaned[i] != expected) abort();
  }
}

}  // namespace

// Long enough to reach past the 4095 characters of the path buffer.
constexpr size_t kMaxText = 6000;

// Input: one byte whose low bit asks for the text to be repeated past the 4095 characters of
// the path buffer, two bytes of replacements for file_name_clean, then the text.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 3) return 0;
  std::string text(reinterpret_cast<const char*>(data + 3), std::min(size - 3, kMaxText));
  text = text.c_str();
  if ((data[0] & 1) != 0 && !text.empty()) {
    while (text.size() < sizeof temp_path + 4) text += text;
    text.resize(std::min(text.size(), kMaxText));
  }
  check_pointers(text);
  check_components(text);
  check_before(text);
  const size_t split = text.find('\n');
  if (split == std::string::npos) {
    check_joins("", text);
  } else {
    check_joins(text.substr(0, split), text.substr(split + 1));
  }
  check_clean(text, data[1], data[2] == 0xff ? 0x1ff : data[2]);
  return 0;
}
