// Tests of Q7Star: entries, the hash index, lookups, and the file form byte by byte.
#include "q7/text/string_table.h"

#include <gtest/gtest.h>
#include <stdint.h>
#include <string.h>
#include <unistd.h>

#include <initializer_list>
#include <memory>
#include <string>
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

TEST(Q7Star, AppendsCopiesAndGrowsByDoubling) {
  Q7Star table;
  for (int i = 0; i < 33; ++i) {
    ASSERT_TRUE(table.add(text("t" + std::to_string(i))));
    EXPECT_EQ(table.capacity, i < 16 ? 16 : i < 32 ? 32 : 64) << "entries=" << i + 1;
  }
  EXPECT_STREQ(table.get(32), "t32");
  EXPECT_EQ(table.get(33), nullptr);
  EXPECT_EQ(table.get(-1), nullptr);
  EXPECT_FALSE(table.add(nullptr));
  EXPECT_FALSE(table.add_client(text("x"), &table));
  EXPECT_EQ(table.get_client(0), nullptr);
}

// The byte sums of the long texts are 10739, 12200 and -12800.
TEST(Q7Star, HashValuesKeepTheSignOfTheByteSum) {
  Q7Star table;
  EXPECT_EQ(table.hashfunc(text("")), 0);
  EXPECT_EQ(table.hashfunc(text("ab")), 195);
  EXPECT_EQ(table.hashfunc(text("\xff")), -1);
  EXPECT_EQ(table.hashfunc(text(std::string(88, 'z') + "\x03")), 0);
  EXPECT_EQ(table.hashfunc(text(std::string(100, 'z'))), 1461);
  EXPECT_EQ(table.hashfunc(text(std::string(100, '\x80'))), -2061);
}

TEST(Q7Star, FindsExactAndCaselessIndexedOrNot) {
  Q7Star table;
  std::vector<std::string> texts = {"a", "a", "B", "\xc3\xa9t\xc3\xa9", std::string(200, '\x80')};
  for (auto& t : texts) table.add(text(t));
  EXPECT_EQ(table.find(text("a"), true), 0);
  EXPECT_EQ(table.find(text("b"), false), 2);
  EXPECT_EQ(table.find(text("b"), true), -1);
  EXPECT_EQ(table.find(nullptr, true), -1);
  ASSERT_EQ(table.hash(), 1);
  EXPECT_EQ(table.find(text("a"), true), 1);
  EXPECT_EQ(table.find(text("A"), false), 0);
  // Texts with negative byte sums are placed and found like any other.
  for (size_t i = 2; i < texts.size(); ++i)
    EXPECT_EQ(table.find(text(texts[i]), true), static_cast<int>(i)) << "text=" << texts[i];
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
  // "ab" takes two nodes and "qq" an empty bucket none; caseless lookups are not counted.
  for (const char* t : {"ab", "qq"}) table.find(text(t), true);
  table.find(text("AB"), false);
  EXPECT_EQ(table.get_find_stats(false), 1.0);
  table.freehash();
  EXPECT_EQ(table.get_find_stats(false), 0.0);
  table.hash();
  table.find(text("x"), true);
  EXPECT_EQ(table.get_find_stats(false), 1.0);
}

TEST(Q7Star, KeepsCopiesOfRecordsAndDeletesOneOrAll) {
  Q7Star table(4);
  int32_t records[4] = {10, 11, 12, 13};
  EXPECT_FALSE(table.add(text("plain")));
  EXPECT_FALSE(table.add_client(text("none"), nullptr));
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
  std::unique_ptr<Q7Star> read(const std::string& bytes) {
    EXPECT_TRUE(q7test::write_file(path, bytes));
    return std::unique_ptr<Q7Star>(Q7Star().fileread(text(path)));
  }

  q7test::TempDir dir;
  std::string path = dir.file("table.q7s");
};

// Writing stamps the table with the time, shown as ctime shows it without the line feed.
TEST_F(StringTableFile, LayoutByteByByteAndTheStamp) {
  Q7Star table(2);
  table.add_client(text("ab"), text("R1"));
  table.add_client(text(""), text("R2"));
  table.timestamp = 1;
  const time_t before = time(nullptr);
  ASSERT_TRUE(table.filewrite(text(path)));
  EXPECT_GE(table.get_timestamp(), before);
  EXPECT_EQ(
      q7test::read_file(path),
      fields({static_cast<int32_t>(table.get_timestamp()), 2, 2, 2}) + "ab" + fields({0}) + "R1R2");
  char expected[32];
  EXPECT_EQ(table.get_timestamp_string(), std::string(ctime_r(&table.timestamp, expected), 24));
}

