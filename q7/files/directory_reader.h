// Reading a directory one entry at a time, each entry with its type and modification time.
#pragma once

#include <dirent.h>
#include <time.h>

// A directory being read. The caller provides the record; DirectoryOpen opens it and
// DirectoryClose releases the stream. One thread reads a record at a time.
//
// `path` holds a path of up to 4094 characters and the slash DirectoryOpen appends, within
// the 4096 bytes a path may take.
struct Directory {
  DIR* handle = nullptr;  // the open directory stream; null when not open
  char path[4096];        // the directory's path, ending with a slash once opened
};

// One entry, filled by DirectoryReadNextEntry. `name` is wider than any file name
// (at most 255 characters on Linux) needs.
struct DirEntry {
  char name[4100];   // the entry's name within the directory
  int is_directory;  // 1 for a directory (symbolic links followed), 0 otherwise
  time_t mod_time;   // modification time, seconds since the epoch
};

// Copies `path` into `directory->path` and opens it with opendir. On success stores the
// stream in `directory->handle`, appends a slash to `directory->path` unless it already
// ends with one, and returns true. Returns false, with a null handle, when opendir fails,
// for a null record or path, and for a path too long to take its slash within the 4096
// bytes (more than 4094 characters, or 4095 ending with a slash): a path cut short could
// name another directory, so it is never opened.
bool DirectoryOpen(Directory* directory, const char* path);

// Reads the next entry of an open directory into `entry`: its name, whether it is a
// directory and its modification time, examined with symbolic links followed. "." and ".."
// come like any other entry, in the order of the directory stream. Returns true when an
// entry was stored; false at the end of the directory, and also when an entry cannot be
// examined (a dangling symbolic link, an entry removed meanwhile): the reading then ends
// there, and the caller cannot tell that from the end. False for a null record or entry,
// or a record that is not open.
//
// Entries are examined relative to the open stream (fstatat), which is the file the
// record's `path` and the name lead to for as long as the directory is not moved.
bool DirectoryReadNextEntry(Directory* directory, DirEntry* entry);

// Closes the directory stream and empties `directory->handle`. Returns the result of
// closedir (0 on success); -1 with errno EBADF for a null record or one that is not open.
int DirectoryClose(Directory* directory);
