// Tests against a peer written in Python from the wire formats alone
// (tests/peers/netio_peer.py): it sends bytes the library did not produce and checks, byte
// for byte, what the library sends back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <thread>

#include "q7/cipher/gost.h"
#include "q7/internal/unique_file.h"
#include "q7/net/netio_x.h"
#include "tests/support/child_process.h"
#include "tests/support/loopback.h"
#include "tests/support/net_records.h"

namespace {

using q7::internal::UniqueFd;
using q7test::keyed_record;
using q7test::Listener;
using q7test::pattern;

bool have_python3() {
  const char* path = getenv("PATH");
  std::string dirs = path != nullptr ? path : "";
  for (size_t start = 0; start <= dirs.size();) {
    const size_t end = std::min(dirs.find(':', start), dirs.size());
    const std::string candidate = dirs.substr(start, end - start) + "/python3";
    if (access(candidate.c_str(), X_OK) == 0) return true;
    start = end + 1;
  }
  return false;
}

#define SKIP_WITHOUT_PYTHON3() \
  if (!have_python3()) GTEST_SKIP() << "python3 is missing: the wire peer cannot run"

std::string key_hex() {
  std::string hex;
  char word[9];
  for (unsigned int value : q7test::kRecordKey) {
    snprintf(word, sizeof word, "%08x", value);
    hex += word;
  }
  return hex;
}

// The peer script playing `scenario` against `listener`, in a child process run from a
// thread of its own.
class PythonPeer {
 public:
  PythonPeer(const Listener& listener, const char* scenario)
      : thread_([this, port = std::to_string(listener.port()), scenario] {
          result_ = q7test::run_in_child([&] {
            const std::string key = key_hex();
            execlp("python3", "python3", Q7_NETIO_PEER, port.c_str(), Q7_ROWS_FILE, key.c_str(),
                   scenario, nullptr);
            _exit(127);
          });
        }) {}
  ~PythonPeer() { finish(); }

  const q7test::ChildResult& finish() {
    if (thread_.joinable()) thread_.join();
    return result_;
  }

