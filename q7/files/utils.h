// Files and directories: the chief header of the subsystem, including each of its parts.
#pragma once

#include "q7/files/directory_reader.h"
#include "q7/files/directory_removal.h"
#include "q7/files/listings.h"
#include "q7/files/mounts.h"
