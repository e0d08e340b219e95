// Tests of JXdate: parsing, validation, the date text, day numbers and order.
#include "q7/types/date.h"

#include <gtest/gtest.h>
#include <limits.h>
#include <time.h>

#include <string>
#include <utility>

namespace {

char* text(const char* s) { return const_cast<char*>(s); }

// The date's text, fields and day number in one line.
std::string shown(JXdate date) {
  int day, month, year, number;
  date.get_date(day, month, year);
  date.get_date(number);
  return std::string(date.get_date()) + " " + std::to_string(day) + "/" + std::to_string(month) +
         "/" + std::to_string(year) + " #" + std::to_string(number);
}

constexpr char kStart[] = "01-jan-2000 1/1/2000 #11160";

// 1 January 2000 set from `input` (a text, a day number, or day, month and year), as shown;
// a refused input leaves kStart. valid_date must agree with the setter.
template <typename... Input>
std::string set(Input... input) {
  JXdate date(1, 1, 2000);
  if (date.set_date(input...) != JXdate::valid_date(input...)) return "valid_date disagrees";
  return shown(date);
}

// atoi reads the numbers, so a leading blank or sign passes.
TEST(JXdate, TextsAreKeptFoldedOrRefused) {
  EXPECT_EQ(set(text("NEVER")), "never 31/12/2999 #383159");
  EXPECT_EQ(set(text("29-Feb-2004")), "29-feb-2004 29/2/2004 #12707");
  EXPECT_EQ(set(text(" 5-MAR-2004")), " 5-mar-2004 5/3/2004 #12714");
  EXPECT_EQ(set(text("+5-Mar-2004")), "+5-mar-2004 5/3/2004 #12714");
  EXPECT_EQ(set(text("1-jan--5")), "1-jan--5 1/1/-5 #-734700");
  for (const char* input : {"29-feb-2100", "31-apr-2000", "05-march-2004", "01-january-2000",
                            "05/mar/2004", "05-mar-04", "31-dec-1969", "1-jan-3000", "45-jan-1800",
                            "1-dec", "1--dec-2000", "5-janu-2000", " 01-jan-2000", ""}) {
    EXPECT_EQ(set(text(input)), kStart) << "input=" << input;
  }
  EXPECT_EQ(set(text(nullptr)), kStart);
  EXPECT_EQ(shown(JXdate(nullptr)), "01-jan-1970 1/1/1970 #0");
  // The parse alone does not check the numbers.
  int day = 0, month = 0, year = 0;
  EXPECT_TRUE(JXdate::parse_text_date(text("45-jan-1800"), day, month, year));
  EXPECT_TRUE(day == 45 && month == 1 && year == 1800) << day << "/" << month << "/" << year;
}

// Every month counts 31 numbers, so some numbers fall on no date. Negative years and day
// numbers pass unchecked but have no text of their own; absurd fields wrap.
TEST(JXdate, FieldsAndDayNumbersAreCheckedAndFormatted) {
  const struct {
    int day, month, year;
    const char* shown;
  } fields[] = {{5, 3, 2004, "05-mar-2004 5/3/2004 #12714"},
                {29, 2, 2400, "29-feb-2400 29/2/2400 #160019"},
                {45, 13, -1, "01-jan-1970 45/13/-1 #-732796"},
                {INT_MAX, 1, INT_MIN, "01-jan-1970 2147483647/1/-2147483648 #2146750806"}};
  for (const auto& c : fields)
    EXPECT_EQ(set(c.day, c.month, c.year), c.shown) << c.day << "/" << c.month << "/" << c.year;
  const int refused[][3] = {{29, 2, 2300}, {0, 1, 2000},   {1, 13, 2000},
                            {31, 6, 2000}, {31, 12, 1969}, {1, 1, 0}};
  for (const auto& f : refused)
    EXPECT_EQ(set(f[0], f[1], f[2]), kStart) << f[0] << "/" << f[1] << "/" << f[2];
  const std::pair<int, const char*> numbers[] = {{0, "01-jan-1970 1/1/1970 #0"},
                                                 {31, "01-feb-1970 1/2/1970 #31"},
                                                 {58, "28-feb-1970 28/2/1970 #58"},
                                                 {62, "01-mar-1970 1/3/1970 #62"},
                                                 {383159, "31-dec-2999 31/12/2999 #383159"},
                                                 {-5, "01-jan-1970 -4/1/1970 #-5"}};
  for (const auto& [number, expected] : numbers)
    EXPECT_EQ(set(number), expected) << "number=" << number;
  for (int number : {59, 61, 383160}) EXPECT_EQ(set(number), kStart) << "number=" << number;
  EXPECT_TRUE(JXdate(31, 12, 2999).date_is_never());
  EXPECT_FALSE(JXdate(30, 12, 2999).date_is_never());
  JXdate::format_text_date(nullptr, 1, 1, 2000);
}

TEST(JXdate, BeforeAndAfterByNumberNegativeFirst) {
  JXdate early(1, 1, 2000), late(2, 1, 2000), negative(1, 1, -1);
  const std::pair<JXdate, JXdate> pairs[] = {{early, early},    {early, late},
                                             {late, early},     {negative, negative},
                                             {negative, early}, {early, negative}};
  // Each pair's before(false), before(true), after(false) and after(true), as T or F.
  std::string orders;
  for (auto [self, other] : pairs) {
    for (bool result : {self.before(other, false), self.before(other, true),
                        self.after(other, false), self.after(other, true)}) {
      orders += result ? 'T' : 'F';
    }
    orders += ' ';
  }
  EXPECT_EQ(orders, "FTFT TTFF FFTT TTFF TTFF FFTT ");
}

TEST(JXdate, DefaultIsToday) {
  const time_t now = time(nullptr);
  struct tm local;
  localtime_r(&now, &local);
  int expected, today;
  JXdate(local.tm_mday, local.tm_mon + 1, local.tm_year + 1900).get_date(expected);
  JXdate().get_date(today);
  // A run across midnight may see the next day, 4 numbers on after 28 February.
  EXPECT_TRUE(today >= expected && today <= expected + 4) << today << " vs " << expected;
}

}  // namespace
