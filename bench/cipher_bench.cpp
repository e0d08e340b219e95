// MB/s of the cipher's modes on 1 MiB buffers, on every kernel path the processor runs,
// against Crypto++, libgcrypt, Botan and the OpenSSL GOST engine, with cycles per round for
// the chained modes; and of file coding on a 256 MiB file in the page cache against cp of
// the same file.
#include <benchmark/benchmark.h>
#include <stdio.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "bench/run_cp.h"
#include "q7/cipher/gost.h"
#include "q7/cipher/internal/kernels.h"
#include "tests/support/cipher/cipher_peers.h"

namespace {

using q7::internal::CipherPath;
namespace peers = q7test::peers;

constexpr size_t kBufferBytes = 1 << 20;
constexpr int kBlocks = kBufferBytes / 8;

const unsigned int kKey[8] = {0x243f6a88, 0x85a308d3, 0x13198a2e, 0x03707344,
                              0xa4093822, 0x299f31d0, 0x082efa98, 0xec4e6c89};
const unsigned int kIv[2] = {0x452821e6, 0x38d01377};

std::vector<unsigned int>& buffer() {
  static std::vector<unsigned int> words(kBufferBytes / 4, 0x5a5a5a5a);
  return words;
}

const uint8_t* key_bytes() { return reinterpret_cast<const uint8_t*>(kKey); }
const uint8_t* iv_bytes() { return reinterpret_cast<const uint8_t*>(kIv); }
uint8_t* buffer_bytes() { return reinterpret_cast<uint8_t*>(buffer().data()); }

Gost keyed() {
  Gost gost;
  gost.set_key(kKey);
  gost.set_iv(kIv);
  return gost;
}

// Runs the benchmark on the path of its argument, or skips it where the processor lacks it.
bool use_path(benchmark::State& state) {
  const auto path = static_cast<CipherPath>(state.range(0));
  if (!q7::internal::force_cipher_path(path)) {
    state.SkipWithError("this processor lacks the path");
    return false;
  }
  state.SetLabel(path == CipherPath::kAvx512 ? "avx512"
                 : path == CipherPath::kAvx2 ? "avx2"
                                             : "portable");
  return true;
}

void per_megabyte(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kBufferBytes);
}

void BM_Stream(benchmark::State& state) {
  if (!use_path(state)) return;
  Gost gost = keyed();
  for (auto _ : state) gost.stream(buffer().data(), buffer().data(), kBlocks);
  per_megabyte(state);
}
BENCHMARK(BM_Stream)->Arg(0)->Arg(1)->Arg(2);

void BM_CfbDecrypt(benchmark::State& state) {
  if (!use_path(state)) return;
  Gost gost = keyed();
  for (auto _ : state) gost.cfb_decrypt(buffer().data(), buffer().data(), kBlocks);
  per_megabyte(state);
}
BENCHMARK(BM_CfbDecrypt)->Arg(0)->Arg(1)->Arg(2);

// The chained modes: each block needs the one before, so a round's latency sets their
// speed, and their rows also give it in cycles of the core clock per round (32 rounds a
// block for CFB, 16 for the MAC).
constexpr int kCfbRounds = 32;
constexpr int kMacRounds = 16;

