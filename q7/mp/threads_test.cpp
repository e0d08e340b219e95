// Tests of the thread table, each in a child process: ids, limits and removal are
// process-wide.
#include "q7/mp/threads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/sysinfo.h>

#include <chrono>
#include <thread>
#include <vector>

#include "q7/log/message_log.h"
#include "q7/mp/sync.h"
#include "tests/support/child_process.h"
#include "tests/support/sanitizers.h"

namespace {

using ::testing::HasSubstr;

// Library threads in these tests wait on `release` and then, when `leave` is set, take
// their own entry out of the table.
struct Worker {
  void* started = q7mp_new_sema(0);
  void* release = q7mp_new_sema(0);
  void* cancelled = q7mp_new_sema(0);
  bool leave = false;
  int seen_id = 0;
};

void note_cancelled(void* worker) { q7mp_post_sema(static_cast<Worker*>(worker)->cancelled); }

void* work(void* raw) {
  auto* worker = static_cast<Worker*>(raw);
  pthread_cleanup_push(note_cancelled, worker);
  q7mp_post_sema(worker->started);
  q7mp_wait_sema(worker->release);
  worker->seen_id = q7mp_threadid();
  if (worker->leave) q7mp_leaving_thread();
  pthread_cleanup_pop(0);
  q7mp_post_sema(worker->started);
  return nullptr;
}

std::vector<int> table_ids() {
  std::vector<int> ids;
  for (int i = 0; i < num_threads; ++i) ids.push_back(thread_ids[i].id);
  return ids;
}

// Fails the child with `status` when `condition` does not hold.
void require(bool condition, int status) {
  if (!condition) exit(status);
}

TEST(ThreadTable, IdsStartAt4096AndRemovalKeepsOrder) {
  Q7_SKIP_WHERE_CANCELLATION_IS_UNTRACKED();
  const auto result = q7test::run_in_child([] {
    require(q7mp_threadid() == -1, 2);
    Worker worker;
    require(q7mp_start_thread(work, &worker) == 4096, 3);
    require(q7mp_start_thread(work, &worker) == 4097, 4);
    require(q7mp_start_thread(work, &worker) == 4098, 5);
    require(table_ids() == std::vector<int>{4096, 4097, 4098}, 6);
    q7mp_kill_thread(4097);
    require(table_ids() == std::vector<int>{4096, 4098}, 7);
    q7mp_kill_thread(4242);
    require(table_ids() == std::vector<int>{4096, 4098}, 8);
    require(q7mp_start_thread(work, &worker) == 4099, 9);
    require(create_calls == 4, 10);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_EQ(result.err, "");
}

TEST(ThreadTable, AThreadFindsItsOwnId) {
  const auto result = q7test::run_in_child([] {
    Worker worker;
    const int id = q7mp_start_thread(work, &worker);
    q7mp_wait_sema(worker.started);
    q7mp_post_sema(worker.release);
    q7mp_wait_sema(worker.started);
    require(worker.seen_id == id, 2);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
}

TEST(ThreadTable, HoldsThirtyTwoThreadsUntilOneLeaves) {
  const auto result = q7test::run_in_child([] {
    Worker worker;
    worker.leave = true;
    for (int i = 0; i < 32; ++i) require(q7mp_start_thread(work, &worker) == 4096 + i, 2);
    require(q7mp_start_thread(work, &worker) == -1, 3);
    q7mp_post_sema(worker.release);
    // Each thread posts once as it starts, and the one released once more after leaving.
    for (int i = 0; i < 33; ++i) q7mp_wait_sema(worker.started);
    require(num_threads == 31, 4);
    require(q7mp_start_thread(work, &worker) == 4128, 5);
    require(num_threads == 32, 6);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_EQ(result.err, "ERROR: Maximum number of thread's reached !!\n");
}

TEST(ThreadTable, KillingAnEndedThreadOnlyRemovesItsEntry) {
  const auto result = q7test::run_in_child([] {
    Worker worker;
    q7mp_post_sema(worker.release);
    const int id = q7mp_start_thread(work, &worker);
    q7mp_wait_sema(worker.started);
    q7mp_wait_sema(worker.started);
    // The thread is past its function; give it time to end completely.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    require(num_threads == 1, 2);
    q7mp_kill_thread(id);
    require(num_threads == 0, 3);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_EQ(result.err, "");
}

TEST(ThreadTable, CloseCancelsThreadsAndALaterStartSetsUpAgain) {
  Q7_SKIP_WHERE_CANCELLATION_IS_UNTRACKED();
  const auto result = q7test::run_in_child([] {
    Worker worker;
    for (int i = 0; i < 3; ++i) q7mp_start_thread(work, &worker);
    for (int i = 0; i < 3; ++i) q7mp_wait_sema(worker.started);
    q7mp_close_threads();
    for (int i = 0; i < 3; ++i) q7mp_wait_sema(worker.cancelled);
    require(pthreads_initialized == 0 && num_threads == 0, 2);
    require(q7mp_data_lock == nullptr && q7mp_serializer == nullptr, 3);
    require(thread_id == 4099 && create_calls == 3, 4);
    q7mp_close_threads();
    require(q7mp_start_thread(work, &worker) == 4099, 5);
    require(pthreads_initialized == 1 && q7mp_data_lock != nullptr, 6);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
}

TEST(ThreadTable, StartsAreTracedAtLevelFive) {
  const auto result = q7test::run_in_child([] {
    Worker worker;
    q7_notify_setlevel(5);
    q7mp_start_thread(work, &worker);
    q7mp_start_thread(work, &worker);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_THAT(result.err, HasSubstr("TRACE: Created thread id = 4096, create_calls=1\n"));
  EXPECT_THAT(result.err, HasSubstr("TRACE: Created thread id = 4097, create_calls=2\n"));
}

TEST(ThreadLayer, InitReadsTheProcessorCountOnce) {
  const auto result = q7test::run_in_child([] {
    require(q7mp_numcpu == 1 && pthreads_initialized == 0, 2);
    q7mp_init_threads();
    void* data_lock = q7mp_data_lock;
    q7mp_init_threads();
    require(q7mp_data_lock == data_lock, 3);
    require(q7mp_numcpu == get_nprocs(), 4);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
}

}  // namespace
