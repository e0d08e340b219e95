// Datagram sockets: the bound socket, and one datagram received or sent.
#include <arpa/inet.h>
#include <sys/socket.h>

#include "q7/net/internal/socket_calls.h"
#include "q7/net/netio.h"

using q7::internal::restarted;
using q7::internal::socket_usable;

int Netio::dgram_open(int port) {
  if (!init_check()) return -1;
  sockaddr_in bound;
  return q7::internal::open_bound_socket(
      *this, SOCK_DGRAM, true, port, bound, "Netio::dgram_open(): Cannot open socket.",
      "Netio::dgram_open(): Cannot bind socket to specified port.");
}

int Netio::read_from(int sock, char* buffer, int count, unsigned int* address) {
  if (!socket_usable(*this, sock) || count < 0) return -1;
  sockaddr_in sender = {};
  const ssize_t got = restarted(restart, false, [&] {
    socklen_t length = sizeof sender;
    return recvfrom(sock, buffer, static_cast<size_t>(count), 0,
                    reinterpret_cast<sockaddr*>(&sender), &length);
  });
  if (got < 0) return -1;
  if (address != nullptr) *address = ntohl(sender.sin_addr.s_addr);
  return static_cast<int>(got);
}

int Netio::write_to(int sock, char* buffer, int count, unsigned int address, unsigned int port) {
  if (!socket_usable(*this, sock) || count < 0) return -1;
  sockaddr_in destination = {};
  destination.sin_family = AF_INET;
  destination.sin_addr.s_addr = htonl(address);
  destination.sin_port = htons(static_cast<uint16_t>(port));
  return static_cast<int>(restarted(restart, true, [&] {
    return sendto(sock, buffer, static_cast<size_t>(count), 0,
                  reinterpret_cast<const sockaddr*>(&destination), sizeof destination);
  }));
}
