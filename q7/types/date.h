// JXdate: a calendar date as day, month and year, as a short text and as an ordering number.
#pragma once

// A date from 1 January 1970 to 31 December 2999, the last of which is also called
// "never". A value object: programs make it on the stack or with new and copy it freely;
// it owns no memory. One object is used by one thread at a time.
//
// The day number is 372 * (year - 1970) + 31 * (month - 1) + (day - 1): every month
// counts 31 days and every year 372, so it orders dates but is not a count of days
// (1 January 2000 is 11160, 31 December 2999 is 383159). A negative day number stands
// before every date.
//
// Dates made from numbers get the text "%2.2d-%s-%4.4d" (05-mar-2004); a date made from a
// text keeps that text folded to lower case (5-Mar-2004 gives 5-mar-2004, NEVER gives
// "never"). The fallback date is 1 January 1970, "01-jan-1970".
//
// Valid dates have years 1970 to 2999, months 1 to 12 and Gregorian month lengths. Besides,
// every negative year counts as valid, whatever the day and month, and so does every
// negative day number. Such a date has no text of its own: no month name fits a month
// outside 1 to 12, and its year or day would not fit the 11 characters of `text`, so it
// gets the fallback text "01-jan-1970" while its fields keep the values given.
class JXdate {
 public:
  // Today's local date; 1 January 1970 should the clock give a date outside the range.
  JXdate();
  // The date of `text` as set_date(text) reads it; 1 January 1970 when the text is null or
  // refused.
  JXdate(char* text);
  // The date as set_date(day, month, year) takes it; 1 January 1970 when refused.
  JXdate(int day, int month, int year);
  virtual ~JXdate();

  // The date's text, owned by the object and changed by the setters.
  char* get_date();
  void get_date(int& day, int& month, int& year);
  void get_date(int& day_number);

  // Sets the date from a text such as 5-mar-2004 or "never" (any case; see
  // parse_text_date) and keeps the text folded to lower case. Returns false, the object
  // unchanged, when the text is null, does not parse or is not a valid date.
  bool set_date(char* text);
  // Sets the date and makes its text. Returns false, the object unchanged, when the date
  // is not valid.
  bool set_date(int day, int month, int year);
  // Sets the date from a day number (see from_day_number). A negative number is taken
  // unchecked; a number of 0 or more must give a valid date, else the result is false and
  // the object unchanged. The number is stored as given.
  bool set_date(int day_number);

  // True when this date comes before `other` (or is the same, with `or_equal`), by day
  // number; always true when this date's day number is negative. Only this date's sign
  // counts: a negative `other` compares by number.
  bool before(JXdate other, bool or_equal);
  // True when this date comes after `other` (or is the same, with `or_equal`); always false
  // when this date's day number is negative.
  bool after(JXdate other, bool or_equal);
  // True for 31 December 2999.
  bool date_is_never();

  // True when `text` parses and gives a valid date.
  static bool valid_date(char* text);
  // The rules above: years 1970 to 2999 with real months and days, or any negative year.
  static bool valid_date(int day, int month, int year);
  // True for a negative number; otherwise whether from_day_number gives a valid date.
  static bool valid_date(int day_number);
  // day + 31 * month + 372 * year - 732872, unchecked; values far outside the range wrap
  // as 32-bit arithmetic does instead of overflowing.
  static int find_day_number(int day, int month, int year);
  // year = day_number / 372 + 1970, month = (day_number % 372) / 31 + 1, day =
  // (day_number % 372) % 31 + 1, with C's division truncating toward zero.
  static void from_day_number(int day_number, int& day, int& month, int& year);
  // Writes the text of a valid date ("%2.2d-%s-%4.4d", 11 characters) into `out`, which
  // has room for 12 bytes; "01-jan-1970" for a date that is not valid or has a negative
  // year (see above). Nothing for a null `out`.
  static void format_text_date(char* out, int day, int month, int year);
  // Reads a text of at most 11 characters: "never" in any case gives 31, 12, 2999;
  // otherwise day-month-year with a month name of `month_names` (any case) between the
  // first two hyphens, and day and year read as atoi does (leading blanks and a sign
  // accepted, no digits give 0). Returns true and sets the three values when the text has
  // this form, without checking them (45-jan-1800 parses); false, the values untouched,
  // for a null, longer or other text (05-march-2004, 05/mar/2004).
  static bool parse_text_date(char* text, int& day, int& month, int& year);

  // "jan" to "dec".
  static const char* const month_names[12];

  char text[12];
  int day;
  int month;
  int year;
  int day_number;

 private:
  void set_fallback();
};
