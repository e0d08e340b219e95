// Tests of the command reader through real streams: matching, help, messages, arguments.
#include "q7/text/command_reader.h"

#include <gtest/gtest.h>
#include <stdio.h>

#include <string>
#include <tuple>
#include <vector>

namespace {

using Table = std::vector<tagSCOMMANDS>;

tagSCOMMANDS entry(const char* command, int code, const char* help, int min_args, int max_args) {
  return {const_cast<char*>(command), code, const_cast<char*>(help), min_args, max_args, false};
}

Table list_and_load() {
  return {entry("list", 1, "list things", 0, 1), entry("load", 2, "load a file", 1, 1)};
}

struct Options {
  bool silent = false;
  bool copy = false;
  int capacity = 20;
};

// One get_command call reading `input`, with the prompt "q7" and an output stream unless
// silent: the result, each argument after a ":", then "|" and what the stream received.
// Copied arguments are released here.
std::string ask(Table& table, std::string input, Options options = {}) {
  FILE* in = fmemopen(input.data(), input.size(), "r");
  char shown[512] = {};
  FILE* out = options.silent ? nullptr : fmemopen(shown, sizeof shown - 1, "w");
  char* arguments[40] = {};
  int count = 0;
  std::string reply = std::to_string(get_command(table.data(), static_cast<int>(table.size()), in,
                                                 const_cast<char*>("q7"), out, arguments, &count,
                                                 options.capacity, options.copy));
  for (int i = 0; i < count; ++i) reply += ":" + std::string(arguments[i]);
  if (options.copy) free_command_args(arguments, count);
  if (out != nullptr) fclose(out);
  fclose(in);
  return reply + "|" + shown;
}

TEST(GetCommand, RecognisesAbbreviationsAndChecksArguments) {
  auto table = list_and_load();
  // "show" has no second word, so it drops out at any second word; "l" is recognised at once,
  // so "fi" after it is already an argument.
  Table words = {entry("show status", 3, "", 0, 1), entry("list files", 4, "", 0, 1),
                 entry("show", 5, "", 0, 1), entry("same", 6, "", 0, 0),
                 entry("same", 7, "", 0, 0)};
  Table many = {entry("many", 1, "", 0, 30)};
  const std::string z79(79, 'z');
  std::string twenty = "many", all_twenty = "1";
  for (int i = 0; i < 20; ++i) twenty += " a", all_twenty += ":a";
  const std::string buffer = "-5|q7> Too many arguments for supplied argument buffer.\n";
  const struct {
    Table* table;
    std::string input, reply;
    int capacity = 20;
  } cases[] = {
      {&table, "l\n", "-2|q7> Ambiguous command.\n"},
      {&table, "li\n", "1|q7> "},
      {&table, "LIST a\n", "1:a|q7> "},
      {&table, "listing a", "1:a|q7> "},
      {&table, "list a b\n", "-3|q7> Too many arguments supplied.\n"},
      {&table, "load\n", "-4|q7> Too few arguments supplied.\n"},
      {&table, "x\n", "-1|q7> Unknown command.\n"},
      {&table, "lo \"two words\"\n", "2:two words|q7> "},
      {&table, "  \t\n\nli\n", "1|q7> q7> q7> "},
      {&table, "", "0|q7> "},
      // The reader takes 4095 characters of a line, so "x" ends one line and "y" starts the next.
      {&table, "list" + std::string(4090, ' ') + "xy\n", "1:x|q7> "},
      {&words, "sh x\n", "-1|q7> Unknown command.\n"},
      {&words, "show\n", "-2|q7> Ambiguous command.\n"},
      {&words, "show stat x\n", "3:x|q7> "},
      {&words, "l fi\n", "4:fi|q7> "},
      {&words, "same\n", "-2|q7> Ambiguous command.\n"},
      {&many, "many a b\n", "1:a:b|q7> ", 2},
      {&many, twenty, all_twenty + "|q7> ", 30},
      {&many, twenty + " a", buffer, 30},
      {&many, "many a\n", buffer, 0},
      {&many, "many\n", "1|q7> ", 0},
      {&many, "many " + z79 + "zzz", "1:" + z79 + "|q7> "},
  };
  for (const auto& c : cases) {
    for (int variant = 0; variant < 4; ++variant) {
      const Options options{
          .silent = variant > 1, .copy = variant % 2 == 1, .capacity = c.capacity};
      EXPECT_EQ(ask(*c.table, c.input, options),
                options.silent ? c.reply.substr(0, c.reply.find('|') + 1) : c.reply)
          << c.input << (options.silent ? " silent" : "") << (options.copy ? " copy" : "");
    }
  }
}

TEST(GetCommand, HelpListsCandidatesAndReadsOn) {
  auto table = list_and_load();
  Table shows = {entry("show status", 3, "status", 0, 0), entry("show files", 4, "files", 0, 2)};
  const std::tuple<Table*, std::string, std::string> cases[] = {
      {&table, "?\n", "0|q7> \nlist: list things\nload: load a file\nq7> "},
      {&table, "lo ?\nli\n", "1|q7> load: load a file\nq7> "},
      {&table, "lo ? more\n", "0|q7> load: load a file\nq7> "},
      {&table, "l ?\n", "-2|q7> Ambiguous command.\n"},
      // Words after a help word keep their positions: "lo" is compared with second words.
      {&table, "? lo x\n", "-1|q7> \nlist: list things\nload: load a file\nUnknown command.\n"},
      {&shows, "show ?\n", "0|q7> \nshow status: status\nshow files: files\nq7> "},
      {&shows, "sh fi ?\n", "0|q7> show files: files\nq7> "},
      {&shows, "s f a \"?\"\n", "4:a:?|q7> "},
  };
  for (const auto& [commands, input, reply] : cases)
    EXPECT_EQ(ask(*commands, input), reply) << "input=" << input;
  // Without output "?" is a word to match, and a first argument "?" still skips the line.
  EXPECT_EQ(ask(table, "?\n", {.silent = true}), "-1|");
  EXPECT_EQ(ask(table, "lo ?\nli x\n", {.silent = true}), "1:x|");
}

// A null table or input ends the reading at once, with no arguments.
TEST(GetCommand, StaticArgumentsLiveInLargsCopiesAreTheCallers) {
  auto table = list_and_load();
  std::string input = "li first\nli second\n";
  FILE* in = fmemopen(input.data(), input.size(), "r");
  char* arguments[2] = {};
  int count = 0;
  ASSERT_EQ(get_command(table.data(), 2, in, nullptr, nullptr, arguments, &count, 2, false), 1);
  EXPECT_EQ(arguments[0], largs[0]);
  char* first = arguments[0];
  EXPECT_EQ(get_command(nullptr, 2, in, nullptr, nullptr, arguments, &count, 2, true), 0);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(get_command(table.data(), 2, nullptr, nullptr, nullptr, arguments, &count, 2, true), 0);
  ASSERT_EQ(get_command(table.data(), 2, in, nullptr, nullptr, arguments, &count, 2, true), 1);
  EXPECT_STREQ(arguments[0], "second");
  EXPECT_STREQ(first, "first");
  free_command_args(arguments, count);
  EXPECT_EQ(arguments[0], nullptr);
  fclose(in);
  free_command_args(nullptr, 3);
}

TEST(DumpCommandHelp, OneLinePerEntryInOrder) {
  auto table = list_and_load();
  char shown[128] = {};
  FILE* out = fmemopen(shown, sizeof shown - 1, "w");
  dump_command_help(table.data(), 2, out);
  dump_command_help(table.data(), 0, out);
  dump_command_help(nullptr, 2, out);
  dump_command_help(table.data(), 2, nullptr);
  fclose(out);
  EXPECT_STREQ(shown, "list: list things\nload: load a file\n");
}

}  // namespace
