// Addresses as text: an IPv4 address in fixed-width fields, and "host:port" split.
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "q7/net/netio.h"

namespace {

char formatted_address[20];

constexpr size_t kSplitLimit = 71;
char split_host[kSplitLimit + 1];

// The decimal number at `text` as atoi reads it, clamped to the range of int.
int port_number(const char* text) {
  const long value = strtol(text, nullptr, 10);
  return static_cast<int>(std::clamp<long>(value, INT_MIN, INT_MAX));
}

}  // namespace

char* Netio::format_address(unsigned int address) {
  unsigned char octets[4];
  memcpy(octets, &address, sizeof octets);
  snprintf(formatted_address, sizeof formatted_address, "%3d.%3d.%3d.%3d", octets[0], octets[1],
           octets[2], octets[3]);
  return formatted_address;
}

char* Netio::split_address(char* text, int& port) {
  port = -1;
  if (text == nullptr) return nullptr;
  const size_t length = strnlen(text, kSplitLimit);
  memcpy(split_host, text, length);
  split_host[length] = '\0';
  // Every colon ends the host there; scanning from the end leaves the first one's port.
  for (size_t at = length; at-- > 0;) {
    if (split_host[at] != ':') continue;
    split_host[at] = '\0';
    port = port_number(split_host + at + 1);
  }
  return split_host;
}
