// The message log: numbered levels, a facility tag and time-stamped lines on a stream.
#pragma once

#include <stdint.h>
#include <stdio.h>

// Level names indexed by level: 0 "FULL ", 1 "ERROR", 2 "WARN ", 3 "INFO ", 4 "DEBUG",
// 5 "TRACE", 6 "     " (the untimed line kind). Each is exactly five characters.
extern const char* const level_str[7];

// A message log on one stream. A message at level L prints when 1 <= L <= `level`; a level
// of -1 switches the log off. Timed lines look like
//   "(Q7 LIB) 14:03:07.25 INFO : text"   ("%s %02d:%02d:%05.2f %s: %s")
// and untimed lines like
//   "(Q7 LIB)                  : text"   ("%s                  : %s")
// so their colons line up. Each line ends in a newline, added when the text has none.
//
// The object owns its lock and nothing else: the stream belongs to the caller and is never
// closed. The class has no destructor: setting the level to -1 releases the lock, which a
// program does before a log of its own goes away. Threads may share a log; each line is printed
// under its lock, created on first use. Nothing that runs while a line is printed may log through
// the same object. Messages are cut to fit `message` (4095 characters with the newline); a facility
// name to 77 characters.
class q7MessageLog {
 public:
  // A log at level 3 with the facility "(Q7 LIB)" on `stream`; a null stream becomes
  // standard error at the first message.
  constexpr q7MessageLog(FILE* stream) : stream(stream) {}

  // Prints a timed line at `level` (levels above 5 print as 5, TRACE) and remembers the
  // level for q7_msgcont.
  void q7_notify(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));
  // Prints a timed TRACE line when the current level is 5 or more.
  void q7_trace(const char* format, ...) __attribute__((format(printf, 2, 3)));
  // Prints an untimed line when the current level is 3 or more.
  void q7_msg(const char* format, ...) __attribute__((format(printf, 2, 3)));
  // Prints an untimed line continuing the last q7_notify line: when that line was printed
  // and its level still passes the current level.
  void q7_msgcont(const char* format, ...) __attribute__((format(printf, 2, 3)));

  // Prints `message` as a line of kind `kind` (0 to 5: timed with that level's name;
  // 6 or more: untimed) without taking the lock. Returns 0 after a timed line, which is
  // flushed, or the character count of an untimed line, which is not. A null stream is
  // replaced by standard error first.
  int q7_msg_print(int kind);

  // Sets the current level. -1 switches the log off: the stream is forgotten and the lock
  // deleted, both coming back (standard error, a new lock) with the first message after
  // the level is set to 0 or more again.
  void q7_notify_setlevel(int level);
  int q7_notify_getlevel();

  // Sets the facility tag to "(" + name + ")" and marks the facility as set.
  // Returns the length of the tag.
  int q7_notify_set_facility(const char* name);

  // True when the log has a stream and a facility was set: a program's own log file.
  bool q7_have_logfile();

  // Replaces the stream, under the lock.
  void setFile(FILE* stream);

  double clock_base = 0;        // q7mp_getclock() at the last synchronisation; 0 before
  double day_seconds_base = 0;  // local time of day then, in whole seconds since midnight
  int32_t level = 3;
  int32_t last_level = -1;  // level of the last printed q7_notify line; -1 before any
  void* lock = nullptr;     // mutex handle, made on first use
  FILE* stream;
  char message[4096] = {};
  char facility[80] = "(Q7 LIB)";
  bool facility_set = false;
};

// The process-wide log the plain functions below act on: standard error, level 3,
// "(Q7 LIB)", until a program changes it (open_log sends it into the program's log file).
extern q7MessageLog defaultLogger;
// Where the plain functions format the caller's message, under msg_lock.
extern char msg_buffer[4096];
// Guards msg_buffer; made on first use, deleted when the log is switched off. Taken before
// the default logger's own lock.
extern void* msg_lock;

// The library's logging interface, on defaultLogger. The formatted text is printed as it
// stands: a percent sign in it (a file name with %d, say) is not interpreted again.
void q7_notify(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));
void q7_trace(const char* format, ...) __attribute__((format(printf, 1, 2)));
void q7_msg(const char* format, ...) __attribute__((format(printf, 1, 2)));
void q7_msgcont(const char* format, ...) __attribute__((format(printf, 1, 2)));
int q7_msg_print(int kind);
// As the member; -1 also deletes msg_lock.
void q7_notify_setlevel(int level);
int q7_notify_getlevel();
int q7_notify_set_facility(const char* name);
// Accepted for compatibility; does nothing.
void q7_notify_enable_console(bool on);
