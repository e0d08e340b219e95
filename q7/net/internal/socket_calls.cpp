// The failure text and bound sockets, shared by the socket layer's operations.
#include "q7/net/internal/socket_calls.h"

#include <stdarg.h>
#include <stdio.h>
#include <sys/socket.h>

#include "q7/internal/unique_file.h"

namespace q7::internal {

void set_error_text(Netio& io, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(io.error_text, sizeof io.error_text, format, arguments);
  va_end(arguments);
}

int open_bound_socket(Netio& io, int type, bool broadcast, int port, sockaddr_in& address,
                      const char* open_failure, const char* bind_failure) {
  UniqueFd sock(socket(AF_INET, type, 0));
  if (!sock) {
    set_error_text(io, "%s", open_failure);
    return -1;
  }
  const int on = 1;
  setsockopt(sock.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (broadcast) setsockopt(sock.get(), SOL_SOCKET, SO_BROADCAST, &on, sizeof on);
  address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_ANY);
  address.sin_port = htons(static_cast<uint16_t>(port));
  if (bind(sock.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    set_error_text(io, "%s", bind_failure);
    return -1;
  }
  return sock.release();
}

}  // namespace q7::internal
