// Slabs through an in-place transform, with their reads and writes on a helper thread when
// asked.
#include "q7/cipher/internal/slab_pipe.h"

#include <pthread.h>

#include "q7/internal/scoped_lock.h"
#include "q7/internal/unique_file.h"

namespace q7::internal {
namespace {

// Buffers in the ring: one being read, one transformed, one written, and one of slack so
// that a slow write does not hold up the next read.
constexpr size_t kRingSlabs = 4;

size_t slab_count(const SlabPlan& plan) { return (plan.total + plan.slab - 1) / plan.slab; }

size_t slab_bytes(const SlabPlan& plan, size_t index) {
  const size_t rest = plan.total - index * plan.slab;
  return rest < plan.slab ? rest : plan.slab;
}

// The bytes read into slab `index`; a failed read counts as none.
size_t read_slab(const SlabPlan& plan, size_t index, unsigned char* buffer) {
  const ssize_t got = read_full(plan.in, buffer, slab_bytes(plan, index));
  return got > 0 ? static_cast<size_t>(got) : 0;
}

bool pipe_serially(const SlabPlan& plan, SlabTransform transform, unsigned char* buffer) {
  for (size_t index = 0; index < slab_count(plan); ++index) {
    const size_t got = read_slab(plan, index, buffer);
    const size_t put = transform.run(transform.context, buffer, got);
    if (!write_full(plan.out, buffer, put) || got < slab_bytes(plan, index)) return false;
  }
  return true;
}

// The ring that the calling thread, transforming slabs in order, shares with the helper,
// which reads them ahead and writes them behind. Slab i lives in buffer i % kRingSlabs;
// the counters only grow, and the mutex guards every field below it. Each side holds the
// mutex except while it reads, transforms or writes a slab that the counters give it alone.
class SlabRing {
 public:
  SlabRing(const SlabPlan& plan, unsigned char* buffers) : plan_(plan), buffers_(buffers) {}
  ~SlabRing() {
    pthread_cond_destroy(&changed_);
    pthread_mutex_destroy(&mutex_);
  }
  SlabRing(const SlabRing&) = delete;
  SlabRing& operator=(const SlabRing&) = delete;

  // The helper's part: ends when the caller has finished and its last slab is written, or
  // at the first failed write.
  void move_slabs();
  // The caller's part: false when a read fell short. Waits for no slab after the first
  // failed write.
  [[nodiscard]] bool transform_slabs(SlabTransform transform);
  // After the helper has been joined.
  [[nodiscard]] bool all_written() const { return !write_failed_; }

 private:
  unsigned char* buffer(size_t index) const {
    return buffers_ + index % kRingSlabs * plan_.capacity;
  }
  // Runs `io` with the mutex released.
  template <class Io>
  auto unlocked(Io io) {
    pthread_mutex_unlock(&mutex_);
    const auto result = io();
    pthread_mutex_lock(&mutex_);
    return result;
  }

  const SlabPlan plan_;
  unsigned char* const buffers_;
  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
  pthread_cond_t changed_ = PTHREAD_COND_INITIALIZER;
  size_t read_ = 0;
  size_t transformed_ = 0;
  size_t written_ = 0;
  size_t got_[kRingSlabs] = {};  // bytes read into each buffer
  size_t put_[kRingSlabs] = {};  // bytes to write from each buffer
  bool input_ended_ = false;     // a read fell short: no slab follows it
  bool finished_ = false;        // the caller will transform no more slabs
  bool write_failed_ = false;
};

void SlabRing::move_slabs() {
  const ScopedLock lock(&mutex_);
  const size_t count = slab_count(plan_);
  while (!write_failed_) {
    if (written_ < transformed_) {
      const size_t index = written_;
      const size_t put = put_[index % kRingSlabs];
      write_failed_ = !unlocked([&] { return write_full(plan_.out, buffer(index), put); });
      if (!write_failed_) ++written_;
    } else if (finished_) {
      break;
    } else if (read_ < count && !input_ended_ && read_ < written_ + kRingSlabs) {
      const size_t index = read_;
      const size_t got = unlocked([&] { return read_slab(plan_, index, buffer(index)); });
      got_[index % kRingSlabs] = got;
      input_ended_ = got < slab_bytes(plan_, index);
      ++read_;
    } else {
      pthread_cond_wait(&changed_, &mutex_);
      continue;
    }
    pthread_cond_signal(&changed_);
  }
  pthread_cond_signal(&changed_);
}

bool SlabRing::transform_slabs(SlabTransform transform) {
  const ScopedLock lock(&mutex_);
  bool whole = true;
  for (size_t index = 0; whole && index < slab_count(plan_); ++index) {
    while (read_ <= index && !write_failed_) pthread_cond_wait(&changed_, &mutex_);
    if (write_failed_) break;
    const size_t got = got_[index % kRingSlabs];
    put_[index % kRingSlabs] =
        unlocked([&] { return transform.run(transform.context, buffer(index), got); });
    ++transformed_;
    whole = got == slab_bytes(plan_, index);
    pthread_cond_signal(&changed_);
  }
  finished_ = true;
  pthread_cond_signal(&changed_);
  return whole;
}

void* move_slabs(void* ring) {
  static_cast<SlabRing*>(ring)->move_slabs();
  return nullptr;
}

}  // namespace

SlabPipe::SlabPipe(const SlabPlan& plan)
    : plan_(plan),
      buffers_(zeroed_block(plan.overlap && slab_count(plan) > 1 ? kRingSlabs : 1, plan.capacity)) {
}

bool SlabPipe::run(SlabTransform transform) {
  if (!ready()) return false;
  if (plan_.overlap && slab_count(plan_) > 1) {
    SlabRing ring(plan_, buffers_.get());
    pthread_t helper;
    // The helper inherits the caller's signal mask, so its reads and writes raise the
    // signals (SIGPIPE, SIGXFSZ) that the caller's own would.
    if (pthread_create(&helper, nullptr, move_slabs, &ring) == 0) {
      const bool whole = ring.transform_slabs(transform);
      pthread_join(helper, nullptr);
      return whole && ring.all_written();
    }
  }
  return pipe_serially(plan_, transform, buffers_.get());
}

}  // namespace q7::internal
