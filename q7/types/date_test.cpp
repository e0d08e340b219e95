#include "q7/types/date.h"

#include <gtest/gtest.h>
#include <limits.h>
#include <string.h>
#include <time.h>

#include <string>

namespace {

char* text(const std::string& s) { return const_cast<char*>(s.c_str()); }

struct Fields {
  int day, month, year, number;
  bool operator==(const Fields&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Fields& f) {
  return out << f.day << "/" << f.month << "/" << f.year << " #" << f.number;
}

Fields fields(JXdate& date) {
  Fields f;
  date.get_date(f.day, f.month, f.year);
  date.get_date(f.number);
  return f;
}

TEST(JXdate, ConstructedFromTextKeepsItFoldedOrFallsBack) {
  const struct {
    const char* input;
    std::string text;
    Fields fields;
  } cases[] = {
      {"never", "never", {31, 12, 2999, 383159}},
      {"NEVER", "never", {31, 12, 2999, 383159}},
      {"29-feb-2000", "29-feb-2000", {29, 2, 2000, 11219}},
      {"29-Feb-2004", "29-feb-2004", {29, 2, 2004, 12707}},
      {"1-Jan-2000", "1-jan-2000", {1, 1, 2000, 11160}},
      {" 5-MAR-2004", " 5-mar-2004", {5, 3, 2004, 12714}},
      {"29-feb-2100", "01-jan-1970", {1, 1, 1970, 0}},
      {"31-apr-2000", "01-jan-1970", {1, 1, 1970, 0}},
      {"05-march-2004", "01-jan-1970", {1, 1, 1970, 0}},
      {"05/mar/2004", "01-jan-1970", {1, 1, 1970, 0}},
      {"05-mar-04", "01-jan-1970", {1, 1, 1970, 0}},
      {"31-dec-1969", "01-jan-1970", {1, 1, 1970, 0}},
      {"1-jan-3000", "01-jan-1970", {1, 1, 1970, 0}},
      {"", "01-jan-1970", {1, 1, 1970, 0}},
      {"--", "01-jan-1970", {1, 1, 1970, 0}},
      {nullptr, "01-jan-1970", {1, 1, 1970, 0}},
  };
  for (const auto& c : cases) {
    JXdate date(const_cast<char*>(c.input));
    const char* shown = c.input != nullptr ? c.input : "(null)";
    EXPECT_EQ(std::string(date.get_date()), c.text) << "input=" << shown;
    EXPECT_EQ(fields(date), c.fields) << "input=" << shown;
  }
}

TEST(JXdate, ConstructedFromNumbers) {
  const struct {
    int day, month, year;
    std::string text;
  } cases[] = {
      {31, 12, 2999, "31-dec-2999"}, {1, 1, 2000, "01-jan-2000"},  {5, 3, 2004, "05-mar-2004"},
      {29, 2, 2400, "29-feb-2400"},  {29, 2, 2300, "01-jan-1970"}, {0, 1, 2000, "01-jan-1970"},
      {1, 13, 2000, "01-jan-1970"},  {31, 6, 2000, "01-jan-1970"},
  };
  for (const auto& c : cases) {
    JXdate date(c.day, c.month, c.year);
    EXPECT_EQ(std::string(date.get_date()), c.text) << c.day << "/" << c.month << "/" << c.year;
  }
  JXdate never(31, 12, 2999);
  EXPECT_TRUE(never.date_is_never());
  EXPECT_FALSE(JXdate(30, 12, 2999).date_is_never());
}

TEST(JXdate, NegativeYearsAreValidWithTheFallbackText) {
  JXdate date(45, 13, -1);
  EXPECT_EQ(fields(date), (Fields{45, 13, -1, JXdate::find_day_number(45, 13, -1)}));
  EXPECT_STREQ(date.get_date(), "01-jan-1970");
  EXPECT_TRUE(date.before(JXdate(1, 1, 1970), false));
  // Absurd years wrap instead of overflowing.
  EXPECT_TRUE(JXdate::valid_date(1, 1, INT_MIN));
  JXdate extreme(INT_MAX, 1, INT_MIN);
  EXPECT_STREQ(extreme.get_date(), "01-jan-1970");
}

TEST(JXdate, RefusedSettersChangeNothing) {
  JXdate date(1, 1, 2000);
  EXPECT_FALSE(date.set_date(text("01-january-2000")));
  EXPECT_FALSE(date.set_date(text("31-dec-1969")));
  EXPECT_FALSE(date.set_date(nullptr));
  EXPECT_FALSE(date.set_date(31, 2, 2001));
  EXPECT_FALSE(date.set_date(59));
  EXPECT_FALSE(date.set_date(61));
  EXPECT_EQ(fields(date), (Fields{1, 1, 2000, 11160}));
  EXPECT_STREQ(date.get_date(), "01-jan-2000");
}

TEST(JXdate, DayNumbers) {
  const struct {
    int number;
    bool accepted;
    Fields fields;
    std::string text;
  } cases[] = {
      {0, true, {1, 1, 1970, 0}, "01-jan-1970"},
      {30, true, {31, 1, 1970, 30}, "31-jan-1970"},
      {31, true, {1, 2, 1970, 31}, "01-feb-1970"},
      {58, true, {28, 2, 1970, 58}, "28-feb-1970"},
      {59, false, {}, ""},
      {61, false, {}, ""},
      {62, true, {1, 3, 1970, 62}, "01-mar-1970"},
      {383159, true, {31, 12, 2999, 383159}, "31-dec-2999"},
      {383160, false, {}, ""},
      // Negative numbers are taken unchecked; the derived day is then not a real one.
      {-5, true, {-4, 1, 1970, -5}, "01-jan-1970"},
  };
  for (const auto& c : cases) {
    JXdate date(1, 1, 2000);
    EXPECT_EQ(date.set_date(c.number), c.accepted) << "number=" << c.number;
    EXPECT_EQ(JXdate::valid_date(c.number), c.accepted) << "number=" << c.number;
    if (!c.accepted) continue;
    EXPECT_EQ(fields(date), c.fields) << "number=" << c.number;
    EXPECT_EQ(std::string(date.get_date()), c.text) << "number=" << c.number;
  }
  JXdate lowest(1, 1, 2000);
  EXPECT_TRUE(lowest.set_date(INT_MIN));
  EXPECT_STREQ(lowest.get_date(), "01-jan-1970");
  EXPECT_EQ(fields(lowest).number, INT_MIN);
  EXPECT_EQ(JXdate::find_day_number(1, 1, 1970), 0);
  EXPECT_EQ(JXdate::find_day_number(31, 12, 2999), 383159);
}

TEST(JXdate, BeforeAndAfter) {
  JXdate early(1, 1, 2000);
  JXdate late(2, 1, 2000);
  JXdate negative(1, 1, 2000);
  negative.set_date(-1);
  const struct {
    JXdate* self;
    JXdate* other;
    bool before, before_or_equal, after, after_or_equal;
  } cases[] = {
      {&early, &early, false, true, false, true},
      {&early, &late, true, true, false, false},
      {&late, &early, false, false, true, true},
      {&negative, &negative, true, true, false, false},
      {&negative, &early, true, true, false, false},
      {&early, &negative, false, false, true, true},
  };
  for (const auto& c : cases) {
    const std::string which = std::string(c.self->get_date()) + " vs " + c.other->get_date();
    EXPECT_EQ(c.self->before(*c.other, false), c.before) << which;
    EXPECT_EQ(c.self->before(*c.other, true), c.before_or_equal) << which;
    EXPECT_EQ(c.self->after(*c.other, false), c.after) << which;
    EXPECT_EQ(c.self->after(*c.other, true), c.after_or_equal) << which;
  }
}

TEST(JXdate, ParseAcceptsUncheckedNumbers) {
  int day = 0, month = 0, year = 0;
  EXPECT_TRUE(JXdate::parse_text_date(text("45-jan-1800"), day, month, year));
  EXPECT_EQ(day, 45);
  EXPECT_EQ(month, 1);
  EXPECT_EQ(year, 1800);
  EXPECT_FALSE(JXdate::valid_date(text("45-jan-1800")));
  EXPECT_TRUE(JXdate::parse_text_date(text("x-dec-"), day, month, year));
  EXPECT_EQ(day, 0);
  EXPECT_EQ(year, 0);
  EXPECT_FALSE(JXdate::parse_text_date(text("1-dec"), day, month, year));
  EXPECT_FALSE(JXdate::parse_text_date(text("1--dec-2000"), day, month, year));
  char out[12] = "untouched";
  JXdate::format_text_date(nullptr, 1, 1, 2000);
  JXdate::format_text_date(out, 9, 11, 2042);
  EXPECT_STREQ(out, "09-nov-2042");
}

// Today's text as the numbers constructor makes it.
std::string today_text() {
  const time_t now = time(nullptr);
  struct tm local;
  localtime_r(&now, &local);
  return JXdate(local.tm_mday, local.tm_mon + 1, local.tm_year + 1900).get_date();
}

TEST(JXdate, DefaultIsToday) {
  // Readings on both sides, so that a run across midnight still passes.
  const std::string before = today_text();
  JXdate today;
  const std::string after = today_text();
  EXPECT_TRUE(today.get_date() == before || today.get_date() == after) << today.get_date();
}

}  // namespace