double thread_seconds() {
  timespec now;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// The core clock in Hz, from a chain of dependent register additions, one cycle each, timed
// on the thread's CPU clock as the rows are. The best of three runs of 3 ms or so, since
// preemption and a busy sibling thread only ever make it slower.
double core_hz() {
  constexpr long kSteps = 1'000'000;
  constexpr int kAddsPerStep = 10;
  double best = 0;
  for (int run = 0; run < 3; ++run) {
    uint64_t sum = 0;
    const uint64_t one = 1;
    const double start = thread_seconds();
    for (long i = 0; i < kSteps; ++i) {
      __asm__ volatile(
          "add %1, %0\n\tadd %1, %0\n\tadd %1, %0\n\tadd %1, %0\n\tadd %1, %0\n\t"
          "add %1, %0\n\tadd %1, %0\n\tadd %1, %0\n\tadd %1, %0\n\tadd %1, %0"
          : "+r"(sum)
          : "r"(one));
    }
    best = std::max(best, kSteps * kAddsPerStep / (thread_seconds() - start));
  }
  return best;
}

// Cycles per round of a row's chained mode, whose loop began at thread time `start`, at
// the clock measured just after it.
void per_round(benchmark::State& state, int rounds_per_block, double start) {
  const double seconds = thread_seconds() - start;
  const double rounds = static_cast<double>(state.iterations()) * kBlocks * rounds_per_block;
  state.counters["cycles_per_round"] = seconds * core_hz() / rounds;
}

// Path 0 runs the rounds in general registers, as the AVX2 path does too.
void BM_CfbEncrypt(benchmark::State& state) {
  if (!use_path(state)) return;
  Gost gost = keyed();
  const double start = thread_seconds();
  for (auto _ : state) gost.cfb_encrypt(buffer().data(), buffer().data(), kBlocks);
  per_megabyte(state);
  per_round(state, kCfbRounds, start);
}
BENCHMARK(BM_CfbEncrypt)->Arg(0)->Arg(2);

void BM_Mac(benchmark::State& state) {
  if (!use_path(state)) return;
  Gost gost = keyed();
  unsigned int value[2] = {0, 0};
  const double start = thread_seconds();
  for (auto _ : state) {
    gost.mac(buffer().data(), kBlocks, value);
    benchmark::DoNotOptimize(value);
  }
  per_megabyte(state);
  per_round(state, kMacRounds, start);
}
BENCHMARK(BM_Mac)->Arg(0)->Arg(2);

// A peer's call on the whole buffer, or a skip where the peer is missing.
template <class Call>
void run_peer(benchmark::State& state, Call call) {
  for (auto _ : state) {
    if (!call()) {
      state.SkipWithError("peer not available");
      return;
    }
  }
  per_megabyte(state);
}

void BM_Peer_EngineGamma(benchmark::State& state) {
  run_peer(state, [] {
    return peers::engine_gamma(key_bytes(), iv_bytes(), buffer_bytes(), buffer_bytes(),
                               kBufferBytes);
  });
}
BENCHMARK(BM_Peer_EngineGamma);

void BM_Peer_CryptoppCfb(benchmark::State& state) {
  const bool encrypt = state.range(0) != 0;
  const double start = thread_seconds();
  run_peer(state, [encrypt] {
    return peers::cryptopp_cfb(encrypt, key_bytes(), iv_bytes(), buffer_bytes(), buffer_bytes(),
                               kBufferBytes);
  });
  if (encrypt) per_round(state, kCfbRounds, start);
}
BENCHMARK(BM_Peer_CryptoppCfb)->ArgName("encrypt")->Arg(1)->Arg(0);

void BM_Peer_GcryptCfb(benchmark::State& state) {
  const bool encrypt = state.range(0) != 0;
  const double start = thread_seconds();
  run_peer(state, [encrypt] {
    return peers::gcrypt_cfb(encrypt, key_bytes(), iv_bytes(), buffer_bytes(), buffer_bytes(),
                             kBufferBytes);
  });
  if (encrypt) per_round(state, kCfbRounds, start);
}
BENCHMARK(BM_Peer_GcryptCfb)->ArgName("encrypt")->Arg(1)->Arg(0);

void BM_Peer_BotanCfb(benchmark::State& state) {
  const bool encrypt = state.range(0) != 0;
  const double start = thread_seconds();
  run_peer(state, [encrypt] {
    return peers::botan_cfb(encrypt, key_bytes(), iv_bytes(), buffer_bytes(), buffer_bytes(),
                            kBufferBytes);
  });
  if (encrypt) per_round(state, kCfbRounds, start);
}
BENCHMARK(BM_Peer_BotanCfb)->ArgName("encrypt")->Arg(1)->Arg(0);

void BM_Peer_GcryptMac(benchmark::State& state) {
  uint8_t mac[8];
  const double start = thread_seconds();
  run_peer(state,
           [&mac] { return peers::gcrypt_mac(key_bytes(), buffer_bytes(), kBufferBytes, mac); });
  per_round(state, kMacRounds, start);
}
BENCHMARK(BM_Peer_GcryptMac);

// Files: a 256 MiB plain file and its coded forms, written once, so that they sit in the
// page cache when the runs read them.
constexpr int64_t kFileBytes = int64_t{256} << 20;
const std::string kPlain = "/tmp/q7_cipher_bench.plain";
const std::string kCopy = "/tmp/q7_cipher_bench.copy";
const std::string kCoded[2] = {"/tmp/q7_cipher_bench.cfb", "/tmp/q7_cipher_bench.gamma"};

// Removes the files when the benchmark program ends.
struct Files {
  ~Files() {
    for (const std::string& path : {kPlain, kCopy, kCoded[0], kCoded[1]}) unlink(path.c_str());
  }
};

void make_files(const benchmark::State&) {
  static bool made = false;
  static Files files;
  if (made) return;
  FILE* file = fopen(kPlain.c_str(), "wb");
  std::vector<unsigned char> chunk(1 << 20);
  for (size_t i = 0; i < chunk.size(); ++i) chunk[i] = static_cast<unsigned char>(i * 131);
  for (int64_t written = 0; written < kFileBytes; written += chunk.size()) {
    fwrite(chunk.data(), 1, chunk.size(), file);
  }
  fclose(file);
  Gost gost = keyed();
  for (int stream = 0; stream < 2; ++stream) {
    std::string plain = kPlain;
    std::string coded = kCoded[stream];
    gost.code_file(plain.data(), coded.data(), true, stream != 0);
  }
  made = true;
}

void per_file(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kFileBytes);
}

void BM_CodeFile(benchmark::State& state) {
  const bool encode = state.range(0) != 0;
  const bool stream = state.range(1) != 0;
  Gost gost = keyed();
  std::string in = encode ? kPlain : kCoded[stream];
  std::string out = kCopy;
  for (auto _ : state) {
    if (!gost.code_file(in.data(), out.data(), encode, stream)) {
      state.SkipWithError("code_file failed");
      return;
    }
  }
  per_file(state);
}
BENCHMARK(BM_CodeFile)
    ->ArgNames({"encode", "stream"})
    ->Args({1, 1})
    ->Args({0, 1})
    ->Args({1, 0})
    ->Args({0, 0})
    ->Setup(make_files)
    ->Iterations(4)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_MacFile(benchmark::State& state) {
  Gost gost = keyed();
  std::string in = kPlain;
  unsigned int value[2];
  for (auto _ : state) gost.mac_file(in.data(), value);
  per_file(state);
}
BENCHMARK(BM_MacFile)
    ->Setup(make_files)
    ->Iterations(2)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_Peer_Cp(benchmark::State& state) {
  for (auto _ : state) {
    if (!q7bench::run_cp(kPlain.c_str(), kCopy.c_str())) {
      state.SkipWithError("cp failed");
      return;
    }
  }
  per_file(state);
}
BENCHMARK(BM_Peer_Cp)
    ->Setup(make_files)
    ->Iterations(4)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
