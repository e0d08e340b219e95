// Tests of the slab pipe: the same output with and without a helper thread, and failures.
#include "q7/cipher/internal/slab_pipe.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "q7/internal/unique_file.h"
#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"
#include "tests/support/unprivileged.h"

namespace {

using q7::internal::SlabPlan;
using q7::internal::UniqueFd;

constexpr size_t kSlab = 4096;

// Marks each byte with its slab's number and drops one byte from every odd slab, so that
// a slab out of order, twice or missing, or a wrong write length, shows in the output.
struct MarkSlabs {
  size_t slabs = 0;

  static size_t run(void* self, unsigned char* slab, size_t got) {
    MarkSlabs& marks = *static_cast<MarkSlabs*>(self);
    const size_t index = marks.slabs++;
    for (size_t i = 0; i < got; ++i) slab[i] ^= static_cast<unsigned char>(index + 1);
    return got - (got > 0 ? index % 2 : 0);
  }
};

// What MarkSlabs makes of `input` read in slabs of kSlab.
std::string marked(const std::string& input) {
  std::string output;
  for (size_t at = 0, index = 0; at < input.size(); at += kSlab, ++index) {
    std::string slab = input.substr(at, kSlab);
    for (char& byte : slab) byte = static_cast<char>(byte ^ (index + 1));
    output += slab.substr(0, slab.size() - index % 2);
  }
  return output;
}

std::string bytes(size_t size) {
  std::string text(size, '\0');
  for (size_t i = 0; i < size; ++i) text[i] = static_cast<char>(i * 31 + i / 251);
  return text;
}

class SlabPipe : public testing::Test {
 protected:
  // Pipes the file `in` (claiming `total` bytes) into `out`.
  bool run(const std::string& in, size_t total, const std::string& out, bool overlap) {
    UniqueFd input(open(dir.file(in).c_str(), O_RDONLY));
    UniqueFd output(open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644));
    if (!input || !output) return false;
    MarkSlabs marks;
    q7::internal::SlabPipe slabs({.in = input.get(),
                                  .out = output.get(),
                                  .total = total,
                                  .slab = kSlab,
                                  .capacity = kSlab,
                                  .overlap = overlap});
    return slabs.run({&MarkSlabs::run, &marks});
  }

  // The same in a child process, so that a pipe that never returns fails the test after a
  // bounded wait: the child exits with 0 when the run succeeded and with the failed check's
  // status when it failed.
  q7test::ChildResult run_in_child(const std::string& in, size_t total, const std::string& out,
                                   bool overlap) {
    return q7test::run_in_child([&] { Q7_CHILD_CHECK(run(in, total, out, overlap)); });
  }

  q7test::TempDir dir;
};

// A short input still has its last slab transformed and written; a longer one is read only
// as far as the total.
TEST_F(SlabPipe, WritesTheSameBytesWithOrWithoutTheHelperThread) {
  const struct {
    size_t file;
    size_t total;
    bool ok;
  } cases[] = {{1, 1, true},
               {kSlab - 1, kSlab - 1, true},
               {kSlab, kSlab, true},
               {kSlab + 1, kSlab + 1, true},
               {9 * kSlab + 7, 9 * kSlab + 7, true},
               {9 * kSlab + 7, 5 * kSlab, true},
               {9 * kSlab + 7, 10 * kSlab, false},
               {5 * kSlab, 12 * kSlab, false},
               {0, 3 * kSlab, false}};
  for (const auto& c : cases) {
    const std::string input = bytes(c.file);
    ASSERT_TRUE(q7test::write_file(dir.file("in"), input));
    for (bool overlap : {false, true}) {
      const auto result = run_in_child("in", c.total, dir.file("out"), overlap);
      EXPECT_TRUE(result.exited_with(c.ok ? 0 : q7test::kCheckFailedStatus))
          << "file=" << c.file << " total=" << c.total << " overlap=" << overlap << "\n"
          << q7test::describe(result);
      EXPECT_TRUE(q7test::read_file(dir.file("out")) == marked(input.substr(0, c.total)))
          << "file=" << c.file << " total=" << c.total << " overlap=" << overlap;
    }
  }
}

// The helper stops at the first failed write and the caller at its next slab: the call
// returns instead of waiting for slabs that will never be written.
TEST_F(SlabPipe, AFailedWriteEndsTheRun) {
  ASSERT_TRUE(q7test::write_file(dir.file("in"), bytes(20 * kSlab)));
  for (bool overlap : {false, true}) {
    const auto result = run_in_child("in", 20 * kSlab, "/dev/full", overlap);
    EXPECT_TRUE(result.exited_with(q7test::kCheckFailedStatus)) << "overlap=" << overlap << "\n"
                                                                << q7test::describe(result);
  }
}

void* no_work(void*) { return nullptr; }

// Where no thread can be started (here a user allowed no more processes), the calling
// thread does the I/O itself, with the same result.
TEST_F(SlabPipe, RunsOnTheCallingThreadWhenNoHelperCanStart) {
  const std::string input = bytes(9 * kSlab + 7);
  ASSERT_TRUE(q7test::write_file(dir.file("in"), input));
  ASSERT_EQ(chmod(dir.path().c_str(), 0777), 0);
  const auto result = q7test::run_in_child([&] {
    // The limit binds only a user without the privilege to exceed it.
    const rlimit none = {0, 0};
    Q7_CHILD_CHECK(q7test::become_unprivileged());
    Q7_CHILD_CHECK(setrlimit(RLIMIT_NPROC, &none) == 0);
    pthread_t thread;
    Q7_CHILD_CHECK(pthread_create(&thread, nullptr, no_work, nullptr) != 0);
    Q7_CHILD_CHECK(run("in", input.size(), dir.file("out"), true));
    Q7_CHILD_CHECK(q7test::read_file(dir.file("out")) == marked(input));
  });
  EXPECT_TRUE(result.exited_with(0)) << q7test::describe(result);
}

}  // namespace
