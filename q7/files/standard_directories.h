// The home directory of an installation, its standard subdirectories, and paths under them.
#pragma once

// Every program of an installation keeps its files under one home directory: the value of
// the environment variable Q7_HOME_DIR when it is set (even to the empty text), else
// "/usr/local/Fernmoss". The variable is read afresh on every call; nothing is cached.
// Standard subdirectories go by numeric code:
//   69  home                      ("%s")
//   70  home/Settings             ("%s%s%s" with home, "/", "Settings")
//   71  home/Settings/Variables   ("%s%s%s%s%s")
//   73  home/Logs                 ("%s%s%s" with home, "/", "Logs")
//   any other code: " " (a single blank, which is no path to build on).
// The home is used exactly as found: one ending in a slash gives a doubled slash, an empty
// one gives paths that begin with "/".
//
// The home lookup logs at level 5, once per call that makes it:
// "get_home_directory() is returning: %s\n" with the variable's value, or
// "get_home_directory() is returning utils hardwired DEFAULT: %s\n" with the default.
//
// The static buffer of get_standard_directory and the shared `temp_path` that
// ensure_standard_directory builds in make these operations unsafe to call from two threads
// at once; callers copy the results they keep. The environment is only read.

// The home directory: the value of Q7_HOME_DIR itself, or the constant default, which
// callers must not change. Never null. Logs the home lookup at level 5.
char* get_home_directory();

// The path of the standard directory `code` (see the table above), after the home lookup,
// logged at level 5 as "get_standard_directory(%d) is returning: %s\n" with the code and the
// result, also for an unknown code (whose result is " "). A path longer than 4095
// characters is cut there.
// Returns a static buffer (4096 bytes) that the next call overwrites. Not reentrant.
const char* get_standard_directory(int code);

// Builds home/`subdirectory`/`name` in `temp_path`, creating home/`subdirectory` on the way
// with mkdir and mode 0777 (less the umask). Only that one level is created: the home must
// exist. A slash goes after the home and after the subdirectory unless one ends them
// already; a home of 4095 characters gets nothing appended. `name` may be null (the path
// then ends with the subdirectory and its slash); it is not created: it normally names a
// file. With Q7_HOME_DIR set to "/srv/app", "Logs" and "server.log" give
// "/srv/app/Logs/server.log". A subdirectory that another process creates at the same
// moment counts as created.
//
// Returns `out` when it is not null, after copying the result into it (it must hold 4096
// bytes); else `temp_path`, a static buffer that the next call overwrites. Null, with
// `temp_path` holding a partial path, when `subdirectory` is null, when the subdirectory or
// the name would make the path 4096 characters or longer (a path must fit the buffer with
// its terminator), and when the subdirectory cannot be created, which is logged at level 1
// as "Error creating directory %s : %s\n" with the path and strerror(errno).
// Not reentrant.
char* ensure_standard_directory(const char* subdirectory, const char* name, char* out);

// Makes sure the standard directories 69, 70, 71 and 73 exist, in that order, creating
// every missing level with ensure_path_exists, and then makes each of them writable for
// everyone with file_set_access (directories get mode 0777, so that all the programs of an
// installation, whoever runs them, share the settings and the logs); a failure of that
// second step (a directory of another owner) is ignored. Returns 1 when all four exist;
// 0 at the first that cannot be created, the later ones not attempted (a home path that
// names a regular file, say). Logs nothing but the home lookups. Not reentrant: it uses
// get_standard_directory's buffer.
int ensure_standard_environment();

// The directory for temporary files: the constant "/tmp", which callers must not change.
char* get_temp_directory();

// The root that system files such as the hosts table are found under: the constant "/",
// which callers must not change.
char* get_system_directory();
