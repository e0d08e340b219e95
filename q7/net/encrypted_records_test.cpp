// Tests of data over connection records: the record each payload becomes on the wire, and
// records read back whole.
#include <gtest/gtest.h>
#include <limits.h>
#include <string.h>
#include <sys/socket.h>

#include <string>
#include <vector>

#include "q7/net/netio_x.h"
#include "tests/support/loopback.h"
#include "tests/support/net_records.h"

namespace {

using q7test::keyed_record;
using q7test::Loopback;
using q7test::Peer;
using q7test::sealed;

TEST(RecordWriten, SendsTheLengthPayloadAndZerosAsWholeEncipheredBlocks) {
  const struct {
    size_t count;
    size_t wire;
  } cases[] = {{0, 0}, {1, 8}, {4, 8}, {5, 16}, {12, 16}, {13, 24}, {200000, 200008}};
  for (const auto& c : cases) {
    Netio_x io;
    std::string payload = q7test::pattern(c.count, 3);
    const std::string wire = q7test::bytes_sent_by([&](int fd) {
      EXPECT_EQ(io.writen(keyed_record(io, fd).get(), payload.data(), static_cast<int>(c.count)),
                static_cast<int>(c.count));
    });
    EXPECT_EQ(wire.size(), c.wire) << c.count;
    EXPECT_EQ(wire, c.count > 0 ? sealed(payload) : "") << c.count;
  }
}

TEST(RecordWriten, EveryRecordStartsFromTheSameIv) {
  Netio_x io;
  char first[] = "same start, then one end";
  char second[] = "same start, then another";
  const std::string wire = q7test::bytes_sent_by([&](int fd) {
    auto record = keyed_record(io, fd);
    io.writen(record.get(), first, 24);
    io.writen(record.get(), second, 24);
  });
  ASSERT_EQ(wire.size(), 64u);
  EXPECT_EQ(wire.substr(0, 8), wire.substr(32, 8)) << "equal first blocks under one key";
  EXPECT_NE(wire.substr(24, 8), wire.substr(56, 8));
}

TEST(RecordWriten, RefusesWhatCannotBeARecord) {
  Netio_x io;
  Loopback link;
  auto keyed = keyed_record(io, link.ours());
  tagSOCKETXS* bare = io.create_socketx();
  bare->sock = link.ours();
  char data[] = "data";
  EXPECT_EQ(io.writen(nullptr, data, 4), -1);
  EXPECT_EQ(io.writen(bare, data, 4), -1) << "no cipher";
  EXPECT_EQ(io.writen(keyed.get(), data, -1), -1);
  EXPECT_EQ(io.writen(keyed.get(), nullptr, 4), -1);
  EXPECT_EQ(io.writen(keyed.get(), data, INT_MAX - 10), -1) << "its record exceeds 2^31 - 1";
  EXPECT_EQ(keyed->buf_size, 32) << "and nothing was allocated for it";
  char buffer[8];
  EXPECT_EQ(io.readn(nullptr, buffer, 8), -1);
  EXPECT_EQ(io.readn(bare, buffer, 8), -1);
  EXPECT_EQ(io.readn(keyed.get(), buffer, -1), -1);
  EXPECT_EQ(io.readn(keyed.get(), nullptr, 8), -1);
  io.destroy_socketx(bare);
  ASSERT_TRUE(q7test::send_all(link.theirs(), "x"));
  EXPECT_EQ(q7test::receive_exactly(link.ours(), 1), "x") << "none of them read or wrote";
}

TEST(RecordReadn, DeliversEachPayloadUpToTheRoomAndConsumesWholeRecords) {
  const struct {
    size_t count;
    int room;
    int result;
  } cases[] = {{1, 64, 1},
               {4, 64, 4},
               {10, 3, 3},
               {13, 13, 13},
               {10, 0, 0},
               {70000, 70000, 70000},
               {300000, 300000, 300000},
               {300000, 100, 100}};
  Netio_x io;
  std::string wire;
  for (const auto& c : cases) wire += sealed(q7test::pattern(c.count, 5)) + sealed("next");
  wire += sealed("", 0);
  const q7test::Incoming link(wire);
  auto record = keyed_record(io, link.ours());
  for (const auto& c : cases) {
    std::vector<char> buffer(static_cast<size_t>(c.room) + 1, '#');
    EXPECT_EQ(io.readn(record.get(), buffer.data(), c.room), c.result) << c.count;
    EXPECT_EQ(std::string(buffer.data(), static_cast<size_t>(c.result)),
              q7test::pattern(c.count, 5).substr(0, static_cast<size_t>(c.result)));
    EXPECT_EQ(buffer[static_cast<size_t>(c.result)], '#') << "nothing beyond the payload";
    char next[8];
    EXPECT_EQ(io.readn(record.get(), next, sizeof next), 4) << "aligned on the next record";
    EXPECT_EQ(std::string(next, 4), "next");
  }
  char buffer[8];
  EXPECT_EQ(io.readn(record.get(), buffer, sizeof buffer), 0) << "a length of 0";
  EXPECT_EQ(io.readn(record.get(), buffer, sizeof buffer), 0) << "the end of the stream";
  EXPECT_EQ(record->buf_size % 8, 0);
}

TEST(RecordReadn, TwoLayersTalkBothWays) {
  Netio_x io;
  Netio_x other;
  Loopback link;
  Peer peer(link.release_theirs(), [&](int fd) {
    auto record = keyed_record(other, fd);
    std::vector<char> buffer(1 << 20);
    int got;
    while ((got = other.readn(record.get(), buffer.data(), 1 << 20)) > 0) {
      EXPECT_EQ(other.writen(record.get(), buffer.data(), got), got);
    }
  });
  auto record = keyed_record(io, link.ours());
  for (const int size : {1, 8, 65536, 1 << 20}) {
    std::string sent = q7test::pattern(static_cast<size_t>(size), 17);
    ASSERT_EQ(io.writen(record.get(), sent.data(), size), size);
    std::string echoed(static_cast<size_t>(size), '\0');
    EXPECT_EQ(io.readn(record.get(), echoed.data(), size), size);
    EXPECT_EQ(echoed, sent) << size;
  }
  shutdown(link.ours(), SHUT_WR);
}

}  // namespace
