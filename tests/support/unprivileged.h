// Dropping root in a child process, for tests of what permissions refuse.
#pragma once

namespace q7test {

// Inside a child process: when running as root, becomes the user and group "nobody"
// (65534), for whom permission bits count. Returns false when the process is still
// privileged afterwards.
[[nodiscard]] bool become_unprivileged();

}  // namespace q7test
