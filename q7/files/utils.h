// Files and directories: the chief header of the subsystem, which includes each of its
// concept headers.
#pragma once

#include "q7/files/backup.h"
#include "q7/files/directory_reader.h"
#include "q7/files/directory_removal.h"
#include "q7/files/file_names.h"
#include "q7/files/file_operations.h"
#include "q7/files/listings.h"
#include "q7/files/mounts.h"
#include "q7/files/settings_variables.h"
#include "q7/files/standard_directories.h"
#include "q7/files/temp_names.h"
#include "q7/files/watcher.h"
#include "q7/files/whole_files.h"
