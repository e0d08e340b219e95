// Allocation failures in the runtime utilities, at every failure point: null or 0 as each
// header says, and the caller's block or array left as it was.
#include <gtest/gtest.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "q7/runtime/aligned_memory.h"
#include "q7/runtime/growth.h"
#include "q7/runtime/identifiers.h"
#include "tests/support/alloc_failure.h"

namespace {

using q7test::FailureRun;
using q7test::for_each_failure_point;

bool all_bytes(const void* block, size_t size, unsigned char value) {
  const auto* bytes = static_cast<const unsigned char*>(block);
  for (size_t i = 0; i < size; ++i) {
    if (bytes[i] != value) return false;
  }
  return true;
}

TEST(AllocationFailure, RuntimeUtilitiesGiveNullOrZeroAndKeepTheCallersBlock) {
  int points = for_each_failure_point("mem_align_alloc", [](FailureRun& run) {
    void* block = run.armed([] { return mem_align_alloc(100, 48); });
    EXPECT_EQ(block == nullptr, run.injected());
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 48, 0u);
    mem_align_free(block);
  });
  EXPECT_EQ(points, 1);

  points = for_each_failure_point("mem_align_realloc", [](FailureRun& run) {
    void* block = mem_align_alloc(100, 64);
    ASSERT_NE(block, nullptr);
    memset(block, 7, 100);
    void* grown = run.armed([&] { return mem_align_realloc(block, 200, 0); });
    EXPECT_EQ(grown == nullptr, run.injected());
    // The old block stays as it was when the new one cannot be made.
    void* kept = grown != nullptr ? grown : block;
    EXPECT_TRUE(all_bytes(kept, 100, 7));
    mem_align_free(kept);
  });
  EXPECT_EQ(points, 1);

  points = for_each_failure_point("ensure_memory", [](FailureRun& run) {
    char** array = nullptr;
    int capacity = 0;
    ASSERT_EQ(ensure_memory(array, 0, capacity, 16, 16), 16u);
    char** const before = array;
    array[15] = nullptr;
    testing::internal::CaptureStderr();
    const unsigned int room = run.armed([&] { return ensure_memory(array, 16, capacity, 1, 16); });
    const std::string logged = testing::internal::GetCapturedStderr();
    if (room == 0) {
      EXPECT_TRUE(run.injected());
      EXPECT_TRUE(array == before && capacity == 16);
      EXPECT_NE(logged.find("ensure_memory(): Out of memory!\n"), std::string::npos) << logged;
    } else {
      EXPECT_TRUE(room == 16 && capacity == 32) << room << " " << capacity;
      EXPECT_EQ(logged, "");
    }
    EXPECT_EQ(array[15], nullptr);
    free(array);
  });
  EXPECT_EQ(points, 1);

  points = for_each_failure_point("uuid_new", [](FailureRun& run) {
    const char* text = run.armed([] { return uuid_new(); });
    if (text == nullptr) {
      EXPECT_TRUE(run.injected());
      return;
    }
    EXPECT_EQ(strlen(text), 36u);
    uuid_delete(text);
  });
  EXPECT_GE(points, 1);
}

}  // namespace
