// The files subsystem: file names, file operations, standard directories, listings and
// mounts, the directory watcher and the settings variables. Include this header, or one
// concept's header when only that is needed.
#pragma once

#include "q7/files/backup.h"
#include "q7/files/file_names.h"
#include "q7/files/file_operations.h"
#include "q7/files/settings_variables.h"
#include "q7/files/standard_directories.h"
#include "q7/files/temp_names.h"
#include "q7/files/whole_files.h"
