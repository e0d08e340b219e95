// Tests of datagram sockets: binding, and datagrams with their sender's address.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

#include "q7/net/netio.h"

namespace {

int bound_port(int sock) {
  sockaddr_in address = {};
  socklen_t length = sizeof address;
  getsockname(sock, reinterpret_cast<sockaddr*>(&address), &length);
  return ntohs(address.sin_port);
}

TEST(Datagrams, TravelWithTheSendersAddressInHostOrder) {
  Netio io;
  const int receiver = io.dgram_open(0);
  const int sender = io.dgram_open(0);
  ASSERT_GE(receiver, 0) << io.tcp_error();
  ASSERT_GE(sender, 0) << io.tcp_error();
  for (const int option : {SO_REUSEADDR, SO_BROADCAST}) {
    int value = 0;
    socklen_t length = sizeof value;
    getsockopt(receiver, SOL_SOCKET, option, &value, &length);
    EXPECT_EQ(value, 1) << option;
  }
  char text[] = "ping";
  // The port's bits above the low 16 are dropped.
  const unsigned int port = 0x70000u | static_cast<unsigned int>(bound_port(receiver));
  EXPECT_EQ(io.write_to(sender, text, 4, INADDR_LOOPBACK, port), 4);
  EXPECT_EQ(io.write_to(sender, text, 0, INADDR_LOOPBACK, port), -1) << "a count of 0 fails";
  char buffer[8] = {};
  unsigned int address = 0;
  EXPECT_EQ(io.read_from(receiver, buffer, sizeof buffer, &address), 4);
  EXPECT_STREQ(buffer, "ping");
  EXPECT_EQ(address, INADDR_LOOPBACK);
  EXPECT_EQ(io.read_from(receiver, buffer, sizeof buffer, &address), 0)
      << "though the platform sent the empty datagram";

  EXPECT_EQ(io.write_to(sender, text, 4, INADDR_LOOPBACK, port), 4);
  EXPECT_EQ(io.read_from(receiver, buffer, 2, nullptr), 2) << "a datagram cut to the count";
  io.close_socket(sender);
  io.close_socket(receiver);
}

TEST(Datagrams, BindFailureClosesTheSocket) {
  const int taken = socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  ASSERT_EQ(bind(taken, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  Netio io;
  EXPECT_EQ(io.dgram_open(bound_port(taken)), -1) << "bound without SO_REUSEADDR";
  EXPECT_STREQ(io.tcp_error(), "Netio::dgram_open(): Cannot bind socket to specified port.");
  const int next = socket(AF_INET, SOCK_DGRAM, 0);
  EXPECT_EQ(next, taken + 1) << "the failed socket was closed";
  close(next);
  close(taken);
}

}  // namespace
