// Runtime below the start-up concept, which may not use the files subsystem.
#include "q7/files/backup.h"
