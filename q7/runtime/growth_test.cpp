// Tests of the array growth rule, also when memory runs short.
#include "q7/runtime/growth.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <stdlib.h>

#include "tests/support/child_process.h"

namespace {

TEST(Growth, DoublesThenGrowsBy512AndSurvivesShortMemory) {
  const struct {
    int used, capacity, needed, initial, expected;
  } cases[] = {{0, 0, 40, 16, 64},          {1500, 1500, 1, 16, 3000}, {0, 0, 1024, 1023, 2046},
               {1100, 1100, 1200, 8, 2712}, {2, 10, 3, 16, 10},        {0, 0, 3, 0, 4}};
  for (const auto& c : cases) {
    int capacity = c.capacity;
    auto** array = static_cast<char**>(calloc(c.capacity + 1, sizeof(char*)));
    const unsigned int free_after = ensure_memory(array, c.used, capacity, c.needed, c.initial);
    EXPECT_EQ(capacity, c.expected) << "used=" << c.used << " capacity=" << c.capacity;
    EXPECT_EQ(free_after, static_cast<unsigned int>(c.expected - c.used));
    for (int i = 0; i < capacity; ++i) array[i] = nullptr;  // the whole array is usable
    free(array);
  }
  const auto result = q7test::run_in_child([] {
    int capacity = 4;
    auto** array = static_cast<char**>(calloc(4, sizeof(char*)));
    char** const before = array;
    const int huge = INT_MAX - 8;
    Q7_CHILD_CHECK(ensure_memory(array, 4, capacity, huge, 16) == 0);
    Q7_CHILD_CHECK(array == before && capacity == 4);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_THAT(result.err, ::testing::HasSubstr("ERROR: ensure_memory(): Out of memory!\n"));
}

}  // namespace
