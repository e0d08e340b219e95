// Tests of the thread layer and its table, each in a child process: ids, limits and removal
// are process-wide.
#include "q7/mp/threads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <thread>
#include <vector>

#include "q7/log/message_log.h"
#include "q7/mp/parallel.h"
#include "q7/mp/sync.h"
#include "tests/support/child_process.h"
#include "tests/support/sanitizers.h"

namespace {

using ::testing::HasSubstr;

// Library threads in these tests post `started`, wait for `release`, note their own id, take
// their entry out of the table and post `started` again.
struct Worker {
  void* started = q7mp_new_sema(0);
  void* release = q7mp_new_sema(0);
  void* cancelled = q7mp_new_sema(0);
  int seen_id = 0;
};

void note_cancelled(void* worker) { q7mp_post_sema(static_cast<Worker*>(worker)->cancelled); }

void* work(void* raw) {
  auto* worker = static_cast<Worker*>(raw);
  pthread_cleanup_push(note_cancelled, worker);
  q7mp_post_sema(worker->started);
  q7mp_wait_sema(worker->release);
  worker->seen_id = q7mp_threadid();
  q7mp_leaving_thread();
  pthread_cleanup_pop(0);
  q7mp_post_sema(worker->started);
  return nullptr;
}

// A processor function that runs until it is cancelled.
void run_on(void* worker, void*, void*, void*, void*, void*) {
  q7mp_post_sema(static_cast<Worker*>(worker)->started);
  pause();
}

// The table is changed under q7mp_data_lock, so the tests read it under that lock too.
std::vector<int> table_ids() {
  q7mp_get_mutex(q7mp_data_lock);
  std::vector<int> ids;
  for (int i = 0; i < num_threads; ++i) ids.push_back(thread_ids[i].id);
  q7mp_release_mutex(q7mp_data_lock);
  return ids;
}

TEST(ThreadTable, HoldsThirtyTwoThreadsUntilOneLeaves) {
  const auto result = q7test::run_in_child([] {
    q7_notify_setlevel(5);
    Worker worker;
    for (int i = 0; i < 32; ++i) Q7_CHILD_CHECK(q7mp_start_thread(work, &worker) == 4096 + i);
    Q7_CHILD_CHECK(q7mp_start_thread(work, &worker) == -1);
    q7mp_post_sema(worker.release);
    // Each thread posts once as it starts, and the released one once more after leaving.
    for (int i = 0; i < 33; ++i) q7mp_wait_sema(worker.started);
    Q7_CHILD_CHECK(table_ids().size() == 31 && worker.seen_id >= 4096);
    Q7_CHILD_CHECK(q7mp_start_thread(work, &worker) == 4128 && table_ids().size() == 32);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_THAT(result.err, HasSubstr("TRACE: Created thread id = 4096, create_calls=1\n"));
  EXPECT_THAT(result.err, HasSubstr("TRACE: Created thread id = 4127, create_calls=32\n"
                                    "ERROR: Maximum number of thread's reached !!\n"));
}

TEST(ThreadLayer, SetsUpOnceKillingKeepsTheOrderAndCloseCancelsEveryThread) {
  Q7_SKIP_WHERE_CANCELLATION_IS_UNTRACKED();
  const auto result = q7test::run_in_child([] {
    Q7_CHILD_CHECK(q7mp_numcpu == 1 && pthreads_initialized == 0 && q7mp_threadid() == -1);
    q7mp_init_threads();
    void* data_lock = q7mp_data_lock;
    q7mp_init_threads();
    Q7_CHILD_CHECK(q7mp_data_lock == data_lock && q7mp_numcpu == get_nprocs());
    Worker worker;
    for (int i = 0; i < 4; ++i) Q7_CHILD_CHECK(q7mp_start_thread(work, &worker) == 4096 + i);
    for (int i = 0; i < 4; ++i) q7mp_wait_sema(worker.started);
    q7mp_kill_thread(4097);
    q7mp_kill_thread(4242);
    q7mp_wait_sema(worker.cancelled);
    Q7_CHILD_CHECK(table_ids() == std::vector<int>{4096, 4098, 4099});
    Q7_CHILD_CHECK(q7mp_start_thread(work, &worker) == 4100 && create_calls == 5);
    // Close also cancels the processors of a running execution, which then returns.
    q7mp_set_nprocs(2);
    std::thread execution([&worker] {
      q7mp_exec(reinterpret_cast<void (*)()>(run_on), &worker, nullptr, nullptr, nullptr, nullptr,
                nullptr);
    });
    for (int i = 0; i < 3; ++i) q7mp_wait_sema(worker.started);
    q7mp_close_threads();
    execution.join();
    for (int i = 0; i < 4; ++i) q7mp_wait_sema(worker.cancelled);
    Q7_CHILD_CHECK(pthreads_initialized == 0 && num_threads == 0 && !q7mp_handlers);
    Q7_CHILD_CHECK(q7mp_data_lock == nullptr && q7mp_serializer == nullptr);
    q7mp_close_threads();
    Q7_CHILD_CHECK(q7mp_start_thread(work, &worker) == 4101 && pthreads_initialized == 1);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_EQ(result.err, "(Q7 LIB)                  : Simulating 2-way multi-processing\n");
}

}  // namespace
