// Scanning and converting text: lines, plain and quoted words, abbreviations, digits.
#pragma once

#include <stdio.h>

// Words are runs of characters between white space as isspace has it (space, tab, newline,
// carriage return, vertical tab, form feed). The quoted forms (the `_quoted` functions)
// also group words in double quotes and treat the backslash as an escape: an unescaped
// `"` toggles "in quotes", inside which white space does not end a word, and a backslash
// escapes the character after it. The escape carries over the white space between words,
// so a word ending in a backslash escapes the first character of the next word. A quote
// that is never closed makes the rest of the text one word.
//
// None of these functions allocates. All but safe_string_constant touch only their
// arguments and may be called from any thread.

// The value of a hexadecimal digit: 0-9 for '0' to '9', 10-15 for 'A' to 'F' and 'a' to
// 'f', and 0 for any other character, the same as for '0'. Callers that must tell a bad
// digit from a zero test the character themselves.
int hexval(char digit);

// The value of a decimal digit: 0-9 for '0' to '9', and 0 for any other character.
int decval(char digit);

// Folds every upper-case letter of `text` to lower case in place (isupper / tolower of the
// current locale). A null text is left alone.
void fold_lower(char* text);

// Compares two texts that may be null. Returns 0 when both are null, -1 when exactly one
// is (whichever it is), otherwise the result of strcmp.
int safe_strcmp(const char* first, const char* second);

// Prepares `text` for output between double quotes: a backslash goes before every
// backslash and every double quote (say "hi" \ ok becomes say \"hi\" \\ ok). The result
// holds at most 4095 characters; the copy stops once 4094 or more are written, so a longer
// text is cut silently. A null text gives null.
// Returns a static buffer that the next call overwrites. Not reentrant.
char* safe_string_constant(char* text);

// Reads one line from `stream` with fgets into `buffer` of `size` bytes and removes its
// line feed (a carriage return before it stays). A line longer than size - 1 characters
// comes back in pieces; only the last piece loses its line feed. With `strip_quotes`, a
// text of 2 or more characters that starts and ends with `"` loses those two quotes.
// Returns true when a line (or piece) was read; false at end of file, on a read error
// (the buffer is then undefined), for a null stream or buffer, and for a size below 2,
// which could never hold a character.
bool get_line(FILE* stream, char* buffer, int size, bool strip_quotes);

// Copies word number `number` (the first word is 1) of `text` into `out` of `size` bytes,
// cut to size - 1 characters. Returns true when the word exists, also when it was cut;
// false when it does not, for a number below 1, a null text or out, or a size below 1.
bool get_word(char* text, int number, char* out, int size);

// As get_word, with quoted words. Backslashes that escape are never copied; quotes that
// group are dropped with `strip_quotes` and copied without it; an escaped quote is always
// copied. The copy stops after size - 1 characters of `text` have been read (not
// written), so escapes and stripped quotes leave the copy shorter. A word that comes out
// empty (`""` with strip_quotes) still gives true. For any text, the result is true for
// the numbers 1 to count_words_quoted(text) and false beyond.
bool get_word_quoted(char* text, int number, char* out, int size, bool strip_quotes);

// The number of words get_word finds in `text`; 0 for a null, empty or blank text.
int count_words(char* text);

// The number of words get_word_quoted finds in `text`; 0 for a null, empty or blank text.
int count_words_quoted(char* text);

// The abbreviation rule: folds both texts to lower case in place (the caller's strings
// change) and returns true when the shorter is a leading part of the longer. It works both
// ways ("li" matches "list", and so does "listing"); an empty text matches everything. A
// null argument gives false and nothing is folded.
bool partial_match(char* first, char* second);
