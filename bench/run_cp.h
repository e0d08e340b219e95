// The system's cp, the peer that file copies are measured against.
#pragma once

#include <spawn.h>
#include <sys/wait.h>

extern char** environ;

namespace q7bench {

// Runs `cp from to` and waits for it. True when cp ran and succeeded.
inline bool run_cp(const char* from, const char* to) {
  const char* argv[] = {"cp", from, to, nullptr};
  pid_t child;
  int status = 0;
  return posix_spawnp(&child, "cp", nullptr, nullptr, const_cast<char**>(argv), environ) == 0 &&
         waitpid(child, &status, 0) == child && status == 0;
}

}  // namespace q7bench
