// TCP connections: the client's connect, the server's bound socket and accept, socket
// options and closing.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

#include "q7/internal/unique_file.h"
#include "q7/net/internal/socket_calls.h"
#include "q7/net/netio.h"

using q7::internal::restarted;
using q7::internal::set_error_text;
using q7::internal::socket_usable;
using q7::internal::UniqueFd;

namespace {

// Where rresvport starts its downward search for a free reserved port (it stops at 512).
constexpr int kFirstReservedPort = IPPORT_RESERVED - 1;

// An interrupted connect goes on in the background and cannot be issued again (a second
// call reports EALREADY), so restarting it means waiting for its outcome.
bool finish_interrupted_connect(int sock) {
  pollfd writable = {sock, POLLOUT, 0};
  while (poll(&writable, 1, -1) < 0) {
    if (errno != EINTR && errno != EAGAIN) return false;
  }
  int error = 0;
  socklen_t length = sizeof error;
  if (getsockopt(sock, SOL_SOCKET, SO_ERROR, &error, &length) != 0) return false;
  errno = error;
  return error == 0;
}

bool connect_restarted(int sock, const sockaddr_in& server, bool restart) {
  for (;;) {
    if (connect(sock, reinterpret_cast<const sockaddr*>(&server), sizeof server) == 0) {
      return true;
    }
    if (!restart) return false;
    // EAGAIN from a TCP connect means no local port was free: that attempt never started.
    if (errno == EAGAIN) continue;
    return errno == EINTR && finish_interrupted_connect(sock);
  }
}

// Sets a socket buffer option when `size` is above 0, then reads it back.
int buffer_option(int sock, int option, int size) {
  if (size > 0 && setsockopt(sock, SOL_SOCKET, option, &size, sizeof size) != 0) return -1;
  int in_force = 0;
  socklen_t length = sizeof in_force;
  if (getsockopt(sock, SOL_SOCKET, option, &in_force, &length) != 0) return -1;
  return in_force;
}

}  // namespace

int Netio::tcp_client_open(char* host, char* service, int port, int rcvbuf) {
  if (!init_check()) return -1;
  server_addr = {};
  server_addr.sin_family = AF_INET;
  if (service != nullptr) {
    const servent* found = getservbyname(service, "tcp");
    if (found == nullptr) {
      set_error_text(*this, "Netio::tcp_client_open(): Unknown service: %s/tcp", service);
      return -1;
    }
    service_entry = *found;
    server_addr.sin_port = port > 0 ? htons(static_cast<uint16_t>(port)) : found->s_port;
  } else if (port > 0) {
    server_addr.sin_port = htons(static_cast<uint16_t>(port));
  } else {
    set_error_text(*this, "Netio::tcp_client_open(): Must specify either service or port.");
    return -1;
  }

  const in_addr_t numeric = host != nullptr ? inet_addr(host) : INADDR_NONE;
  if (numeric != INADDR_NONE) {
    server_addr.sin_addr.s_addr = numeric;
    host_entry.h_name = nullptr;
  } else {
    const hostent* found = host != nullptr ? gethostbyname(host) : nullptr;
    if (found == nullptr || found->h_addr_list[0] == nullptr) {
      set_error_text(*this, "Netio::tcp_client_open(): Host %s unknown or invalid.",
                     host != nullptr ? host : "(null)");
      return -1;
    }
    host_entry = *found;
    const size_t length =
        std::min(sizeof server_addr.sin_addr, static_cast<size_t>(std::max(found->h_length, 0)));
    memcpy(&server_addr.sin_addr, found->h_addr_list[0], length);
  }

  int reserved_port = kFirstReservedPort;
  UniqueFd sock(port < 0 ? rresvport(&reserved_port) : socket(AF_INET, SOCK_STREAM, 0));
  if (!sock) {
    set_error_text(*this, port < 0 ? "Netio::tcp_client_open(): Cannot get a reserved TCP port."
                                   : "Netio::tcp_client_open(): Cannot create TCP socket.");
    return -1;
  }
  if (rcvbuf > 0) setsockopt(sock.get(), SOL_SOCKET, SO_RCVBUF, &rcvbuf, sizeof rcvbuf);
  if (!connect_restarted(sock.get(), server_addr, restart)) {
    set_error_text(*this, "Netio::tcp_client_open(): Cannot connect to server.");
    return -1;
  }
  return sock.release();
}

int Netio::tcp_server_open(int port) {
  if (!init_check()) return -1;
  return q7::internal::open_bound_socket(
      *this, SOCK_STREAM, false, port, local_addr,
      "Netio::tcp_server_open(): Cannot open stream socket.",
      "Netio::tcp_server_open(): Cannot bind socket to specified port.");
}

int Netio::tcp_server_accept(int sock) {
  if (!socket_usable(*this, sock)) return -1;
  const ssize_t client = restarted(restart, false, [&] {
    socklen_t length = sizeof peer_addr;
    peer_addr_len = static_cast<int32_t>(length);
    const int accepted = accept(sock, reinterpret_cast<sockaddr*>(&peer_addr), &length);
    peer_addr_len = static_cast<int32_t>(length);
    return accepted;
  });
  if (client < 0) {
    set_error_text(*this, "Netio::tcp_server_accept(): Accept failed.");
    return -1;
  }
  return static_cast<int>(client);
}

void Netio::set_blocking(int sock, bool blocking) {
  if (!socket_usable(*this, sock)) return;
  const int flags = fcntl(sock, F_GETFL);
  if (flags < 0) return;
  fcntl(sock, F_SETFL, blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK);
}

int Netio::set_rcvbuf(int sock, int size) {
  if (!socket_usable(*this, sock)) return -1;
  return buffer_option(sock, SO_RCVBUF, size);
}

int Netio::set_sendbuf(int sock, int size) {
  if (!socket_usable(*this, sock)) return -1;
  return buffer_option(sock, SO_SNDBUF, size);
}

int Netio::close_socket(int sock) {
  if (!socket_usable(*this, sock)) return -1;
  return close(sock);
}
