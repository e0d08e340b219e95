// Tests of the allocation shim: every replaced function fails when its turn comes, the C
// library's own allocations are counted, and the loop walks every failure point once.
#include "tests/support/alloc_failure.h"

#include <dirent.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <functional>
#include <new>
#include <vector>

#include "tests/support/temp_dir.h"

namespace {

using q7test::FailureRun;

// Where each block goes before it is released, so that the compiler cannot drop an
// allocation whose block nobody reads.
void* volatile sink;

bool keep(void* block) {
  sink = block;
  return block != nullptr;
}

// A type whose new goes through the aligned forms.
struct alignas(128) Wide {
  char bytes[128];
};

struct Allocation {
  const char* name;
  bool sets_errno;  // the C functions that return null set it to ENOMEM
  // Allocates and releases one block; false when the allocation failed.
  std::function<bool()> call;
};

const std::vector<Allocation>& allocations() {
  static const std::vector<Allocation> table = {
      {"malloc", true, [] { return keep(malloc(10)) && (free(sink), true); }},
      {"calloc", true, [] { return keep(calloc(2, 10)) && (free(sink), true); }},
      {"realloc", true, [] { return keep(realloc(nullptr, 10)) && (free(sink), true); }},
      {"posix_memalign", false,
       [] {
         void* block = nullptr;
         const int result = posix_memalign(&block, 64, 10);
         return keep(block) && result == 0 && (free(block), true);
       }},
      {"aligned_alloc", true, [] { return keep(aligned_alloc(64, 64)) && (free(sink), true); }},
      {"memalign", true, [] { return keep(memalign(64, 10)) && (free(sink), true); }},
      {"strdup", true, [] { return keep(strdup("text")) && (free(sink), true); }},
      {"strndup", true, [] { return keep(strndup("text", 2)) && (free(sink), true); }},
      {"new (nothrow)", false,
       [] { return keep(new (std::nothrow) int(1)) && (delete static_cast<int*>(sink), true); }},
      {"new[] (nothrow)", false,
       [] { return keep(new (std::nothrow) int[4]) && (delete[] static_cast<int*>(sink), true); }},
      {"aligned new (nothrow)", false,
       [] { return keep(new (std::nothrow) Wide) && (delete static_cast<Wide*>(sink), true); }},
      {"aligned new[] (nothrow)", false,
       [] {
         return keep(new (std::nothrow) Wide[2]) && (delete[] static_cast<Wide*>(sink), true);
       }},
      {"new", false,
       [] {
         try {
           return keep(new int(1)) && (delete static_cast<int*>(sink), true);
         } catch (const std::bad_alloc&) {
           return false;
         }
       }},
      {"new[]", false,
       [] {
         try {
           return keep(new int[4]) && (delete[] static_cast<int*>(sink), true);
         } catch (const std::bad_alloc&) {
           return false;
         }
       }},
      {"aligned new", false,
       [] {
         try {
           void* block = ::operator new (64, std::align_val_t{128});
           return keep(block) && (::operator delete (block, std::align_val_t{128}), true);
         } catch (const std::bad_alloc&) {
           return false;
         }
       }},
      {"aligned new[]", false,
       [] {
         try {
           void* block = ::operator new[](64, std::align_val_t{128});
           return keep(block) && (::operator delete[](block, std::align_val_t{128}), true);
         } catch (const std::bad_alloc&) {
           return false;
         }
       }},
  };
  return table;
}

TEST(AllocFailure, FailsTheChosenCallOfEveryAllocationFunction) {
  for (const Allocation& allocation : allocations()) {
    {
      FailureRun counting(0);
      EXPECT_TRUE(counting.armed(allocation.call)) << allocation.name;
      EXPECT_EQ(counting.counted(), 1) << allocation.name;
    }
    FailureRun failing(1);
    errno = 0;
    EXPECT_FALSE(failing.armed(allocation.call)) << allocation.name;
    EXPECT_TRUE(failing.injected()) << allocation.name;
    if (allocation.sets_errno) {
      EXPECT_EQ(errno, ENOMEM) << allocation.name;
    }
    // A block released is not counted, and past the point everything succeeds again.
    EXPECT_TRUE(failing.armed(allocation.call)) << allocation.name;
    EXPECT_EQ(failing.counted(), 2) << allocation.name;
  }
  // Unarmed, nothing is counted.
  FailureRun unarmed(1);
  EXPECT_TRUE(allocations()[0].call());
  EXPECT_FALSE(unarmed.injected());
  EXPECT_EQ(unarmed.counted(), 0);
}

void* run_thread(void*) { return nullptr; }

// The library's failure paths hang on these: the C library allocates inside them.
TEST(AllocFailure, FailsTheCLibrarysOwnAllocations) {
  q7test::TempDir dir;
  const std::string path = dir.file("file");
  const std::vector<std::pair<const char*, std::function<bool()>>> calls = {
      {"fopen",
       [&] {
         FILE* file = fopen(path.c_str(), "w");
         return file != nullptr && fclose(file) == 0;
       }},
      {"opendir",
       [&] {
         DIR* directory = opendir(dir.path().c_str());
         return directory != nullptr && closedir(directory) == 0;
       }},
      {"pthread_create",
       [] {
         pthread_t thread;
         return pthread_create(&thread, nullptr, run_thread, nullptr) == 0 &&
                pthread_join(thread, nullptr) == 0;
       }},
  };
  // A sanitizer's runtime may get by without some of the blocks it asks for.
  for (const auto& [name, call] : calls) {
    int failed = 0;
    const int points = q7test::for_each_failure_point(name, [&](FailureRun& run) {
      const bool succeeded = run.armed(call);
      EXPECT_TRUE(succeeded || run.injected());
      failed += succeeded ? 0 : 1;
    });
    EXPECT_GE(failed, 1) << name;
    EXPECT_GE(points, failed) << name;
  }
}

TEST(AllocFailure, LoopFailsEachPointOnceAcrossArmedStretches) {
  std::vector<std::pair<long, std::vector<bool>>> runs;
  const int points = q7test::for_each_failure_point("three blocks", [&](FailureRun& run) {
    std::vector<bool> got;
    for (int i = 0; i < 3; ++i) {
      // The block outside the armed stretch is not counted.
      void* unarmed = malloc(1);
      const bool allocated = run.armed([] { return keep(malloc(1)); });
      free(sink);
      free(unarmed);
      got.push_back(allocated);
    }
    runs.emplace_back(run.point(), got);
  });
  EXPECT_EQ(points, 3);
  const std::vector<std::pair<long, std::vector<bool>>> expected = {
      {1, {false, true, true}},
      {2, {true, false, true}},
      {3, {true, true, false}},
      {4, {true, true, true}},
  };
  EXPECT_EQ(runs, expected);
}

}  // namespace
