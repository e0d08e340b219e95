// The command reader: recognises abbreviated commands from a caller's table, line by line.
#pragma once

#include <stdio.h>

// One entry of the caller's command table. The caller owns the table; the reader changes
// only `matched`.
struct tagSCOMMANDS {
  // One or more words, for example "show status"; words follow the quoted-word rules of
  // q7/text/text_utils.h.
  char* command;
  // What get_command returns when the command is recognised; positive, since 0 and the
  // negative values have their own meanings.
  int code;
  // One line of help text.
  char* help;
  int min_args;
  int max_args;
  // The reader's working flag: the entry is still a candidate for the words read so far.
  bool matched;
};

// Where get_command places the arguments when it does not copy them: argument i goes to
// slot i, cut to 79 characters. The next call overwrites the slots.
extern char largs[20][80];

// Shows "<prompt>> " on `output` (when both are given), reads one line of at most 4095
// characters from `input` (a longer line is split and its rest read as the next line),
// and recognises a command of `commands` (`count` entries) from its words. Each word may
// be an abbreviation of the table's word at the same position, or the table's word a
// leading part of it (partial_match); a multi-word command is recognised as soon as the
// words typed so far single it out, and the words after that are its arguments, quotes
// stripped and each cut to 79 characters. Blank lines are skipped.
//
// Help: with an `output` stream, a word "?" among the command words lists the remaining
// candidates ("%s: %s\n" with command and help, after an empty line), and a first argument
// "?" shows the recognised command's help line; either way the reader goes on with the
// next line. Without `output` a "?" among the command words is an ordinary word, and a
// first argument "?" still makes the reader go on with the next line.
//
// With `copy`, each argument is a strdup copy that the caller releases with
// free_command_args; without it, the arguments point into `largs` (Not reentrant).
// A null `arguments` array counts as a capacity of 0. `*argument_count` (when the pointer
// is given) is 0 until a command is recognised, then the number of arguments.
//
// Returns the command's `code`, or, with the message written to `output` when given:
//   0   end of input or a read error; a null table or input stream; also when a copy
//       cannot be allocated (the copies made so far are released), since the reader cannot
//       hand over the line;
//   -1  no command matches: "Unknown command.\n";
//   -2  several commands match, also at the end of the line (so "show" beside
//       "show status" is ambiguous typed alone): "Ambiguous command.\n";
//   -3  more arguments than the command's max_args: "Too many arguments supplied.\n";
//   -4  fewer than its min_args: "Too few arguments supplied.\n";
//   -5  more than `capacity` or more than 20:
//       "Too many arguments for supplied argument buffer.\n".
int get_command(tagSCOMMANDS* commands, int count, FILE* input, char* prompt, FILE* output,
                char** arguments, int* argument_count, int capacity, bool copy);

// Releases with free each of the first `count` entries of `arguments` that is not null and
// sets it to null. A null array or a count of 0 or less does nothing.
void free_command_args(char** arguments, int count);

// Writes "%s: %s\n" with the command and help of every entry, in table order. A null table
// or stream, or a count below 1, writes nothing.
void dump_command_help(tagSCOMMANDS* commands, int count, FILE* stream);