TEST_F(StringTableFile, RoundTripKeepsTextsRecordsAndTimestamp) {
  // Enough entries that texts and records straddle the blocks the file moves in.
  std::vector<std::string> texts = {"", "\xc3\xa9", std::string(5000, 'L')};
  for (int i = 0; i < 20000; ++i) texts.push_back("shot" + std::to_string(i));
  Q7Star table(sizeof(int32_t));
  for (int32_t i = 0; i < static_cast<int32_t>(texts.size()); ++i)
    table.add_client(text(texts[i]), &i);
  ASSERT_TRUE(table.filewrite(text(path)));
  std::unique_ptr<Q7Star> copy(table.fileread(text(path)));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->get_timestamp(), table.get_timestamp());
  EXPECT_EQ(copy->capacity, copy->n());
  ASSERT_EQ(copy->n(), table.n());
  for (int i = 0; i < table.n(); ++i) {
    ASSERT_STREQ(copy->get(i), table.get(i)) << "entry " << i;
    ASSERT_EQ(*static_cast<int32_t*>(copy->get_client(i)), i) << "entry " << i;
  }
  EXPECT_TRUE(copy->add_client(text("more"), text("abcd")));
  ASSERT_TRUE(Q7Star().filewrite(text(path)));
  EXPECT_NE(read(q7test::read_file(path)), nullptr) << "empty table";
}

TEST_F(StringTableFile, EveryCutAndEveryBadFieldFails) {
  Q7Star table(2);
  table.add_client(text("ab"), text("R1"));
  table.add_client(text("cde"), text("R2"));
  ASSERT_TRUE(table.filewrite(text(path)));
  const std::string whole = q7test::read_file(path);
  for (size_t cut = 0; cut < whole.size(); ++cut)
    EXPECT_EQ(read(whole.substr(0, cut)), nullptr) << "cut at byte " << cut;
  const struct {
    const char* what;
    std::string bytes;
  } bad[] = {{"negative record size", fields({1, -1, 0})},
             {"negative count", fields({1, 0, -1})},
             {"absurd count", fields({1, 0, INT32_MAX, 0})},
             {"absurd record size", fields({1, INT32_MAX, 1, 0}) + "RRRR"},
             {"negative length", fields({1, 0, 1, -5}) + "abc"},
             {"absurd length", fields({1, 0, 1, INT32_MAX})}};
  for (const auto& b : bad) EXPECT_EQ(read(b.bytes), nullptr) << b.what;
}

TEST_F(StringTableFile, TextWithNulIsCutAndPathsThatFail) {
  const auto table = read(fields({7, 0, 1, 3}) + std::string("a\0b", 3));
  ASSERT_NE(table, nullptr);
  EXPECT_STREQ(table->get(0), "a");
  EXPECT_EQ(table->get_timestamp(), 7);
  EXPECT_EQ(table->fileread(text(dir.file("missing"))), nullptr);
  EXPECT_EQ(table->fileread(nullptr), nullptr);
  EXPECT_FALSE(table->filewrite(text(dir.file("no/such/dir"))));
  EXPECT_FALSE(table->filewrite(nullptr));
}

// Reads `bytes` through a pipe, which has no size to check the fields against.
std::unique_ptr<Q7Star> read_through_pipe(const std::string& bytes) {
  int ends[2];
  if (pipe(ends) != 0) return nullptr;
  const bool written =
      write(ends[1], bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  close(ends[1]);
  // Opening an anonymous pipe by name never waits for a writer, and it holds the whole file.
  const std::string name = "/proc/self/fd/" + std::to_string(ends[0]);
  std::unique_ptr<Q7Star> table(written ? Q7Star().fileread(text(name)) : nullptr);
  close(ends[0]);
  return table;
}

TEST_F(StringTableFile, ReadsFromAPipeAndRefusesAbsurdFieldsWithoutReservingForThem) {
  const auto table = read_through_pipe(fields({7, 0, 1, 6}) + "a pipe");
  ASSERT_NE(table, nullptr);
  EXPECT_STREQ(table->get(0), "a pipe");
  // Damaged counts, lengths and record sizes come short long before they are reached.
  const std::string absurd[] = {fields({7, 0, INT32_MAX}),
                                fields({7, INT32_MAX, INT32_MAX, 1}) + "x",
                                fields({7, 0, 2, INT32_MAX}) + "text"};
  for (const std::string& bytes : absurd) EXPECT_EQ(read_through_pipe(bytes), nullptr);
}

}  // namespace
