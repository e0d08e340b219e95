// Settings variables: small named text values kept one file per variable under the home.
#pragma once

// Each variable is one file in the standard directory Settings/Variables (code 71 of
// q7/files/standard_directories.h), named "%s%s%s" with that directory, "/" and the
// variable's name. The name is used unchanged as a file name: a name with a slash in it
// reaches into a subdirectory, and an empty name names the directory itself (which holds
// no value). A name that would make the path 4096 characters or longer, and a null name,
// hold no value either: such a call fails (false or null) without touching any file.
//
// File format: a 32-bit signed length L in the host's byte order (little-endian here), the
// value's length including its terminating NUL, so at least 1; then the L bytes of the
// value, the last of them NUL. The value "on" is the 7 bytes 03 00 00 00 6F 6E 00.
// docs/formats.md has it byte by byte. A file that breaks the format (shorter than 4
// bytes, with an L below 1, with fewer than L bytes after the length, whatever L claims,
// or whose L-th byte is not NUL) holds no value: it reads as null, and nothing is read
// past a buffer or allocated for a length the file does not have. Bytes after the value
// are ignored.
//
// Every operation first calls ensure_standard_environment, which creates the home's
// Settings, Settings/Variables and Logs if they are missing and makes them writable, then
// builds the path in `temp_path`. All four run one at a time under one process-wide mutex,
// `var_lock`, from their start to their end; it does not cover other users of `temp_path`
// and of the standard directory buffer running at the same time. `var_lock` starts out
// absent; the first operation that finds it absent makes it already held by that caller
// (q7mp_new_mutex(1)), so that no other thread can take it first. Threads making their
// first call together each make one; exactly one of them is kept (an atomic
// compare-and-swap), its maker goes on holding it, and the others release and delete their
// own and wait for the kept one. Should the mutex not be made for want of memory, the
// operation fails (false or null) and the next call tries again. `var_lock` then lives for
// the rest of the process. None of the operations logs anything but the home lookups.
//
// Between processes nothing is locked, and nothing needs to be: a value is replaced by
// writing a new file in the Variables directory and renaming it over the old one, so that
// a reader in another process, at any moment, sees the old value or the new one, never a
// part of one. Nothing is synced to the disk, so a power loss is not covered.

// Sets the variable `name` to the text `value`. The value goes whole into a new file in
// the Variables directory (a hidden ".q7_" name made with O_EXCL and O_NOFOLLOW), which is
// renamed over the variable's file once every byte was written and the close succeeded;
// on a failure (a full disk) the new file is removed and the variable keeps its old value,
// or stays unset. A new file is made with mode 0666 less the umask; one that replaces an
// existing file takes that file's permissions (and its owner and group, where the process
// may set them). The variable's file is written in place instead, as "wb+" would write it,
// where a rename would change more than the value: a file of another owner when the
// process is not root, a file with other hard links, a path that is not a regular file, a
// Variables directory the process may not create files in. There a failure can leave the
// value cut short, which then reads as null. A variable file that is a symbolic link keeps
// pointing where it did; the file it names is replaced. A read-only file is refused, as
// "wb+" refuses it.
// Returns true when the whole value was written; false when `name` or `value` is null,
// the path is too long, the file cannot be opened (the Variables directory could not be
// made, say), or a write, the close or the rename fails.
bool set_variable(char* name, char* value);

// The value of the variable `name`.
// Returns a block from malloc; the caller frees it. Null when the variable is not set (its
// path is not a regular file, links followed), its file cannot be opened or breaks the
// format, or memory is short.
char* get_variable(char* name);

// Reads the value of the variable `name` into `buffer`, which must hold 4095 bytes, or,
// when `buffer` is null, into `static_value` (4096 bytes). Returns the buffer used, or
// null when the variable is not set, its file cannot be opened or breaks the format, the
// value is 4095 bytes or longer (L of 4096 or more: it is not read, while get_variable
// returns it). On a null result the buffer is left as it was.
// Without a buffer it returns `static_value`: a static buffer that the next call
// overwrites, after `var_lock` has been released. Not reentrant then.
char* get_variable_static(char* name, char* buffer);

// Deletes the variable `name`. Returns true when its path was a regular file (links
// followed; the link itself is what is removed) and unlink succeeded; false otherwise.
bool delete_variable(char* name);

// The buffer get_variable_static reads into when it is given none.
extern char static_value[4096];

// The mutex (q7/mp/sync.h) that the four operations hold; null until the first of them.
// Programs leave it alone.
extern void* var_lock;
