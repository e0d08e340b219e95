// The command reader: prompt, line, candidates narrowed word by word, help and arguments.
#include "q7/text/command_reader.h"

#include <limits.h>
#include <stdlib.h>
#include <string.h>

#include "q7/text/text_utils.h"

char largs[20][80];

namespace {

constexpr int kLineSize = 4096;
constexpr int kMaxArguments = 20;
constexpr int kArgumentSize = 80;
// Not a result the caller sees: the line was a help request, read the next one.
constexpr int kNextLine = INT_MIN;

struct Request {
  tagSCOMMANDS* commands;
  int count;
  FILE* output;
  char** arguments;
  int* argument_count;
  int capacity;
  bool copy;
};

int fail(const Request& request, int result, const char* message) {
  if (request.output != nullptr) fputs(message, request.output);
  return result;
}

const char* text_or_empty(const char* text) { return text != nullptr ? text : ""; }

void print_help_line(FILE* stream, const tagSCOMMANDS& entry) {
  fprintf(stream, "%s: %s\n", text_or_empty(entry.command), text_or_empty(entry.help));
}

// Word `position` of an entry's command text, quotes stripped, as typed words are read.
bool command_word(const tagSCOMMANDS& entry, int position, char* out) {
  return entry.command != nullptr && get_word_quoted(entry.command, position, out, kLineSize, true);
}

void list_candidates(const Request& request, int candidates) {
  if (candidates > 0) fputs("\n", request.output);
  for (int i = 0; i < request.count; ++i) {
    if (request.commands[i].matched) print_help_line(request.output, request.commands[i]);
  }
}

// Drops the candidates whose word at `position` is missing or does not match `typed`.
// Returns how many remain.
int narrow(const Request& request, int position, char* typed) {
  char word[kLineSize];
  int candidates = 0;
  for (int i = 0; i < request.count; ++i) {
    tagSCOMMANDS& entry = request.commands[i];
    if (!entry.matched) continue;
    entry.matched = command_word(entry, position, word) && partial_match(typed, word);
    if (entry.matched) ++candidates;
  }
  return candidates;
}

// True when the remaining candidates do not all have the same word at `position`, compared
// exactly as the table has them.
bool candidates_disagree(const Request& request, int position) {
  char first[kLineSize];
  char word[kLineSize];
  bool have_first = false;
  for (int i = 0; i < request.count; ++i) {
    const tagSCOMMANDS& entry = request.commands[i];
    if (!entry.matched) continue;
    if (!have_first) {
      have_first = command_word(entry, position, first);
    } else if (command_word(entry, position, word) && strcmp(first, word) != 0) {
      return true;
    }
  }
  return false;
}

const tagSCOMMANDS& only_candidate(const Request& request) {
  int i = 0;
  while (!request.commands[i].matched) ++i;
  return request.commands[i];
}

// Checks the argument count of the recognised command and hands the arguments over.
int hand_over(const Request& request, char* line, int first_word, int words,
              const tagSCOMMANDS& command) {
  char word[kLineSize];
  const int given = words - first_word + 1;
  if (given > 0) {
    get_word_quoted(line, first_word, word, kLineSize, true);
    if (strcmp(word, "?") == 0) {
      if (request.output != nullptr) print_help_line(request.output, command);
      return kNextLine;
    }
  }
  if (given > command.max_args) return fail(request, -3, "Too many arguments supplied.\n");
  if (given < command.min_args) return fail(request, -4, "Too few arguments supplied.\n");
  const int capacity = request.arguments != nullptr ? request.capacity : 0;
  if (given > capacity || given > kMaxArguments) {
    return fail(request, -5, "Too many arguments for supplied argument buffer.\n");
  }
  for (int i = 0; i < given; ++i) {
    get_word_quoted(line, first_word + i, word, kLineSize, true);
    word[kArgumentSize - 1] = '\0';
    if (!request.copy) {
      request.arguments[i] = strcpy(largs[i], word);
      continue;
    }
    request.arguments[i] = strdup(word);
    if (request.arguments[i] == nullptr) {
      free_command_args(request.arguments, i);
      return 0;
    }
  }
  if (request.argument_count != nullptr) *request.argument_count = given;
  return command.code;
}

// Recognises the command of one non-blank line. Returns the result for the caller, or
// kNextLine after a help request.
int recognise(const Request& request, char* line, int words) {
  for (int i = 0; i < request.count; ++i) request.commands[i].matched = true;
  int candidates = request.count > 0 ? request.count : 0;
  char typed[kLineSize];
  for (int position = 1; position <= words; ++position) {
    get_word_quoted(line, position, typed, kLineSize, true);
    if (request.output != nullptr && strcmp(typed, "?") == 0) {
      list_candidates(request, candidates);
      if (position == words) return kNextLine;
      continue;
    }
    candidates = narrow(request, position, typed);
    if (candidates == 0) return fail(request, -1, "Unknown command.\n");
    if (candidates_disagree(request, position)) {
      return fail(request, -2, "Ambiguous command.\n");
    }
    if (candidates == 1)
      return hand_over(request, line, position + 1, words, only_candidate(request));
  }
  return fail(request, -2, "Ambiguous command.\n");
}

}  // namespace

int get_command(tagSCOMMANDS* commands, int count, FILE* input, char* prompt, FILE* output,
                char** arguments, int* argument_count, int capacity, bool copy) {
  if (argument_count != nullptr) *argument_count = 0;
  if (commands == nullptr || input == nullptr) return 0;
  const Request request{commands, count, output, arguments, argument_count, capacity, copy};
  char line[kLineSize];
  for (;;) {
    if (output != nullptr && prompt != nullptr) {
      fprintf(output, "%s> ", prompt);
      fflush(output);
    }
    if (fgets(line, sizeof line, input) == nullptr) return 0;
    const int words = count_words_quoted(line);
    if (words == 0) continue;
    const int result = recognise(request, line, words);
    if (result != kNextLine) return result;
  }
}

void free_command_args(char** arguments, int count) {
  if (arguments == nullptr) return;
  for (int i = 0; i < count; ++i) {
    free(arguments[i]);
    arguments[i] = nullptr;
  }
}

void dump_command_help(tagSCOMMANDS* commands, int count, FILE* stream) {
  if (commands == nullptr || stream == nullptr) return;
  for (int i = 0; i < count; ++i) print_help_line(stream, commands[i]);
}
