// Chooses the widest kernel path that the processor and the environment allow.
#include <stdlib.h>
#include <string.h>

#include <atomic>

#include "q7/cipher/internal/kernels.h"

namespace q7::internal {
namespace {

constexpr int kUnchosen = -1;

std::atomic<int> chosen_path{kUnchosen};

CipherPath widest_supported() {
  if (cipher_path_supported(CipherPath::kAvx512)) return CipherPath::kAvx512;
  if (cipher_path_supported(CipherPath::kAvx2)) return CipherPath::kAvx2;
  return CipherPath::kPortable;
}

// An unknown value of the variable is ignored rather than refused: the library has no
// way to report it, and the widest path is always correct.
CipherPath capped_by_environment(CipherPath widest) {
  const char* cap = getenv("Q7_CIPHER_PATH");
  if (cap == nullptr) return widest;
  CipherPath wanted = widest;
  if (strcmp(cap, "portable") == 0) wanted = CipherPath::kPortable;
  if (strcmp(cap, "avx2") == 0) wanted = CipherPath::kAvx2;
  if (strcmp(cap, "avx512") == 0) wanted = CipherPath::kAvx512;
  return wanted < widest ? wanted : widest;
}

}  // namespace

bool cipher_path_supported(CipherPath path) {
  __builtin_cpu_init();
  switch (path) {
    case CipherPath::kPortable:
      return true;
    case CipherPath::kAvx2:
      return __builtin_cpu_supports("avx2");
    case CipherPath::kAvx512:
      return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
             __builtin_cpu_supports("avx512vbmi");
  }
  return false;
}

CipherPath cipher_path() {
  int path = chosen_path.load(std::memory_order_relaxed);
  if (path == kUnchosen) {
    // Racing first calls compute the same answer, so whichever store lands is right.
    path = static_cast<int>(capped_by_environment(widest_supported()));
    chosen_path.store(path, std::memory_order_relaxed);
  }
  return static_cast<CipherPath>(path);
}

bool force_cipher_path(CipherPath path) {
  if (!cipher_path_supported(path)) return false;
  chosen_path.store(static_cast<int>(path), std::memory_order_relaxed);
  return true;
}

const CipherKernels& cipher_kernels() {
  switch (cipher_path()) {
    case CipherPath::kAvx512:
      return kAvx512Kernels;
    case CipherPath::kAvx2:
      return kAvx2Kernels;
    case CipherPath::kPortable:
      break;
  }
  return kPortableKernels;
}

}  // namespace q7::internal
