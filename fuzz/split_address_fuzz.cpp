// Fuzzes Netio::split_address over arbitrary texts: the host is the text before its first
// colon within the first 71 characters, and the port is the number behind that colon, or
// -1 when there is none.
#include <limits.h>
#include <stdint.h>
#include <stdlib.h>

#include <algorithm>
#include <string>

#include "q7/net/netio.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string input(reinterpret_cast<const char*>(data), size);
  const std::string copy = std::string(input.c_str()).substr(0, 71);
  const size_t colon = copy.find(':');
  int expected_port = -1;
  if (colon != std::string::npos) {
    const long number = strtol(copy.c_str() + colon + 1, nullptr, 10);
    expected_port = static_cast<int>(std::clamp<long>(number, INT_MIN, INT_MAX));
  }
  Netio io;
  int port = 12345;
  const char* host = io.split_address(input.data(), port);
  if (host == nullptr || copy.substr(0, colon) != host || port != expected_port) abort();
  return 0;
}
