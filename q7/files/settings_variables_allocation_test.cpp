// Allocation failures in the settings variables, at every failure point: a value, or null
// and nothing leaked; var_lock made at the first call that can make it.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "q7/files/settings_variables.h"
#include "q7/log/message_log.h"
#include "tests/support/alloc_failure.h"
#include "tests/support/temp_dir.h"

namespace {

using q7test::FailureRun;
using q7test::for_each_failure_point;
using q7test::TempDir;

TEST(AllocationFailure, SettingsVariablesGiveTheValueOrNull) {
  // Each test runs in its own process: the home set here is this test's alone.
  const TempDir home;
  setenv("Q7_HOME_DIR", home.path().c_str(), 1);
  // The log makes its lock at its first message, printed or not (the home lookup's trace):
  // made here, it is not counted as the operations' own.
  q7_notify(5, "warm up the log");
  char name[] = "scene";
  char value[] = "shot0043.tif";
  // The first armed call makes var_lock, so its allocation is among the failure points.
  int points = for_each_failure_point("set_variable", [&](FailureRun& run) {
    const bool set = run.armed([&] { return set_variable(name, value); });
    EXPECT_TRUE(set || run.injected());
  });
  EXPECT_EQ(points, 1);
  ASSERT_NE(var_lock, nullptr);
  ASSERT_TRUE(set_variable(name, value));

  points = for_each_failure_point("get_variable", [&](FailureRun& run) {
    char* got = run.armed([&] { return get_variable(name); });
    if (got == nullptr) {
      EXPECT_TRUE(run.injected());
      return;
    }
    EXPECT_STREQ(got, "shot0043.tif");
    free(got);
  });
  EXPECT_EQ(points, 1);
}

}  // namespace
