// Tests of make_sboxes: fresh rows in the exact text of a rows file.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <sstream>
#include <string>

#include "q7/cipher/gost.h"
#include "tests/support/temp_dir.h"

namespace {

// Each line is rebuilt from the values read back and must come out the same.
TEST(MakeSboxes, WritesEightPermutationRowsFromK8Down) {
  q7test::TempDir dir;
  Gost gost;
  ASSERT_EQ(gost.make_sboxes(const_cast<char*>(dir.file("rows.inc").c_str())), 1);
  std::istringstream lines(q7test::read_file(dir.file("rows.inc")));
  std::string line;
  for (int number = 8; number >= 1; --number) {
    ASSERT_TRUE(std::getline(lines, line)) << "row k" << number << " missing";
    std::string rebuilt = "static unsigned char const k" + std::to_string(number) + "[16] = { ";
    const size_t head = rebuilt.size();
    ASSERT_EQ(line.size(), head + 16 * 4 + 1) << line;
    bool seen[16] = {};
    for (size_t i = 0; i < 16; ++i) {
      const int value = atoi(line.substr(head + 4 * i, 3).c_str());
      ASSERT_TRUE(value >= 0 && value < 16 && !seen[value]) << line;
      seen[value] = true;
      rebuilt += (value < 10 ? "  " : " ") + std::to_string(value) + (i < 15 ? "," : "");
    }
    EXPECT_EQ(line, rebuilt + "};");
  }
  EXPECT_FALSE(std::getline(lines, line)) << "extra line: " << line;
  EXPECT_EQ(gost.make_sboxes(const_cast<char*>(dir.file("no/dir/rows.inc").c_str())), 0);
}

}  // namespace
