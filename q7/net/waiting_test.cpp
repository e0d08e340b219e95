// Tests of waiting on sockets and of the millisecond tick.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <thread>
#include <vector>

#include "q7/net/netio.h"
#include "tests/support/child_process.h"
#include "tests/support/loopback.h"

namespace {

using q7test::Loopback;

TEST(WaitOnSockets, MasksReadableSocketsByPositionModulo32) {
  Netio io;
  std::vector<Loopback> links(34);
  std::vector<int> sockets;
  for (const auto& link : links) sockets.push_back(link.ours());
  EXPECT_EQ(io.wait_on_sockets(sockets.data(), 34, 0), 0) << "nothing readable";
  EXPECT_EQ(io.wait_on_sockets(sockets.data(), 0, 0), 0);
  for (int index : {1, 3, 20, 32}) q7test::send_all(links[index].theirs(), "x");
  EXPECT_EQ(io.wait_on_sockets(sockets.data(), 34, 10000000),
            (1 << 0) | (1 << 1) | (1 << 3) | (1 << 20))
      << "socket 32 lands on bit 0";
  EXPECT_EQ(io.wait_on_sockets(sockets.data(), 32, 250000), (1 << 1) | (1 << 3) | (1 << 20));
  EXPECT_EQ(io.wait_on_sockets(nullptr, 1, 0), -1);
  EXPECT_EQ(io.wait_on_sockets(sockets.data(), -1, 0), -1);
}

TEST(WaitOnSockets, WaitsForTheTimeOutAndRefusesDescriptorsBeyondTheSet) {
  Netio io;
  Loopback link;
  int sock = link.ours();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(io.wait_on_sockets(&sock, 1, 250000), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));

  int high = fcntl(link.ours(), F_DUPFD, 1024);
  if (high < 0) GTEST_SKIP() << "no descriptor above 1023 allowed here";
  q7test::send_all(link.theirs(), "x");
  EXPECT_EQ(io.wait_on_sockets(&high, 1, 2000000), -1) << "without waiting";
  close(high);
}

void ignore(int) {}

// The signal disposition is process-wide: the child has it to itself.
TEST(WaitOnSockets, ReportsAnInterruptionWithoutRetrying) {
  const auto result = q7test::run_in_child([] {
    struct sigaction action = {};
    action.sa_handler = ignore;
    sigaction(SIGALRM, &action, nullptr);
    Loopback link;
    int sock = link.ours();
    const itimerval alarm = {{0, 0}, {0, 100000}};
    setitimer(ITIMER_REAL, &alarm, nullptr);
    Netio io;
    Q7_CHILD_CHECK(io.wait_on_sockets(&sock, 1, -1) == -1);
    printf("%s", io.tcp_error());
  });
  EXPECT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_EQ(result.out, "Netio::wait_on_sockets(): select failed (4)");
}

TEST(TickCount, IsTheWallClockInMillisecondsCutTo32Bits) {
  Netio io;
  timeval now;
  gettimeofday(&now, nullptr);
  const auto expected =
      static_cast<uint32_t>(static_cast<uint64_t>(now.tv_sec) * 1000 + now.tv_usec / 1000);
  // Unsigned difference: it holds across the wrap of the 32 bits too.
  EXPECT_LT(io.tick_count() - expected, 1000u);
}

}  // namespace
