// Cost of one parallel execution on 2 processors next to an OpenMP parallel region, and
// the speed-up of the example's 3x3 box filter on a 4096x2160 image.
#include <benchmark/benchmark.h>

#include "examples/band_filter/box_filter.h"
#include "q7/mp/parallel.h"
#include "q7/mp/threads.h"

#ifdef _OPENMP
#include <omp.h>
#endif

namespace {

constexpr int kProcessors = 2;

void empty(void*, void*, void*, void*, void*, void*) {}

void BM_Exec_EmptyFunction(benchmark::State& state) {
  for (auto _ : state) {
    q7mp_exec(reinterpret_cast<void (*)()>(empty), nullptr, nullptr, nullptr, nullptr, nullptr,
              nullptr);
  }
}
BENCHMARK(BM_Exec_EmptyFunction)->UseRealTime();

#ifdef _OPENMP
void BM_Peer_OpenMPParallelRegion(benchmark::State& state) {
  int sink = 0;
  for (auto _ : state) {
#pragma omp parallel num_threads(kProcessors)
    { benchmark::DoNotOptimize(sink); }
  }
}
BENCHMARK(BM_Peer_OpenMPParallelRegion)->UseRealTime();
#endif

const band_filter::Image& test_card() {
  static const band_filter::Image image = band_filter::synthetic_image(4096, 2160);
  return image;
}

void BM_BoxFilter_OneProcessor(benchmark::State& state) {
  const band_filter::Image& source = test_card();
  band_filter::Image target = source;
  band_filter::FilterJob job{&source, &target};
  for (auto _ : state) band_filter::filter_lines(&job, 0, source.height - 1);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(source.pixels.size()));
}
BENCHMARK(BM_BoxFilter_OneProcessor)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_BoxFilter_TwoProcessors(benchmark::State& state) {
  const band_filter::Image& source = test_card();
  band_filter::Image target = source;
  band_filter::FilterJob job{&source, &target};
  for (auto _ : state) {
    q7mp_lib_mp_exec(nullptr, band_filter::filter_lines, source.height, &job);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(source.pixels.size()));
}
BENCHMARK(BM_BoxFilter_TwoProcessors)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  // The count is fixed once per process, before the first execution.
  q7mp_init_threads();
  q7mp_set_nprocs(kProcessors);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
