// The many-block kernels of the cipher's modes, one set per instruction-set path, and the
// choice among them.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "q7/cipher/internal/rounds.h"

namespace q7::internal {

// One path's kernels. All accept any block count, in place or between disjoint buffers
// of any alignment, and give the same output on every path.
struct CipherKernels {
  // XORs the gamma into `blocks` blocks. `counter` holds the counter before the first
  // block's step and is left after the last one's.
  void (*gamma)(const ByteTables& tables, const uint32_t* key, uint32_t* counter,
                const unsigned char* in, unsigned char* out, size_t blocks);
  // Deciphers `blocks` CFB blocks. `chain` holds the running value and is left on the
  // last cipher block.
  void (*cfb_decrypt)(const ByteTables& tables, const uint32_t* key, uint32_t* chain,
                      const unsigned char* in, unsigned char* out, size_t blocks);
  // The chained modes, where each block needs the one before, so that a round's latency
  // sets the speed. Enciphers `blocks` CFB blocks, `chain` as for cfb_decrypt.
  void (*cfb_encrypt)(const ByteTables& tables, const uint32_t* key, uint32_t* chain,
                      const unsigned char* in, unsigned char* out, size_t blocks);
  // Runs the MAC over `blocks` blocks from the running value `value` (2 words), which is
  // left on the new value.
  void (*mac)(const ByteTables& tables, const uint32_t* key, const unsigned char* in, size_t blocks,
              uint32_t* value);
};

// The chained modes in general registers: the portable path's, which the AVX2 path shares,
// having no faster way to run a single block, and the AVX-512 path for single blocks.
void portable_cfb_encrypt(const ByteTables& tables, const uint32_t* key, uint32_t* chain,
                          const unsigned char* in, unsigned char* out, size_t blocks);
void portable_mac(const ByteTables& tables, const uint32_t* key, const unsigned char* in,
                  size_t blocks, uint32_t* value);

// Paths from narrowest to widest; each wider one needs more of the processor.
enum class CipherPath { kPortable, kAvx2, kAvx512 };

extern const CipherKernels kPortableKernels;
extern const CipherKernels kAvx2Kernels;
extern const CipherKernels kAvx512Kernels;

// True when the processor runs `path` (AVX-512 here means AVX-512 F, BW and VBMI).
[[nodiscard]] bool cipher_path_supported(CipherPath path);

// The path in use: the widest supported one, capped by the environment variable
// Q7_CIPHER_PATH ("portable", "avx2" or "avx512") read at the first call.
[[nodiscard]] CipherPath cipher_path();

// Makes `path` the one in use, for tests that compare the paths. Returns false, changing
// nothing, when the processor cannot run it.
[[nodiscard]] bool force_cipher_path(CipherPath path);

// The kernels of the path in use.
[[nodiscard]] const CipherKernels& cipher_kernels();

}  // namespace q7::internal
