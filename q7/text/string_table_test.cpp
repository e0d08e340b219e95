// Tests of Q7Star: entries, the hash index, lookups, and the file form byte by byte.
#include "q7/text/string_table.h"

#include <gtest/gtest.h>
#include <stdint.h>
#include <stdio.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/temp_dir.h"

namespace {

char* text(const std::string& s) { return const_cast<char*>(s.c_str()); }

// The 32-bit fields `values` as a file holds them.
std::string fields(std::initializer_list<int32_t> values) {
  std::string bytes;
  for (int32_t value : values) bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
  return bytes;
}

// A record size below 0 makes a table of plain strings.
TEST(Q7Star, AppendsCopiesAndGrowsByDoubling) {
  Q7Star table(-1);
  for (int i = 0; i < 33; ++i) {
    ASSERT_TRUE(table.add(text("t" + std::to_string(i))));
    EXPECT_EQ(table.capacity, i < 16 ? 16 : i < 32 ? 32 : 64) << "entries=" << i + 1;
  }
  EXPECT_STREQ(table.get(32), "t32");
  EXPECT_TRUE(table.get(33) == nullptr && table.get(-1) == nullptr &&
              table.get_client(0) == nullptr);
  EXPECT_FALSE(table.add(nullptr) || table.add_client(text("x"), &table));
}

// Hash values keep the sign of the byte sum: the long texts sum to 10739, 12200 and -12800.
// Of the texts found, the fourth sums to -180, which the index keeps in bucket 10739 - 180.
TEST(Q7Star, HashesTheByteSumAndFindsExactOrCaseless) {
  Q7Star table;
  EXPECT_EQ(table.hashfunc(text("")), 0);
  EXPECT_EQ(table.hashfunc(text("ab")), 195);
  EXPECT_EQ(table.hashfunc(text("\xff")), -1);
  EXPECT_EQ(table.hashfunc(text(std::string(88, 'z') + "\x03")), 0);
  EXPECT_EQ(table.hashfunc(text(std::string(100, 'z'))), 1461);
  EXPECT_EQ(table.hashfunc(text(std::string(100, '\x80'))), -2061);
  std::vector<std::string> texts = {"a", "a", "B", "\xc3\xa9t\xc3\xa9", std::string(200, '\x80')};
  for (auto& t : texts) table.add(text(t));
  EXPECT_EQ(table.find(text("a"), true), 0);
  EXPECT_EQ(table.find(text("b"), false), 2);
  EXPECT_EQ(table.find(text("b"), true), -1);
  EXPECT_EQ(table.find(nullptr, true), -1);
  ASSERT_EQ(table.hash(), 1);
  EXPECT_EQ(table.find(text("a"), true), 1);
  EXPECT_EQ(table.find(text("A"), false), 0);
  for (size_t i = 2; i < texts.size(); ++i)
    EXPECT_EQ(table.find(text(texts[i]), true), static_cast<int>(i)) << "text=" << texts[i];
  const Q7Chain* chain = table.buckets[Q7Star::kBuckets - 180];
  EXPECT_EQ(chain != nullptr ? chain->index : -1, 3);
  EXPECT_EQ(table.find(text("missing"), true), -1);
  table.add(text("later"));
  EXPECT_EQ(table.find(text("a"), true), 0);
}

TEST(Q7Star, FindStatsCountChainNodes) {
  Q7Star table;
  // "ab" and "ba" share a bucket; "ba" was added later, so it heads the chain.
  for (const char* t : {"ab", "ba", "x"}) table.add(text(t));
  table.hash();
  for (const char* t : {"ba", "x", "ba"}) table.find(text(t), true);
  EXPECT_EQ(table.get_find_stats(true), 1.0);
  EXPECT_EQ(table.get_find_stats(false), 0.0);
  // "ab" takes two nodes; caseless lookups are not counted.
  table.find(text("ab"), true);
  table.find(text("AB"), false);
  EXPECT_EQ(table.get_find_stats(false), 2.0);
  table.freehash();
  EXPECT_EQ(table.get_find_stats(false), 0.0);
  // A new index counts afresh; "qq" meets an empty bucket.
  table.hash();
  for (const char* t : {"x", "qq"}) table.find(text(t), true);
  EXPECT_EQ(table.get_find_stats(false), 0.5);
}

TEST(Q7Star, KeepsCopiesOfRecordsAndDeletesOneOrAll) {
  Q7Star table(4);
  int32_t records[4] = {10, 11, 12, 13};
  EXPECT_FALSE(table.add(text("plain")) || table.add_client(text("none"), nullptr));
  for (int i = 0; i < 4; ++i) table.add_client(text("e" + std::to_string(i)), &records[i]);
  records[3] = 0;  // the table holds its own copy
  table.hash();
  EXPECT_EQ(table.del(4), 0);
  EXPECT_EQ(table.del(-2), 0);
  EXPECT_FALSE(table.hashed);
  EXPECT_EQ(table.del(1), 1);
  EXPECT_EQ(table.n(), 3);
  EXPECT_EQ(std::string(table.get(1)) + table.get(2), "e2e3");
  EXPECT_EQ(*static_cast<int32_t*>(table.get_client(2)), 13);
  EXPECT_EQ(table.get_client(3), nullptr);
  EXPECT_EQ(table.del(-1), 1);
  EXPECT_EQ(table.n(), 0);
  EXPECT_TRUE(table.add_client(text("again"), &records[0]));
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
