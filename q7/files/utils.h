// Files and directories: the chief header of the subsystem, which includes each of its
// concept headers.
#pragma once

#include "q7/files/directory_reader.h"
#include "q7/files/directory_removal.h"
#include "q7/files/listings.h"
#include "q7/files/mounts.h"
#include "q7/files/watcher.h"
