// Dropping root in a child process.
#include "tests/support/unprivileged.h"

#include <grp.h>
#include <unistd.h>

namespace q7test {

bool become_unprivileged() {
  constexpr unsigned kNobody = 65534;
  if (geteuid() == 0 &&
      (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0)) {
    return false;
  }
  return geteuid() != 0;
}

}  // namespace q7test
