#include <gtest/gtest.h>
#include <stdio.h>

#include <sstream>
#include <string>

#include "q7/cipher/gost.h"
#include "tests/support/temp_dir.h"

namespace {

// Reads the eight lines back as make_sboxes writes them and checks each row.
void expect_rows_text(const std::string& text) {
  std::istringstream lines(text);
  std::string line;
  for (int number = 8; number >= 1; --number) {
    ASSERT_TRUE(std::getline(lines, line)) << "row k" << number << " missing";
    int values[16];
    char rest[4] = {};
    const int read = sscanf(
        line.c_str(),
        "static unsigned char const k%*d[16] = { %3d,%3d,%3d,%3d,%3d,%3d,%3d,%3d,%3d,%3d,%3d,%3d,"
        "%3d,%3d,%3d,%3d%3s",
        &values[0], &values[1], &values[2], &values[3], &values[4], &values[5], &values[6],
        &values[7], &values[8], &values[9], &values[10], &values[11], &values[12], &values[13],
        &values[14], &values[15], rest);
    ASSERT_EQ(read, 17) << line;
    EXPECT_STREQ(rest, "};") << line;
    EXPECT_EQ(line.rfind("static unsigned char const k" + std::to_string(number) + "[16] = { ", 0),
              0u)
        << line;
    char expected[8];
    snprintf(expected, sizeof expected, "%3d,", values[0]);
    EXPECT_EQ(line.substr(38, 4), expected) << line;
    bool seen[16] = {};
    for (int value : values) {
      ASSERT_TRUE(value >= 0 && value < 16) << line;
      EXPECT_FALSE(seen[value]) << line;
      seen[value] = true;
    }
  }
  EXPECT_FALSE(std::getline(lines, line)) << "extra line: " << line;
}

TEST(MakeSboxes, WritesEightPermutationRowsFromK8Down) {
  q7test::TempDir dir;
  Gost gost;
  ASSERT_EQ(gost.make_sboxes(const_cast<char*>(dir.file("rows.inc").c_str())), 1);
  expect_rows_text(q7test::read_file(dir.file("rows.inc")));
  EXPECT_EQ(gost.make_sboxes(const_cast<char*>(dir.file("no/dir/rows.inc").c_str())), 0);
}

}  // namespace
