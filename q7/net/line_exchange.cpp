// Newline-terminated text lines over a stream socket.
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "q7/internal/signal_safe_write.h"
#include "q7/log/message_log.h"
#include "q7/net/internal/socket_calls.h"
#include "q7/net/netio.h"

using q7::internal::restarted;
using q7::internal::socket_usable;

namespace {

constexpr int kTraceLevel = 5;

void report_read_failure(int error) {
  char text[32];
  snprintf(text, sizeof text, "Error code = %d\n", error);
  q7::internal::write_stderr(text);
}

// Sends the first `count` bytes of `text`. Returns `count`, or -1 when fewer went out.
int send_text(Netio& io, int sock, char* text, size_t count) {
  const int expected = static_cast<int>(count);
  return io.writen(sock, text, expected) == expected ? expected : -1;
}

}  // namespace

int Netio::getstring(int sock, char* buffer, int size) {
  if (!socket_usable(*this, sock) || buffer == nullptr || size < 1) return -1;
  // One byte per read: a byte behind the newline stays in the socket for the next reader.
  int counter = 1;
  int stored = 0;
  while (counter < size) {
    char* const at = buffer + stored;
    const ssize_t got = restarted(restart, false, [&] { return read(sock, at, 1); });
    if (got < 0) {
      report_read_failure(errno);
      return -1;
    }
    if (got == 0) {
      if (counter == 1) return 0;
      break;
    }
    ++stored;
    if (*at == '\n') break;
    ++counter;
  }
  buffer[stored] = '\0';
  if (trace) q7_notify(kTraceLevel, "Netio::getstring():\"%s\"\n", buffer);
  return counter;
}

int Netio::getstring_strip(int sock, char* buffer, int size) {
  int count = getstring(sock, buffer, size);
  if (count >= 1 && buffer[count - 1] == '\n') buffer[--count] = '\0';
  return count;
}

int Netio::putstring(int sock, char* text) {
  if (text == nullptr) return -1;
  if (trace) q7_notify(kTraceLevel, "Netio::putstring():\"%s\"\n", text);
  return send_text(*this, sock, text, strlen(text));
}

int Netio::putstring_strip(int sock, char* text) {
  if (text == nullptr) return -1;
  if (trace) q7_notify(kTraceLevel, "Netio::putstring_strip():\"%s\"\n", text);
  const size_t length = strlen(text);
  size_t kept = length;
  while (kept > 0 && text[kept - 1] == '\n') --kept;
  // The first newline of the run stays: it is the one line end that goes out.
  return send_text(*this, sock, text, kept < length ? kept + 1 : length);
}
