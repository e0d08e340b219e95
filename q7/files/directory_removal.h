// Removing a directory, alone or with the whole tree below it.
#pragma once

// Removes the directory `path`. When `deep` is false, only an empty directory is removed
// (rmdir); when it is true, the tree below it goes too, as file_deep_delete_directory
// removes it, in case-blind name order when `sorted` is true and in the order of the
// directory streams when it is false. Returns 0 on success and -1 on failure; with `deep`
// true, also 0 for a path that does not exist.
int file_delete_directory(const char* path, bool deep, bool sorted);

// Removes the directory `path` with everything below it that it may remove, and never
// anything outside it.
//
// Each directory is listed as flist_new(path, listing_order, 1) lists it; the order only
// decides the order of removal. Every subdirectory whose name does not begin with a dot is
// removed the same way, first; then every file of the listing, hidden files included, is
// unlinked (failures are not reported); last the directory itself is removed. A
// subdirectory whose name begins with a dot is neither entered nor removed, so the
// directory holding it stays, and so does one whose listing ends early at an entry it
// cannot examine (a dangling symbolic link): the result is then -1.
//
// A symbolic link is removed as a link and never followed, wherever it points: a link to
// a directory inside the tree is unlinked like a file, and `path` itself, when it is a
// symbolic link, is not removed at all (-1), with or without trailing slashes. Every
// removal is made relative to the directory being emptied, which was opened without
// following links, so that a directory swapped for a link while the removal runs cannot
// lead it out of the tree. Each level of the tree holds one open descriptor while the
// levels below it are removed, so a tree deeper than the process may open files stays
// from that depth on (-1).
//
// Returns 0 when the directory is gone, also when `path` does not exist (or disappears
// while it is being listed). Returns -1, deleting nothing, when `path` is null or names
// anything but a directory (a regular file, a symbolic link); -1 when the directory could
// not be removed, which includes a tree with a directory that cannot be listed although it
// is still there (memory is short, or its path would be longer than 4095 characters):
// that directory is left as it is. Logs nothing.
int file_deep_delete_directory(const char* path, int listing_order);
