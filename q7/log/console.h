// Console: text for the person at the terminal, on standard error and standard output.
#pragma once

// Writes text to standard error and standard output, each flushed, and on request into the
// default logger's log file as well. The class has no state; its static operations may be
// called from any thread. Texts are cut to 1023 characters. No newline is added.
class Console {
 public:
  // Formats into a 1024-byte buffer and writes the text to standard error, then to
  // standard output, flushing each. Returns 0.
  static int printf(char* format, ...) __attribute__((format(printf, 1, 2)));

  // As printf, but first, when the default logger writes into a program's log file
  // (q7_have_logfile), writes "CONSOLE LOG:" and the text to that file, unflushed and
  // without taking the log's lock. Returns 0.
  static int logprintf(char* format, ...) __attribute__((format(printf, 1, 2)));

  // Writes `text` to standard error and to standard output, each flushed. Returns 0.
  int out(const char* text);

  // Does nothing.
  void remove();
  ~Console();

  // The single Console object, made by the first printf or logprintf; null before.
  static Console* theConsole_;
};
