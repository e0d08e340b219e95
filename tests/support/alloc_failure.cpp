// Runs of a scenario with one allocation failing, and the loop over the failure points.
#include "tests/support/alloc_failure.h"

#include <gtest/gtest.h>

#include "tests/support/alloc_interposer.h"

#if defined(__SANITIZE_ADDRESS__)
#define Q7_LEAK_CHECKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define Q7_LEAK_CHECKS 1
#endif
#endif

#if defined(Q7_LEAK_CHECKS)
#include <sanitizer/lsan_interface.h>
#endif

namespace q7test {
namespace {

// A scenario whose allocations never run out (one that allocates more on every run) must
// not keep the loop going for ever.
constexpr long kMostPoints = 100000;

// True when LeakSanitizer finds blocks that nothing points to any more; it prints them.
bool leaks_found() {
#if defined(Q7_LEAK_CHECKS)
  return __lsan_do_recoverable_leak_check() != 0;
#else
  return false;
#endif
}

}  // namespace

}  // namespace q7test

#if defined(Q7_LEAK_CHECKS)
// LeakSanitizer knows the dynamic loader's own blocks (dlopen keeps some where it does not
// look) by the loader being their caller, which the interposer now is; these restore that.
// The loop checks after every run, and the list of suppressions used would follow each.
extern "C" const char* __lsan_default_suppressions() { return "leak:ld-linux\n"; }
extern "C" const char* __lsan_default_options() { return "print_suppressions=0"; }
#endif

namespace q7test {

FailureRun::FailureRun(long point) : point_(point) { alloc_interposer::start_run(point); }

FailureRun::~FailureRun() { alloc_interposer::start_run(0); }

bool FailureRun::injected() const { return alloc_interposer::injected(); }

long FailureRun::counted() const { return alloc_interposer::counted(); }

FailureRun::Arming::Arming() { alloc_interposer::count(true); }

FailureRun::Arming::~Arming() { alloc_interposer::count(false); }

int for_each_failure_point(const std::string& name,
                           const std::function<void(FailureRun&)>& scenario) {
  const bool failed_before = testing::Test::HasFailure();
  int covered = 0;
  for (long point = 1;; ++point) {
    if (point > kMostPoints) {
      ADD_FAILURE() << name << ": still injecting failures after " << kMostPoints << " runs";
      break;
    }
    SCOPED_TRACE(testing::Message() << name << ": allocation " << point << " failing");
    bool injected;
    {
      FailureRun run(point);
      scenario(run);
      injected = run.injected();
    }
    EXPECT_FALSE(leaks_found()) << "leaked: LeakSanitizer's report is above";
    if (!injected) break;
    ++covered;
    if (testing::Test::HasFailure() && !failed_before) break;
  }
  testing::Test::RecordProperty("failure_points_" + name, covered);
  return covered;
}

}  // namespace q7test
