// Allocation failures in the value types: a version that cannot take its working copy is
// left as it was.
#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "q7/types/version.h"
#include "tests/support/alloc_failure.h"

namespace {

TEST(AllocationFailure, VersionKeepsItsValueWithoutAWorkingCopy) {
  const int points = q7test::for_each_failure_point("set_version", [](q7test::FailureRun& run) {
    JXversion version;
    ASSERT_TRUE(version.set_version(const_cast<char*>("V1.2-3.4.5")));
    const std::string before = version.text;
    const bool set =
        run.armed([&] { return version.set_version(const_cast<char*>("V5.2-3.1.4")); });
    EXPECT_EQ(set, !run.injected());
    EXPECT_EQ(std::string(version.text), set ? "V5.2.x-3.1.4" : before);
  });
  EXPECT_EQ(points, 1);
}

}  // namespace
