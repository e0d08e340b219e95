// The hand-made log lines must be the very text printf makes.
#include "q7/log/internal/line_format.h"

#include <gtest/gtest.h>
#include <math.h>
#include <stdio.h>

#include <random>
#include <string>
#include <vector>

namespace {

std::string printf_seconds(double value) {
  char text[64];
  snprintf(text, sizeof text, "%.2f", value);
  return text;
}

std::string hundredths_text(long long hundredths) {
  char text[64];
  snprintf(text, sizeof text, "%lld.%02lld", hundredths / 100, hundredths % 100);
  return text;
}

TEST(LineFormat, RoundsSecondsAsPrintfDoes) {
  std::vector<double> values = {0.0,       0.005,      0.015,     0.125,  0.375,
                                59.995,    59.9949999, 59.999999, 1e-300, 4.9406564584124654e-324,
                                0.0049999, 99.994,     12.345,    1.005,  2.675};
  // Every rounding boundary k/100 + 1/200 and its neighbours one step either side.
  for (int k = 0; k < 6000; ++k) {
    const double boundary = k / 100.0 + 0.005;
    values.push_back(boundary);
    values.push_back(nextafter(boundary, 0));
    values.push_back(nextafter(boundary, 100));
  }
  std::mt19937_64 random(42);
  std::uniform_real_distribution<double> seconds(0, 60);
  for (int i = 0; i < 200000; ++i) values.push_back(seconds(random));
  for (const double value : values) {
    long long hundredths = -1;
    ASSERT_TRUE(q7::internal::round_to_hundredths(value, hundredths)) << value;
    ASSERT_EQ(hundredths_text(hundredths), printf_seconds(value)) << "value=" << value;
  }
  long long ignored;
  for (const double outside :
       {-0.001, 100.0, 1e9, double{NAN}, double{INFINITY}, -double{INFINITY}}) {
    EXPECT_FALSE(q7::internal::round_to_hundredths(outside, ignored)) << outside;
  }
}

TEST(LineFormat, LinesMatchPrintfAndAreCutToTheBuffer) {
  // Seconds that round up to 60.00, and times out of range that go through printf.
  for (const double seconds : {0.0, 59.996, 7.25, 150.5}) {
    char expected[64];
    snprintf(expected, sizeof expected, "(r) 23:07:%05.2f WARN : x\n", seconds);
    char line[64];
    EXPECT_EQ(
        q7::internal::compose_line(line, sizeof line, "(r)", 23, 7, seconds, "WARN ", "x\n", 2),
        strlen(expected));
    EXPECT_STREQ(line, expected) << "seconds=" << seconds;
  }
  char line[12];
  q7::internal::compose_line(line, sizeof line, "(Q7)", 0, 0, 0, nullptr, "untimed\n", 8);
  EXPECT_STREQ(line, "(Q7)       ");
  q7::internal::compose_line(line, sizeof line, "(Q7 LIB)", 1, 2, 3, "INFO ", "x", 1);
  EXPECT_STREQ(line, "(Q7 LIB) 01");
}

}  // namespace
