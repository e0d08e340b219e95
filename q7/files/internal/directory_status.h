// The directory reader's step with the whole status the entry was examined with, for
// listings that keep more of it than a DirEntry holds.
#pragma once

#include <sys/stat.h>

#include "q7/files/directory_reader.h"

namespace q7::internal {

// As DirectoryReadNextEntry, also leaving the entry's status (links followed) in `status`.
[[nodiscard]] bool read_next_entry(Directory* directory, DirEntry* entry, struct stat* status);

}  // namespace q7::internal
