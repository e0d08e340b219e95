// Tests of strings over connection records: their terminators, cut newlines and buffers, and
// their trace lines.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <string>
#include <vector>

#include "q7/log/message_log.h"
#include "q7/net/netio_x.h"
#include "tests/support/child_process.h"
#include "tests/support/loopback.h"
#include "tests/support/net_records.h"

namespace {

using q7test::keyed_record;
using q7test::Loopback;
using q7test::sealed;

TEST(RecordPutstring, SendsTheTextAndItsTerminatorAsOneRecord) {
  const struct {
    std::string text;
    bool strip;
    int result;
    std::string payload;
  } cases[] = {{"", false, 1, std::string(1, '\0')},
               {"abc\n\n\n", false, 7, std::string("abc\n\n\n\0", 7)},
               {"abc\n\n\n", true, 4, std::string("abc\0", 4)},
               {"\n\n", true, 1, std::string(1, '\0')},
               {"no newline", true, 11, std::string("no newline\0", 11)}};
  for (const auto& c : cases) {
    Netio_x io;
    std::string text = c.text;
    const std::string wire = q7test::bytes_sent_by([&](int fd) {
      auto record = keyed_record(io, fd);
      EXPECT_EQ(c.strip ? io.putstring_strip(record.get(), text.data())
                        : io.putstring(record.get(), text.data()),
                c.result)
          << c.text;
      EXPECT_EQ(io.putstring(record.get(), nullptr), -1);
      EXPECT_EQ(io.putstring_strip(record.get(), nullptr), -1);
    });
    EXPECT_EQ(text, c.text) << "the caller's text stays";
    EXPECT_EQ(wire, sealed(c.payload)) << c.text;
  }
}

TEST(RecordPutstring, KeepsItsScratchCopyForTheNextText) {
  Netio_x io;
  char longer[] = "a longer text\n";
  char shorter[] = "short";
  q7test::bytes_sent_by([&](int fd) {
    auto record = keyed_record(io, fd);
    io.putstring_strip(record.get(), longer);
    char* scratch = record->text_buf;
    EXPECT_EQ(record->text_size, 15);
    io.putstring_strip(record.get(), shorter);
    EXPECT_EQ(record->text_buf, scratch);
    EXPECT_EQ(record->text_size, 15);
  });
}

TEST(RecordGetstring, AddsATerminatorWhenThePayloadLacksOneAndCutsANewline) {
  const struct {
    std::string payload;
    int size;
    bool strip;
    int result;
    std::string text;
  } cases[] = {
      {std::string(1, '\0'), 80, false, 1, ""},
      {std::string(20, 'x') + '\0', 10, false, 9, std::string(8, 'x')},
      {"hello world", 80, false, 12, "hello world"},
      {std::string("line\n\0", 6), 80, false, 6, "line\n"},
      {std::string("line\n\0", 6), 80, true, 5, "line"},
      {std::string("two\n\n\0", 6), 80, true, 5, "two\n"},
      {"\n", 80, true, 1, ""},
      {"abc", 3, false, 2, "a"},
  };
  for (const auto& c : cases) {
    Netio_x io;
    const q7test::Incoming link(sealed(c.payload));
    auto record = keyed_record(io, link.ours());
    std::vector<char> buffer(static_cast<size_t>(c.size), '#');
    EXPECT_EQ(c.strip ? io.getstring_strip(record.get(), buffer.data(), c.size)
                      : io.getstring(record.get(), buffer.data(), c.size),
              c.result)
        << c.payload;
    EXPECT_EQ(buffer.data(), c.text) << c.payload;
    EXPECT_EQ(io.getstring(record.get(), buffer.data(), c.size), 0) << "the end of the stream";
    EXPECT_EQ(io.getstring_strip(record.get(), buffer.data(), c.size), 0);
    EXPECT_STREQ(buffer.data(), "") << "strip leaves an empty string at the end";
  }
  Netio_x io;
  char buffer[2] = "#";
  EXPECT_EQ(io.getstring(nullptr, buffer, 80), -1);
  EXPECT_EQ(io.getstring(nullptr, buffer, 2), -1) << "no room for a payload";
  EXPECT_STREQ(buffer, "#");
  EXPECT_EQ(io.getstring_strip(nullptr, buffer, 2), -1);
  EXPECT_STREQ(buffer, "");
}

// The log is process-wide: the child has it to itself.
TEST(RecordStringTrace, ReportsTheStringsSentAndReceivedAtTraceLevel) {
  const auto result = q7test::run_in_child([] {
    q7_notify_setlevel(5);
    Netio_x io;
    io.set_trace(true);
    Loopback link;
    auto record = keyed_record(io, link.ours());
    char text[] = "sent\n\n";
    io.putstring(record.get(), text);
    io.putstring_strip(record.get(), text);
    q7test::send_all(link.theirs(), sealed(std::string("got\n\0", 5)));
    char buffer[16];
    io.getstring_strip(record.get(), buffer, sizeof buffer);
    io.Netio::set_trace(true);
    io.set_trace(false);
    io.putstring(record.get(), text);
  });
  EXPECT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_THAT(result.err,
              testing::MatchesRegex("[^\n]* TRACE: Netio_x::putstring\\(\\):\"sent\n"
                                    "\n\"\n"
                                    "[^\n]* TRACE: Netio_x::putstring_strip\\(\\):\"sent\"\n"
                                    "[^\n]* TRACE: Netio_x::getstring\\(\\):\"got\n\"\n"
                                    "[^\n]* TRACE: Netio_x::getstring_strip\\(\\):\"got\"\n"));
}

}  // namespace
