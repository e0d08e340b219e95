// The counter behind the replaced allocation functions of alloc_interposer.cpp; the
// scenarios use it through FailureRun (alloc_failure.h).
#pragma once

namespace q7test::alloc_interposer {

// Starts a run: nothing counted yet, counting off, and the `point`-th allocation counted
// to fail (0: none).
void start_run(long point);

// Counting on or off. While on, every thread's allocations are counted.
void count(bool on);

// Allocations counted since start_run.
long counted();

// Whether the failing allocation has come since start_run.
bool injected();

}  // namespace q7test::alloc_interposer
