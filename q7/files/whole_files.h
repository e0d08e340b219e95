// Whole files: a file's bytes loaded into one block, and a block saved as a file.
#pragma once

// Loads the regular file `path` (symbolic links followed) into a new block of its size
// plus one byte, with a NUL stored at the position of the size, and stores the number of
// bytes read in `bytes_read` (which may be null). Should the file shrink meanwhile, the
// count is smaller than the size and the bytes between count and size are zero; a file
// that grows is read up to its size when it was opened. `bytes_read` is written only on
// success.
// Returns a block from malloc; the caller frees it. Null when the path is null, is not a
// regular file (a pipe is refused before it is opened), is empty (an empty file loads as
// null), is 2 GiB or larger (its size does not fit the count), cannot be opened, or a
// read fails, and when memory is short.
void* file_load(const char* path, int* bytes_read);

// Saves `count` bytes of `data` as the file `path`, created with mode 0666 less the umask
// or replaced whole.
//
// The bytes go into a new file in the same directory (a hidden ".q7_" name, made with
// O_EXCL and O_NOFOLLOW), which is renamed over `path` only when every byte was written
// and the close succeeded: another process reading the path sees the old contents or the
// new ones, never a part, and a failure (a full disk) leaves the old contents, or no file,
// in place. An existing file keeps its permissions, and its owner and group where the
// process may set them; a symbolic link keeps pointing where it did, the file it names
// being replaced. A path that is not a plain regular file of one link (a device, a pipe,
// a file with hard links), or whose directory the process may not write, is written in
// place, where a failure leaves it partly written. Nothing is synced to the disk, so a
// power loss is not covered.
//
// Returns `count` when the file holds the bytes. -1 when the path is null, `count` is
// negative, `data` is null with a count above 0, the file cannot be made, or a write, the
// close or the rename fails; a write that stops short is reported as -1, never as a
// smaller count.
int file_save(const char* path, void* data, int count);
