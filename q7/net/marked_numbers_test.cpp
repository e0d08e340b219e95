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

std::string bytes(std::initializer_list<unsigned char> values) {
  return std::string(values.begin(), values.end());
}

TEST(MarkedNumbers, SendTheMarkerAndTheValueInThisHostsOrder) {
  Netio io;
  const std::string wire = q7test::bytes_sent_by([&io](int fd) {
    EXPECT_TRUE(io.put_int(fd, 7));
    EXPECT_TRUE(io.put_int(fd, -2));
    EXPECT_TRUE(io.put_float(fd, 1.5f));
  });
  EXPECT_EQ(wire, bytes({1, 0, 0, 0, 7, 0, 0,    0,   1, 0, 0, 0, 0xfe, 0xff, 0xff, 0xff,  //
                         1, 0, 0, 0, 0, 0, 0xc0, 0x3f}));
}

TEST(MarkedNumbers, ReadEitherOrderAndZeroOnAShortRead) {
  Netio io;
  const std::string wire =
      bytes({0, 0, 0, 1, 0, 0, 0, 7}) +               // the other order
      bytes({1, 0, 0, 0, 0xf9, 0xff, 0xff, 0xff}) +   // this order: -7
      bytes({0x78, 0x56, 0x34, 0x12, 0, 0, 0, 99}) +  // no marker at all still swaps
      bytes({0, 0, 0, 1, 0x7f, 0x80, 0, 1}) +         // a signalling NaN, other order
      bytes({1, 0, 0, 0, 5, 0});                      // cut short
  const q7test::Incoming link(wire);
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
