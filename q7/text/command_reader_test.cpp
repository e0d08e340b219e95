#include "q7/text/command_reader.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace {

using Words = std::vector<std::string>;

tagSCOMMANDS entry(const char* command, int code, const char* help, int min_args, int max_args) {
  return {const_cast<char*>(command), code, const_cast<char*>(help), min_args, max_args, false};
}

std::vector<tagSCOMMANDS> list_and_load() {
  return {entry("list", 1, "list things", 0, 1), entry("load", 2, "load a file", 1, 1)};
}

struct Reply {
  int result = 0;
  Words arguments;
  std::string shown;  // everything written to the output stream
};

struct Options {
  bool silent = false;
  bool copy = false;
  int capacity = 20;
};

// One get_command call over `input`, with the prompt "q7" and an output stream unless
// silent. Copied arguments are released here.
Reply ask(std::vector<tagSCOMMANDS>& table, const std::string& input, Options options = {}) {
  std::string bytes = input;
  FILE* in = fmemopen(bytes.data(), bytes.size(), "r");
  char* shown = nullptr;
  size_t shown_size = 0;
  FILE* out = options.silent ? nullptr : open_memstream(&shown, &shown_size);
  char* arguments[40] = {};
  int count = -1;
  Reply reply;
  reply.result =
      get_command(table.data(), static_cast<int>(table.size()), in, const_cast<char*>("q7"), out,
                  arguments, &count, options.capacity, options.copy);
  reply.arguments.assign(arguments, arguments + count);
  if (options.copy) free_command_args(arguments, count);
  fclose(in);
  if (out != nullptr) {
    fclose(out);
    reply.shown = shown;
    free(shown);
  }
  return reply;
}

TEST(GetCommand, RecognisesAbbreviationsAndChecksArguments) {
  const struct {
    std::string input;
    int result;
    Words arguments;
    std::string message;
  } cases[] = {
      {"l\n", -2, {}, "Ambiguous command.\n"},
      {"li\n", 1, {}, ""},
      {"LIST a\n", 1, {"a"}, ""},
      {"listing a", 1, {"a"}, ""},
      {"list a b\n", -3, {}, "Too many arguments supplied.\n"},
      {"load\n", -4, {}, "Too few arguments supplied.\n"},
      {"x\n", -1, {}, "Unknown command.\n"},
      {"lo \"two words\"\n", 2, {"two words"}, ""},
      {"lo a\\ b\n", -3, {}, "Too many arguments supplied.\n"},
      {"  \t\n\nli\n", 1, {}, ""},
      {"", 0, {}, ""},
  };
  for (const auto& c : cases) {
    for (bool silent : {false, true}) {
      auto table = list_and_load();
      const Reply reply = ask(table, c.input, {.silent = silent});
      EXPECT_EQ(reply.result, c.result) << "input=" << c.input << " silent=" << silent;
      EXPECT_EQ(reply.arguments, c.arguments) << "input=" << c.input << " silent=" << silent;
      if (!silent) {
        EXPECT_EQ(reply.shown.substr(reply.shown.rfind("q7> ") + 4), c.message)
            << "input=" << c.input;
      }
    }
  }
}

TEST(GetCommand, PromptsForEveryLineIncludingBlankOnes) {
  auto table = list_and_load();
  EXPECT_EQ(ask(table, "\n   \nli\n").shown, "q7> q7> q7> ");
  EXPECT_EQ(ask(table, "").shown, "q7> ");
}

TEST(GetCommand, HelpListsCandidatesAndReadsOn) {
  auto table = list_and_load();
  auto shows = std::vector<tagSCOMMANDS>{entry("show status", 3, "status", 0, 0),
                                         entry("show files", 4, "files", 0, 2)};
  const struct {
    std::vector<tagSCOMMANDS>* table;
    std::string input;
    int result;
    std::string shown;
  } cases[] = {
      {&table, "?\n", 0, "q7> \nlist: list things\nload: load a file\nq7> "},
      {&table, "lo ?\nli\n", 1, "q7> load: load a file\nq7> "},
      {&table, "lo ? more\n", 0, "q7> load: load a file\nq7> "},
      {&table, "l ?\n", -2, "q7> Ambiguous command.\n"},
      // Words after a help word keep their positions: "lo" is compared with second words.
      {&table, "? lo x\n", -1, "q7> \nlist: list things\nload: load a file\nUnknown command.\n"},
      {&shows, "show ?\n", 0, "q7> \nshow status: status\nshow files: files\nq7> "},
      {&shows, "sh fi ?\n", 0, "q7> show files: files\nq7> "},
      {&shows, "show\n", -2, "q7> Ambiguous command.\n"},
      {&shows, "s f a \"?\"\n", 4, "q7> "},
  };
  for (const auto& c : cases) {
    const Reply reply = ask(*c.table, c.input);
    EXPECT_EQ(reply.result, c.result) << "input=" << c.input;
    EXPECT_EQ(reply.shown, c.shown) << "input=" << c.input;
  }
}

TEST(GetCommand, WithoutOutputQuestionMarkIsAWordOrSkipsTheLine) {
  auto table = list_and_load();
  EXPECT_EQ(ask(table, "?\n", {.silent = true}).result, -1);
  EXPECT_EQ(ask(table, "lo ?\nli x\n", {.silent = true}).result, 1);
  EXPECT_EQ(ask(table, "lo ?\nli x\n", {.silent = true}).arguments, Words{"x"});
}

