// Tests of Q7Star: entries, the hash index, lookups and records.
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

}  // namespace
