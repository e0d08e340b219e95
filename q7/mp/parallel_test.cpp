// Tests of parallel execution, each in a child process: the processor count is fixed once
// per process.
#include "q7/mp/parallel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "q7/mp/sync.h"
#include "q7/mp/threads.h"
#include "tests/support/child_process.h"
#include "tests/support/sanitizers.h"

namespace {

using Band = std::pair<int, int>;
using q7test::require_in_child;

// What the copies of one execution saw: per processor its band of [first, last).
struct Record {
  int first = 0;
  int last = 0;
  std::mutex mutex;
  std::vector<Band> bands{8, Band{-1, -1}};
  std::set<pthread_t> threads;
  int copies = 0;
};

void record_copy(void* raw, void* marker, void*, void*, void*, void*) {
  auto* record = static_cast<Record*>(raw);
  require_in_child(marker == reinterpret_cast<void*>(0x5eed), 20);
  Band band;
  const int processor = q7mp_find_band(record->first, record->last, band.first, band.second);
  require_in_child(processor == q7mp_id(), 21);
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  std::lock_guard<std::mutex> lock(record->mutex);
  record->bands.at(processor) = band;
  record->threads.insert(pthread_self());
  ++record->copies;
}

void exec(void (*function)(void*, void*, void*, void*, void*, void*), void* arg1 = nullptr,
          void* arg2 = nullptr) {
  q7mp_exec(reinterpret_cast<void (*)()>(function), arg1, arg2, nullptr, nullptr, nullptr, nullptr);
}

// Runs an execution over [first, last) and returns the bands of the first `count` processors.
std::vector<Band> bands_of(int first, int last, int count, Record& record) {
  record.first = first;
  record.last = last;
  exec(record_copy, &record, reinterpret_cast<void*>(0x5eed));
  return std::vector<Band>(record.bands.begin(), record.bands.begin() + count);
}

TEST(ParallelExecution, OneProcessorRunsOnTheCallingThread) {
  const auto result = q7test::run_in_child([] {
    require_in_child(q7mp_get_nprocs() == 1, 2);  // fixed before the layer was set up
    q7mp_init_threads();
    Record record;
    require_in_child(bands_of(0, 10, 1, record) == std::vector<Band>{{0, 10}}, 3);
    require_in_child(record.copies == 1 && record.threads == std::set{pthread_self()}, 4);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
}

std::vector<Band> line_calls;
std::mutex line_calls_mutex;

void note_lines(void*, int first_line, int last_line) {
  std::lock_guard<std::mutex> lock(line_calls_mutex);
  line_calls.push_back({first_line, last_line});
}

TEST(ParallelExecution, EachProcessorGetsItsOwnThreadAndBand) {
  const auto result = q7test::run_in_child([] {
    q7mp_set_nprocs(4);
    q7mp_set_nprocs(2);
    Record record;
    require_in_child(
        bands_of(0, 10, 4, record) == std::vector<Band>{{0, 2}, {2, 4}, {4, 6}, {6, 10}}, 2);
    require_in_child(record.copies == 4 && record.threads.size() == 4, 3);
    require_in_child(!record.threads.count(pthread_self()) && q7mp_handlers == nullptr, 4);
    Record few;
    require_in_child(bands_of(0, 3, 4, few) == std::vector<Band>{{0, 3}, {3, 3}, {3, 3}, {3, 3}},
                     5);
    Record offset;
    require_in_child(bands_of(100, 200, 4, offset) ==
                         std::vector<Band>{{100, 125}, {125, 150}, {150, 175}, {175, 200}},
                     6);
    Band outside;
    require_in_child(img_mp_lineband(0, 10, outside.first, outside.second) == 0, 7);
    require_in_child(outside == Band{0, 2} && num_threads == 0, 8);
    // The library form passes inclusive bands; an empty one has its last line first minus 1.
    q7mp_lib_mp_exec(nullptr, note_lines, 3, nullptr);
    const std::multiset<Band> calls(line_calls.begin(), line_calls.end());
    require_in_child(calls == std::multiset<Band>{{0, 2}, {3, 2}, {3, 2}, {3, 2}}, 9);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_THAT(result.err,
              ::testing::MatchesRegex(
                  "\\(Q7 LIB\\)                  : Simulating 4-way multi-processing\n"
                  "\\(Q7 LIB\\) [0-9:.]+ WARN : 2-way Multi-processing already setup\\. "
                  "\\(Can't change it\\)\n"));
}

std::atomic<int> copies_running{0};
std::atomic<int> most_copies_running{0};
std::atomic<int> inner_calls{0};

void overlap_probe(void*, void*, void*, void*, void*, void*) {
  const int now = ++copies_running;
  for (int most = most_copies_running; now > most;) {
    most_copies_running.compare_exchange_weak(most, now);
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(3));
  --copies_running;
}

void inner(void*, void*, void*, void*, void*, void*) { ++inner_calls; }
void nested(void*, void*, void*, void*, void*, void*) { exec(inner); }

TEST(ParallelExecution, ExecutionsRunOneAtATimeAndNestedOnesStayOnTheirThread) {
  const auto result = q7test::run_in_child([] {
    q7mp_set_nprocs(2);
    const auto many = [] {
      for (int i = 0; i < 10; ++i) exec(overlap_probe);
    };
    std::thread other(many);
    many();
    other.join();
    require_in_child(most_copies_running == 2, 2);
    exec(nested);
    require_in_child(inner_calls == 2, 3);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
}

void* blocked_sema;
void block(void*, void*, void*, void*, void*, void*) { q7mp_wait_sema(blocked_sema); }

TEST(ParallelExecution, CloseCancelsTheProcessorsOfARunningExecution) {
  Q7_SKIP_WHERE_CANCELLATION_IS_UNTRACKED();
  const auto result = q7test::run_in_child([] {
    q7mp_set_nprocs(2);
    blocked_sema = q7mp_new_sema(0);
    std::thread closer([] {
      while (std::atomic_ref<q7mp_proc_record*>(q7mp_handlers).load() == nullptr) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      q7mp_close_threads();
    });
    exec(block);
    closer.join();
    require_in_child(q7mp_handlers == nullptr, 2);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
}

}  // namespace
