// Tests of Q7Star's file form: the layout byte by byte, reading back, and damaged files.
#include <gtest/gtest.h>
#include <stdint.h>
#include <stdio.h>

#include <initializer_list>
#include <memory>
#include <string>

#include "q7/text/string_table.h"
#include "tests/support/temp_dir.h"

namespace {

char* text(const std::string& s) { return const_cast<char*>(s.c_str()); }

// The 32-bit fields `values` as a file holds them.
std::string fields(std::initializer_list<int32_t> values) {
  std::string bytes;
  for (int32_t value : values) bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
  return bytes;
}

class StringTableFile : public testing::Test {
 protected:
  // The table read from `bytes` in a file, or through a pipe, which has no size to check the
  // fields against.
  std::unique_ptr<Q7Star> read(const std::string& bytes, bool through_pipe = false) {
    EXPECT_TRUE(q7test::write_file(path, bytes));
    if (!through_pipe) return std::unique_ptr<Q7Star>(Q7Star().fileread(text(path)));
    FILE* cat = popen(("cat " + path).c_str(), "r");
    // Opening the pipe by name never waits for a writer; closing it stops cat.
    std::unique_ptr<Q7Star> table(
        Q7Star().fileread(text("/proc/self/fd/" + std::to_string(fileno(cat)))));
    pclose(cat);
    return table;
  }

  q7test::TempDir dir;
  std::string path = dir.file("table.q7s");
};

// Writing stamps the table with the time, shown as ctime shows it without the line feed. Every
// cut of the file fails the read.
TEST_F(StringTableFile, LayoutByteByByteTheStampAndEveryCut) {
  Q7Star table(2);
  table.add_client(text("ab"), text("R1"));
  table.add_client(text(""), text("R2"));
  table.timestamp = 1;
  const time_t before = time(nullptr);
  ASSERT_TRUE(table.filewrite(text(path)));
  EXPECT_GE(table.get_timestamp(), before);
  const std::string whole = q7test::read_file(path);
  EXPECT_EQ(whole, fields({static_cast<int32_t>(table.get_timestamp()), 2, 2, 2}) + "ab" +
                       fields({0}) + "R1R2");
  char expected[32];
  EXPECT_EQ(table.get_timestamp_string(), std::string(ctime_r(&table.timestamp, expected), 24));
  for (size_t cut = 0; cut < whole.size(); ++cut)
    EXPECT_EQ(read(whole.substr(0, cut)), nullptr) << "cut at byte " << cut;
}

// Enough entries, and a text long enough, to straddle the blocks the file moves in.
TEST_F(StringTableFile, ReadsBackTextsRecordsAndTimestampFromFilesAndPipes) {
  std::vector<std::string> texts = {"", "\xc3\xa9", std::string(70000, 'L')};
  for (int i = 0; i < 20000; ++i) texts.push_back("shot" + std::to_string(i));
  Q7Star table(sizeof(int32_t));
  for (int32_t i = 0; i < static_cast<int32_t>(texts.size()); ++i)
    table.add_client(text(texts[i]), &i);
  ASSERT_TRUE(table.filewrite(text(path)));
  const std::string whole = q7test::read_file(path);
  for (bool through_pipe : {false, true}) {
    SCOPED_TRACE(through_pipe ? "through a pipe" : "from a file");
    const auto copy = read(whole, through_pipe);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->get_timestamp(), table.get_timestamp());
    EXPECT_EQ(copy->capacity, copy->n());
    ASSERT_EQ(copy->n(), table.n());
    for (int i = 0; i < table.n(); ++i) {
      ASSERT_STREQ(copy->get(i), table.get(i)) << "entry " << i;
      ASSERT_EQ(*static_cast<int32_t*>(copy->get_client(i)), i) << "entry " << i;
    }
    EXPECT_TRUE(copy->add_client(text("more"), text("abcd")));
  }
  EXPECT_NE(read(fields({1, 0, 0})), nullptr) << "empty table";
  // A text holding a NUL byte comes back cut there.
  const auto cut = read(fields({7, 0, 1, 3}) + std::string("a\0b", 3), true);
  ASSERT_NE(cut, nullptr);
  EXPECT_STREQ(cut->get(0), "a");
  EXPECT_EQ(cut->get_timestamp(), 7);
}

// Damaged counts, lengths and record sizes fail alike from a pipe, where they come short long
// before they are reached. /dev/full takes the file but none of its bytes.
TEST_F(StringTableFile, DamagedFieldsAndBadPathsFail) {
  const std::pair<const char*, std::string> bad[] = {
      {"negative record size", fields({1, -1, 0})},
      {"negative count", fields({1, 0, -1})},
      {"absurd count", fields({1, 0, INT32_MAX, 0})},
      {"absurd record size", fields({1, INT32_MAX, 1, 0}) + "RRRR"},
      {"negative length", fields({1, 0, 1, -5}) + "abc"},
      {"absurd length", fields({1, 0, 1, INT32_MAX})}};
  for (const auto& [what, bytes] : bad) {
    EXPECT_EQ(read(bytes), nullptr) << what;
    EXPECT_EQ(read(bytes, true), nullptr) << what << " through a pipe";
  }
  Q7Star table;
  EXPECT_EQ(table.fileread(text(dir.file("missing"))), nullptr);
  EXPECT_EQ(table.fileread(nullptr), nullptr);
  EXPECT_FALSE(table.filewrite(text(dir.file("no/such/dir"))));
  EXPECT_FALSE(table.filewrite(text("/dev/full")));
  EXPECT_FALSE(table.filewrite(nullptr));
}

}  // namespace