TEST(GetCommand, MultiWordCommandsNeedOnlyTheirDistinctWords) {
  auto table = std::vector<tagSCOMMANDS>{
      entry("show status", 3, "", 0, 1), entry("list files", 4, "", 0, 1),
      entry("show", 5, "", 0, 1), entry("same", 6, "", 0, 0), entry("same", 7, "", 0, 0)};
  const struct {
    std::string input;
    int result;
    Words arguments;
  } cases[] = {
      // "show" has no second word, so it drops out at any second word.
      {"sh x\n", -1, {}},
      {"show\n", -2, {}},
      {"show stat x\n", 3, {"x"}},
      {"l\n", 4, {}},
      // Recognised at "li": "fi" is already an argument.
      {"li fi\n", 4, {"fi"}},
      {"list files a\n", -3, {}},
      {"same\n", -2, {}},
  };
  for (const auto& c : cases) {
    const Reply reply = ask(table, c.input);
    EXPECT_EQ(reply.result, c.result) << "input=" << c.input;
    EXPECT_EQ(reply.arguments, c.arguments) << "input=" << c.input;
  }
  auto pair = std::vector<tagSCOMMANDS>{entry("show status", 3, "", 0, 1),
                                        entry("list files", 4, "", 0, 1)};
  EXPECT_EQ(ask(pair, "sh x\n").arguments, Words{"x"});
}

TEST(GetCommand, ArgumentLimits) {
  auto table = std::vector<tagSCOMMANDS>{entry("many", 1, "", 0, 30)};
  std::string twenty_one = "many";
  for (int i = 0; i < 21; ++i) twenty_one += " a";
  const struct {
    std::string input;
    int capacity;
    int result;
  } cases[] = {{"many a b\n", 2, 1},
               {"many a b c\n", 2, -5},
               {twenty_one, 30, -5},
               {"many a\n", 0, -5},
               {"many\n", 0, 1}};
  for (const auto& c : cases) {
    const Reply reply = ask(table, c.input, {.capacity = c.capacity});
    EXPECT_EQ(reply.result, c.result) << "input=" << c.input << " capacity=" << c.capacity;
    if (c.result == -5) {
      EXPECT_EQ(reply.shown, "q7> Too many arguments for supplied argument buffer.\n");
    }
  }
  const std::string long_argument(200, 'z');
  EXPECT_EQ(ask(table, "many " + long_argument).arguments, Words{long_argument.substr(0, 79)});
  EXPECT_EQ(ask(table, "many " + long_argument, {.copy = true}).arguments,
            Words{long_argument.substr(0, 79)});
}

TEST(GetCommand, StaticArgumentsLiveInLargsCopiesAreTheCallers) {
  auto table = list_and_load();
  std::string input = "li first\nli second\n";
  FILE* in = fmemopen(input.data(), input.size(), "r");
  char* arguments[2] = {};
  int count = 0;
  ASSERT_EQ(get_command(table.data(), 2, in, nullptr, nullptr, arguments, &count, 2, false), 1);
  EXPECT_EQ(arguments[0], largs[0]);
  char* first = arguments[0];
  ASSERT_EQ(get_command(table.data(), 2, in, nullptr, nullptr, arguments, &count, 2, true), 1);
  EXPECT_STREQ(arguments[0], "second");
  EXPECT_NE(arguments[0], largs[0]);
  EXPECT_STREQ(first, "first");
  free_command_args(arguments, count);
  EXPECT_EQ(arguments[0], nullptr);
  EXPECT_EQ(get_command(table.data(), 2, in, nullptr, nullptr, arguments, &count, 2, true), 0);
  EXPECT_EQ(count, 0);
  fclose(in);
  free_command_args(nullptr, 3);
}

TEST(GetCommand, ReadsSuccessiveLinesFromAPipe) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const std::string script = "load a.tif\n\nlist\nbogus\n";
  ASSERT_EQ(write(ends[1], script.data(), script.size()), static_cast<ssize_t>(script.size()));
  close(ends[1]);
  FILE* in = fdopen(ends[0], "r");
  auto table = list_and_load();
  char* arguments[1] = {};
  int count = 0;
  std::vector<int> results;
  int result;
  do {
    result = get_command(table.data(), 2, in, nullptr, nullptr, arguments, &count, 1, true);
    results.push_back(result);
    free_command_args(arguments, count);
  } while (result != 0 && results.size() < 10);
  EXPECT_EQ(results, (std::vector<int>{2, 1, -1, 0}));
  fclose(in);
}

TEST(GetCommand, SplitsOverlongLines) {
  auto table = list_and_load();
  const std::string input = "list" + std::string(5000, ' ') + "x\n";
  FILE* in = fmemopen(const_cast<char*>(input.data()), input.size(), "r");
  char* arguments[1] = {};
  int count = 0;
  EXPECT_EQ(get_command(table.data(), 2, in, nullptr, nullptr, arguments, &count, 1, false), 1);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(get_command(table.data(), 2, in, nullptr, nullptr, arguments, &count, 1, false), -1);
  fclose(in);
}

TEST(GetCommand, NullTableOrInputEndsAtOnce) {
  auto table = list_and_load();
  char* arguments[1] = {};
  int count = 5;
  EXPECT_EQ(get_command(nullptr, 2, stdin, nullptr, nullptr, arguments, &count, 1, false), 0);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(get_command(table.data(), 2, nullptr, nullptr, nullptr, arguments, &count, 1, false),
            0);
}

TEST(DumpCommandHelp, OneLinePerEntryInOrder) {
  auto table = list_and_load();
  char* text = nullptr;
  size_t size = 0;
  FILE* out = open_memstream(&text, &size);
  dump_command_help(table.data(), 2, out);
  dump_command_help(table.data(), 0, out);
  dump_command_help(nullptr, 2, out);
  dump_command_help(table.data(), 2, nullptr);
  fclose(out);
  EXPECT_STREQ(text, "list: list things\nload: load a file\n");
  free(text);
}

}  // namespace
