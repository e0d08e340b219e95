// The process's allocation functions, replaced so that an armed run can make one of them
// fail; every call that does not fail goes on to the next definition.
//
// Defined in the executable, these come first in the symbol search, so they also take the
// C library's own calls (fopen, opendir and the dynamic loader's thread storage go through
// malloc and calloc). pthread_create is replaced too, so that a new thread's allocations
// count only once its start routine runs. The next definition is a sanitizer's where one
// runs, which keeps every block under its watch and AddressSanitizer's new/delete pairing
// checks; free and operator delete are left alone for that reason. The sanitizers' own
// start calls dlsym, which allocates through these before any shadow memory exists: this
// file is built without instrumentation.
#include "tests/support/alloc_interposer.h"

#include <dlfcn.h>
#include <errno.h>
#include <malloc.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <new>

namespace {

// Read by every allocation of every thread, so plain atomics and no lock.
std::atomic<bool> counting{false};
std::atomic<long> allocations_counted{0};
std::atomic<long> failing_point{0};
std::atomic<bool> failure_injected{false};

// Counts an allocation when counting is on, and says whether it is the one to fail.
bool next_allocation_fails() {
  if (!counting.load(std::memory_order_relaxed)) return false;
  const long number = allocations_counted.fetch_add(1, std::memory_order_relaxed) + 1;
  if (number != failing_point.load(std::memory_order_relaxed)) return false;
  failure_injected.store(true, std::memory_order_relaxed);
  return true;
}

// A thread's allocations count from the moment its start routine runs (the scenario's own
// thread: from the start of the run). Setting a thread up is the threads library's and the
// sanitizers' business; AddressSanitizer, for one, cannot start a thread whose set-up
// allocation fails.
thread_local bool counted_thread = false;

// Calls the next definitions make back into these (glibc's strdup calls malloc, the C++
// runtime's nothrow new calls the plain one) belong to the allocation already counted.
thread_local int forwarding = 0;
// Set while dlsym looks a definition up: an allocation of its own could not be forwarded.
thread_local bool resolving = false;

class Forwarding {
 public:
  Forwarding() { ++forwarding; }
  ~Forwarding() { --forwarding; }
  Forwarding(const Forwarding&) = delete;
  Forwarding& operator=(const Forwarding&) = delete;
};

bool fails() { return counted_thread && forwarding == 0 && next_allocation_fails(); }

[[noreturn]] void cannot_forward(const char* name) {
  static constexpr char kText[] = "alloc_interposer: no next definition to forward to: ";
  (void)!write(STDERR_FILENO, kText, sizeof kText - 1);
  (void)!write(STDERR_FILENO, name, strlen(name));
  (void)!write(STDERR_FILENO, "\n", 1);
  abort();
}

// The definition after the executable's, looked up on first use. Constant-initialised, so
// that calls from other libraries' constructors find it ready.
template <typename Function>
class NextDefinition {
 public:
  explicit constexpr NextDefinition(const char* name) : name_(name) {}

  // Calls the definition as part of the allocation already counted.
  template <typename... Args>
  auto operator()(Args... args) {
    const Forwarding guard;
    return get()(args...);
  }

  Function get() {
    Function found = function_.load(std::memory_order_acquire);
    if (found != nullptr) return found;
    if (resolving) cannot_forward(name_);
    resolving = true;
    found = reinterpret_cast<Function>(dlsym(RTLD_NEXT, name_));
    resolving = false;
    if (found == nullptr) cannot_forward(name_);
    function_.store(found, std::memory_order_release);
    return found;
  }

