// What a program of the family does as it starts: its banner and its log file.
#pragma once

#include <stdio.h>

// Prints the program's banner. It first makes sure the home's standard directories exist
// (ensure_standard_environment); then, when `title` is not null, writes to standard output
// "\n%s\n" with the title, an underline of as many "=" as the title has bytes and a newline,
// then "[Built on: %s at %s]\n" with `build_date` and `build_time` when both are given, and
// one more newline ("Render 2.1" gives an empty line, the title, ten "=" and an empty
// line), and flushes standard output. The same goes into the message log: the title with
// "%s\n" through q7_notify at level 3, the underline with "%s\n" through q7_msgcont, and
// the build line through q7_msgcont when both build texts are given. An underline stops at
// 4095 "=" (a log line holds no more).
void startup_info(char* title, char* build_date, char* build_time);

// The banner without build information: startup_info(title, nullptr, nullptr).
extern "C" void startup_info_c(char* title);

// Opens the program's log file and sends standard error, and with it the default message
// log, into it. It names the log's facility after the program (q7_notify_set_facility, so
// lines carry "(name)"), makes sure the standard directories exist, gets the path of
// `name` + ".log" ("%s.log") in the home's Logs directory (ensure_standard_directory,
// which creates Logs), rotates up to 10 older copies with file_backup (render.log becomes
// render.1.log, ..., render.9.log becomes render.10.log, and the old render.10.log is
// lost), and reopens standard error onto a new, empty file of that path, for reading and
// writing as "w+" opens it (mode 0666 less the umask). From then on q7_have_logfile is
// true. The file is created with O_NOFOLLOW: Logs is writable by every user of the
// installation, and a symbolic link planted there under the log's name is never followed.
//
// Returns the reopened standard error stream. Null when `name` is null or the path cannot
// be made (the home is missing, the path would be too long), or when the file cannot be
// created (a link in its place); standard error is then left as it was. Null as well when
// the reopening itself fails, after which standard error is no longer usable.
FILE* open_log(char* name);
