// File copying, loading and saving against plain read/write loops doing the same work, and
// cp. The files live under Q7_BENCH_DIR (default /tmp); the sources are written once, so
// that they sit in the page cache when the runs read them.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "bench/run_cp.h"
#include "q7/files/file_operations.h"
#include "q7/files/whole_files.h"
#include "q7/internal/unique_file.h"

namespace {

using q7::internal::read_full;
using q7::internal::UniqueFd;
using q7::internal::write_full;

constexpr size_t kCopyBytes = size_t{256} << 20;
constexpr size_t kWholeBytes = size_t{64} << 20;
constexpr size_t kBuffer = 65536;

std::string bench_path(const char* name) {
  const char* dir = getenv("Q7_BENCH_DIR");
  return std::string(dir != nullptr ? dir : "/tmp") + "/q7_files_bench." + name;
}

const std::string kCopySource = bench_path("copy_source");
const std::string kCopyTarget = bench_path("copy_target");
const std::string kWholeSource = bench_path("whole_source");
const std::string kWholeTarget = bench_path("whole_target");

// Removes the files when the benchmark program ends.
struct Files {
  ~Files() {
    for (const std::string& path : {kCopySource, kCopyTarget, kWholeSource, kWholeTarget}) {
      unlink(path.c_str());
    }
  }
};

const std::vector<char>& pattern() {
  static const std::vector<char> bytes = [] {
    std::vector<char> made(kWholeBytes);
    for (size_t i = 0; i < made.size(); ++i) made[i] = static_cast<char>(i * 131 + i / 4099);
    return made;
  }();
  return bytes;
}

void write_source(const std::string& path, size_t size) {
  const UniqueFd file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644));
  for (size_t written = 0; file && written < size; written += pattern().size()) {
    if (!write_full(file.get(), pattern().data(), pattern().size())) return;
  }
}

void make_files(const benchmark::State&) {
  static bool made = false;
  static Files files;
  if (made) return;
  write_source(kCopySource, kCopyBytes);
  write_source(kWholeSource, kWholeBytes);
  made = true;
}

void count_bytes(benchmark::State& state, size_t size) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
}

// Copies run onto the previous copy (argument 0), or onto no file, the previous copy being
// removed outside the timing (argument 1). Replacing an existing file costs more on ext4,
// which starts writing the new file out when it replaces one.
void prepare_target(benchmark::State& state) {
  if (state.range(0) == 0) return;
  state.PauseTiming();
  unlink(kCopyTarget.c_str());
  state.ResumeTiming();
}

void label_target(benchmark::State& state) {
  state.SetLabel(state.range(0) == 0 ? "replacing" : "fresh");
}

void BM_FileCopy(benchmark::State& state) {
  std::string source = kCopySource;
  std::string target = kCopyTarget;
  for (auto _ : state) {
    prepare_target(state);
    if (!file_copy(source.data(), target.data(), nullptr, 0)) {
      state.SkipWithError("file_copy failed");
      return;
    }
  }
  label_target(state);
  count_bytes(state, kCopyBytes);
}

// The loop that file_copy runs, a 64 KiB buffer read then written, here into a destination
// truncated in place.
void BM_Peer_ReadWriteCopy(benchmark::State& state) {
  std::vector<char> buffer(kBuffer);
  for (auto _ : state) {
    prepare_target(state);
    const UniqueFd in(open(kCopySource.c_str(), O_RDONLY));
    UniqueFd out(open(kCopyTarget.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0777));
    bool ok = in && out;
    for (ssize_t got; ok && (got = read(in.get(), buffer.data(), buffer.size())) != 0;) {
      ok = got > 0 && write_full(out.get(), buffer.data(), static_cast<size_t>(got));
    }
    if (!ok || !out.close()) {
      state.SkipWithError("read/write copy failed");
      return;
    }
  }
  label_target(state);
  count_bytes(state, kCopyBytes);
}

void BM_Peer_Cp(benchmark::State& state) {
  for (auto _ : state) {
    prepare_target(state);
    if (!q7bench::run_cp(kCopySource.c_str(), kCopyTarget.c_str())) {
      state.SkipWithError("cp failed");
      return;
    }
  }
  label_target(state);
  count_bytes(state, kCopyBytes);
}

void BM_FileLoad(benchmark::State& state) {
  for (auto _ : state) {
    int count = 0;
    void* block = file_load(kWholeSource.c_str(), &count);
    if (block == nullptr || static_cast<size_t>(count) != kWholeBytes) {
      state.SkipWithError("file_load failed");
      return;
    }
    benchmark::DoNotOptimize(block);
    free(block);
  }
  count_bytes(state, kWholeBytes);
}

// Loading as a program would without the library: size, block, one read.
void BM_Peer_ReadLoad(benchmark::State& state) {
  for (auto _ : state) {
    const UniqueFd file(open(kWholeSource.c_str(), O_RDONLY));
    struct stat status;
    if (!file || fstat(file.get(), &status) != 0) {
      state.SkipWithError("open failed");
      return;
    }
    const auto size = static_cast<size_t>(status.st_size);
    auto* block = static_cast<char*>(malloc(size + 1));
    if (block == nullptr || read_full(file.get(), block, size) != static_cast<ssize_t>(size)) {
      free(block);
      state.SkipWithError("read failed");
      return;
    }
    block[size] = '\0';
    benchmark::DoNotOptimize(block);
    free(block);
  }
  count_bytes(state, kWholeBytes);
}

void BM_FileSave(benchmark::State& state) {
  auto* data = const_cast<char*>(pattern().data());
  for (auto _ : state) {
    if (file_save(kWholeTarget.c_str(), data, static_cast<int>(kWholeBytes)) !=
        static_cast<int>(kWholeBytes)) {
      state.SkipWithError("file_save failed");
      return;
    }
  }
  count_bytes(state, kWholeBytes);
}

// Saving as a program would without the library: truncate in place, one write, close.
void BM_Peer_WriteSave(benchmark::State& state) {
  for (auto _ : state) {
    UniqueFd file(open(kWholeTarget.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666));
    if (!file || !write_full(file.get(), pattern().data(), kWholeBytes) || !file.close()) {
      state.SkipWithError("write failed");
      return;
    }
  }
  count_bytes(state, kWholeBytes);
}

// Each row sets up the files first and runs a fixed number of whole-file operations.
void rows(benchmark::internal::Benchmark* benchmark, int iterations) {
  benchmark->Setup(make_files)
      ->Iterations(iterations)
      ->Unit(benchmark::kMillisecond)
      ->UseRealTime();
}
void copy_rows(benchmark::internal::Benchmark* benchmark) {
  rows(benchmark->ArgName("fresh")->Arg(0)->Arg(1), 4);
}
void whole_rows(benchmark::internal::Benchmark* benchmark) { rows(benchmark, 16); }

BENCHMARK(BM_FileCopy)->Apply(copy_rows);
BENCHMARK(BM_Peer_ReadWriteCopy)->Apply(copy_rows);
BENCHMARK(BM_Peer_Cp)->Apply(copy_rows);
BENCHMARK(BM_FileLoad)->Apply(whole_rows);
BENCHMARK(BM_Peer_ReadLoad)->Apply(whole_rows);
BENCHMARK(BM_FileSave)->Apply(whole_rows);
BENCHMARK(BM_Peer_WriteSave)->Apply(whole_rows);

}  // namespace

BENCHMARK_MAIN();