 private:
  const char* name_;
  std::atomic<Function> function_{nullptr};
};

NextDefinition<void* (*)(size_t)> next_malloc("malloc");
NextDefinition<void* (*)(size_t, size_t)> next_calloc("calloc");
NextDefinition<void* (*)(void*, size_t)> next_realloc("realloc");
NextDefinition<int (*)(void**, size_t, size_t)> next_posix_memalign("posix_memalign");
NextDefinition<void* (*)(size_t, size_t)> next_aligned_alloc("aligned_alloc");
NextDefinition<void* (*)(size_t, size_t)> next_memalign("memalign");
NextDefinition<char* (*)(const char*)> next_strdup("strdup");
NextDefinition<char* (*)(const char*, size_t)> next_strndup("strndup");
NextDefinition<int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>
    next_pthread_create("pthread_create");

// The replaceable operators by their Itanium names; size_t mangles as m where it is
// unsigned long and as j where it is unsigned int.
#if defined(__LP64__)
#define Q7_SIZE_T "m"
#else
#define Q7_SIZE_T "j"
#endif
using New = void* (*)(std::size_t);
using NothrowNew = void* (*)(std::size_t, const std::nothrow_t&);
using AlignedNew = void* (*)(std::size_t, std::align_val_t);
using AlignedNothrowNew = void* (*)(std::size_t, std::align_val_t, const std::nothrow_t&);
NextDefinition<New> next_new("_Znw" Q7_SIZE_T);
NextDefinition<New> next_new_array("_Zna" Q7_SIZE_T);
NextDefinition<NothrowNew> next_nothrow_new("_Znw" Q7_SIZE_T "RKSt9nothrow_t");
NextDefinition<NothrowNew> next_nothrow_new_array("_Zna" Q7_SIZE_T "RKSt9nothrow_t");
NextDefinition<AlignedNew> next_aligned_new("_Znw" Q7_SIZE_T "St11align_val_t");
NextDefinition<AlignedNew> next_aligned_new_array("_Zna" Q7_SIZE_T "St11align_val_t");
NextDefinition<AlignedNothrowNew> next_aligned_nothrow_new("_Znw" Q7_SIZE_T
                                                           "St11align_val_tRKSt9nothrow_t");
NextDefinition<AlignedNothrowNew> next_aligned_nothrow_new_array("_Zna" Q7_SIZE_T
                                                                 "St11align_val_tRKSt9nothrow_t");
#undef Q7_SIZE_T

// What a C allocation function gives when memory cannot be had.
void* refused() {
  errno = ENOMEM;
  return nullptr;
}

struct ThreadStart {
  void* (*routine)(void*);
  void* argument;
};

void* run_counted(void* raw) {
  const ThreadStart start = *static_cast<ThreadStart*>(raw);
  free(raw);
  counted_thread = true;
  return start.routine(start.argument);
}

// What a throwing operator new does when memory cannot be had. The exception's own block
// belongs to the refusal, so it is not counted.
[[noreturn]] void refuse_new() {
  const Forwarding guard;
  throw std::bad_alloc();
}

}  // namespace

namespace q7test::alloc_interposer {

void start_run(long point) {
  counted_thread = true;
  counting.store(false);
  allocations_counted.store(0);
  failure_injected.store(false);
  failing_point.store(point);
}

void count(bool on) { counting.store(on); }

long counted() { return allocations_counted.load(); }

bool injected() { return failure_injected.load(); }

}  // namespace q7test::alloc_interposer

extern "C" {

void* malloc(size_t size) noexcept { return fails() ? refused() : next_malloc(size); }

void* calloc(size_t count, size_t size) noexcept {
  return fails() ? refused() : next_calloc(count, size);
}

// A reallocation to 0 bytes releases the block; it is not an allocation to fail.
void* realloc(void* block, size_t size) noexcept {
  return size != 0 && fails() ? refused() : next_realloc(block, size);
}

int posix_memalign(void** block, size_t alignment, size_t size) noexcept {
  return fails() ? ENOMEM : next_posix_memalign(block, alignment, size);
}

void* aligned_alloc(size_t alignment, size_t size) noexcept {
  return fails() ? refused() : next_aligned_alloc(alignment, size);
}

void* memalign(size_t alignment, size_t size) noexcept {
  return fails() ? refused() : next_memalign(alignment, size);
}

char* strdup(const char* text) noexcept {
  return fails() ? static_cast<char*>(refused()) : next_strdup(text);
}

char* strndup(const char* text, size_t size) noexcept {
  return fails() ? static_cast<char*>(refused()) : next_strndup(text, size);
}

// A thread is an allocation too, of its stack; the threads library keeps the stacks of ended
// threads for new ones, so without this a failed creation would hardly ever come. The start
// record is the shim's own, taken without counting; the threads library's own allocations
// count.
int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                   void* argument) noexcept {
  if (fails()) return EAGAIN;
  auto* start = static_cast<ThreadStart*>(next_malloc(sizeof(ThreadStart)));
  if (start == nullptr) return EAGAIN;
  *start = {routine, argument};
  const int result = next_pthread_create.get()(thread, attributes, run_counted, start);
  if (result != 0) free(start);
  return result;
}

}  // extern "C"

void* operator new(std::size_t size) {
  if (fails()) refuse_new();
  return next_new(size);
}

void* operator new[](std::size_t size) {
  if (fails()) refuse_new();
  return next_new_array(size);
}

void* operator new(std::size_t size, const std::nothrow_t& tag) noexcept {
  return fails() ? nullptr : next_nothrow_new(size, tag);
}

void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return fails() ? nullptr : next_nothrow_new_array(size, tag);
}

void* operator new(std::size_t size, std::align_val_t alignment) {
  if (fails()) refuse_new();
  return next_aligned_new(size, alignment);
}

void* operator new[](std::size_t size, std::align_val_t alignment) {
  if (fails()) refuse_new();
  return next_aligned_new_array(size, alignment);
}

void* operator new(std::size_t size, std::align_val_t alignment,
                   const std::nothrow_t& tag) noexcept {
  return fails() ? nullptr : next_aligned_nothrow_new(size, alignment, tag);
}

void* operator new[](std::size_t size, std::align_val_t alignment,
                     const std::nothrow_t& tag) noexcept {
  return fails() ? nullptr : next_aligned_nothrow_new_array(size, alignment, tag);
}
