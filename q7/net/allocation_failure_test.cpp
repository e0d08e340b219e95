// Allocation failures in the socket layers, at every failure point: records are made whole
// or not at all, a failed growth leaves the record safe to use and close, and every record
// operation gives its documented result. The shim counts every thread's allocations, so
// the scenarios keep to one thread and a socket pair that holds what they send.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

#include "q7/net/netio_x.h"
#include "tests/support/alloc_failure.h"
#include "tests/support/loopback.h"
#include "tests/support/net_records.h"

namespace {

using q7test::FailureRun;
using q7test::for_each_failure_point;
using q7test::keyed_record;

constexpr int kPayloadBytes = 40000;  // enough blocks for the cipher's heap tables too

struct SocketPair {
  int ends[2] = {-1, -1};
  SocketPair() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0); }
  ~SocketPair() {
    close(ends[0]);
    close(ends[1]);
  }
  bool readable() const {
    pollfd waiting = {ends[1], POLLIN, 0};
    return poll(&waiting, 1, 0) == 1;
  }
};

// Two keyed records on the two ends of a socket pair.
struct KeyedPair {
  Netio_x io;
  SocketPair pair;
  q7test::RecordPtr sender = keyed_record(io, pair.ends[0]);
  q7test::RecordPtr receiver = keyed_record(io, pair.ends[1]);

  // A record's round trip through the pair, with memory to spare.
  void expect_round_trip() {
    std::string payload = q7test::pattern(3000, 3);
    ASSERT_EQ(io.writen(sender.get(), payload.data(), 3000), 3000);
    std::string received(3000, '\0');
    EXPECT_EQ(io.readn(receiver.get(), received.data(), 3000), 3000);
    EXPECT_EQ(received, payload);
  }
};

TEST(AllocationFailure, RecordsAreMadeWholeOrNotAtAll) {
  Netio_x io;
  const int points = for_each_failure_point("create_socketx", [&](FailureRun& run) {
    tagSOCKETXS* record = run.armed([&] { return io.create_socketx(); });
    EXPECT_TRUE(record != nullptr || run.injected());
    if (record == nullptr) return;
    EXPECT_EQ(record->buf_size, 32);
    EXPECT_TRUE(record->plain_buf != nullptr && record->cipher_buf != nullptr);
    io.destroy_socketx(record);
  });
  EXPECT_GE(points, 3);
}

TEST(AllocationFailure, AFailedGrowthLeavesTheRecordSafeToUseAndClose) {
  const int points = for_each_failure_point("grow_socket_buffers", [](FailureRun& run) {
    KeyedPair keyed;
    auto& [io, pair, sender, receiver] = keyed;
    const bool grown = run.armed([&] { return io.grow_socket_buffers(sender.get(), 4000); });
    EXPECT_TRUE(grown || run.injected());
    EXPECT_EQ(sender->buf_size, grown ? 4000 : 32) << "the size both buffers hold";
    keyed.expect_round_trip();
  });
  EXPECT_GE(points, 2);
}

TEST(AllocationFailure, RecordWritesSendTheWholeRecordOrNothing) {
  const int points = for_each_failure_point("record writen", [](FailureRun& run) {
    KeyedPair keyed;
    auto& [io, pair, sender, receiver] = keyed;
    std::string payload = q7test::pattern(kPayloadBytes, 5);
    const int sent =
        run.armed([&] { return io.writen(sender.get(), payload.data(), kPayloadBytes); });
    EXPECT_TRUE(sent == kPayloadBytes || (sent == -1 && run.injected()));
    if (sent == -1) {
      EXPECT_FALSE(pair.readable()) << "nothing of a record that could not be built";
    } else {
      std::string received(kPayloadBytes, '\0');
      EXPECT_EQ(io.readn(receiver.get(), received.data(), kPayloadBytes), kPayloadBytes);
      EXPECT_EQ(received, payload);
    }
    keyed.expect_round_trip();
  });
  EXPECT_GE(points, 2);
}

TEST(AllocationFailure, RecordReadsDeliverTheRecordOrFail) {
  const std::string payload = q7test::pattern(kPayloadBytes, 7);
  const std::string wire = q7test::sealed(payload);
  const int points = for_each_failure_point("record readn", [&](FailureRun& run) {
    Netio_x io;
    SocketPair pair;
    auto receiver = keyed_record(io, pair.ends[1]);
    ASSERT_TRUE(q7test::send_all(pair.ends[0], wire));
    std::string received(kPayloadBytes, '\0');
    const int got =
        run.armed([&] { return io.readn(receiver.get(), received.data(), kPayloadBytes); });
    EXPECT_TRUE(got == kPayloadBytes || (got == -1 && run.injected()));
    if (got == kPayloadBytes) {
      EXPECT_EQ(received, payload);
    }
    EXPECT_EQ(receiver->buf_size % 8, 0);
  });
  EXPECT_GE(points, 2);
}

TEST(AllocationFailure, StringsAndWaitsFailWithMinusOne) {
  int points = for_each_failure_point("putstring_strip", [](FailureRun& run) {
    KeyedPair keyed;
    auto& [io, pair, sender, receiver] = keyed;
    char text[] = "a line\n\n";
    const int sent = run.armed([&] { return io.putstring_strip(sender.get(), text); });
    EXPECT_TRUE(sent == 7 || (sent == -1 && run.injected()));
    if (sent == -1) {
      EXPECT_FALSE(pair.readable());
      EXPECT_TRUE(sender->text_size == 0 || sender->text_size >= 9);
      ASSERT_EQ(io.putstring_strip(sender.get(), text), 7) << "the next call grows it";
    }
    char line[16];
    EXPECT_EQ(io.getstring(receiver.get(), line, sizeof line), 7);
    EXPECT_STREQ(line, "a line");
  });
  EXPECT_GE(points, 1);

  points = for_each_failure_point("record wait_on_sockets", [](FailureRun& run) {
    KeyedPair keyed;
    auto& [io, pair, first, second] = keyed;
    tagSOCKETXS* records[] = {first.get(), second.get()};
    ASSERT_TRUE(q7test::send_all(pair.ends[0], "x"));
    const int ready = run.armed([&] { return io.wait_on_sockets(records, 2, 0); });
    EXPECT_TRUE(ready == 2 || (ready == -1 && run.injected()));
  });
  EXPECT_GE(points, 1);
}

}  // namespace
