// Allocation failures in the thread layer, at every failure point: null handles, -1 from a
// thread start, and a parallel execution that still does all of its work.
#include <gtest/gtest.h>
#include <pthread.h>
#include <string.h>
#include <time.h>

#include <atomic>
#include <string>
#include <vector>

#include "q7/mp/parallel.h"
#include "q7/mp/sync.h"
#include "q7/mp/sysinfo.h"
#include "q7/mp/threads.h"
#include "tests/support/alloc_failure.h"

namespace {

using q7test::FailureRun;
using q7test::for_each_failure_point;

// Takes the semaphore, waiting at most ten seconds.
bool take_within_bound(void* sema) {
  const timespec pause = {0, 1000000};
  for (int i = 0; i < 10000; ++i) {
    if (q7mp_test_sema(sema) == 1) return true;
    nanosleep(&pause, nullptr);
  }
  return false;
}

struct Handle {
  const char* name;
  void* (*make)();
  // Checks that a new handle works, then deletes it.
  void (*use_and_delete)(void*);
};

const Handle kHandles[] = {
    {"q7mp_new_mutex", [] { return q7mp_new_mutex(1); },
     [](void* mutex) {
       EXPECT_EQ(q7mp_test_mutex(mutex), 0);
       EXPECT_EQ(q7mp_release_mutex(mutex), 0);
       q7mp_delete_mutex(mutex);
     }},
    {"q7mp_new_cond_block", q7mp_new_cond_block,
     [](void* cond) {
       EXPECT_EQ(q7mp_cond_signal(cond), 0);
       q7mp_delete_cond_block(cond);
     }},
    {"q7mp_new_sema", [] { return q7mp_new_sema(1); },
     [](void* sema) {
       EXPECT_EQ(q7mp_test_sema(sema), 1);
       EXPECT_EQ(q7mp_test_sema(sema), 0);
       q7mp_delete_sema(sema);
     }},
};

TEST(AllocationFailure, SyncHandlesAndTheSystemRecordAreNullOrWork) {
  for (const Handle& handle : kHandles) {
    const int points = for_each_failure_point(handle.name, [&](FailureRun& run) {
      void* made = run.armed(handle.make);
      EXPECT_EQ(made == nullptr, run.injected());
      if (made != nullptr) handle.use_and_delete(made);
    });
    EXPECT_EQ(points, 1) << handle.name;
  }

  // Without memory for the stream, the uptime is unknown; without the record, null.
  const int points = for_each_failure_point("q7mp_get_sysinfo", [](FailureRun& run) {
    q7mp_sysinfo* record = run.armed([] { return q7mp_get_sysinfo(); });
    EXPECT_TRUE(record != nullptr || run.injected());
    if (record == nullptr) return;
    EXPECT_NE(strstr(record->text, " Version "), nullptr) << record->text;
    EXPECT_TRUE(record->uptime >= 0 || run.injected());
    free(record);
  });
  EXPECT_GE(points, 2);
}

void* leave_and_post(void* left) {
  q7mp_leaving_thread();
  q7mp_post_sema(left);
  return nullptr;
}

struct Crowd {
  void* release = q7mp_new_sema(0);
  void* left = q7mp_new_sema(0);
};

void* wait_then_leave(void* raw) {
  auto* crowd = static_cast<Crowd*>(raw);
  q7mp_wait_sema(crowd->release);
  q7mp_leaving_thread();
  q7mp_post_sema(crowd->left);
  return nullptr;
}

// From a layer taken down each time, so that the layer's own set-up is among the points.
// A lock that cannot be made leaves the layer with a null lock, whose uses report the lock
// failure and go on. A thread that cannot be created is tried again a second later.
TEST(AllocationFailure, ThreadStartGivesMinusOneOrARunningThread) {
  q7mp_close_threads();
  const int points = for_each_failure_point("q7mp_start_thread", [](FailureRun& run) {
    void* left = q7mp_new_sema(0);
    testing::internal::CaptureStderr();
    const int id = run.armed([&] { return q7mp_start_thread(leave_and_post, left); });
    const bool thread_left = id >= 0 && take_within_bound(left);
    q7mp_close_threads();
    const std::string logged = testing::internal::GetCapturedStderr();
    if (id < 0) {
      EXPECT_TRUE(run.injected());
    } else {
      EXPECT_GE(id, 4096);
      EXPECT_TRUE(thread_left);
    }
    EXPECT_EQ(num_threads, 0);
    EXPECT_TRUE(
        logged.empty() ||
        (run.injected() && logged.find("THREAD: mutex lock errors...\n") != std::string::npos))
        << logged;
    q7mp_delete_sema(left);
  });
  // The two locks, the start record, and the thread.
  EXPECT_GE(points, 4);

  // A failed start gives its place in the table back.
  Crowd crowd;
  int started = 0;
  while (started < 33 && q7mp_start_thread(wait_then_leave, &crowd) >= 0) ++started;
  EXPECT_EQ(started, 32);
  for (int i = 0; i < started; ++i) q7mp_post_sema(crowd.release);
  for (int i = 0; i < started; ++i) EXPECT_TRUE(take_within_bound(crowd.left));
  q7mp_close_threads();
  q7mp_delete_sema(crowd.release);
  q7mp_delete_sema(crowd.left);
}

constexpr int kLines = 103;

void count_lines(void* counts, int first_line, int last_line) {
  for (int line = first_line; line <= last_line; ++line) {
    static_cast<std::atomic<int>*>(counts)[line].fetch_add(1);
  }
}

// After a failed start the processors already running may finish their bands before the
// calling thread does the whole work once more: each line is done once or twice. With the
// execution's key past the first 32 of the process, each processor thread allocates when it
// stores its record under the key.
TEST(AllocationFailure, ParallelExecutionFallsBackToTheCallingThread) {
  std::vector<pthread_key_t> keys(32);
  for (pthread_key_t& key : keys) ASSERT_EQ(pthread_key_create(&key, nullptr), 0);
  const int32_t count_before = pp_numprocs;
  const int points = for_each_failure_point("q7mp_lib_mp_exec", [](FailureRun& run) {
    // A failure drops the count to 1 for the rest of the process; every run starts at 4.
    pp_numprocs = 4;
    std::atomic<int> counts[kLines] = {};
    testing::internal::CaptureStderr();
    run.armed([&] { q7mp_lib_mp_exec(nullptr, count_lines, kLines, counts); });
    const std::string logged = testing::internal::GetCapturedStderr();
    const bool fell_back = pp_numprocs == 1;
    if (fell_back) {
      EXPECT_TRUE(run.injected());
      EXPECT_NE(logged.find("Can't create MP thread: "), std::string::npos) << logged;
    } else {
      EXPECT_EQ(pp_numprocs, 4);
      EXPECT_EQ(logged, "");
    }
    std::string wrong;
    for (int line = 0; line < kLines; ++line) {
      const int done = counts[line].load();
      if (done != 1 && !(fell_back && done == 2)) {
        wrong += " " + std::to_string(line) + ":" + std::to_string(done);
      }
    }
    EXPECT_EQ(wrong, "") << "lines done other than once (or twice after a fall-back)";
  });
  pp_numprocs = count_before;
  for (const pthread_key_t key : keys) pthread_key_delete(key);
  // The records, their finished flags, and the four processor threads with their keys.
  EXPECT_GE(points, 10);
}

}  // namespace
