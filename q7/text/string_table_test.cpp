#include "q7/text/string_table.h"

#include <gtest/gtest.h>
#include <stdint.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"

namespace {

char* text(const std::string& s) { return const_cast<char*>(s.c_str()); }

std::string int32_bytes(int32_t value) {
  return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}

TEST(Q7Star, AppendsGetsAndGrowsByDoubling) {
  Q7Star table;
  EXPECT_EQ(table.n(), 0);
  EXPECT_EQ(table.get(0), nullptr);
  EXPECT_EQ(table.get(-1), nullptr);
  EXPECT_EQ(table.capacity, 0);
  std::vector<int> capacities;
  for (int i = 0; i < 33; ++i) {
    ASSERT_TRUE(table.add(text("t" + std::to_string(i))));
    capacities.push_back(table.capacity);
  }
  EXPECT_EQ(capacities[0], 16);
  EXPECT_EQ(capacities[15], 16);
  EXPECT_EQ(capacities[16], 32);
  EXPECT_EQ(capacities[32], 64);
  EXPECT_STREQ(table.get(32), "t32");
  EXPECT_EQ(table.get(33), nullptr);
  EXPECT_FALSE(table.add(nullptr));
  EXPECT_FALSE(table.add_client(text("x"), &table));
  EXPECT_EQ(table.get_client(0), nullptr);
}

TEST(Q7Star, ClientRecordsAreCopies) {
  Q7Star table(8);
  EXPECT_FALSE(table.add(text("plain")));
  char record[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  ASSERT_TRUE(table.add_client(text("first"), record));
  EXPECT_FALSE(table.add_client(text("no record"), nullptr));
  record[0] = 9;
  ASSERT_TRUE(table.add_client(text("second"), record));
  EXPECT_NE(table.get_client(0), static_cast<void*>(record));
  EXPECT_EQ(static_cast<char*>(table.get_client(0))[0], 1);
  EXPECT_EQ(static_cast<char*>(table.get_client(1))[0], 9);
  EXPECT_EQ(table.get_client(2), nullptr);
  EXPECT_EQ(Q7Star(-3).client_size, 0);
}

TEST(Q7Star, HashValuesKeepTheSignOfTheByteSum) {
  const struct {
    std::string text;
    int value;
  } cases[] = {
      {"", 0},
      {"ab", 195},
      {"\xff", -1},
      {"\xc3\xa9", -148},
      {std::string(88, 'z') + "\x03", 0},       // 10739
      {std::string(100, 'z'), 1461},            // 12200
      {std::string(100, '\x80'), -2061},        // -12800
      {std::string(2, '\x80') + "\x02", -254},  // -254
  };
  Q7Star table;
  for (const auto& c : cases) {
    EXPECT_EQ(table.hashfunc(text(c.text)), c.value) << "text=" << c.text;
  }
  EXPECT_EQ(table.hashfunc(nullptr), 0);
}

TEST(Q7Star, FindsExactAndCaselessIndexedOrNot) {
  Q7Star table;
  std::vector<std::string> texts = {
      "a", "a", "B", "\xc3\xa9t\xc3\xa9", std::string(200, '\x80'), "shot0042.tif"};
  for (auto& t : texts) table.add(text(t));
  EXPECT_EQ(table.find(text("a"), true), 0);
  EXPECT_EQ(table.find(text("A"), false), 0);
  EXPECT_EQ(table.find(text("b"), false), 2);
  EXPECT_EQ(table.find(text("b"), true), -1);
  EXPECT_EQ(table.find(nullptr, true), -1);
  ASSERT_EQ(table.hash(), 1);
  EXPECT_TRUE(table.hashed);
  EXPECT_EQ(table.find(text("a"), true), 1);
  EXPECT_EQ(table.find(text("A"), false), 0);
  for (size_t i = 2; i < texts.size(); ++i) {
    EXPECT_EQ(table.find(text(texts[i]), true), static_cast<int>(i)) << "text=" << texts[i];
  }
  EXPECT_EQ(table.find(text("missing"), true), -1);
  table.add(text("later"));
  EXPECT_FALSE(table.hashed);
  EXPECT_EQ(table.find(text("a"), true), 0);
}

TEST(Q7Star, FindStatsCountChainNodes) {
  Q7Star table;
  // "ab" and "ba" share a bucket; "ba" was added later, so it heads the chain.
  for (const char* t : {"ab", "ba", "x"}) table.add(text(t));
  EXPECT_EQ(table.get_find_stats(false), 0.0);
  table.hash();
  table.find(text("ba"), true);
  table.find(text("x"), true);
  table.find(text("ba"), true);
  EXPECT_EQ(table.get_find_stats(true), 1.0);
  EXPECT_EQ(table.get_find_stats(false), 0.0);
  table.find(text("ab"), true);   // two nodes
  table.find(text("qq"), true);   // an empty bucket examines none
  table.find(text("AB"), false);  // caseless lookups are not counted
  EXPECT_EQ(table.get_find_stats(false), 1.0);
  EXPECT_EQ(table.finds, 2);
  table.freehash();
  EXPECT_EQ(table.get_find_stats(false), 0.0);
}

TEST(Q7Star, DeletesOneOrAll) {
  Q7Star table(4);
  int32_t records[3] = {10, 11, 12};
  for (int i = 0; i < 3; ++i) table.add_client(text("e" + std::to_string(i)), &records[i]);
  table.hash();
  EXPECT_EQ(table.del(3), 0);
  EXPECT_FALSE(table.hashed);
  EXPECT_EQ(table.del(-2), 0);
  EXPECT_EQ(table.del(1), 1);
  EXPECT_EQ(table.n(), 2);
  EXPECT_STREQ(table.get(1), "e2");
  EXPECT_EQ(*static_cast<int32_t*>(table.get_client(1)), 12);
  EXPECT_EQ(table.del(-1), 1);
  EXPECT_EQ(table.n(), 0);
  EXPECT_EQ(table.capacity, 16);
  EXPECT_TRUE(table.add_client(text("again"), &records[0]));
}

TEST(Q7Star, TimestampStringIsCtimeWithoutLineFeed) {
  Q7Star table;
  table.timestamp = 741397748;
  const std::string shown = table.get_timestamp_string();
  EXPECT_EQ(shown.size(), 24u);
  char expected[32];
  ctime_r(&table.timestamp, expected);
  EXPECT_EQ(shown, std::string(expected, 24));
}

class StringTableFile : public testing::Test {
 protected:
  q7test::TempDir dir;
  std::string path = dir.file("table.q7s");
};

TEST_F(StringTableFile, LayoutByteByByte) {
  Q7Star table(2);
  table.add_client(text("ab"), text("R1"));
  table.add_client(text(""), text("R2"));
  const time_t before = time(nullptr);
  ASSERT_TRUE(table.filewrite(text(path)));
  EXPECT_GE(table.get_timestamp(), before);
  const std::string expected = int32_bytes(static_cast<int32_t>(table.get_timestamp())) +
                               int32_bytes(2) + int32_bytes(2) + int32_bytes(2) + "ab" +
                               int32_bytes(0) + "R1R2";
  EXPECT_EQ(q7test::read_file(path), expected);

  Q7Star plain;
  plain.add(text("x"));
  ASSERT_TRUE(plain.filewrite(text(path)));
  EXPECT_EQ(q7test::read_file(path).substr(4),
            int32_bytes(0) + int32_bytes(1) + int32_bytes(1) + "x");
}

TEST_F(StringTableFile, RoundTripKeepsTextsRecordsAndTimestamp) {
  Q7Star table(3);
  const std::vector<std::string> texts = {"shot0001.tif", "", "with space", "\xc3\xa9",
                                          std::string(5000, 'L')};
  for (size_t i = 0; i < texts.size(); ++i) {
    const char record[3] = {static_cast<char>(i), 'r', '\0'};
    table.add_client(text(texts[i]), const_cast<char*>(record));
  }
  ASSERT_TRUE(table.filewrite(text(path)));
  std::unique_ptr<Q7Star> copy(table.fileread(text(path)));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->get_timestamp(), table.get_timestamp());
  EXPECT_EQ(copy->client_size, 3);
  EXPECT_EQ(copy->capacity, 5);
  ASSERT_EQ(copy->n(), 5);
  for (size_t i = 0; i < texts.size(); ++i) {
    EXPECT_EQ(copy->get(i), texts[i]) << "entry " << i;
    EXPECT_EQ(memcmp(copy->get_client(i), table.get_client(i), 3), 0) << "entry " << i;
  }
  EXPECT_TRUE(copy->add_client(text("more"), text("abc")));
  EXPECT_EQ(copy->capacity, 10);

  // Enough entries that texts and records straddle the blocks the file moves in.
  Q7Star large(5);
  for (int i = 0; i < 20000; ++i) large.add_client(text("shot" + std::to_string(i)), text("rec"));
  ASSERT_TRUE(large.filewrite(text(path)));
  std::unique_ptr<Q7Star> large_copy(large.fileread(text(path)));
  ASSERT_NE(large_copy, nullptr);
  ASSERT_EQ(large_copy->n(), 20000);
  EXPECT_STREQ(large_copy->get(19999), "shot19999");
  EXPECT_STREQ(static_cast<char*>(large_copy->get_client(12345)), "rec");

  Q7Star empty;
  ASSERT_TRUE(empty.filewrite(text(path)));
  std::unique_ptr<Q7Star> empty_copy(empty.fileread(text(path)));
  ASSERT_NE(empty_copy, nullptr);
  EXPECT_EQ(empty_copy->n(), 0);
}

TEST_F(StringTableFile, EveryCutAndEveryBadFieldFails) {
  Q7Star table(2);
  table.add_client(text("ab"), text("R1"));
  table.add_client(text("cde"), text("R2"));
  ASSERT_TRUE(table.filewrite(text(path)));
  const std::string whole = q7test::read_file(path);
  for (size_t cut = 0; cut < whole.size(); ++cut) {
    ASSERT_TRUE(q7test::write_file(path, whole.substr(0, cut)));
    std::unique_ptr<Q7Star> read(table.fileread(text(path)));
    EXPECT_EQ(read, nullptr) << "cut at byte " << cut;
  }
  const std::string stamp = int32_bytes(1);
  const struct {
    const char* what;
    std::string bytes;
  } bad[] = {
      {"negative record size", stamp + int32_bytes(-1) + int32_bytes(0)},
      {"negative count", stamp + int32_bytes(0) + int32_bytes(-1)},
      {"absurd count", stamp + int32_bytes(0) + int32_bytes(INT32_MAX) + int32_bytes(0)},
      {"absurd record size",
       stamp + int32_bytes(INT32_MAX) + int32_bytes(1) + int32_bytes(0) + "RRRR"},
      {"negative length", stamp + int32_bytes(0) + int32_bytes(1) + int32_bytes(-5) + "abc"},
      {"absurd length", stamp + int32_bytes(0) + int32_bytes(1) + int32_bytes(INT32_MAX)},
  };
  for (const auto& b : bad) {
    ASSERT_TRUE(q7test::write_file(path, b.bytes));
    std::unique_ptr<Q7Star> read(table.fileread(text(path)));
    EXPECT_EQ(read, nullptr) << b.what;
  }
  EXPECT_EQ(table.n(), 2);
}

TEST_F(StringTableFile, ReadsFromAPipeWithoutAFileSize) {
  Q7Star table;
  table.add(text("through"));
  table.add(text("a fifo"));
  ASSERT_TRUE(table.filewrite(text(path)));
  const std::string bytes = q7test::read_file(path);
  const std::string fifo = dir.file("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  // Opening a fifo waits for the other end, so the scenario runs in a child that the
  // timeout can kill.
  const auto result = q7test::run_in_child(
      [&] {
        std::thread writer([&] {
          FILE* out = fopen(fifo.c_str(), "wb");
          fwrite(bytes.data(), 1, bytes.size(), out);
          fclose(out);
        });
        std::unique_ptr<Q7Star> read(table.fileread(text(fifo)));
        writer.join();
        _exit(read != nullptr && strcmp(read->get(1), "a fifo") == 0 ? 0 : 1);
      },
      std::chrono::seconds(20));
  EXPECT_TRUE(result.exited_with(0)) << q7test::describe(result);
}

TEST_F(StringTableFile, TextWithNulIsCutAndPathsThatFail) {
  ASSERT_TRUE(q7test::write_file(path, int32_bytes(7) + int32_bytes(0) + int32_bytes(1) +
                                           int32_bytes(3) + std::string("a\0b", 3)));
  Q7Star table;
  std::unique_ptr<Q7Star> read(table.fileread(text(path)));
  ASSERT_NE(read, nullptr);
  EXPECT_STREQ(read->get(0), "a");
  EXPECT_EQ(read->get_timestamp(), 7);

  EXPECT_EQ(table.fileread(text(dir.file("missing"))), nullptr);
  EXPECT_EQ(table.fileread(nullptr), nullptr);
  EXPECT_FALSE(table.filewrite(text(dir.file("no/such/dir"))));
  EXPECT_FALSE(table.filewrite(nullptr));
}

}  // namespace
