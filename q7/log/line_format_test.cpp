// Tests of the composed log line against printf, on every rounding boundary of the seconds.
#include "q7/log/internal/line_format.h"

#include <gtest/gtest.h>
#include <math.h>
#include <stdio.h>
#include <string.h>

#include <vector>

namespace {

TEST(LineFormat, MatchesPrintfAndIsCutToTheBuffer) {
  // Every rounding boundary k/100 + 1/200 of the seconds and its neighbours one step either
  // side, where a wrong rule or lost precision shows first; the smallest values; and seconds
  // that round up to 60.00 or lie out of range, which go through printf.
  std::vector<double> values = {0.0, 1e-300, 4.9406564584124654e-324, 59.996, 99.994, 150.5};
  for (int k = 0; k < 6000; ++k) {
    const double boundary = k / 100.0 + 0.005;
    values.insert(values.end(), {boundary, nextafter(boundary, 0), nextafter(boundary, 100)});
  }
  for (const double seconds : values) {
    char expected[64], line[64];
    snprintf(expected, sizeof expected, "(r) 23:07:%05.2f WARN : x\n", seconds);
    ASSERT_EQ(
        q7::internal::compose_line(line, sizeof line, "(r)", 23, 7, seconds, "WARN ", "x\n", 2),
        strlen(expected));
    ASSERT_STREQ(line, expected) << "seconds=" << seconds;
  }
  long long ignored;
  for (const double outside : {-0.001, 100.0, double{NAN}, double{INFINITY}}) {
    EXPECT_FALSE(q7::internal::round_to_hundredths(outside, ignored)) << outside;
  }
  char line[12];
  q7::internal::compose_line(line, sizeof line, "(Q7)", 0, 0, 0, nullptr, "untimed\n", 8);
  EXPECT_STREQ(line, "(Q7)       ");
  q7::internal::compose_line(line, sizeof line, "(Q7 LIB)", 1, 2, 3, "INFO ", "x", 1);
  EXPECT_STREQ(line, "(Q7 LIB) 01");
}

}  // namespace
