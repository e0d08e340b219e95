// Numbered backups of a file, rotated newest first (log files keep theirs this way).
#pragma once

// Rotates up to `count` numbered backups of `path`: backup count-1 becomes backup count
// (the old backup count is lost), ..., backup 1 becomes backup 2, and the file itself
// becomes backup 1, so that afterwards `path` no longer exists. Backup names are
// "%s.%d%s": the path without its extension, a dot, the number, and the extension with
// its dot ("app.log" gives "app.1.log", "app" gives "app.1"). The extension starts at the
// last dot of the whole path, where a dot as the path's first character does not count:
// ".profile" gives ".profile.1", and "dir.old/file" gives "dir.1.old/file".
//
// Only sources that exist as regular files (links followed) move; a missing one is
// skipped. Each move is one rename, which replaces the older backup in the same step: a
// rename that fails leaves both files as they were, and nothing is ever lost to a failed
// move (a rename moves no data, so a full disk does not stop a rotation).
//
// Returns the number of files renamed; 0 for a count of 0 or less, which does nothing.
// -1 when a rename fails (the renames before it stay done), and, touching nothing, when
// the path is null or empty (an empty path would name backups ".1", ".2" in the working
// directory) or a backup name would be 4096 characters or longer.
int file_backup(const char* path, int count);
