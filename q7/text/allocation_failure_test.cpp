// Allocation failures in the string table and the command reader, at every failure point:
// each call gives its documented result, and the table or the arguments stay whole.
#include <gtest/gtest.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <string>

#include "q7/text/command_reader.h"
#include "q7/text/string_table.h"
#include "tests/support/alloc_failure.h"
#include "tests/support/temp_dir.h"

namespace {

using q7test::FailureRun;
using q7test::for_each_failure_point;

char* chars(const std::string& text) { return const_cast<char*>(text.c_str()); }

std::string entry(int position) { return "t" + std::to_string(position); }

// Appends entries from n() up to `count`, each with its position as an 8-byte record when
// the table has records.
void fill(Q7Star& table, int count) {
  for (int64_t i = table.n(); i < count; ++i) {
    const std::string text = entry(static_cast<int>(i));
    ASSERT_TRUE(table.client_size > 0 ? table.add_client(chars(text), &i) : table.add(chars(text)));
  }
}

// The table holds exactly the entries 0 to count - 1 that fill makes, and finds them.
void expect_entries(Q7Star& table, int count) {
  ASSERT_EQ(table.n(), count);
  for (int i = 0; i < count; ++i) {
    const std::string text = entry(i);
    EXPECT_STREQ(table.get(i), text.c_str()) << "position " << i;
    EXPECT_EQ(table.find(chars(text), true), i);
    if (table.client_size > 0) {
      int64_t record;
      memcpy(&record, table.get_client(i), sizeof record);
      EXPECT_EQ(record, i);
    }
  }
}

TEST(AllocationFailure, StringTableCompletesOrFailsAsDocumented) {
  // 16 entries fill the first capacity, so that the next append grows the arrays too.
  for (const int record_size : {0, 8}) {
    const char* name = record_size > 0 ? "add_client" : "add";
    const int points = for_each_failure_point(name, [&](FailureRun& run) {
      Q7Star table(record_size);
      fill(table, 16);
      const std::string text = entry(16);
      int64_t record = 16;
      const bool added = run.armed([&] {
        return record_size > 0 ? table.add_client(chars(text), &record) : table.add(chars(text));
      });
      EXPECT_TRUE(added || run.injected());
      // A copy that cannot be made leaves the table as it was; a failed growth empties it.
      if (!added && table.n() == 0) {
        EXPECT_EQ(table.capacity, 0);
        EXPECT_TRUE(table.strings == nullptr && table.clients == nullptr);
      }
      expect_entries(table, added ? 17 : table.n() == 0 ? 0 : 16);
      fill(table, 20);
      expect_entries(table, 20);
    });
    EXPECT_GE(points, record_size > 0 ? 4 : 2) << name;
  }

  int points = for_each_failure_point("hash", [](FailureRun& run) {
    Q7Star table;
    fill(table, 40);
    const int hashed = run.armed([&] { return table.hash(); });
    EXPECT_EQ(hashed, run.injected() ? 0 : 1);
    EXPECT_EQ(table.hashed, hashed == 1);
    // An index that could not be built is dropped whole.
    if (hashed == 0) {
      EXPECT_EQ(std::count(std::begin(table.buckets), std::end(table.buckets), nullptr),
                Q7Star::kBuckets);
    }
    expect_entries(table, 40);
    EXPECT_EQ(table.hash(), 1);
    expect_entries(table, 40);
  });
  EXPECT_GE(points, 40);

  q7test::TempDir dir;
  const std::string path = dir.file("table.q7s");
  points = for_each_failure_point("filewrite", [&](FailureRun& run) {
    Q7Star table(8);
    fill(table, 20);
    const bool written = run.armed([&] { return table.filewrite(chars(path)); });
    EXPECT_TRUE(written || run.injected());
    if (written) {
      const std::unique_ptr<Q7Star> back(table.fileread(chars(path)));
      ASSERT_NE(back, nullptr);
      expect_entries(*back, 20);
    }
    expect_entries(table, 20);
  });
  EXPECT_GE(points, 2);

  {
    Q7Star table(8);
    fill(table, 20);
    ASSERT_TRUE(table.filewrite(chars(path)));
  }
  // From a pipe, whose size is not known, the arrays and texts grow as the data comes.
  const std::string bytes = q7test::read_file(path);
  for (const bool piped : {false, true}) {
    points = for_each_failure_point(piped ? "fileread_pipe" : "fileread", [&](FailureRun& run) {
      int ends[2];
      ASSERT_EQ(pipe(ends), 0);
      ASSERT_EQ(write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
      close(ends[1]);
      const std::string source = piped ? "/proc/self/fd/" + std::to_string(ends[0]) : path;
      Q7Star reader;
      const std::unique_ptr<Q7Star> table(
          run.armed([&] { return reader.fileread(chars(source)); }));
      close(ends[0]);
      EXPECT_TRUE(table != nullptr || run.injected());
      if (table != nullptr) expect_entries(*table, 20);
      EXPECT_EQ(reader.n(), 0);
    });
    // The block, the stream, the table, its two arrays, and a text and a record per entry.
    EXPECT_GE(points, 45) << piped;
  }
}

TEST(AllocationFailure, CommandReaderHandsOverEveryCopyOrNone) {
  tagSCOMMANDS commands[] = {
      {const_cast<char*>("list files"), 1, const_cast<char*>("list the files"), 0, 0, false},
      {const_cast<char*>("load"), 2, const_cast<char*>("load tables"), 1, 5, false},
  };
  char line[] = "lo first \"second word\" third\n";
  const char* const expected[] = {"first", "second word", "third"};
  const int points = for_each_failure_point("get_command", [&](FailureRun& run) {
    // The streams allocate their buffers on first use, inside the armed call.
    FILE* input = fmemopen(line, strlen(line), "r");
    FILE* output = tmpfile();
    ASSERT_TRUE(input != nullptr && output != nullptr);
    char* arguments[5] = {};
    int count = -1;
    const int code = run.armed([&] {
      return get_command(commands, 2, input, const_cast<char*>("demo"), output, arguments, &count,
                         5, true);
    });
    if (code == 2) {
      ASSERT_EQ(count, 3);
      for (int i = 0; i < 3; ++i) EXPECT_STREQ(arguments[i], expected[i]);
    } else {
      EXPECT_EQ(code, 0);
      EXPECT_TRUE(run.injected());
      EXPECT_EQ(count, 0);
      for (char* argument : arguments) EXPECT_EQ(argument, nullptr);
    }
    free_command_args(arguments, 5);
    fclose(input);
    fclose(output);
  });
  EXPECT_GE(points, 3);
}

}  // namespace
