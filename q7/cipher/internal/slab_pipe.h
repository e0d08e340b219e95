// Moving a file through an in-place transform in large slabs, so that one system call
// moves many cipher chunks, with the reads and writes of the neighbouring slabs on a helper
// thread while the caller transforms the current one.
#pragma once

#include <stddef.h>

#include "q7/cipher/internal/coding_buffers.h"

namespace q7::internal {

// Transforms one slab in place. `got` bytes were read into `slab`, fewer than the slab
// asked for when the input fell short; the transform handles what is whole in them and
// returns how many bytes from the start of `slab` go to the output.
struct SlabTransform {
  size_t (*run)(void* context, unsigned char* slab, size_t got);
  void* context;
};

struct SlabPlan {
  int in = -1;          // read from its current offset
  int out = -1;         // written at its current offset
  size_t total = 0;     // bytes to read in all
  size_t slab = 0;      // bytes read per slab; the last slab holds the rest
  size_t capacity = 0;  // bytes of each slab buffer, at least `slab`: room for padding
  // Whether to move the I/O to a helper thread; without one, or when it cannot be started,
  // every slab is read, transformed and written in turn by the calling thread.
  bool overlap = false;
};

// Reads `plan.total` bytes (more than 0) slab by slab, transforms each and writes what
// the transform returns, in order, with the same output whether the I/O overlaps or not.
// The buffers (one slab, or a ring of a few when overlapping) are reused from slab to slab
// without clearing; whatever the input's size, memory stays within them.
class SlabPipe {
 public:
  explicit SlabPipe(const SlabPlan& plan);

  // False when the buffers could not be had; nothing has been read or written then.
  [[nodiscard]] bool ready() const { return buffers_ != nullptr; }

  // Returns true when every slab was read whole and every output written. Returns false
  // when the pipe is not ready (nothing is read), or after the first read that falls
  // short (its slab is still transformed and written) or the first write that fails
  // (nothing is written after it). Either way the output holds every byte written before
  // the failure, and no helper thread is left running.
  [[nodiscard]] bool run(SlabTransform transform);

 private:
  SlabPlan plan_;
  UniqueBlock buffers_;
};

}  // namespace q7::internal
