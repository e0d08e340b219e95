// Tests of TCP connections: opening clients and servers, accepting, options and the prologue
// every socket operation shares.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

#include "q7/net/netio.h"
#include "tests/support/loopback.h"

namespace {

using q7test::Listener;

int bound_port(int sock) {
  sockaddr_in address = {};
  socklen_t length = sizeof address;
  getsockname(sock, reinterpret_cast<sockaddr*>(&address), &length);
  return ntohs(address.sin_port);
}

// A port where nothing listens: one the kernel gave a listener that is gone again.
int closed_port() { return Listener().port(); }

TEST(TcpClientOpen, ConnectsByAddressNameOrServiceAndRecordsTheLookups) {
  Netio io;
  const Listener listener;
  const int port = listener.port();
  char numeric[] = "127.0.0.1";
  char name[] = "localhost";
  char http[] = "http";
  const struct {
    char* host;
    char* service;
    bool named_host;
  } cases[] = {{numeric, nullptr, false}, {name, nullptr, true}, {numeric, http, false}};
  for (const auto& c : cases) {
    const int sock = io.tcp_client_open(c.host, c.service, port, 4096);
    ASSERT_GE(sock, 0) << c.host << " " << io.tcp_error();
    const int accepted = listener.accept_one();
    EXPECT_GE(accepted, 0) << "a port above 0 wins over the service's";
    EXPECT_EQ(ntohs(io.server_addr.sin_port), port);
    EXPECT_EQ(io.server_addr.sin_addr.s_addr, htonl(INADDR_LOOPBACK));
    EXPECT_EQ(io.host_entry.h_name != nullptr, c.named_host) << c.host;
    close(accepted);
    EXPECT_EQ(io.close_socket(sock), 0);
  }
  EXPECT_EQ(io.service_entry.s_port, htons(80));
  EXPECT_STREQ(io.service_entry.s_name, "http");
}

TEST(TcpClientOpen, FailuresLeaveTheirTextAndNoSocket) {
  Netio io;
  char host[] = "127.0.0.1";
  char unknown_host[] = "no-such-host.invalid";
  char unknown_service[] = "no-such-service";
  const int refused = closed_port();
  const struct {
    char* host;
    char* service;
    int port;
    std::string text;
  } cases[] = {
      {host, unknown_service, 80, "Netio::tcp_client_open(): Unknown service: no-such-service/tcp"},
      {host, nullptr, 0, "Netio::tcp_client_open(): Must specify either service or port."},
      {host, nullptr, -1, "Netio::tcp_client_open(): Must specify either service or port."},
      {unknown_host, nullptr, 80,
       "Netio::tcp_client_open(): Host no-such-host.invalid unknown or invalid."},
      {nullptr, nullptr, 80, "Netio::tcp_client_open(): Host (null) unknown or invalid."},
      {host, nullptr, refused, "Netio::tcp_client_open(): Cannot connect to server."},
  };
  const int before = fcntl(0, F_DUPFD, 0);
  close(before);
  for (const auto& c : cases) {
    EXPECT_EQ(io.tcp_client_open(c.host, c.service, c.port, 0), -1) << c.text;
    EXPECT_EQ(io.tcp_error(), c.text);
  }
  const int after = fcntl(0, F_DUPFD, 0);
  close(after);
  EXPECT_EQ(after, before) << "a failed open leaves no descriptor behind";
}

// The reserved-port client must reach a service's own port, so this test binds one that
// /etc/services names rather than one the kernel picks.
TEST(TcpClientOpen, NegativePortConnectsFromAReservedPortToTheServicePort) {
  if (geteuid() != 0) GTEST_SKIP() << "binding a reserved port needs root";
  Netio io;
  char service[] = "tcpmux";
  const servent* entry = getservbyname(service, "tcp");
  if (entry == nullptr) GTEST_SKIP() << "no tcpmux in /etc/services";
  const int server = io.tcp_server_open(ntohs(static_cast<uint16_t>(entry->s_port)));
  if (server < 0) GTEST_SKIP() << "the tcpmux port is taken";
  ASSERT_EQ(listen(server, 1), 0);
  char host[] = "127.0.0.1";
  const int sock = io.tcp_client_open(host, service, -1, 0);
  ASSERT_GE(sock, 0) << io.tcp_error();
  const int accepted = io.tcp_server_accept(server);
  ASSERT_GE(accepted, 0) << io.tcp_error();
  const int local_port = bound_port(sock);
  EXPECT_GE(local_port, 512);
  EXPECT_LE(local_port, 1023);
  EXPECT_EQ(ntohs(io.peer_addr.sin_port), local_port);
  io.close_socket(accepted);
  io.close_socket(sock);
  io.close_socket(server);
}

TEST(TcpServer, BindsAnyAddressAcceptsAndRecordsThePeer) {
  Netio io;
  EXPECT_EQ(io.peer_addr_len, 0);
  const int server = io.tcp_server_open(0);
  ASSERT_GE(server, 0) << io.tcp_error();
  EXPECT_EQ(io.local_addr.sin_addr.s_addr, htonl(INADDR_ANY));
  int reuse = 0;
  socklen_t length = sizeof reuse;
  getsockopt(server, SOL_SOCKET, SO_REUSEADDR, &reuse, &length);
  EXPECT_EQ(reuse, 1);
  EXPECT_EQ(io.tcp_server_accept(server), -1) << "not listening yet";
  EXPECT_STREQ(io.tcp_error(), "Netio::tcp_server_accept(): Accept failed.");
  ASSERT_EQ(listen(server, 1), 0);

  Netio client_side;
  char host[] = "127.0.0.1";
  const int client = client_side.tcp_client_open(host, nullptr, bound_port(server), 0);
  ASSERT_GE(client, 0) << client_side.tcp_error();
  const int accepted = io.tcp_server_accept(server);
  ASSERT_GE(accepted, 0) << io.tcp_error();
  EXPECT_EQ(io.peer_addr_len, 16);
  EXPECT_EQ(ntohs(io.peer_addr.sin_port), bound_port(client));
  EXPECT_EQ(io.peer_addr.sin_addr.s_addr, htonl(INADDR_LOOPBACK));

  EXPECT_EQ(io.tcp_server_open(bound_port(server)), -1) << "the port has a listener";
  EXPECT_STREQ(io.tcp_error(), "Netio::tcp_server_open(): Cannot bind socket to specified port.");
  for (int sock : {accepted, client, server}) EXPECT_EQ(io.close_socket(sock), 0);
}

TEST(SocketOptions, BlockingModeAndBufferSizes) {
  Netio io;
  const int sock = io.tcp_server_open(0);
  io.set_blocking(sock, false);
  EXPECT_TRUE(fcntl(sock, F_GETFL) & O_NONBLOCK);
  io.set_blocking(sock, true);
  EXPECT_FALSE(fcntl(sock, F_GETFL) & O_NONBLOCK);

  const int before = io.set_rcvbuf(sock, 0);
  EXPECT_GT(before, 0) << "0 only reads";
  EXPECT_EQ(io.set_rcvbuf(sock, 0), before);
  EXPECT_EQ(io.set_rcvbuf(sock, 65536), 2 * 65536) << "Linux doubles what was asked";
  EXPECT_EQ(io.set_sendbuf(sock, 32768), 2 * 32768);
  io.close_socket(sock);
  EXPECT_EQ(io.set_rcvbuf(sock, 0), -1) << "closed";
}

// Every socket operation fails at once with -1 (or false) for the socket -1, and with the
// ready check's text when the layer is not ready; the lookups and the clock need neither.
TEST(Prologue, EveryOperationRefusesTheSocketMinusOneAndAnUnreadyLayer) {
  for (const bool ready : {true, false}) {
    Netio io;
    io.net_ready = ready;
    char buffer[16] = "untouched";
    char text[] = "text";
    int number = 5;
    float real = 5;
    unsigned int address = 0;
    int sockets[] = {-1};
    const int results[] = {io.readb(-1, buffer, 4),
                           io.readn(-1, buffer, 4),
                           io.writeb(-1, text, 4),
                           io.writen(-1, text, 4),
                           io.read_from(-1, buffer, 4, &address),
                           io.write_to(-1, text, 4, 0x7f000001, 9),
                           io.getstring(-1, buffer, 16),
                           io.getstring_strip(-1, buffer, 16),
                           io.putstring(-1, text),
                           io.putstring_strip(-1, text),
                           io.get_int(-1, &number) ? 1 : -1,
                           io.get_float(-1, &real) ? 1 : -1,
                           io.put_int(-1, 1) ? 1 : -1,
                           io.put_float(-1, 1) ? 1 : -1,
                           io.set_rcvbuf(-1, 0),
                           io.set_sendbuf(-1, 0),
                           io.wait_on_sockets(sockets, 1, 0),
                           io.close_socket(-1)};
    for (size_t i = 0; i < std::size(results); ++i) EXPECT_EQ(results[i], -1) << "operation " << i;
    EXPECT_STREQ(buffer, "untouched");
    EXPECT_EQ(number, 0);
    EXPECT_EQ(real, 0);
    EXPECT_EQ(io.init_check(), ready);
    const std::string unready = "Netio: Network subsystem initialization failed!";
    EXPECT_EQ(io.tcp_error(), ready ? "" : unready);
    if (ready) continue;
    char host[] = "127.0.0.1";
    EXPECT_EQ(io.tcp_client_open(host, nullptr, 80, 0), -1);
    EXPECT_EQ(io.tcp_server_open(0), -1);
    EXPECT_EQ(io.dgram_open(0), -1);
    EXPECT_EQ(io.tcp_error(), unready);
  }
}

}  // namespace
