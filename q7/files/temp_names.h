// Names for temporary files: from the process id and the clock, or from a fresh UUID.
#pragma once

// A name for a temporary file in /tmp, "%s%s_%d_%u" with "/tmp", "/", the process id and
// the low 32 bits of the wall clock in microseconds (q7mp_getclock times 1000000, cut
// toward zero), printed unsigned: "/tmp/_4711_2351947264". The file is not created.
//
// The name can be guessed by anyone who knows the process id and roughly the time, and
// /tmp is shared: another user may have planted a symbolic link or a file under it. A
// caller that creates the file must therefore open it with
// open(name, O_CREAT | O_EXCL | O_NOFOLLOW | O_WRONLY, 0600) (never fopen with "w", which
// would follow a planted link and overwrite what it points to), and on EEXIST ask for a
// new name. Two calls in the same microsecond give the same name. The buffer holds 4096
// bytes.
// Returns a static buffer that the next call overwrites. Not reentrant.
char* file_get_temp_name();

// Puts `prefix` followed by the 36-character text of a new UUID (uuid_generate,
// uuid_unparse) into `out`, which must hold the prefix's length plus 37 bytes. The prefix
// is used unchanged: to name a file in a directory it ends with a slash ("/tmp/x_" gives
// "/tmp/x_" and 36 characters). `out` may be the prefix itself, which then gets the
// identifier appended. Does nothing when the prefix or out is null; leaves out empty when
// the identifier's temporary block cannot be allocated. The name is not guessable, but a
// caller creating the file still opens it with O_CREAT | O_EXCL | O_NOFOLLOW.
void file_get_temp_name_ex(char* prefix, char* out);
extern "C" void file_get_temp_name_ex_c(char* prefix, char* out);

// As file_get_temp_name_ex, into a new block of the prefix's length plus 51 bytes.
// Returns a block from malloc; the caller frees it. Null for a null prefix, and when no
// name can be made for want of memory (never an empty name).
char* file_get_temp_name_ex_dyn(char* prefix);
extern "C" char* file_get_temp_name_ex_dyn_c(char* prefix);
