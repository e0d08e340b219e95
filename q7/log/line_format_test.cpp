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
  const struct {
    int hours, minutes;
    double seconds;
  } times[] = {{0, 0, 0.0}, {23, 59, 59.996}, {14, 3, 7.25}, {-1, 5, 3.0}, {7, 7, 150.5}};
  for (const auto& t : times) {
    char expected[256];
    snprintf(expected, sizeof expected, "%s %02d:%02d:%05.2f %s: %s", "(render)", t.hours,
             t.minutes, t.seconds, "WARN ", "text\n");
    char line[256];
    const size_t length = q7::internal::compose_line(line, sizeof line, "(render)", t.hours,
                                                     t.minutes, t.seconds, "WARN ", "text\n", 5);
    EXPECT_STREQ(line, expected) << "seconds=" << t.seconds;
    EXPECT_EQ(length, strlen(expected));
  }
  char line[256];
  q7::internal::compose_line(line, sizeof line, "(Q7 LIB)", 0, 0, 0, nullptr, "untimed\n", 8);
  EXPECT_STREQ(line, "(Q7 LIB)                  : untimed\n");
  char small[12];
  EXPECT_EQ(q7::internal::compose_line(small, sizeof small, "(Q7 LIB)", 1, 2, 3, "INFO ", "x", 1),
            11u);
  EXPECT_STREQ(small, "(Q7 LIB) 01");
}

}  // namespace
