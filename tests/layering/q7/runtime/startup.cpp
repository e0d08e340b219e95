// The start-up concept: its named files headers pass, any other does not.
#include "q7/files/backup.h"
#include "q7/files/file_operations.h"
#include "q7/runtime/exit_handlers.h"
#include "q7/runtime/internal/exit_registration.h"
