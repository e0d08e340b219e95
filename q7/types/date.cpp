// JXdate: validity, day numbers, date texts and comparisons.
#include "q7/types/date.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "q7/text/text_utils.h"

namespace {

constexpr int kFirstYear = 1970;
constexpr int kLastYear = 2999;
constexpr int kMaxTextLength = 11;
constexpr int kDaysPerMonth = 31;
constexpr int kDaysPerYear = 372;
const char kFallbackText[] = "01-jan-1970";
const char kNever[] = "never";

bool is_leap(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int month_length(int month, int year) {
  static constexpr int kLengths[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && is_leap(year) ? 29 : kLengths[month - 1];
}

// A real calendar date within the range, without the exception for negative years.
bool is_calendar_date(int day, int month, int year) {
  return year >= kFirstYear && year <= kLastYear && month >= 1 && month <= 12 && day >= 1 &&
         day <= month_length(month, year);
}

// The month of a three-letter lower-case name, 1 to 12, or 0.
int month_of(const char* name, size_t length) {
  if (length != 3) return 0;
  for (int i = 0; i < 12; ++i) {
    if (strncmp(name, JXdate::month_names[i], 3) == 0) return i + 1;
  }
  return 0;
}

}  // namespace

const char* const JXdate::month_names[12] = {"jan", "feb", "mar", "apr", "may", "jun",
                                             "jul", "aug", "sep", "oct", "nov", "dec"};

JXdate::JXdate() {
  set_fallback();
  const time_t now = time(nullptr);
  struct tm local;
  if (localtime_r(&now, &local) != nullptr) {
    set_date(local.tm_mday, local.tm_mon + 1, local.tm_year + 1900);
  }
}

JXdate::JXdate(char* text) {
  set_fallback();
  set_date(text);
}

JXdate::JXdate(int day, int month, int year) {
  set_fallback();
  set_date(day, month, year);
}

JXdate::~JXdate() = default;

void JXdate::set_fallback() {
  strcpy(text, kFallbackText);
  day = 1;
  month = 1;
  year = kFirstYear;
  day_number = 0;
}

char* JXdate::get_date() { return text; }

void JXdate::get_date(int& day_out, int& month_out, int& year_out) {
  day_out = day;
  month_out = month;
  year_out = year;
}

void JXdate::get_date(int& day_number_out) { day_number_out = day_number; }

bool JXdate::set_date(char* text_in) {
  int d, m, y;
  if (!parse_text_date(text_in, d, m, y) || !valid_date(d, m, y)) return false;
  strcpy(text, text_in);
  fold_lower(text);
  day = d;
  month = m;
  year = y;
  day_number = find_day_number(d, m, y);
  return true;
}

bool JXdate::set_date(int day_in, int month_in, int year_in) {
  if (!valid_date(day_in, month_in, year_in)) return false;
  day = day_in;
  month = month_in;
  year = year_in;
  day_number = find_day_number(day_in, month_in, year_in);
  format_text_date(text, day_in, month_in, year_in);
  return true;
}

bool JXdate::set_date(int day_number_in) {
  int d, m, y;
  from_day_number(day_number_in, d, m, y);
  if (day_number_in >= 0 && !valid_date(d, m, y)) return false;
  day = d;
  month = m;
  year = y;
  day_number = day_number_in;
  format_text_date(text, d, m, y);
  return true;
}

bool JXdate::before(JXdate other, bool or_equal) {
  if (day_number < 0) return true;
  return or_equal ? day_number <= other.day_number : day_number < other.day_number;
}

bool JXdate::after(JXdate other, bool or_equal) {
  if (day_number < 0) return false;
  return or_equal ? day_number >= other.day_number : day_number > other.day_number;
}

bool JXdate::date_is_never() { return day == 31 && month == 12 && year == kLastYear; }

bool JXdate::valid_date(char* text) {
  int d, m, y;
  return parse_text_date(text, d, m, y) && valid_date(d, m, y);
}

bool JXdate::valid_date(int day, int month, int year) {
  return year < 0 || is_calendar_date(day, month, year);
}

bool JXdate::valid_date(int day_number) {
  if (day_number < 0) return true;
  int d, m, y;
  from_day_number(day_number, d, m, y);
  return valid_date(d, m, y);
}

int JXdate::find_day_number(int day, int month, int year) {
  // Summed in 64 bits and narrowed, which wraps modulo 2^32 where the int sum would
  // overflow.
  const int64_t number = static_cast<int64_t>(day) + int64_t{kDaysPerMonth} * month +
                         int64_t{kDaysPerYear} * year - 732872;
  return static_cast<int32_t>(static_cast<uint32_t>(number));
}

void JXdate::from_day_number(int day_number, int& day, int& month, int& year) {
  year = day_number / kDaysPerYear + kFirstYear;
  month = (day_number % kDaysPerYear) / kDaysPerMonth + 1;
  day = (day_number % kDaysPerYear) % kDaysPerMonth + 1;
}

void JXdate::format_text_date(char* out, int day, int month, int year) {
  if (out == nullptr) return;
  if (!is_calendar_date(day, month, year)) {
    strcpy(out, kFallbackText);
    return;
  }
  // A calendar date's text is always 11 characters; the larger buffer only spares the
  // compiler's warning about ints it cannot bound.
  char formatted[32];
  snprintf(formatted, sizeof formatted, "%2.2d-%s-%4.4d", day, month_names[month - 1], year);
  strcpy(out, formatted);
}

bool JXdate::parse_text_date(char* text, int& day, int& month, int& year) {
  if (text == nullptr || strlen(text) > kMaxTextLength) return false;
  char copy[kMaxTextLength + 1];
  strcpy(copy, text);
  fold_lower(copy);
  if (strcmp(copy, kNever) == 0) {
    day = 31;
    month = 12;
    year = kLastYear;
    return true;
  }
  const char* first = strchr(copy, '-');
  const char* second = first != nullptr ? strchr(first + 1, '-') : nullptr;
  if (second == nullptr) return false;
  const int found = month_of(first + 1, second - first - 1);
  if (found == 0) return false;
  day = atoi(copy);
  month = found;
  year = atoi(second + 1);
  return true;
}
