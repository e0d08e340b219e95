// Tests of records from a broken or hostile peer: records cut short, lengths that claim what
// never comes, and garbage. None may crash the reader or make it hold memory it was not sent.
#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "q7/net/netio_x.h"
#include "tests/support/loopback.h"
#include "tests/support/net_records.h"

namespace {

using q7test::keyed_record;
using q7test::sealed;

// What the reader may hold for `sent` bytes: twice what came, one piece ahead and its start.
constexpr int64_t kPieceAhead = 65536;
int64_t holding_bound(size_t sent) { return 2 * (static_cast<int64_t>(sent) + kPieceAhead) + 32; }

struct Reading {
  std::vector<int> results;
  std::string delivered;
  int buf_size;
};

// Reads records from a peer that sends `bytes` and closes, until the reader reports the end
// or a failure, with room for `room` bytes each.
Reading read_all(const std::string& bytes, int room) {
  Netio_x io;
  const q7test::Incoming link(bytes);
  auto record = keyed_record(io, link.ours());
  Reading reading;
  std::vector<char> buffer(static_cast<size_t>(room));
  for (int guard = 0; guard <= static_cast<int>(bytes.size()); ++guard) {
    std::fill(buffer.begin(), buffer.end(), '#');
    const int got = io.readn(record.get(), buffer.data(), room);
    reading.results.push_back(got);
    if (got <= 0) break;
    reading.delivered.append(buffer.data(), static_cast<size_t>(got));
  }
  reading.buf_size = record->buf_size;
  return reading;
}

// The stream ends k bytes into a record. Whatever arrived is deciphered, the length word
// decides the count, and the bytes that never came read as zeros.
TEST(RecordFaults, ARecordCutShortDeliversWhatCameAndZerosForTheRest) {
  const std::string sixteen = "0123456789abcdef";
  const std::string zeros(16, '\0');
  const struct {
    std::string payload;
    size_t cut;
    std::vector<int> results;
    std::string delivered;
  } cases[] = {
      {sixteen, 1, {0}, ""},
      {sixteen, 7, {0}, ""},
      {sixteen, 8, {0}, ""},
      {sixteen, 9, {16, 0}, sixteen.substr(0, 5) + zeros.substr(0, 11)},
      {sixteen, 15, {16, 0}, sixteen.substr(0, 11) + zeros.substr(0, 5)},
      {sixteen, 20, {16, 0}, sixteen},
      {sixteen, 24, {16, 0}, sixteen},
      {"ab", 5, {2, 0}, std::string("a\0", 2)},
      {"ab", 2, {2, 0}, std::string(2, '\0')},
  };
  for (const auto& c : cases) {
    const Reading reading = read_all(sealed(c.payload).substr(0, c.cut), 64);
    EXPECT_EQ(reading.results, c.results) << c.payload << " cut at " << c.cut;
    EXPECT_EQ(reading.delivered, c.delivered) << c.payload << " cut at " << c.cut;
  }
}

TEST(RecordFaults, ALengthNear2To31WithNothingBehindItEndsWithoutTheMemory) {
  const struct {
    uint32_t length;
    size_t behind;
    std::vector<int> results;
  } cases[] = {{0x7ffffff4, 0, {0}},            // its record, 2^31 - 8 bytes, would fit
               {0x7ffffff4, 3000000, {64, 0}},  // something came: the length decides
               {0x7ffffff5, 0, {-1}},           // its record would exceed 2^31 - 1
               {0xffffffff, 100, {-1}},
               {0x80000000, 0, {-1}}};
  for (const auto& c : cases) {
    std::string bytes = sealed("", c.length).substr(0, 8) + q7test::pattern(c.behind, 3);
    const Reading reading = read_all(bytes, 64);
    EXPECT_EQ(reading.results, c.results) << std::hex << c.length;
    EXPECT_LE(reading.buf_size, holding_bound(bytes.size())) << std::hex << c.length;
  }
}

// Random bytes, read as records under the test key: lengths of any size, records cut short.
TEST(RecordFaults, GarbageNeverOverrunsTheRoomNorHoldsMoreThanCame) {
  std::mt19937 random(20240611);
  for (int round = 0; round < 200; ++round) {
    std::string bytes(random() % (round < 150 ? 64 : 300000), '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    const int room = static_cast<int>(random() % 100);
    const Reading reading = read_all(bytes, room);
    for (const int result : reading.results) EXPECT_LE(result, room) << "round " << round;
    EXPECT_LE(reading.buf_size, holding_bound(bytes.size())) << "round " << round;
    EXPECT_LE(reading.results.back(), 0) << "the reader reached the end";
  }
}

}  // namespace
