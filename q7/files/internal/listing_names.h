// Adding directory names to a listing, shared by the directory and the mount-point forms.
#pragma once

#include "q7/files/listings.h"

namespace q7::internal {

// Appends a copy of `name` to `list->dirs`, growing it from 32 slots. An empty name and "."
// are left out, and so is ".." when the listing's path is exactly "/"; names that merely
// begin with a dot (.git, ..x) are added.
void flist_add_dir(dir_list* list, const char* name);

}  // namespace q7::internal
