// Tests of handles made at their first use.
#include "q7/internal/lazy_handle.h"

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <chrono>
#include <thread>
#include <vector>

namespace {

constexpr int kThreads = 8;
std::atomic<int> made{0};
std::atomic<int> destroyed{0};
std::atomic<bool> refuse{false};
std::atomic<bool> racing{false};

// Holds each maker until all racing threads are making (or a generous deadline passes), so
// that they really race for the slot rather than come one after another.
void* make() {
  if (refuse) return nullptr;
  const int entered = ++made;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  while (racing && entered <= kThreads && made < kThreads &&
         std::chrono::steady_clock::now() < deadline) {
    std::this_thread::yield();
  }
  return new int(0);
}

void destroy(void* handle) {
  ++destroyed;
  delete static_cast<int*>(handle);
}

TEST(LazyHandle, ThreadsRacingAtTheFirstUseShareOneHandleAndLosersDestroyTheirs) {
  made = destroyed = 0;
  racing = true;
  void* slot = nullptr;
  std::barrier start(kThreads);
  std::vector<void*> seen(kThreads);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      start.arrive_and_wait();
      seen[i] = q7::internal::ensure_handle(slot, make, destroy);
    });
  }
  for (auto& thread : threads) thread.join();
  racing = false;
  ASSERT_NE(slot, nullptr);
  for (void* handle : seen) EXPECT_EQ(handle, slot);
  EXPECT_EQ(made - destroyed, 1) << "made " << made << ", destroyed " << destroyed;

  q7::internal::forget_handle(slot, destroy);
  EXPECT_EQ(slot, nullptr);
  EXPECT_EQ(made, destroyed);
  q7::internal::forget_handle(slot, destroy);
  EXPECT_EQ(made, destroyed) << "an empty slot destroys nothing";
}

TEST(LazyHandle, AFailedMakeLeavesTheSlotEmptyForTheNextTry) {
  void* slot = nullptr;
  refuse = true;
  EXPECT_EQ(q7::internal::ensure_handle(slot, make, destroy), nullptr);
  EXPECT_EQ(slot, nullptr);
  refuse = false;
  void* handle = q7::internal::ensure_handle(slot, make, destroy);
  EXPECT_NE(handle, nullptr);
  EXPECT_EQ(q7::internal::ensure_handle(slot, make, destroy), handle);
  q7::internal::forget_handle(slot, destroy);
}

}  // namespace
