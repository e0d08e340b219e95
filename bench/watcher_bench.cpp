// Directory watcher: the watch thread's CPU time per polling cycle on a directory of 10,000
// files, against one plain readdir + fstatat listing of the same directory.
//
// The watcher row runs the real watch thread. Each iteration puts one new file into the
// directory and waits for its report; between two reports the thread runs exactly one
// cycle (a listing, a search of every name in both directions, the stability wait of the
// new file and its callback), and the iteration's time is the thread's own CPU clock
// (pthread_getcpuclockid) over that cycle. The process's CPU clock over the same cycle is
// given beside it, as a check that nothing else in the process was busy.
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "bench/filled_directory.h"
#include "q7/files/internal/watch_steps.h"
#include "q7/files/watcher.h"
#include "q7/mp/threads.h"

namespace {

constexpr int kFiles = 10000;

std::string shot_name(int i) {
  char name[32];
  snprintf(name, sizeof name, "shot%05d.tif", i);
  return name;
}

const std::string& directory() {
  static const q7bench::FilledDirectory made(kFiles, shot_name);
  return made.path();
}

bool have_directory(benchmark::State& state) {
  if (!directory().empty()) return true;
  state.SkipWithError("cannot make the directory of 10,000 files under /tmp");
  return false;
}

double seconds_of(clockid_t clock) {
  timespec now;
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

std::mutex reports_lock;
std::condition_variable reported;
int reports = 0;

void count_report(char*) {
  std::lock_guard lock(reports_lock);
  ++reports;
  reported.notify_all();
}

bool wait_for_report(int count) {
  std::unique_lock lock(reports_lock);
  return reported.wait_for(lock, std::chrono::seconds(30), [count] { return reports >= count; });
}

// The POSIX handle of a library thread, from the thread table.
bool cpu_clock_of(int id, clockid_t& clock) {
  for (int i = 0; i < num_threads; ++i) {
    if (thread_ids[i].id == id) return pthread_getcpuclockid(thread_ids[i].thread, &clock) == 0;
  }
  return false;
}

void BM_Watcher_CycleCpu(benchmark::State& state) {
  if (!have_directory(state)) return;
  tagDWATCH watch{};
  std::string watched = directory();
  clockid_t thread_clock;
  if (!watch_directory_start(&watch, watched.data(), count_report, nullptr, true) ||
      !cpu_clock_of(watch.thread, thread_clock)) {
    state.SkipWithError("the watcher did not start");
    return;
  }
  double process_seconds = 0;
  int cycle = 0;
  for (auto _ : state) {
    const double thread_before = seconds_of(thread_clock);
    const double process_before = seconds_of(CLOCK_PROCESS_CPUTIME_ID);
    const std::string marker = watched + "/zz_marker" + std::to_string(++cycle);
    const int fd = open(marker.c_str(), O_WRONLY | O_CREAT, 0600);
    if (fd >= 0) close(fd);
    if (fd < 0 || !wait_for_report(reports + 1)) {
      state.SkipWithError("no report of the new file within 30 seconds");
      break;
    }
    state.SetIterationTime(seconds_of(thread_clock) - thread_before);
    process_seconds += seconds_of(CLOCK_PROCESS_CPUTIME_ID) - process_before;
  }
  watch_directory_end(&watch);
  for (int i = 1; i <= cycle; ++i) unlink((watched + "/zz_marker" + std::to_string(i)).c_str());
  state.counters["process_cpu_ms"] =
      benchmark::Counter(process_seconds * 1e3 / static_cast<double>(state.iterations()));
}
BENCHMARK(BM_Watcher_CycleCpu)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

// The watcher's listing step alone, on this thread.
void BM_Watcher_Listing(benchmark::State& state) {
  if (!have_directory(state)) return;
  tagDWATCH watch{};
  std::string watched = directory();
  watch.directory = watched.data();
  for (auto _ : state) {
    if (!q7::internal::watch_dir_get_dir_list(&watch, watch.fresh, watch.nfresh,
                                              watch.fresh_capacity)) {
      state.SkipWithError("listing failed");
      break;
    }
  }
  watch.directory = nullptr;
  q7::internal::watch_clean_up(&watch);
}
BENCHMARK(BM_Watcher_Listing)->Unit(benchmark::kMillisecond);

int compare_names(const void* left, const void* right) {
  return strcmp(*static_cast<char* const*>(left), *static_cast<char* const*>(right));
}

// The same names from readdir and fstatat against the open directory, copied and sorted.
void BM_Peer_ReaddirFstatat(benchmark::State& state) {
  if (!have_directory(state)) return;
  std::vector<char*> names;
  for (auto _ : state) {
    DIR* stream = opendir(directory().c_str());
    if (stream == nullptr) {
      state.SkipWithError("opendir failed");
      break;
    }
    while (const dirent* entry = readdir(stream)) {
      struct stat status;
      if (fstatat(dirfd(stream), entry->d_name, &status, 0) == 0 && S_ISREG(status.st_mode)) {
        names.push_back(strdup(entry->d_name));
      }
    }
    closedir(stream);
    qsort(names.data(), names.size(), sizeof(char*), compare_names);
    benchmark::DoNotOptimize(names.data());
    for (char* name : names) free(name);
    names.clear();
  }
}
BENCHMARK(BM_Peer_ReaddirFstatat)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
