// Tests of numbers behind a byte-order marker: the bytes sent and either order read.
#include <gtest/gtest.h>
#include <string.h>
#include <sys/socket.h>

#include <bit>
#include <cmath>
#include <string>

#include "q7/net/netio.h"
#include "tests/support/loopback.h"

namespace {

using q7test::Loopback;
using q7test::Peer;

std::string bytes(std::initializer_list<unsigned char> values) {
  return std::string(values.begin(), values.end());
}

TEST(MarkedNumbers, SendTheMarkerAndTheValueInThisHostsOrder) {
  Netio io;
  Loopback link;
  std::string wire;
  Peer peer(link.release_theirs(), [&](int fd) { wire = q7test::receive_to_end(fd); });
  EXPECT_TRUE(io.put_int(link.ours(), 7));
  EXPECT_TRUE(io.put_int(link.ours(), -2));
  EXPECT_TRUE(io.put_float(link.ours(), 1.5f));
  shutdown(link.ours(), SHUT_WR);
  peer.join();
  EXPECT_EQ(wire, bytes({1, 0, 0, 0, 7, 0, 0,    0,   1, 0, 0, 0, 0xfe, 0xff, 0xff, 0xff,  //
                         1, 0, 0, 0, 0, 0, 0xc0, 0x3f}));
}

TEST(MarkedNumbers, ReadEitherOrderAndZeroOnAShortRead) {
  Netio io;
  Loopback link;
  const std::string wire =
      bytes({0, 0, 0, 1, 0, 0, 0, 7}) +               // the other order
      bytes({1, 0, 0, 0, 0xf9, 0xff, 0xff, 0xff}) +   // this order: -7
      bytes({0x78, 0x56, 0x34, 0x12, 0, 0, 0, 99}) +  // no marker at all still swaps
      bytes({0, 0, 0, 1, 0x7f, 0x80, 0, 1}) +         // a signalling NaN, other order
      bytes({1, 0, 0, 0, 5, 0});                      // cut short
  Peer peer(link.release_theirs(), [&](int fd) { q7test::send_all(fd, wire); });
  int number = 0;
  EXPECT_TRUE(io.get_int(link.ours(), &number));
  EXPECT_EQ(number, 7);
  EXPECT_TRUE(io.get_int(link.ours(), &number));
  EXPECT_EQ(number, -7);
  EXPECT_TRUE(io.get_int(link.ours(), &number));
  EXPECT_EQ(number, 99);
  float real = 0;
  EXPECT_TRUE(io.get_float(link.ours(), &real));
  EXPECT_EQ(std::bit_cast<uint32_t>(real), 0x7f800001u) << "the pattern survives the reversal";
  EXPECT_FALSE(io.get_int(link.ours(), nullptr)) << "nothing is read for a null value";
  real = 3;
  EXPECT_FALSE(io.get_float(link.ours(), &real));
  EXPECT_EQ(real, 0);
}

}  // namespace
