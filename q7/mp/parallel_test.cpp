// Tests of parallel execution, each in a child process: the processor count is fixed once
// per process.
#include "q7/mp/parallel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <stdlib.h>
#include <sys/sysinfo.h>

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

using ::testing::MatchesRegex;
using Band = std::pair<int, int>;

void require(bool condition, int status) {
  if (!condition) exit(status);
}

// What the copies of one execution saw.
struct Record {
  std::mutex mutex;
  std::vector<int> ids;
  std::set<pthread_t> threads;
  std::vector<std::pair<int, Band>> bands;  // processor, band
  std::atomic<int> returned{0};
  int first = 0;
  int last = 0;
};

void record_copy(void* raw, void* arg2, void*, void*, void*, void*) {
  auto* record = static_cast<Record*>(raw);
  require(arg2 == reinterpret_cast<void*>(0x5eed), 20);
  int band_first = -1;
  int band_last = -1;
  const int processor = q7mp_find_band(record->first, record->last, band_first, band_last);
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  {
    std::lock_guard<std::mutex> lock(record->mutex);
    record->ids.push_back(q7mp_id());
    record->threads.insert(pthread_self());
    record->bands.push_back({processor, {band_first, band_last}});
  }
  ++record->returned;
}

void run(Record& record) {
  q7mp_exec(reinterpret_cast<void (*)()>(record_copy), &record, reinterpret_cast<void*>(0x5eed),
            nullptr, nullptr, nullptr, nullptr);
}

std::vector<Band> bands_by_processor(Record& record) {
  std::vector<Band> bands(record.bands.size());
  for (const auto& [processor, band] : record.bands) bands.at(processor) = band;
  return bands;
}

TEST(ParallelExecution, OneProcessorRunsOnTheCallingThread) {
  const auto result = q7test::run_in_child([] {
    require(q7mp_get_nprocs() == 1, 2);  // fixed before the thread layer was set up
    q7mp_init_threads();
    require(q7mp_get_nprocs() == 1, 3);
    Record record;
    record.last = 10;
    run(record);
    require(record.returned == 1 && record.threads == std::set{pthread_self()}, 4);
    require(record.ids == std::vector<int>{0}, 5);
    require(bands_by_processor(record) == std::vector<Band>{{0, 10}}, 6);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
}

TEST(ParallelExecution, EachProcessorGetsItsIdAndBand) {
  const auto result = q7test::run_in_child([] {
    q7mp_set_nprocs(4);
    q7mp_set_nprocs(2);
    require(q7mp_get_nprocs() == 4, 2);
    Record record;
    record.last = 10;
    run(record);
    require(record.returned == 4, 3);
    require(record.threads.size() == 4 && !record.threads.count(pthread_self()), 4);
    require(
        std::multiset<int>(record.ids.begin(), record.ids.end()) == std::multiset<int>{0, 1, 2, 3},
        5);
    require(bands_by_processor(record) == std::vector<Band>{{0, 2}, {2, 4}, {4, 6}, {6, 10}}, 6);
    require(q7mp_handlers == nullptr && num_threads == 0, 7);

    Record few;
    few.last = 3;
    run(few);
    require(bands_by_processor(few) == std::vector<Band>{{0, 3}, {3, 3}, {3, 3}, {3, 3}}, 8);

    int band_first = -1;
    int band_last = -1;
    require(img_mp_lineband(0, 10, band_first, band_last) == 0, 9);
    require(band_first == 0 && band_last == 2, 10);
    require(q7mp_id() == 0, 11);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_THAT(result.err,
              MatchesRegex("\\(Q7 LIB\\)                  : Simulating 4-way multi-processing\n"
                           "\\(Q7 LIB\\) [0-9:.]+ WARN : 2-way Multi-processing already setup\\. "
                           "\\(Can't change it\\)\n"));
}

TEST(ParallelExecution, TwoProcessorsSplitARangeWithAnOffset) {
  const auto result = q7test::run_in_child([] {
    q7mp_set_nprocs(2);
    Record record;
    record.first = 100;
    record.last = 200;
    run(record);
    require(bands_by_processor(record) == std::vector<Band>{{100, 150}, {150, 200}}, 2);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
}

TEST(ParallelExecution, CountComesFromTheMachineOnceTheLayerIsUp) {
  const auto result = q7test::run_in_child([] {
    q7mp_init_threads();
    require(q7mp_get_nprocs() == get_nprocs(), 2);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
}

std::vector<Band>* line_calls;
std::mutex line_calls_mutex;

void note_lines(void*, int first_line, int last_line) {
  std::lock_guard<std::mutex> lock(line_calls_mutex);
  line_calls->push_back({first_line, last_line});
}

TEST(ParallelExecution, LibraryExecPassesInclusiveBands) {
  const auto result = q7test::run_in_child([] {
    q7mp_set_nprocs(4);
    std::vector<Band> calls;
    line_calls = &calls;
    q7mp_lib_mp_exec(nullptr, note_lines, 10, nullptr);
    std::multiset<Band> seen(calls.begin(), calls.end());
    require(seen == std::multiset<Band>{{0, 1}, {2, 3}, {4, 5}, {6, 9}}, 2);
    calls.clear();
    q7mp_lib_mp_exec(nullptr, note_lines, 3, nullptr);
    seen = std::multiset<Band>(calls.begin(), calls.end());
    require(seen == std::multiset<Band>{{0, 2}, {3, 2}, {3, 2}, {3, 2}}, 3);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
}

std::atomic<int> copies_running{0};
std::atomic<int> most_copies_running{0};

void overlap_probe(void*, void*, void*, void*, void*, void*) {
  const int now = ++copies_running;
  int most = most_copies_running;
  while (now > most && !most_copies_running.compare_exchange_weak(most, now)) {
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(3));
  --copies_running;
}

TEST(ParallelExecution, ExecutionsFromTwoThreadsRunOneAfterTheOther) {
  const auto result = q7test::run_in_child([] {
    q7mp_set_nprocs(2);
    const auto many = [] {
      for (int i = 0; i < 10; ++i) {
        q7mp_exec(reinterpret_cast<void (*)()>(overlap_probe), nullptr, nullptr, nullptr, nullptr,
                  nullptr, nullptr);
      }
    };
    std::thread other(many);
    many();
    other.join();
    require(most_copies_running == 2, 2);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
}

std::atomic<int> inner_calls{0};

void inner(void*, void*, void*, void*, void*, void*) { ++inner_calls; }

void nested(void*, void*, void*, void*, void*, void*) {
  q7mp_exec(reinterpret_cast<void (*)()>(inner), nullptr, nullptr, nullptr, nullptr, nullptr,
            nullptr);
}

TEST(ParallelExecution, ExecutionInsideAProcessorRunsOnItsThread) {
  const auto result = q7test::run_in_child([] {
    q7mp_set_nprocs(3);
    q7mp_exec(reinterpret_cast<void (*)()>(nested), nullptr, nullptr, nullptr, nullptr, nullptr,
              nullptr);
    require(inner_calls == 3, 2);
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
    q7mp_exec(reinterpret_cast<void (*)()>(block), nullptr, nullptr, nullptr, nullptr, nullptr,
              nullptr);
    closer.join();
    require(q7mp_handlers == nullptr, 2);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
}

}  // namespace
