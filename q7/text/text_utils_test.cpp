// Tests of the text scanners, digit values, abbreviations and quoting.
#include "q7/text/text_utils.h"

#include <gtest/gtest.h>
#include <stdio.h>

#include <string>
#include <tuple>
#include <vector>

namespace {

using Words = std::vector<std::string>;

// hexval and decval of each character, as "hex/dec".
TEST(Digits, ValuesAndZeroForOthers) {
  std::string values;
  for (char digit : std::string("09aFfg /:G\x80"))
    values += std::to_string(hexval(digit)) + "/" + std::to_string(decval(digit)) + " ";
  EXPECT_EQ(values, "0/0 9/9 10/0 15/0 15/0 0/0 0/0 0/0 0/0 0/0 0/0 ");
}

TEST(SafeStrcmp, NullsAndOrder) {
  EXPECT_EQ(safe_strcmp(nullptr, nullptr), 0);
  EXPECT_EQ(safe_strcmp(nullptr, "a"), -1);
  EXPECT_EQ(safe_strcmp("a", nullptr), -1);
  EXPECT_GT(safe_strcmp("b", "a"), 0);
}

// An escaped character written at 4093 bytes takes the result to its 4095 limit.
TEST(SafeStringConstant, EscapesAndCutsLongTexts) {
  const std::string p(4093, 'p');
  std::string cases[][2] = {{"say \"hi\" \\ ok", "say \\\"hi\\\" \\\\ ok"},
                            {"", ""},
                            {p + "pppp", p + "p"},
                            {p + "\"\"\"", p + "\\\""}};
  for (auto& [in, out] : cases) EXPECT_EQ(safe_string_constant(in.data()), out);
  EXPECT_EQ(safe_string_constant(nullptr), nullptr);
}

// The lines of `input` as get_line delivers them with a buffer of `size` bytes.
Words read_lines(std::string input, int size, bool strip) {
  FILE* stream = fmemopen(input.data(), input.size(), "r");
  Words lines;
  std::vector<char> buffer(size > 0 ? size : 1);
  while (get_line(stream, buffer.data(), size, strip)) lines.emplace_back(buffer.data());
  fclose(stream);
  return lines;
}

TEST(GetLine, StripsLineFeedAndEnclosingQuotes) {
  const struct {
    std::string input;
    int size;
    bool strip;
    Words lines;
  } cases[] = {
      {"one\n\ntwo\r\nlast", 64, false, {"one", "", "two\r", "last"}},
      {"\"abc\"\n\"\"\n\"\n\"abc\n\"a\"b\"\n", 64, true, {"abc", "", "\"", "\"abc", "a\"b"}},
      {"\"abc\"\n", 64, false, {"\"abc\""}},
      {"abcdefgh\nxy\n", 4, false, {"abc", "def", "gh", "xy"}},
      {"abc\n", 1, false, {}},
  };
  for (const auto& c : cases)
    EXPECT_EQ(read_lines(c.input, c.size, c.strip), c.lines) << c.size << c.strip << c.input;
  char buffer[8];
  EXPECT_FALSE(get_line(nullptr, buffer, sizeof buffer, false));
}

// Every word of `text` in order as get_word ('p'lain) or get_word_quoted with quotes
// 's'tripped or 'k'ept gives them with an out buffer of `size` bytes.
Words words(std::string text, char mode, int size = 80) {
  Words found;
  std::vector<char> out(size, '#');
  // No text has more words than characters; the bound stops a scanner that never says no.
  for (int n = 1; n <= static_cast<int>(text.size()); ++n) {
    const bool exists = mode == 'p'
                            ? get_word(text.data(), n, out.data(), size)
                            : get_word_quoted(text.data(), n, out.data(), size, mode == 's');
    if (!exists) break;
    found.emplace_back(out.data());
  }
  return found;
}

TEST(GetWord, FindsCountsAndCutsWordsAndRefusesBadArguments) {
  const struct {
    std::string text;
    Words plain, stripped, kept;
  } cases[] = {
      {" \t\n", {}, {}, {}},
      {" a\tb\n\v\f\rc ", {"a", "b", "c"}, {"a", "b", "c"}, {"a", "b", "c"}},
      {"set \"a b\" c", {"set", "\"a", "b\"", "c"}, {"set", "a b", "c"}, {"set", "\"a b\"", "c"}},
      {"x a\\\"b", {"x", "a\\\"b"}, {"x", "a\"b"}, {"x", "a\"b"}},
      // An escaped backslash escapes nothing, so the quote after it groups.
      {"a\\\\\"b c\"", {"a\\\\\"b", "c\""}, {"a\\b c"}, {"a\\\"b c\""}},
      {"x \"a b", {"x", "\"a", "b"}, {"x", "a b"}, {"x", "\"a b"}},
      // The backslash ending word 1 escapes the quote that starts word 2.
      {"x\\ \"a b\"", {"x\\", "\"a", "b\""}, {"x", "\"a", "b"}, {"x", "\"a", "b\""}},
      {"x \"\" y", {"x", "\"\"", "y"}, {"x", "", "y"}, {"x", "\"\"", "y"}},
      {"ab\"c d\"e f", {"ab\"c", "d\"e", "f"}, {"abc de", "f"}, {"ab\"c d\"e", "f"}},
      {"a \\\"b c\"", {"a", "\\\"b", "c\""}, {"a", "\"b", "c"}, {"a", "\"b", "c\""}},
      {"x\\", {"x\\"}, {"x"}, {"x"}},
  };
  for (auto c : cases) {
    SCOPED_TRACE("text=" + c.text);
    EXPECT_EQ(words(c.text, 'p'), c.plain);
    EXPECT_EQ(words(c.text, 's'), c.stripped);
    EXPECT_EQ(words(c.text, 'k'), c.kept);
    EXPECT_EQ(count_words(c.text.data()), static_cast<int>(c.plain.size()));
    EXPECT_EQ(count_words_quoted(c.text.data()), static_cast<int>(c.stripped.size()));
  }
  // The quoted size counts characters read, so escapes and stripped quotes shorten the copy.
  const struct {
    std::string text;
    int size;
    char mode;
    Words found;
  } cuts[] = {
      {"  alpha   beta", 3, 'p', {"al", "be"}}, {"  alpha   beta", 1, 'p', {"", ""}},
      {"a\\\"bcd e", 5, 's', {"a\"b", "e"}},    {"\"ab\" c", 3, 's', {"a", "c"}},
      {"\"ab\" c", 3, 'k', {"\"a", "c"}},
  };
  for (const auto& c : cuts)
    EXPECT_EQ(words(c.text, c.mode, c.size), c.found) << c.mode << c.size << " " << c.text;
  char out[4], text[] = "a";
  EXPECT_FALSE(get_word(text, 0, out, 4) || get_word_quoted(text, -1, out, 4, true) ||
               get_word(nullptr, 1, out, 4) || get_word_quoted(text, 1, nullptr, 4, true) ||
               get_word(text, 1, out, 0));
  EXPECT_EQ(count_words(nullptr) + count_words_quoted(nullptr), 0);
}

TEST(PartialMatch, AbbreviationsBothWaysFoldingArguments) {
  const std::tuple<std::string, std::string, bool> cases[] = {
      {"DIR", "directory", true}, {"dirx", "dir", true},     {"dix", "dir", false},
      {"", "anything", true},     {"listing", "LIST", true}, {"lo", "li", false}};
  for (auto [first, second, match] : cases) {
    EXPECT_EQ(partial_match(first.data(), second.data()), match)
        << "first=" << first << " second=" << second;
  }
  // Both arguments fold; a byte above 127 is no letter.
  char upper[] = "DIR\xc4", mixed[] = "DiReCtOrY 12";
  EXPECT_FALSE(partial_match(upper, mixed));
  EXPECT_STREQ(upper, "dir\xc4");
  EXPECT_STREQ(mixed, "directory 12");
  EXPECT_FALSE(partial_match(nullptr, upper) || partial_match(upper, nullptr));
  fold_lower(nullptr);
}

}  // namespace
