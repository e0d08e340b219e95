// Lines per second of the message log into a regular file, flushed per line, against bare
// fprintf+fflush loops under a mutex and against spdlog flushing every line.
#include <benchmark/benchmark.h>
#include <stdio.h>
#include <sys/time.h>

#include <mutex>
#include <string>

#include "q7/log/message_log.h"

#ifdef Q7_HAVE_SPDLOG
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif

namespace {

const std::string kPath = "/tmp/q7_log_bench.log";

FILE* log_file = nullptr;

void open_log_file(const benchmark::State&) { log_file = fopen(kPath.c_str(), "w"); }

void close_log_file(const benchmark::State&) {
  fclose(log_file);
  log_file = nullptr;
  remove(kPath.c_str());
}

void BM_Notify_RegularFile(benchmark::State& state) {
  if (state.thread_index() == 0) defaultLogger.setFile(log_file);
  int frame = 0;
  for (auto _ : state) q7_notify(3, "frame %d of %s done", ++frame, "shot0042.tif");
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Notify_RegularFile)
    ->Setup(open_log_file)
    ->Teardown(close_log_file)
    ->Threads(1)
    ->Threads(2)
    ->UseRealTime();

std::mutex bare_mutex;

// The bare loop a program would write without q7 for the same lines: the time of day from
// gettimeofday, the tag and level by hand, one fprintf and one fflush under a mutex.
void BM_Peer_FprintfFlushSameLine(benchmark::State& state) {
  int frame = 0;
  for (auto _ : state) {
    timeval now;
    gettimeofday(&now, nullptr);
    const int day_seconds = static_cast<int>(now.tv_sec % 86400);
    const double seconds = day_seconds % 60 + now.tv_usec * 1e-6;
    std::lock_guard<std::mutex> lock(bare_mutex);
    fprintf(log_file, "(Q7 LIB) %02d:%02d:%05.2f INFO : frame %d of %s done\n", day_seconds / 3600,
            day_seconds / 60 % 60, seconds, ++frame, "shot0042.tif");
    fflush(log_file);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Peer_FprintfFlushSameLine)
    ->Setup(open_log_file)
    ->Teardown(close_log_file)
    ->Threads(1)
    ->Threads(2)
    ->UseRealTime();

// The message alone, without tag, time or level: the floor of any logger.
void BM_Peer_FprintfFlushMessageOnly(benchmark::State& state) {
  int frame = 0;
  for (auto _ : state) {
    std::lock_guard<std::mutex> lock(bare_mutex);
    fprintf(log_file, "frame %d of %s done\n", ++frame, "shot0042.tif");
    fflush(log_file);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Peer_FprintfFlushMessageOnly)
    ->Setup(open_log_file)
    ->Teardown(close_log_file)
    ->Threads(1)
    ->Threads(2)
    ->UseRealTime();

#ifdef Q7_HAVE_SPDLOG
std::shared_ptr<spdlog::logger> spdlog_logger;

void open_spdlog(const benchmark::State&) {
  spdlog_logger = spdlog::basic_logger_mt("bench", kPath, true);
  // The same line layout as the message log: tag, time of day, level, text.
  spdlog_logger->set_pattern("(%n) %H:%M:%S.%e %-5l: %v");
  spdlog_logger->flush_on(spdlog::level::trace);
}

void close_spdlog(const benchmark::State&) {
  spdlog::drop("bench");
  spdlog_logger.reset();
  remove(kPath.c_str());
}

void BM_Peer_SpdlogFlush(benchmark::State& state) {
  int frame = 0;
  for (auto _ : state) spdlog_logger->info("frame {} of {} done", ++frame, "shot0042.tif");
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Peer_SpdlogFlush)
    ->Setup(open_spdlog)
    ->Teardown(close_spdlog)
    ->Threads(1)
    ->Threads(2)
    ->UseRealTime();
#endif

}  // namespace

BENCHMARK_MAIN();
