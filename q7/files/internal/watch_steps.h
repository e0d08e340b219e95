// The steps of the directory watcher's polling cycle: one listing, the search in a sorted
// name array, the stability wait and the release of a record's contents.
#pragma once

#include <stddef.h>

#include "q7/files/watcher.h"

namespace q7::internal {

// The strcmp order of two name slots, for qsort.
[[nodiscard]] int watch_file_cmp(const void* left, const void* right);

// Puts "%s%s%s" of watch->directory, "/" and `name` into watch->path. Returns the length
// of the whole text: when it is not below the size of `path`, the text was cut short.
size_t watch_compose_path(tagDWATCH* watch, const char* name);

// Lists the regular files of watch->directory into `names` (made with 2 slots on the first
// call, doubled when full; the names it held before are released first), sorted by strcmp,
// using watch->stream and watch->path while it reads. Returns false, with `count` 0, when
// the directory cannot be opened or memory runs short.
[[nodiscard]] bool watch_dir_get_dir_list(tagDWATCH* watch, char**& names, int& count,
                                          int& capacity);

// True when `name` is in the first `count` entries of the sorted array `names`; false for a
// null array or name or a count of 0.
[[nodiscard]] bool watch_find(const char* name, char* const* names, int count);

// Sleeps `nanoseconds` (going on after signals). The watch thread runs with cancellation
// switched off and lets it in only here and just before a callback, so that a cancellation
// never leaves a listing or the record's arrays half done.
void sleep_cancellable(long long nanoseconds);

// Waits until two looks at the size of `path`, 0.1 seconds apart, see the same size. Returns
// true then; false when the file cannot be looked at (it is gone) or when the elapsed
// time, counted as 0.1 per sleep in a float, exceeds `limit` seconds. The thread may be
// cancelled while it sleeps here.
[[nodiscard]] bool wait_for_stable(const char* path, float limit);

// Releases the directory copy, every name and both arrays of `watch`, leaving null pointers
// and zero counts behind.
void watch_clean_up(tagDWATCH* watch);

}  // namespace q7::internal
