// Directory listings split into files and subdirectories and sorted, the listing of the
// machine's mount points, and the recursive walk over the files below a directory.
#pragma once

// A listing: made by flist_new, released by flist_delete, which also frees every name.
// The name arrays grow by doubling, `files` from 128 slots and `dirs` from 32; a growth
// that fails logs "ensure_memory(): Out of memory!\n" at level 1 and leaves that entry out,
// and so does a name that cannot be copied (without a message). Threads may share a
// listing for reading.
struct dir_list {
  char path[4096];     // the directory listed; empty for a list of mount points
  int nfiles;          // number of non-directory entries
  int files_capacity;  // slots in `files`
  char** files;        // names (not paths) of the non-directory entries, each owned
  int ndirs;           // number of directory entries
  int dirs_capacity;   // slots in `dirs`
  char** dirs;         // names of the directory entries, each owned; mount points' paths
};

// Process-wide sort state. Two threads must not sort listings in modes 2 or 3 at once.
//
// The comparison of sort mode 3, set by flist_set_custom_compare; null until set. Each
// argument points to a `char*` name.
extern int (*flist_custom_compare)(const void*, const void*);
// The listing whose files are being sorted by change time, for the time of that sort;
// null at any other time.
extern dir_list* zzz_flist_path_global;

// Lists the directory `path` names, or the machine's mount points.
//
// A null or empty `path` lists the mount points when `must_exist` is 0: the mount
// directories of "/etc/mtab" in the table's order, unsorted, leaving out the entries whose
// file-system type is part of the text "proc,fd" (proc and fd, in practice); `path` is then
// empty and ".." is kept like any name. Null when the table cannot be read or gives no
// mount point, and always when `must_exist` is not 0.
//
// Otherwise, when `must_exist` is not 0, `path` must exist (links followed) as a directory
// or a regular file, or the result is null. The listing's `path` is `path` without one
// trailing slash (but "/" stays "/"). A path of exactly two characters whose second is a
// colon (a drive name) is listed as it is. A path that is not a directory lists the
// directory that contains it: `path` is cut before its last slash; when it has no slash or
// what remains is shorter than two characters (as for /name or a/name), the current
// working directory is listed instead, by its absolute path (an empty `path` and an empty
// listing when getcwd fails). A `path` longer than 4095 characters gives null.
//
// Entries are read as DirectoryReadNextEntry reads them, symbolic links followed: an entry
// that is a directory goes to `dirs`, any other to `files`. Reading ends at the first entry
// that cannot be examined, such as a dangling symbolic link, so the listing holds the
// entries before it. `dirs` never holds "." and always holds ".." (added when the directory
// gave none), except in a listing of "/", which has no "..". A directory that cannot be
// opened gives an empty listing (not null) with no "..".
//
// `sort_mode` orders the names: 0 leaves both arrays in the order of the directory stream.
// Any other mode sorts `dirs` by name without regard to case (strcasecmp), and `files` as
// follows: mode 2 by status change time in seconds, oldest first, as each file's status
// stood when the directory was read (one status per file, not one per comparison); mode 3
// with qsort and flist_custom_compare, or not at all while none is set; any other mode by
// name without regard to case. The sorts by name and by time are stable: names that
// compare equal (differing only in case, or changed in the same second) keep the order of
// the directory stream.
//
// Returns a new listing, or null as said above or when memory for it is short.
dir_list* flist_new(const char* path, int sort_mode, int must_exist);

// Releases `list`, its name arrays and every name in them. A null listing is ignored.
void flist_delete(dir_list* list);

// Sets flist_custom_compare, the comparison of sort mode 3; null sets none. It lasts for
// the rest of the process. Not reentrant.
void flist_set_custom_compare(int (*compare)(const void*, const void*));

// Walks the tree below `path`, calling `function` with the path of each file and `data`.
//
// The directory is listed as flist_new(path, 1, 1) lists it (a regular file walks the
// directory that contains it). Each subdirectory whose name does not begin with a dot is
// walked first, in case-blind name order, then `function` is called for each file, also in
// that order and hidden files included, with the listing's path, a slash and the name
// ("//name" below "/"). Directories whose names begin with a dot are not entered.
// Symbolic links are followed, but a link back to a directory that is being walked (one
// that leads round in a circle) is not entered again. Entries whose paths would be longer
// than 4095 characters are left out. The path handed to `function` lives in a buffer of
// the walk, valid until `function` returns. Nothing happens for a null `function`, or
// when `path` cannot be listed.
void file_scan_directory(const char* path, void (*function)(char* path, void* data), void* data);
