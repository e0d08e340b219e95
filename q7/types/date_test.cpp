// Tests of JXdate: parsing, validation, the date text and day numbers.
#include "q7/types/date.h"

#include <gtest/gtest.h>
#include <limits.h>
#include <time.h>

#include <string>

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

// 1 January 2000 set from day number `number`, marked when refused.
std::string from_number(int number) {
  JXdate date(1, 1, 2000);
  const bool accepted = date.set_date(number);
  if (accepted != JXdate::valid_date(number)) return "valid_date disagrees";
  return (accepted ? "" : "refused, ") + shown(date);
}

// atoi reads the numbers, so a leading blank or sign passes.
TEST(JXdate, TextsAreKeptFoldedWithTheirFieldsAndNumber) {
  EXPECT_EQ(shown(JXdate(text("NEVER"))), "never 31/12/2999 #383159");
  EXPECT_EQ(shown(JXdate(text("29-Feb-2004"))), "29-feb-2004 29/2/2004 #12707");
  EXPECT_EQ(shown(JXdate(text("1-Jan-2000"))), "1-jan-2000 1/1/2000 #11160");
  EXPECT_EQ(shown(JXdate(text(" 5-MAR-2004"))), " 5-mar-2004 5/3/2004 #12714");
  EXPECT_EQ(shown(JXdate(text("+5-Mar-2004"))), "+5-mar-2004 5/3/2004 #12714");
  EXPECT_EQ(shown(JXdate(text("1-jan--5"))), "1-jan--5 1/1/-5 #-734700");
}

TEST(JXdate, RefusedTextsFallBackOrLeaveTheDateAlone) {
  for (const char* input : {"29-feb-2100", "31-apr-2000", "05-march-2004", "01-january-2000",
                            "05/mar/2004", "05-mar-04", "31-dec-1969", "1-jan-3000", "45-jan-1800",
                            "1-dec", "1--dec-2000", "5-janu-2000", " 01-jan-2000", ""}) {
    EXPECT_FALSE(JXdate::valid_date(text(input))) << "input=" << input;
  }
  JXdate date(1, 1, 2000);
  EXPECT_FALSE(date.set_date(text("29-feb-2100")));
  EXPECT_FALSE(date.set_date(nullptr));
  EXPECT_FALSE(date.set_date(31, 2, 2001));
  EXPECT_EQ(shown(date), "01-jan-2000 1/1/2000 #11160");
  EXPECT_EQ(shown(JXdate(text("31-dec-1969"))), "01-jan-1970 1/1/1970 #0");
  EXPECT_EQ(shown(JXdate(nullptr)), "01-jan-1970 1/1/1970 #0");
  // The parse alone does not check the numbers.
  int day = 0, month = 0, year = 0;
  EXPECT_TRUE(JXdate::parse_text_date(text("45-jan-1800"), day, month, year));
  EXPECT_TRUE(day == 45 && month == 1 && year == 1800) << day << "/" << month << "/" << year;
}

// Negative years pass unchecked but have no text of their own; absurd ones wrap.
TEST(JXdate, NumbersAreCheckedAndFormatted) {
  const struct {
    int day, month, year;
    bool valid;
    const char* text;
  } cases[] = {
      {31, 12, 2999, true, "31-dec-2999"}, {5, 3, 2004, true, "05-mar-2004"},
      {29, 2, 2400, true, "29-feb-2400"},  {29, 2, 2300, false, "01-jan-1970"},
      {0, 1, 2000, false, "01-jan-1970"},  {1, 13, 2000, false, "01-jan-1970"},
      {31, 6, 2000, false, "01-jan-1970"}, {31, 12, 1969, false, "01-jan-1970"},
      {45, 13, -1, true, "01-jan-1970"},   {INT_MAX, 1, INT_MIN, true, "01-jan-1970"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.day << "/" << c.month << "/" << c.year);
    EXPECT_EQ(JXdate::valid_date(c.day, c.month, c.year), c.valid);
    EXPECT_STREQ(JXdate(c.day, c.month, c.year).get_date(), c.text);
  }
  EXPECT_EQ(shown(JXdate(45, 13, -1)), "01-jan-1970 45/13/-1 #-732796");
  EXPECT_TRUE(JXdate(31, 12, 2999).date_is_never());
  EXPECT_FALSE(JXdate(30, 12, 2999).date_is_never());
  JXdate::format_text_date(nullptr, 1, 1, 2000);
}

// Every month counts 31 numbers, so some numbers fall on no date; negative ones are unchecked.
TEST(JXdate, DayNumbers) {
  EXPECT_EQ(from_number(0), "01-jan-1970 1/1/1970 #0");
  EXPECT_EQ(from_number(31), "01-feb-1970 1/2/1970 #31");
  EXPECT_EQ(from_number(58), "28-feb-1970 28/2/1970 #58");
  EXPECT_EQ(from_number(59), "refused, 01-jan-2000 1/1/2000 #11160");
  EXPECT_EQ(from_number(61), "refused, 01-jan-2000 1/1/2000 #11160");
  EXPECT_EQ(from_number(62), "01-mar-1970 1/3/1970 #62");
  EXPECT_EQ(from_number(383159), "31-dec-2999 31/12/2999 #383159");
  EXPECT_EQ(from_number(383160), "refused, 01-jan-2000 1/1/2000 #11160");
  EXPECT_EQ(from_number(-5), "01-jan-1970 -4/1/1970 #-5");
}

// before(false), before(true), after(false), after(true) as four letters T or F.
std::string order(JXdate& self, JXdate& other) {
  std::string letters;
  for (bool result : {self.before(other, false), self.before(other, true), self.after(other, false),
                      self.after(other, true)}) {
    letters += result ? 'T' : 'F';
  }
  return letters;
}

TEST(JXdate, BeforeAndAfterByNumberNegativeFirst) {
  JXdate early(1, 1, 2000), late(2, 1, 2000), negative(1, 1, 2000);
  negative.set_date(-1);
  EXPECT_EQ(order(early, early), "FTFT");
  EXPECT_EQ(order(early, late), "TTFF");
  EXPECT_EQ(order(late, early), "FFTT");
  EXPECT_EQ(order(negative, negative), "TTFF");
  EXPECT_EQ(order(negative, early), "TTFF");
  EXPECT_EQ(order(early, negative), "FFTT");
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
