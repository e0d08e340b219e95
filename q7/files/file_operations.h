// Everyday file work: tests and queries, permissions, directories, deleting, moving, copying.
#pragma once

// Thin wrappers over the POSIX file interface. None of them writes to the message log:
// each reports by its result alone, and errno is left as the failing system call set it.
// A path exists when stat succeeds on it, so symbolic links are followed. A null path is
// a failure: false, 0 or -1 as each operation says. No operation is locked; concurrent
// changes to the same files are not coordinated.

// True when `path` exists and is a regular file (a directory gives false).
bool file_exists(const char* path);

// True when `path` exists and is a directory.
bool file_is_directory(const char* path);

// True when `path` exists, is of the asked type (a directory when `directory` is true,
// else a regular file) and access grants read permission, and write permission too when
// `write` is true.
bool file_is_accessible(const char* path, bool directory, bool write);

// The size of `path` in bytes; 0 when it does not exist or is not a regular file.
long long file_size(const char* path);

// The modification time of `path` in seconds since the epoch; 0 when it does not exist,
// which a caller cannot tell from the epoch itself.
long file_mod_time(const char* path);

// The status change time of `path` in seconds since the epoch; 0 when it does not exist.
long file_status_change_time(const char* path);

// `time` (seconds since the epoch) as local time in text:
//   form 1: "%4.4d/%2.2d/%2.2d %2.2d:%2.2d:%2.2d", year first: "2003/07/14 09:05:00";
//   form 2: "%2.2d/%2.2d/%4.4d %2.2d:%2.2d:%2.2d", day first: "14/07/2003 09:05:00";
//   any other form (0 is the usual one): "%2.2d-%s-%4.4d %2.2d:%2.2d:%2.2d" with the
//   month as "JAN" to "DEC": "14-JUL-2003 09:05:00".
// The text is at most 63 characters; a time that the platform cannot turn into a calendar
// date gives the empty text.
// Returns a static buffer that the next call overwrites. Not reentrant.
char* file_time_to_string(long time, int form);

// Sets the permissions of `path` with chmod, which the umask does not reduce: 0666 when
// `writable`, else 0444, with the execute bits added for a directory (0777 or 0555). When
// stat fails the file mode is tried anyway. Returns true when chmod succeeded.
bool file_set_access(const char* path, bool writable);

// Creates the directory `path` with mode 0777 (less the umask). Returns 0, or -1 when
// mkdir fails.
int file_create_directory(const char* path);

// Makes sure the directory `path` exists, creating every missing level of it (the last
// component too: the path names a directory) with mode 0777, less the umask. Components
// are taken as file_name_component counts them and joined with one slash between them;
// `temp_path` is not touched, so the path may lie in it. A level that another process
// creates at the same moment counts as created. Returns 1 when the directory exists
// afterwards; 0 when a level could not be created (a regular file in the way, no
// permission), and for a null or empty path or one of 4096 characters or more.
int ensure_path_exists(char* path);

// Removes the file `path` with unlink. Returns true when that succeeded.
bool file_delete(char* path);

// Renames `old_path` to `new_path` with rename. Returns true when that succeeded.
bool file_rename(char* old_path, char* new_path);

// Moves `source` to `destination`: with `by_rename`, by rename (within one file system);
// otherwise by file_copy with its own buffer and then unlinking the source, which also
// works across file systems. A destination that exists as a regular file is unlinked
// first, so it is gone even when the move then fails. Returns true when the file was
// moved (when copying, only when both the copy and the unlink succeeded); false, touching
// nothing, when either is null, the two are the same string, or they spell the same
// directory entry two ways ("a" and "./a": unlinking the destination would lose the source).
bool file_move(char* source, char* destination, bool by_rename);

// Copies `source` to `destination` through `buffer` of `buffer_size` bytes, or through a
// buffer of its own of 65536 bytes when `buffer` is null (the size is then ignored): read
// up to a buffer's worth, write it, until the end of the source. A new destination is
// made with mode 0777 less the umask, as creat makes it.
//
// The copy never leaves a torn destination: it is written into a new file in the
// destination's directory (a hidden ".q7_" name, created with O_EXCL and O_NOFOLLOW, so
// that nothing planted there is followed or overwritten) and renamed over the destination
// only when every byte arrived and the close succeeded. An existing destination keeps its
// permissions (and, where the process may set them, its owner and group); a symbolic link
// keeps pointing where it did, the file it names being replaced. On a failure (a full
// disk, a read error) the new file is removed and the destination keeps what it held
// before, or stays absent. A power loss is not covered: nothing is synced to the disk.
// A destination that is not a plain regular file of one link (a device, a pipe, a file
// with hard links), or whose directory the process may not write, is written in place,
// opened as creat opens it; a failure there leaves it partly written.
//
// Returns true when the whole file was copied. False when either path is null, a given
// buffer's size is below 1, the two name the same file (nothing is touched), no buffer
// can be had, the source cannot be opened, the destination cannot be made, or a read, a
// write or the close fails.
bool file_copy(char* source, char* destination, char* buffer, int buffer_size);
