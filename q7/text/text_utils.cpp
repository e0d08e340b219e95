// Digits, case folding, quoting for output, lines and the plain and quoted word scanners.
#include "q7/text/text_utils.h"

#include <ctype.h>
#include <string.h>

#include <algorithm>

namespace {

constexpr int kQuotedSize = 4096;
// The copy stops once this many bytes are written, so that an escaped last character
// (two bytes) and the terminator still fit the buffer.
constexpr int kQuotedStop = kQuotedSize - 2;
char quoted_text[kQuotedSize];

bool is_blank(char c) { return isspace(static_cast<unsigned char>(c)) != 0; }

// Walks a text word by word. Plain scanning knows only white space; quoted scanning
// also keeps the in-quotes and escaped flags, which both counting and copying must
// update identically so that word numbers agree between them.
class WordScanner {
 public:
  WordScanner(const char* text, bool quoted) : at_(text), quoted_(quoted) {}

  // Moves past white space to the next word; false at the end of the text. The escaped
  // flag deliberately survives the white space.
  bool next_word() {
    while (*at_ != '\0' && is_blank(*at_)) ++at_;
    return *at_ != '\0';
  }

  bool in_word() const { return *at_ != '\0' && (in_quotes_ || !is_blank(*at_)); }

  // Consumes one character of the current word. Returns whether it belongs in a copy:
  // escaping backslashes never do, grouping quotes only when they are kept.
  bool consume(bool strip_quotes) {
    const char c = *at_++;
    if (!quoted_) return true;
    bool keep = true;
    if (c == '"' && !escaped_) {
      in_quotes_ = !in_quotes_;
      keep = !strip_quotes;
    } else if (c == '\\' && !escaped_) {
      keep = false;
    }
    escaped_ = c == '\\' && !escaped_;
    return keep;
  }

  char current() const { return *at_; }

  void skip_word() {
    while (in_word()) consume(false);
  }

 private:
  const char* at_;
  bool quoted_;
  bool in_quotes_ = false;
  bool escaped_ = false;
};

int count_with(const char* text, bool quoted) {
  if (text == nullptr) return 0;
  WordScanner scanner(text, quoted);
  int words = 0;
  while (scanner.next_word()) {
    ++words;
    scanner.skip_word();
  }
  return words;
}

bool find_word(const char* text, int number, char* out, int size, bool quoted, bool strip_quotes) {
  if (text == nullptr || out == nullptr || size < 1 || number < 1) return false;
  WordScanner scanner(text, quoted);
  for (int word = 1; scanner.next_word(); ++word) {
    if (word < number) {
      scanner.skip_word();
      continue;
    }
    int written = 0;
    for (int read = 0; read < size - 1 && scanner.in_word(); ++read) {
      const char c = scanner.current();
      if (scanner.consume(strip_quotes)) out[written++] = c;
    }
    out[written] = '\0';
    return true;
  }
  return false;
}

}  // namespace

int hexval(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return 0;
}

int decval(char digit) { return digit >= '0' && digit <= '9' ? digit - '0' : 0; }

void fold_lower(char* text) {
  if (text == nullptr) return;
  const size_t length = strlen(text);
  for (size_t i = 0; i < length; ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (isupper(c)) text[i] = static_cast<char>(tolower(c));
  }
}

int safe_strcmp(const char* first, const char* second) {
  if (first == nullptr && second == nullptr) return 0;
  if (first == nullptr || second == nullptr) return -1;
  return strcmp(first, second);
}

char* safe_string_constant(char* text) {
  if (text == nullptr) return nullptr;
  int written = 0;
  for (const char* c = text; *c != '\0' && written < kQuotedStop; ++c) {
    if (*c == '\\' || *c == '"') quoted_text[written++] = '\\';
    quoted_text[written++] = *c;
  }
  quoted_text[written] = '\0';
  return quoted_text;
}

bool get_line(FILE* stream, char* buffer, int size, bool strip_quotes) {
  if (stream == nullptr || buffer == nullptr || size < 2) return false;
  if (fgets(buffer, size, stream) == nullptr) return false;
  size_t length = strlen(buffer);
  if (length > 0 && buffer[length - 1] == '\n') buffer[--length] = '\0';
  if (strip_quotes && length >= 2 && buffer[0] == '"' && buffer[length - 1] == '"') {
    memmove(buffer, buffer + 1, length - 2);
    buffer[length - 2] = '\0';
  }
  return true;
}

bool get_word(char* text, int number, char* out, int size) {
  return find_word(text, number, out, size, false, false);
}

bool get_word_quoted(char* text, int number, char* out, int size, bool strip_quotes) {
  return find_word(text, number, out, size, true, strip_quotes);
}

int count_words(char* text) { return count_with(text, false); }

int count_words_quoted(char* text) { return count_with(text, true); }

bool partial_match(char* first, char* second) {
  if (first == nullptr || second == nullptr) return false;
  fold_lower(first);
  fold_lower(second);
  const size_t length = std::min(strlen(first), strlen(second));
  return strncmp(first, second, length) == 0;
}
