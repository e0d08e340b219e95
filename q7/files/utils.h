// Files and directories: the chief header of the subsystem, which includes each of its
// concept headers.
#pragma once

#include "q7/files/watcher.h"
