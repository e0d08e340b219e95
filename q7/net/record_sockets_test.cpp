// Tests of the plain operations on a connection record's socket.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>

#include "q7/net/netio_x.h"
#include "tests/support/loopback.h"
#include "tests/support/net_records.h"

namespace {

TEST(RecordSockets, ThePlainOperationsActOnTheRecordsSocket) {
  Netio_x io;
  q7test::Loopback first;
  q7test::Loopback second;
  auto one = q7test::keyed_record(io, first.ours());
  auto two = q7test::keyed_record(io, second.ours());
  tagSOCKETXS* records[] = {one.get(), two.get()};
  EXPECT_EQ(io.wait_on_sockets(records, 2, 0), 0);
  q7test::send_all(second.theirs(), "x");
  EXPECT_EQ(io.wait_on_sockets(records, 2, 10000000), 2) << "bit 1 for the second record";
  EXPECT_EQ(io.wait_on_sockets(records, 0, 0), 0);
  tagSOCKETXS* with_null[] = {one.get(), nullptr};
  EXPECT_EQ(io.wait_on_sockets(with_null, 2, 0), -1);
  EXPECT_EQ(io.wait_on_sockets(nullptr, 1, 0), -1);
  EXPECT_EQ(io.wait_on_sockets(records, -1, 0), -1);

  EXPECT_EQ(io.set_rcvbuf(one.get(), 32768), 65536);
  EXPECT_EQ(io.set_sendbuf(one.get(), 32768), 65536);
  io.set_blocking(one.get(), false);
  EXPECT_TRUE(fcntl(first.ours(), F_GETFL) & O_NONBLOCK);
  io.set_blocking(nullptr, false);

  Netio_x datagrams;
  auto receiver = q7test::keyed_record(datagrams, datagrams.Netio::dgram_open(0));
  sockaddr_in bound = {};
  socklen_t length = sizeof bound;
  getsockname(receiver->sock, reinterpret_cast<sockaddr*>(&bound), &length);
  char text[] = "plain";
  EXPECT_EQ(datagrams.write_to(receiver.get(), text, 5, INADDR_LOOPBACK, ntohs(bound.sin_port)), 5);
  char buffer[8] = {};
  unsigned int address = 0;
  EXPECT_EQ(datagrams.read_from(receiver.get(), buffer, sizeof buffer, &address), 5);
  EXPECT_STREQ(buffer, "plain") << "unencrypted";
  EXPECT_EQ(address, INADDR_LOOPBACK);
  datagrams.Netio::close_socket(receiver->sock);

  for (const int result : {io.set_rcvbuf(nullptr, 0), io.set_sendbuf(nullptr, 0),
                           io.read_from(nullptr, buffer, 8, &address),
                           io.write_to(nullptr, text, 5, INADDR_LOOPBACK, 9)}) {
    EXPECT_EQ(result, -1);
  }
}

}  // namespace
