// What the sanitizer builds cannot follow, and the tests that skip there.
#pragma once

#include <gtest/gtest.h>

// ThreadSanitizer loses track of a thread's locks once it is cancelled inside a blocking
// call (the call's interceptor never returns), and then reports races on data that the
// thread reads under a lock. Tests that cancel threads skip under it; they run in the
// plain and AddressSanitizer builds.
#if defined(__SANITIZE_THREAD__)
#define Q7_SKIP_WHERE_CANCELLATION_IS_UNTRACKED() \
  GTEST_SKIP() << "ThreadSanitizer does not follow thread cancellation"
#else
#define Q7_SKIP_WHERE_CANCELLATION_IS_UNTRACKED() static_cast<void>(0)
#endif
