// Tests of lines over a stream socket: reading them byte by byte, cutting and sending them,
// and their trace lines.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "q7/log/message_log.h"
#include "q7/net/netio.h"
#include "tests/support/child_process.h"
#include "tests/support/loopback.h"

namespace {

using q7test::Loopback;

struct Line {
  int result;
  std::string stored;
};

// The lines getstring (or getstring_strip) reads from `input` with buffers of `size`, until
// it returns 0 or less; the last entry is that result. The buffer starts as "#".
std::vector<Line> lines(const std::string& input, int size, bool strip) {
  Netio io;
  const q7test::Incoming link(input);
  std::vector<Line> found;
  for (int guard = 0; guard <= static_cast<int>(input.size()) + 1; ++guard) {
    std::vector<char> buffer(static_cast<size_t>(size) + 2, '\0');
    buffer[0] = '#';
    const int result = strip ? io.getstring_strip(link.ours(), buffer.data(), size)
                             : io.getstring(link.ours(), buffer.data(), size);
    found.push_back({result, buffer.data()});
    if (result <= 0 || size <= 1) break;
  }
  return found;
}

bool operator==(const Line& a, const Line& b) {
  return a.result == b.result && a.stored == b.stored;
}

void PrintTo(const Line& line, std::ostream* out) { *out << line.result << ":" << line.stored; }

TEST(Getstring, CountsNewlinesTerminatorsAndFullBuffers) {
  const struct {
    std::string input;
    int size;
    bool strip;
    std::vector<Line> lines;
  } cases[] = {
      {"hello\n", 80, false, {{6, "hello\n"}, {0, "#"}}},
      {"hello\n", 80, true, {{5, "hello"}, {0, "#"}}},
      {"abc", 80, false, {{4, "abc"}, {0, "#"}}},
      {"abc", 80, true, {{4, "abc"}, {0, "#"}}},
      {"abcdef\n", 4, false, {{4, "abc"}, {4, "def"}, {1, "\n"}, {0, "#"}}},
      {"ab\ncd\n\n", 80, true, {{2, "ab"}, {2, "cd"}, {0, ""}}},
      {"abc\n", 1, false, {{1, ""}}},
      {"", 80, false, {{0, "#"}}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(lines(c.input, c.size, c.strip), c.lines)
        << "input=" << c.input << " size=" << c.size << " strip=" << c.strip;
  }
}

TEST(Getstring, LeavesTheBytesBehindTheNewlineToTheNextReader) {
  Netio io;
  const q7test::Incoming link("key line\nRECORD");
  char line[80];
  EXPECT_EQ(io.getstring_strip(link.ours(), line, sizeof line), 8);
  char rest[6];
  EXPECT_EQ(io.readn(link.ours(), rest, 6), 6);
  EXPECT_EQ(std::string(rest, 6), "RECORD");
  EXPECT_EQ(io.getstring(link.ours(), nullptr, 80), -1);
  EXPECT_EQ(io.getstring(link.ours(), line, 0), -1);
}

TEST(Putstring, SendsTextWithoutTerminatorAndCutsTrailingNewlinesToOne) {
  const struct {
    std::string text;
    bool strip;
    int result;
    std::string wire;
  } cases[] = {{"abc\n\n", true, 4, "abc\n"},    {"abc", true, 3, "abc"},
               {"\n\n\n", true, 1, "\n"},        {"", true, 0, ""},
               {"abc\n\n", false, 5, "abc\n\n"}, {"", false, 0, ""}};
  for (const auto& c : cases) {
    Netio io;
    std::string text = c.text;
    const std::string wire = q7test::bytes_sent_by([&](int fd) {
      EXPECT_EQ(c.strip ? io.putstring_strip(fd, text.data()) : io.putstring(fd, text.data()),
                c.result)
          << c.text;
      EXPECT_EQ(io.putstring(fd, nullptr), -1);
      EXPECT_EQ(io.putstring_strip(fd, nullptr), -1);
    });
    EXPECT_EQ(text, c.text) << "the caller's text stays as it was";
    EXPECT_EQ(wire, c.wire) << c.text;
  }
}

// The log and standard error are process-wide: the child has them to itself.
TEST(LineTrace, ReportsLinesAtTraceLevelAndReadFailuresOnStandardError) {
  const auto result = q7test::run_in_child([] {
    q7_notify_setlevel(5);
    Netio io;
    io.set_trace(true);
    Loopback link;
    char text[] = "out\n\n";
    io.putstring(-1, text);
    io.putstring_strip(link.ours(), text);
    q7test::send_all(link.theirs(), "in\n");
    char line[16];
    io.getstring_strip(link.ours(), line, sizeof line);
    io.set_trace(false);
    io.putstring(link.ours(), text);
    const int listening = io.tcp_server_open(0);
    io.getstring(listening, line, sizeof line);
  });
  EXPECT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_THAT(result.err,
              testing::MatchesRegex("[^\n]* TRACE: Netio::putstring\\(\\):\"out\n"
                                    "\n\"\n"
                                    "[^\n]* TRACE: Netio::putstring_strip\\(\\):\"out\n\n\"\n"
                                    "[^\n]* TRACE: Netio::getstring\\(\\):\"in\n\"\n"
                                    "Error code = 107\n"));
}

}  // namespace
