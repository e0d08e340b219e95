// Lazily made process-wide handles.
#include "q7/internal/lazy_handle.h"

#include <atomic>

namespace q7::internal {

void* ensure_handle(void*& slot, void* (*make)(), void (*destroy)(void*)) {
  std::atomic_ref<void*> shared(slot);
  void* handle = shared.load(std::memory_order_acquire);
  if (handle != nullptr) return handle;
  void* fresh = make();
  if (fresh == nullptr) return nullptr;
  if (shared.compare_exchange_strong(handle, fresh, std::memory_order_acq_rel)) return fresh;
  destroy(fresh);
  return handle;
}

void forget_handle(void*& slot, void (*destroy)(void*)) {
  void* handle = std::atomic_ref<void*>(slot).exchange(nullptr, std::memory_order_acq_rel);
  if (handle != nullptr) destroy(handle);
}

}  // namespace q7::internal
