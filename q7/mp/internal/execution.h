// What the thread layer needs to reach a running parallel execution.
#pragma once

namespace q7::internal {

// Requests cancellation of every processor thread of the running parallel execution that
// has not finished yet; nothing when no execution runs.
void cancel_running_execution();

}  // namespace q7::internal
