// Tests of bytes over a stream socket: single reads and writes, whole counts in pieces.
#include <errno.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <string>
#include <vector>

#include "q7/net/netio.h"
#include "tests/support/loopback.h"

namespace {

using q7test::Loopback;
using q7test::Peer;

TEST(Readn, DeliversWholeCountsOrWhatCameBeforeTheEnd) {
  const struct {
    size_t sent;
    int asked;
    int result;
  } cases[] = {{60, 100, 60}, {100, 100, 100}, {300000, 300000, 300000},
               {0, 10, 0},    {10, 0, 0},      {10, -5, 0}};
  for (const auto& c : cases) {
    Netio io;
    const std::string sent = q7test::pattern(c.sent, 7);
    const q7test::Incoming link(sent);
    std::vector<char> buffer(c.sent + 8, '#');
    EXPECT_EQ(io.readn(link.ours(), buffer.data(), c.asked), c.result) << c.sent << "/" << c.asked;
    EXPECT_EQ(std::string(buffer.data(), static_cast<size_t>(c.result)), sent.substr(0, c.result));
    if (c.asked <= 0) {
      EXPECT_EQ(buffer[0], '#') << "nothing read";
    }
  }
}

TEST(Writen, SendsWholeCountsInPiecesAndNothingForNone) {
  for (const size_t count : {size_t{0}, size_t{1}, size_t{65535}, size_t{65536}, size_t{1000003}}) {
    Netio io;
    std::string sent = q7test::pattern(count, 11);
    const std::string received = q7test::bytes_sent_by([&](int fd) {
      EXPECT_EQ(io.writen(fd, sent.data(), static_cast<int>(count)), static_cast<int>(count));
    });
    EXPECT_EQ(received, sent) << count;
  }
}

TEST(SingleCalls, OneReadOrWriteAndTheirFailures) {
  Netio io;
  Loopback link;
  char text[] = "abcdef";
  EXPECT_EQ(io.writeb(link.ours(), text, 6), 6);
  EXPECT_EQ(io.writeb(link.ours(), text, 0), -1) << "a write of nothing is a failure";
  EXPECT_EQ(io.writeb(link.ours(), text, -1), -1);
  EXPECT_EQ(q7test::receive_exactly(link.theirs(), 6), "abcdef");

  char buffer[16] = {};
  EXPECT_EQ(io.readb(link.ours(), buffer, -1), -1);
  ASSERT_TRUE(q7test::send_all(link.theirs(), "xyz"));
  EXPECT_EQ(io.readb(link.ours(), buffer, sizeof buffer), 3);
  EXPECT_STREQ(buffer, "xyz");

  // On a non-blocking socket without data, the restart rule decides between waiting and
  // failing with EAGAIN.
  io.set_blocking(link.ours(), false);
  io.set_restart(false);
  EXPECT_EQ(io.readb(link.ours(), buffer, 1), -1);
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_EQ(io.readn(link.ours(), buffer, 1), -1);
  io.set_restart(true);
  Peer peer(link.release_theirs(), [](int fd) { q7test::send_all(fd, "late"); });
  EXPECT_EQ(io.readn(link.ours(), buffer, 4), 4) << "restart spins until the data come";
  EXPECT_EQ(std::string(buffer, 4), "late");
  EXPECT_EQ(io.readb(link.ours(), buffer, 1), 0) << "the end of the stream";
}

}  // namespace