 private:
  q7test::ChildResult result_;
  std::thread thread_;
};

// Our side of the "plain" scenario.
void plain_conversation(int sock) {
  Netio io;
  char line[80];
  EXPECT_EQ(io.getstring_strip(sock, line, sizeof line), 5);
  EXPECT_STREQ(line, "hello");
  EXPECT_EQ(io.readn(sock, line, 5), 5);
  EXPECT_EQ(std::string(line, 5), "WORLD");
  EXPECT_EQ(io.getstring(sock, line, sizeof line), 4);
  EXPECT_STREQ(line, "abc\n");
  int number = 0;
  float real = 0;
  EXPECT_TRUE(io.get_int(sock, &number));
  EXPECT_EQ(number, 7);
  EXPECT_TRUE(io.get_float(sock, &real));
  EXPECT_EQ(real, -2.5f);
  EXPECT_TRUE(io.get_float(sock, &real));
  EXPECT_EQ(real, 0.75f);
  EXPECT_TRUE(io.get_int(sock, &number));
  EXPECT_EQ(number, 99);

  char stripped[] = "abc\n\n\n";
  char plain[] = "plain";
  EXPECT_EQ(io.putstring_strip(sock, stripped), 4);
  EXPECT_EQ(io.putstring(sock, plain), 5);
  EXPECT_TRUE(io.put_int(sock, 7));
  EXPECT_TRUE(io.put_int(sock, -2));
  EXPECT_TRUE(io.put_float(sock, 1.5f));
  std::string bulk = pattern(200000, 7);
  EXPECT_EQ(io.writen(sock, bulk.data(), 200000), 200000);
  EXPECT_EQ(io.readn(sock, bulk.data(), 200000), 200000);
  EXPECT_EQ(bulk, pattern(200000, 13));
  EXPECT_EQ(io.getstring(sock, line, sizeof line), 5);
  EXPECT_STREQ(line, "tail");
  EXPECT_EQ(io.getstring(sock, line, sizeof line), 0);
}

// Our side of the "records" scenario.
void record_conversation(int sock) {
  Netio_x io;
  auto record = keyed_record(io, sock);
  std::string buffer(80000, '\0');
  for (const size_t size : {1, 4, 5, 12, 13, 70000}) {
    EXPECT_EQ(io.readn(record.get(), buffer.data(), 80000), static_cast<int>(size));
    EXPECT_EQ(buffer.substr(0, size), pattern(size, 3)) << size;
  }
  EXPECT_EQ(io.readn(record.get(), buffer.data(), 3), 3);
  EXPECT_EQ(buffer.substr(0, 3), "012");
  EXPECT_EQ(io.readn(record.get(), buffer.data(), 80000), 4);
  EXPECT_EQ(buffer.substr(0, 4), "next");
  EXPECT_EQ(io.getstring(record.get(), buffer.data(), 80000), 12);
  EXPECT_STREQ(buffer.c_str(), "hello world");
  EXPECT_EQ(io.getstring_strip(record.get(), buffer.data(), 80000), 4);
  EXPECT_STREQ(buffer.c_str(), "abc");

  for (const int size : {1, 4, 5, 12, 13, 70000}) {
    std::string payload = pattern(static_cast<size_t>(size), 5);
    EXPECT_EQ(io.writen(record.get(), payload.data(), size), size);
  }
  char hi[] = "hi";
  char xy[] = "xy\n\n\n";
  char empty[] = "";
  EXPECT_EQ(io.putstring(record.get(), hi), 3);
  EXPECT_EQ(io.putstring_strip(record.get(), xy), 3);
  EXPECT_EQ(io.putstring(record.get(), empty), 1);
  EXPECT_EQ(io.readn(record.get(), buffer.data(), 80000), 0) << "2^31 - 12 claimed, none sent";
  EXPECT_LE(record->buf_size, 2 * 80000 + 2 * 65536 + 32);
}

// Plays the peer's `scenario` against `converse`, which gets our end of the connection; the
// peer must find every byte as it expects.
void converse_with_peer(const char* scenario, const std::function<void(int sock)>& converse) {
  const Listener listener;
  PythonPeer peer(listener, scenario);
  {
    UniqueFd link(listener.accept_one());
    ASSERT_TRUE(link) << "the peer did not connect";
    converse(link.get());
  }
  const auto& result = peer.finish();
  EXPECT_TRUE(result.exited_with(0)) << describe(result);
}

TEST(WirePeer, PlainLinesNumbersAndBytes) {
  SKIP_WITHOUT_PYTHON3();
  converse_with_peer("plain", plain_conversation);
}

TEST(WirePeer, EncryptedRecordsBothWays) {
  SKIP_WITHOUT_PYTHON3();
  converse_with_peer("records", record_conversation);
}

// The standard output is process-wide: the reading side runs in a child.
TEST(WirePeer, TheDiagnosticShowsTheLengthOfARecordFromTheOtherByteOrder) {
  SKIP_WITHOUT_PYTHON3();
  converse_with_peer("other-order", [](int sock) {
    const auto reader = q7test::run_in_child([sock] {
      Netio_x io;
      auto record = keyed_record(io, sock);
      char buffer[64];
      (void)io.readn(record.get(), buffer, sizeof buffer);
      // The diagnostic takes the cipher's IV as it stands; readn left the chain's there.
      record->cipher->set_iv(q7test::kRecordIvWords);
      unsigned int block[2];
      memcpy(block, record->cipher_buf, sizeof block);
      io.decrypt_try_exhaustive(record.get());
      unsigned int key[8];
      unsigned int iv[2];
      record->cipher->get_key(key);
      record->cipher->get_iv(iv);
      Q7_CHILD_CHECK(memcmp(key, q7test::kRecordKey, sizeof key) == 0);
      Q7_CHILD_CHECK(memcmp(iv, q7test::kRecordIvWords, sizeof iv) == 0);
      Q7_CHILD_CHECK(memcmp(block, record->cipher_buf, sizeof block) == 0);
      io.decrypt_try_exhaustive(nullptr);
    });
    EXPECT_TRUE(reader.exited_with(0)) << describe(reader);
    std::string lines = "\\+{9}\n";
    for (const char* key : {"0", "1"}) {
      for (const char* iv : {"0", "1"}) {
        for (const char* crypt : {"0", "1"}) {
          for (const char* plain : {"0", "1"}) {
            lines += std::string("sw_key:") + key + " sw_iv:" + iv + " sw_crypt:" + crypt +
                     " sw_plain:" + plain + " result:-?[0-9]+\n";
          }
        }
      }
    }
    lines += "\\+{9}\n";
    EXPECT_THAT(reader.out, testing::MatchesRegex(lines));
    EXPECT_THAT(reader.out,
                testing::HasSubstr("sw_key:0 sw_iv:0 sw_crypt:1 sw_plain:0 result:20\n"))
        << "the peer's words reversed give its length";
    EXPECT_THAT(reader.out,
                testing::HasSubstr("sw_key:0 sw_iv:0 sw_crypt:1 sw_plain:1 result:335544320\n"))
        << "and reversed once more, 0x14000000";
  });
}

}  // namespace
