// A program built against an installed q7: it logs through the umbrella header and runs a
// parallel execution, so that both the headers and the library (with libuuid and threads)
// are proven usable from outside the source tree.
#include <q7/q7.h>

#include <atomic>

namespace {
std::atomic<int> copies{0};
void count_copy(void*, int, int) { ++copies; }
}  // namespace

int main() {
  q7mp_scheduler_setup(1);
  q7_notify(3, "q7 consumer: %d processors", q7mp_get_nprocs());
  q7mp_lib_mp_exec(nullptr, count_copy, 100, nullptr);
  const char* id = uuid_new();
  const bool ok = copies == q7mp_get_nprocs() && id != nullptr;
  uuid_delete(id);
  return ok ? 0 : 1;
}
