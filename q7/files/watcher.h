// The directory watcher: a thread that polls one directory and reports the regular files
// that arrive in it, once they are complete, and the ones that leave it.
#pragma once

#include <dirent.h>

// One watched directory. The caller provides the record and keeps it alive from
// watch_directory_start until watch_directory_end has returned; the watcher fills it and owns
// everything it points to. While watching, only the watch thread touches the contents.
// After watch_directory_end the record may be started again. One thread per record; a
// record is never shared by two watchers.
//
// Once a second the watch thread lists the directory's regular files (links followed,
// hidden files included, subdirectories and other kinds never), compares the names with the
// last good listing and reports, removals first, then additions, each group in byte order of
// the names (strcmp). Only names are compared: a file that changes but keeps its name is not
// reported. A listing that fails (the directory is gone, unreadable or memory is short)
// reports nothing; the next good listing is compared with the last good one, so a directory
// removed and made again reports only the names that differ from before it went. A name
// whose full path would not fit in `path` is skipped, as no system call could look it up.
//
// A file is reported as added only once it is stable: two looks at its size 0.1 seconds
// apart see the same size (all 64 bits; the modification time is not compared). Stability
// is judged on the file's full path whatever `full_path` says. So a writer that never pauses
// for 0.1 seconds is never reported half-way; a writer that may pause longer (one fed from
// the network, say) should write under another name or in another directory on the same
// file system and rename the finished file into the watched directory, which is atomic. A
// file still changing after 100 seconds, or gone before it became stable, is never reported
// as added (it is reported as removed when it goes). While the thread waits for one file,
// everything else waits.
//
// Callbacks run on the watch thread and receive a pointer into `path`: the directory as it
// was given, "/" and the name, or the name alone; the text is valid only during the call.
// A callback runs to its end even when watch_directory_end is called meanwhile (the thread
// cannot be cancelled inside it), and no callback starts once the end has been asked for.
// A callback must not call watch_directory_end for its own record, nor wait for something
// that the caller of watch_directory_end holds while it ends. Nothing is logged.
struct tagDWATCH {
  DIR* stream;         // directory stream while a listing is being read
  char path[4096];     // full paths for stat, and the text handed to the callbacks
  char* directory;     // owned copy of the watched directory's path
  char** known;        // sorted names of the regular files of the last good listing
  int nknown;          // names in `known`
  int known_capacity;  // slots in `known`
  char** fresh;        // sorted names of the listing being made
  int nfresh;          // names in `fresh`
  int fresh_capacity;  // slots in `fresh`
  // Called for each file that appeared and became stable; null switches these reports off,
  // and new files are then not waited for.
  void (*on_added)(char*);
  // Called for each file that disappeared; null switches these reports off.
  void (*on_removed)(char*);
  // True: callbacks receive the directory, "/" and the name; false: the name alone.
  bool full_path;
  // Library id of the watch thread (q7/mp/threads.h); -1 once the thread has stopped or
  // when none was started.
  int thread;
};

// Starts watching `directory`: clears the whole record, keeps a copy of the directory's
// path, takes the first listing and starts the watch thread (q7mp_start_thread). The files
// present now are never reported as added. Returns true when watching has begun; false for
// a null record or directory, a directory that cannot be listed, memory too short for the
// copy or the first listing, or a thread that cannot be started (32 library threads are
// running, for one). After a false result the record holds nothing that needs releasing
// and watch_directory_end need not be called.
bool watch_directory_start(tagDWATCH* watch, char* directory, void (*on_added)(char*),
                           void (*on_removed)(char*), bool full_path);

// Stops the watch thread and releases the record's contents: the directory copy, every name
// and both arrays (the pointers are left null, the counts 0, `thread` -1). The thread is
// cancelled with q7mp_kill_thread, and the call then waits until it has stopped before it
// frees anything. Library threads are detached and cannot be joined, so the thread's
// cancellation cleanup marks the record stopped (`thread` -1) as its last touch of it,
// under a lock of the watcher's own, and the end waits on a condition for that mark. The
// thread is cancelled at once while it sleeps, where it spends nearly all its time; a
// callback running at that moment finishes first, and the end waits for it. When the end
// returns no callback of this record runs, and the caller may free the record. A thread
// already cancelled by q7mp_close_threads is found stopped. A null record is ignored; a
// second call on the same record, or a call after a failed start, finds nothing to release.
// Must not be called from one of the record's own callbacks (it would wait for itself).
void watch_directory_end(tagDWATCH* watch);
