// Fuzzes the image-sequence names: a parse splits the final component into base, frame
// digits and extension that put together give it back, and building a name prints exactly
// the frame number at the width asked, into an out buffer of exactly the size it needs.
#include <ctype.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "q7/files/file_names.h"

namespace {

// A heap buffer of exactly `size` bytes, so that AddressSanitizer sees any write past it.
struct Out {
  explicit Out(size_t size) : bytes(static_cast<char*>(malloc(size))) {}
  ~Out() { free(bytes); }
  Out(const Out&) = delete;
  Out& operator=(const Out&) = delete;
  char* bytes;
};

std::string final_component(const std::string& name) {
  const size_t slash = name.rfind('/');
  return slash == std::string::npos ? name : name.substr(slash + 1);
}

// The frame number of `digits`, when it fits an int.
bool frame_of(const char* digits, int& frame) {
  if (strlen(digits) > 9) return false;
  frame = atoi(digits);
  return true;
}

// Builds a name and checks every part of it against what was asked.
void check_format(std::string base, std::string extension, int frame, int width) {
  std::string number;
  if (width >= 1) {
    std::string digits = std::to_string(frame);
    const bool negative = frame < 0;
    if (negative) digits.erase(0, 1);
    if (digits.size() < static_cast<size_t>(width)) digits.insert(0, width - digits.size(), '0');
    number = (negative ? "-" : "") + digits;
  }
  const std::string bare = extension.rfind('.', 0) == 0 ? extension.substr(1) : extension;
  const std::string expected = base + number + "." + bare;
  Out out(expected.size() + 1);
  const int written =
      file_name_format_image_file_name(base.data(), extension.data(), frame, width, out.bytes);
  if (written != static_cast<int>(expected.size()) || expected != out.bytes) abort();
}

}  // namespace

// Input: one byte of width (0 to 40, or negative), four bytes of frame number, then the name.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 5) return 0;
  const int width = static_cast<int8_t>(data[0]) % 41;
  int32_t frame;
  memcpy(&frame, data + 1, sizeof frame);
  std::string name(reinterpret_cast<const char*>(data + 5), size - 5);
  name = name.c_str();
  const std::string component = final_component(name);

  Out base(component.size() + 1);
  Out extension(component.size() + 1);
  Out digits(component.size() + 1);
  const int count =
      file_name_parse_image_file_name(name.data(), base.bytes, extension.bytes, digits.bytes);
  if (count < 0) {
    if (base.bytes[0] != '\0' || extension.bytes[0] != '\0' || digits.bytes[0] != '\0') abort();
    const size_t dot = component.rfind('.');
    if (!name.empty() && dot != std::string::npos && dot != 0) abort();
  } else {
    if (static_cast<int>(strlen(digits.bytes)) != count || extension.bytes[0] != '.') abort();
    // The dot that starts the extension is never the final component's first character.
    if (base.bytes[0] == '\0' && count == 0) abort();
    for (const char* at = digits.bytes; *at != '\0'; ++at) {
      if (!isdigit(static_cast<unsigned char>(*at))) abort();
    }
    const size_t base_length = strlen(base.bytes);
    if (base_length > 0 && isdigit(static_cast<unsigned char>(base.bytes[base_length - 1]))) {
      abort();
    }
    if (std::string(base.bytes) + digits.bytes + extension.bytes != component) abort();
    if (strchr(extension.bytes + 1, '.') != nullptr) abort();
    int parsed_frame;
    if (frame_of(digits.bytes, parsed_frame)) {
      Out rebuilt(component.size() + 1);
      file_name_format_image_file_name(base.bytes, extension.bytes, parsed_frame, count,
                                       rebuilt.bytes);
      if (component != rebuilt.bytes) abort();
    }
    check_format(base.bytes, extension.bytes, frame, width);
  }
  const size_t half = name.size() / 2;
  check_format(name.substr(0, half), name.substr(half), frame, width);
  return 0;
}
