// Tests of addresses as text: fixed-width fields and "host:port" split.
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <string>

#include "q7/net/netio.h"

namespace {

TEST(FormatAddress, FourRightAlignedFieldsOfThree) {
  Netio io;
  const struct {
    const char* address;
    std::string text;
  } cases[] = {{"10.0.0.1", " 10.  0.  0.  1"},
               {"192.168.1.20", "192.168.  1. 20"},
               {"255.255.255.255", "255.255.255.255"},
               {"0.0.0.0", "  0.  0.  0.  0"}};
  for (const auto& c : cases) EXPECT_EQ(io.format_address(inet_addr(c.address)), c.text);
}

TEST(SplitAddress, HostEndsAtTheFirstColonAndThePortFollowsIt) {
  Netio io;
  const std::string long_host(80, 'h');
  const struct {
    std::string text;
    std::string host;
    int port;
  } cases[] = {
      {"host:80", "host", 80},
      {"host", "host", -1},
      {"a:1:2", "a", 1},
      {":", "", 0},
      {"h:", "h", 0},
      {"h: +12x", "h", 12},
      {"h:-5", "h", -5},
      {"h:port", "h", 0},
      {"h:99999999999", "h", 2147483647},
      {"", "", -1},
      {long_host + ":80", long_host.substr(0, 71), -1},
      {long_host.substr(0, 68) + ":80", long_host.substr(0, 68), 80},
      {long_host.substr(0, 69) + ":80", long_host.substr(0, 69), 8},
  };
  for (const auto& c : cases) {
    int port = 1234;
    std::string text = c.text;
    EXPECT_EQ(io.split_address(text.data(), port), c.host) << c.text;
    EXPECT_EQ(port, c.port) << c.text;
    EXPECT_EQ(text, c.text) << "the caller's text stays";
  }
  int port = 1234;
  EXPECT_EQ(io.split_address(nullptr, port), nullptr);
  EXPECT_EQ(port, -1);
}

}  // namespace
