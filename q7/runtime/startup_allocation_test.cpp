// Allocation failures in the instance lock and the start-up, at every failure point: the
// documented result, no lock file left without its exit handler, standard error usable.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "q7/log/message_log.h"
#include "q7/runtime/instance_lock.h"
#include "q7/runtime/startup.h"
#include "tests/support/alloc_failure.h"
#include "tests/support/temp_dir.h"

namespace {

using q7test::FailureRun;
using q7test::for_each_failure_point;
using q7test::read_file;
using q7test::TempDir;

TEST(AllocationFailure, ProgramLockIsTakenWholeOrNotAtAll) {
  const TempDir home;
  setenv("Q7_HOME_DIR", home.path().c_str(), 1);
  const std::string base = std::filesystem::path(home.path()).filename().string();
  const int points = for_each_failure_point("program_lock", [&](FailureRun& run) {
    // A fresh name each run: this process holds every lock it took until it exits.
    std::string name = base + "_" + std::to_string(run.point()) + ".lock";
    const std::string path = "/tmp/" + name;
    const int taken = run.armed([&] { return program_lock(name.data(), nullptr, 0); });
    EXPECT_TRUE(taken == 1 || run.injected());
    // A lock whose exit handler could not be registered is not left behind.
    EXPECT_EQ(std::filesystem::exists(path), taken == 1);
    if (taken == 1) {
      EXPECT_EQ(read_file(path).rfind(std::to_string(getpid()) + " ", 0), 0u);
      unlink(path.c_str());
    }
  });
  EXPECT_EQ(points, 2);  // the path's copy for the exit handler, and the handler's node
}

TEST(AllocationFailure, IsProgramRunningCountsOrSaysItCannot) {
  char name[] = "q7_alloc_test";
  const int points = for_each_failure_point("is_program_running", [&](FailureRun& run) {
    const int count = run.armed([&] { return is_program_running(name); });
    // This process is on the list unless an allocation failed on the way to reading it.
    EXPECT_TRUE(count >= 1 || (run.injected() && count >= -1)) << count;
  });
  EXPECT_GE(points, 1);
}

TEST(AllocationFailure, OpenLogGivesTheLogOrNullAndKeepsStandardError) {
  const TempDir home;
  setenv("Q7_HOME_DIR", home.path().c_str(), 1);
  // The log makes its lock at its first message, printed or not (the home lookup's trace):
  // made here, it is not counted as the operations' own.
  q7_notify(5, "warm up the log");
  const int saved = dup(STDERR_FILENO);
  ASSERT_GE(saved, 0);
  char name[] = "render";
  const int points = for_each_failure_point("open_log", [&](FailureRun& run) {
    FILE* log = run.armed([&] { return open_log(name); });
    EXPECT_TRUE(log == stderr || run.injected());
    fflush(stderr);
    dup2(saved, STDERR_FILENO);
  });
  close(saved);
  // Its stream is standard error's own, reopened: nothing of open_log's may fail.
  EXPECT_EQ(points, 0);
  EXPECT_TRUE(std::filesystem::exists(home.path() + "/Logs/render.log"));
}

}  // namespace
