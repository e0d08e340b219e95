// q7: the support library of the image-processing programs and network services.
//
// This umbrella header declares the whole public API. Conventions that hold throughout:
// - Every name is in the global namespace, lower case with a prefix by subsystem: q7_
//   (message log), q7mp_ (threads, parallel execution, system queries), q7os_
//   (operating-system helpers), file_ and file_name_ (files and paths), flist_ (listings),
//   watch_ (the directory watcher); classes carry the prefix or a plain name.
// - No exception ever leaves q7. Failures are results: -1, 0, false or null.
// - Text results are one of three kinds, and each declaration says which: a pointer into
//   the caller's own argument; a static buffer that the next call overwrites (not
//   reentrant); or a block from malloc that the caller frees.
// - Everything that reports does so through the message log (q7/log/message_log.h);
//   a few low-level failures write a fixed text straight to standard error.
// Include the subsystem headers directly when only a part is needed.
#pragma once

#include "q7/cipher/gost.h"
#include "q7/files/utils.h"
#include "q7/log/console.h"
#include "q7/log/message_log.h"
#include "q7/mp/clock.h"
#include "q7/mp/parallel.h"
#include "q7/mp/scheduler.h"
#include "q7/mp/sync.h"
#include "q7/mp/sysinfo.h"
#include "q7/mp/threads.h"
#include "q7/runtime/aligned_memory.h"
#include "q7/runtime/byte_order.h"
#include "q7/runtime/diagnostics.h"
#include "q7/runtime/exit_handlers.h"
#include "q7/runtime/growth.h"
#include "q7/runtime/identifiers.h"
#include "q7/runtime/instance_lock.h"
#include "q7/runtime/startup.h"
#include "q7/runtime/time_text.h"
#include "q7/text/command_reader.h"
#include "q7/text/string_table.h"
#include "q7/text/text_utils.h"
#include "q7/types/date.h"
#include "q7/types/version.h"
