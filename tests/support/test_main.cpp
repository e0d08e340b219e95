// Entry point of every q7 test executable.
#include <gtest/gtest.h>

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  // Death tests fork; the threadsafe style re-executes the binary so a child never
  // inherits locks held by threads of the parent.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  return RUN_ALL_TESTS();
}
