// The single-instance lock file in /tmp, and a count of the running processes of a name.
#pragma once

// Takes the lock `name`: the file "/tmp" + "/" + `name` ("%s%s%s"), holding one line
// "%d %s\n" with this process's id and the creation time as ctime gives it (24 characters
// and a newline: "4711 Mon Nov 16 17:24:52 2026\n" and the format's own newline, so the
// file ends in an empty line). It first makes sure the home's standard directories exist
// (ensure_standard_environment, whose result it does not use). On success it registers
// remove_program_lock with a private copy of the path as an exit handler, so that the file
// goes when the process leaves through exit, exit_wait or a handled signal; a process
// killed by another signal leaves it behind, and the lock then stays taken until someone
// deletes the file. Nothing checks whether the process named in the file still runs. A
// second call with the same name in the holding process returns 0.
//
// The file is made with O_CREAT | O_EXCL | O_NOFOLLOW and mode 0666 less the umask, so
// that a symbolic link planted in /tmp under that name is never followed and nothing else
// is ever overwritten, and of processes racing for the lock exactly one gets it.
//
// Returns 1 when this process now holds the lock. Returns 0 when the path exists and is a
// regular file (links followed): the lock is held, and when `owner` is not null and
// `owner_size` is at least 1, the first line of the file, with its newline, is copied into
// it as fgets reads it (at most `owner_size` - 1 characters), or the empty text when that
// line cannot be read (the path is a symbolic link, which is never opened, or the holder
// has not written it yet). Returns 0 without touching `owner` when the lock cannot be
// made: `name` is null, the path would be 4096 characters or longer, something else stands
// there (a directory of that name, say), or the line cannot be written or the exit handler
// registered for want of room or memory; the file is then removed again. Reports nothing.
int program_lock(char* name, char* owner, int owner_size);

// The exit handler that program_lock registers: removes the file `path` and frees `path`,
// a block from malloc. A null path is ignored.
void remove_program_lock(void* path);

// The number of running processes whose command name (as `ps -e -o comm` shows it: at most
// 15 characters on Linux) equals `name`, ignoring case. The calling process counts itself
// when its name matches, and the header line of the list counts too: "command" in any
// case finds it.
//
// The list goes into a temporary file named as file_get_temp_name names it ("%s%s_%d_%u"
// with "/tmp", "/", the process id and the low 32 bits of the clock in microseconds, in
// that function's static buffer), made empty with O_CREAT | O_EXCL | O_NOFOLLOW and mode
// 0600 before the shell writes into it, so that a link planted under the guessable name is
// never followed (a name that exists already is passed over for a fresh one). The command
// "ps -e -o comm > %s" with that name is written to standard output (no newline follows)
// and run through system. The file is read in lines of at most 79 characters (an 80-byte
// buffer; a longer line is compared in pieces), each without its final newline, and is
// removed afterwards.
//
// Returns the count; 0 for a null name (nothing is run) and when the list cannot be read;
// -1 when the command cannot be run (system returns -1) or no temporary file can be made.
// Not reentrant: it overwrites file_get_temp_name's buffer.
int is_program_running(char* name);
