// Tests of parallel execution, each in a child process: the processor count is fixed once
// per process.
#include "q7/mp/parallel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "q7/mp/sync.h"
#include "q7/mp/threads.h"
#include "tests/support/child_process.h"

namespace {

using Band = std::pair<int, int>;
using Seen = std::map<int, std::vector<Band>>;  // by processor

// Every copy asks for its band of each of these ranges [first, last).
constexpr Band kRanges[] = {{0, 11}, {0, 1}, {100, 200}};

// What the copies of one execution saw: per processor its bands of kRanges, and their threads.
struct Record {
  std::mutex mutex;
  Seen bands;
  std::set<pthread_t> threads;
  std::multiset<Band> lines;  // the inclusive bands q7mp_lib_mp_exec passed
};

void record_copy(void*, void*, void*, void*, void*, void* raw) {
  auto* record = static_cast<Record*>(raw);
  std::vector<Band> bands;
  for (const Band& range : kRanges) {
    Band band;
    Q7_CHILD_CHECK(q7mp_find_band(range.first, range.second, band.first, band.second) == q7mp_id());
    bands.push_back(band);
  }
  std::lock_guard<std::mutex> lock(record->mutex);
  record->bands[q7mp_id()] = bands;
  record->threads.insert(pthread_self());
}

void note_lines(void* raw, int first_line, int last_line) {
  auto* record = static_cast<Record*>(raw);
  std::lock_guard<std::mutex> lock(record->mutex);
  record->lines.insert({first_line, last_line});
}

// Runs an execution of `function` with `arg` as the last of its six arguments.
void exec(void (*function)(void*, void*, void*, void*, void*, void*), void* arg = nullptr) {
  q7mp_exec(reinterpret_cast<void (*)()>(function), nullptr, nullptr, nullptr, nullptr, nullptr,
            arg);
}

TEST(ParallelExecution, OneProcessorRunsOnTheCallingThread) {
  const auto result = q7test::run_in_child([] {
    Q7_CHILD_CHECK(q7mp_get_nprocs() == 1);  // fixed before the layer was set up
    q7mp_init_threads();
    Record record;
    exec(record_copy, &record);
    Q7_CHILD_CHECK(record.bands == Seen{{0, {{0, 11}, {0, 1}, {100, 200}}}});
    Q7_CHILD_CHECK(record.threads == std::set{pthread_self()});
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
}

std::atomic<int> copies_running{0};
std::atomic<int> most_copies_running{0};

void overlap_probe(void*, void*, void*, void*, void*, void*) {
  const int now = ++copies_running;
  for (int most = most_copies_running; now > most;) {
    most_copies_running.compare_exchange_weak(most, now);
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(3));
  --copies_running;
}

void nested(void*, void*, void*, void*, void*, void* record) { exec(record_copy, record); }

TEST(ParallelExecution, ProcessorsGetTheirOwnThreadsAndBandsOneExecutionAtATime) {
  const auto result = q7test::run_in_child([] {
    q7mp_set_nprocs(2);
    q7mp_set_nprocs(3);
    Record record;
    exec(record_copy, &record);
    Q7_CHILD_CHECK(record.bands ==
                   Seen{{0, {{0, 5}, {0, 1}, {100, 150}}}, {1, {{5, 11}, {1, 1}, {150, 200}}}});
    Q7_CHILD_CHECK(record.threads.size() == 2 && !record.threads.count(pthread_self()));
    Band outside;
    Q7_CHILD_CHECK(img_mp_lineband(0, 11, outside.first, outside.second) == 0);
    Q7_CHILD_CHECK(outside == Band{0, 5} && num_threads == 0 && q7mp_handlers == nullptr);
    // The library form passes inclusive bands; an empty one has its last line first minus 1.
    q7mp_lib_mp_exec(nullptr, note_lines, 1, &record);
    Q7_CHILD_CHECK(record.lines == std::multiset<Band>{{0, 0}, {1, 0}});
    // Executions from two threads at once take turns; one started by a processor function
    // runs on that processor's thread.
    const auto many = [] {
      for (int i = 0; i < 10; ++i) exec(overlap_probe);
    };
    std::thread other(many);
    many();
    other.join();
    Q7_CHILD_CHECK(most_copies_running == 2);
    Record again;
    exec(nested, &again);
    Q7_CHILD_CHECK(again.bands == record.bands && again.threads.size() == 2);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_THAT(result.err,
              ::testing::MatchesRegex(
                  "\\(Q7 LIB\\)                  : Simulating 2-way multi-processing\n"
                  "\\(Q7 LIB\\) [0-9:.]+ WARN : 3-way Multi-processing already setup\\. "
                  "\\(Can't change it\\)\n"));
}

}  // namespace
