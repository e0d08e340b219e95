// Forked child processes for tests of process-wide behaviour.
#include "tests/support/child_process.h"

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>
#include <thread>

#include "tests/support/temp_dir.h"

namespace q7test {
namespace {

void redirect(int fd, const std::string& path) {
  FILE* file = fopen(path.c_str(), "w");
  if (file == nullptr) _exit(125);
  dup2(fileno(file), fd);
  fclose(file);
}

}  // namespace

ChildResult run_in_child(const std::function<void()>& body, std::chrono::milliseconds timeout) {
  TempDir dir;
  const std::string out_path = dir.path() + "/stdout";
  const std::string err_path = dir.path() + "/stderr";
  // Buffered output of the parent would otherwise be written a second time by the child.
  fflush(nullptr);
  const pid_t pid = fork();
  if (pid == 0) {
    redirect(STDOUT_FILENO, out_path);
    redirect(STDERR_FILENO, err_path);
    body();
    fflush(nullptr);
    _exit(0);
  }
  ChildResult result;
  if (pid < 0) return result;

  const auto deadline = std::chrono::steady_clock::now() + timeout;
  int status = 0;
  while (waitpid(pid, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      kill(pid, SIGKILL);
      waitpid(pid, &status, 0);
      result.timed_out = true;
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  if (WIFEXITED(status)) {
    result.exited = true;
    result.exit_status = WEXITSTATUS(status);
  } else if (WIFSIGNALED(status)) {
    result.term_signal = WTERMSIG(status);
  }
  result.out = read_file(out_path);
  result.err = read_file(err_path);
  return result;
}

void check_in_child(bool condition, const char* expression, const char* file, int line) {
  if (condition) return;
  fflush(stdout);
  fprintf(stderr, "%s:%d: check failed: %s\n", file, line, expression);
  fflush(stderr);
  _exit(kCheckFailedStatus);
}

std::string describe(const ChildResult& result) {
  std::ostringstream text;
  if (result.timed_out) text << "timed out; ";
  if (result.exited) {
    text << "exited with " << result.exit_status;
  } else {
    text << "killed by signal " << result.term_signal;
  }
  text << "\n--- stdout ---\n" << result.out << "--- stderr ---\n" << result.err;
  return text.str();
}

}  // namespace q7test
