#include "q7/text/text_utils.h"

#include <gtest/gtest.h>
#include <stdio.h>

#include <string>
#include <vector>

namespace {

TEST(Digits, ValuesAndZeroForOthers) {
  const struct {
    char digit;
    int hex;
    int dec;
  } cases[] = {{'0', 0, 0}, {'9', 9, 9}, {'a', 10, 0}, {'F', 15, 0}, {'f', 15, 0}, {'g', 0, 0},
               {' ', 0, 0}, {'/', 0, 0}, {':', 0, 0},  {'@', 0, 0},  {'G', 0, 0},  {'\x80', 0, 0}};
  for (const auto& c : cases) {
    EXPECT_EQ(hexval(c.digit), c.hex) << "digit=" << c.digit;
    EXPECT_EQ(decval(c.digit), c.dec) << "digit=" << c.digit;
  }
}

TEST(SafeStrcmp, NullsAndOrder) {
  EXPECT_EQ(safe_strcmp(nullptr, nullptr), 0);
  EXPECT_EQ(safe_strcmp(nullptr, "a"), -1);
  EXPECT_EQ(safe_strcmp("a", nullptr), -1);
  EXPECT_EQ(safe_strcmp("a", "a"), 0);
  EXPECT_GT(safe_strcmp("b", "a"), 0);
}

TEST(FoldLower, FoldsOnlyUpperCase) {
  char text[] = "MiXeD 12 \xc4 Z";
  fold_lower(text);
  EXPECT_STREQ(text, "mixed 12 \xc4 z");
  fold_lower(nullptr);
}

TEST(SafeStringConstant, EscapesAndCutsLongTexts) {
  char sample[] = "say \"hi\" \\ ok";
  EXPECT_STREQ(safe_string_constant(sample), "say \\\"hi\\\" \\\\ ok");
  char empty[] = "";
  EXPECT_STREQ(safe_string_constant(empty), "");
  EXPECT_EQ(safe_string_constant(nullptr), nullptr);

  std::string plain(5000, 'p');
  EXPECT_EQ(std::string(safe_string_constant(plain.data())), std::string(4094, 'p'));
  // An escaped character written at 4093 bytes takes the result to its 4095 limit.
  std::string quotes = std::string(4093, 'p') + "\"\"\"";
  EXPECT_EQ(std::string(safe_string_constant(quotes.data())), std::string(4093, 'p') + "\\\"");
}

// The lines of `input` as get_line delivers them with a buffer of `size` bytes.
std::vector<std::string> read_lines(const std::string& input, int size, bool strip) {
  std::string copy = input;
  FILE* stream = fmemopen(copy.data(), copy.size(), "r");
  std::vector<std::string> lines;
  std::vector<char> buffer(size > 0 ? size : 1);
  while (get_line(stream, buffer.data(), size, strip)) lines.emplace_back(buffer.data());
  fclose(stream);
  return lines;
}

TEST(GetLine, StripsLineFeedAndEnclosingQuotes) {
  using Lines = std::vector<std::string>;
  const struct {
    std::string input;
    int size;
    bool strip;
    Lines lines;
  } cases[] = {
      {"one\ntwo\r\nlast", 64, false, {"one", "two\r", "last"}},
      {"\"abc\"\n\"\"\n\"\n\"abc\n\"a\"b\"\n", 64, true, {"abc", "", "\"", "\"abc", "a\"b"}},
      {"\"abc\"\n", 64, false, {"\"abc\""}},
      {"abcdefgh\nxy\n", 4, false, {"abc", "def", "gh", "xy"}},
      {"\n\n", 64, false, {"", ""}},
      {"abc\n", 1, false, {}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(read_lines(c.input, c.size, c.strip), c.lines)
        << "input=" << c.input << " size=" << c.size << " strip=" << c.strip;
  }
  char buffer[8];
  EXPECT_FALSE(get_line(nullptr, buffer, sizeof buffer, false));
}

// Word `number` of `text`, or "<none>" when the scanner says there is none.
std::string word(std::string text, int number, int size, bool quoted, bool strip) {
  std::vector<char> out(size > 0 ? size : 1, '#');
  const bool found = quoted ? get_word_quoted(text.data(), number, out.data(), size, strip)
                            : get_word(text.data(), number, out.data(), size);
  return found ? std::string(out.data()) : "<none>";
}

TEST(GetWord, PlainWords) {
  const struct {
    std::string text;
    int number;
    int size;
    std::string expected;
  } cases[] = {
      {"  alpha   beta", 2, 80, "beta"},
      {"  alpha   beta", 3, 80, "<none>"},
      {"  alpha   beta", 0, 80, "<none>"},
      {"  alpha   beta", 1, 3, "al"},
      {"  alpha   beta", 1, 1, ""},
      {"a\tb\nc\vd\fe\rf", 6, 80, "f"},
      {"a \"b c\" d", 3, 80, "c\""},
      {"", 1, 80, "<none>"},
      {"   ", 1, 80, "<none>"},
      {"x\\ y", 1, 80, "x\\"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(word(c.text, c.number, c.size, false, false), c.expected)
        << "text=" << c.text << " number=" << c.number << " size=" << c.size;
  }
  char out[4];
  EXPECT_FALSE(get_word(nullptr, 1, out, sizeof out));
  char text[] = "a";
  EXPECT_FALSE(get_word(text, 1, nullptr, 4));
  EXPECT_FALSE(get_word(text, 1, out, 0));
}

TEST(GetWordQuoted, QuotesAndEscapes) {
  const struct {
    std::string text;
    int number;
    bool strip;
    std::string expected;
  } cases[] = {
      {"set \"a b\" c", 2, true, "a b"}, {"set \"a b\" c", 2, false, "\"a b\""},
      {"set \"a b\" c", 3, true, "c"},   {"x a\\\"b", 2, true, "a\"b"},
      {"x a\\\"b", 2, false, "a\"b"},    {"x a\\\\b", 2, true, "a\\b"},
      {"x \"a b", 2, true, "a b"},       {"x \"a b", 3, true, "<none>"},
      {"x\\ \"a b\"", 2, true, "\"a"},   {"x\\ \"a b\"", 2, false, "\"a"},
      {"x\\ \"a b\"", 3, false, "b\""},  {"x \"\" y", 2, true, ""},
      {"x \"\" y", 3, true, "y"},        {"x\\", 1, true, "x"},
      {"a\\ b", 2, true, "b"},           {"ab\"c d\"e f", 1, true, "abc de"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(word(c.text, c.number, 80, true, c.strip), c.expected)
        << "text=" << c.text << " number=" << c.number << " strip=" << c.strip;
  }
}

TEST(GetWordQuoted, SizeCountsCharactersRead) {
  // Four characters are read ("a\"b" is a, backslash, quote, b), three are written.
  EXPECT_EQ(word("a\\\"bcd", 1, 5, true, true), "a\"b");
  EXPECT_EQ(word("\"ab\"", 1, 3, true, true), "a");
  EXPECT_EQ(word("\"ab\"", 1, 3, true, false), "\"a");
}

TEST(CountWords, PlainAndQuoted) {
  const struct {
    std::string text;
    int plain;
    int quoted;
  } cases[] = {
      {"a \"b c\" d", 4, 3}, {"", 0, 0},
      {" \t\n", 0, 0},       {"x \"a b", 3, 2},
      {"x\\ \"a b\"", 3, 3}, {"a \\\"b c\"", 3, 3},
      {"\"\" \"\"", 2, 2},   {"\\", 1, 1},
  };
  for (const auto& c : cases) {
    std::string text = c.text;
    EXPECT_EQ(count_words(text.data()), c.plain) << "text=" << c.text;
    EXPECT_EQ(count_words_quoted(text.data()), c.quoted) << "text=" << c.text;
    // The last counted word exists and the one after it does not.
    const bool last_found = word(c.text, c.quoted, 8, true, true) != "<none>";
    EXPECT_EQ(last_found, c.quoted > 0) << "text=" << c.text;
    EXPECT_EQ(word(c.text, c.quoted + 1, 8, true, true), "<none>") << "text=" << c.text;
  }
  EXPECT_EQ(count_words(nullptr), 0);
  EXPECT_EQ(count_words_quoted(nullptr), 0);
}

TEST(PartialMatch, AbbreviationsBothWaysFoldingArguments) {
  const struct {
    std::string first;
    std::string second;
    bool match;
  } cases[] = {
      {"DIR", "directory", true}, {"dirx", "dir", true}, {"dix", "dir", false},
      {"", "anything", true},     {"li", "LIST", true},  {"listing", "list", true},
      {"lo", "li", false},
  };
  for (const auto& c : cases) {
    std::string first = c.first;
    std::string second = c.second;
    EXPECT_EQ(partial_match(first.data(), second.data()), c.match)
        << "first=" << c.first << " second=" << c.second;
  }
  char upper[] = "DIR";
  char lower[] = "DIRECTORY";
  partial_match(upper, lower);
  EXPECT_STREQ(upper, "dir");
  EXPECT_STREQ(lower, "directory");
  EXPECT_FALSE(partial_match(nullptr, upper));
}

}  // namespace
