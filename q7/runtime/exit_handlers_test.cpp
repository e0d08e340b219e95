// Tests of exit handler registration and the walk at exit, each in a child process.
#include "q7/runtime/exit_handlers.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>

#include "tests/support/child_process.h"

namespace {

void say(void* text) { printf("%s\n", static_cast<const char*>(text)); }

void register_late(void*) { register_exit_handler(say, const_cast<char*>("late")); }

TEST(ExitHandlers, RunOnceEachMostRecentFirstWithTheExitStatus) {
  for (const int how : {0, 1, 2}) {
    const auto result = q7test::run_in_child([how] {
      register_exit_handler(nullptr, nullptr);  // installs nothing
      Q7_CHILD_CHECK(handlers_initialised == 0 && handler_list == nullptr);
      // A walk empties the list, dropping what its handlers register, and a later
      // registration installs the handlers again.
      register_exit_handler(register_late, nullptr);
      register_exit_handler(say, const_cast<char*>("walked"));
      call_exit_handlers();
      Q7_CHILD_CHECK(handlers_initialised == 0 && handler_list == nullptr);
      register_exit_handler(say, const_cast<char*>("A"));
      register_exit_handler(register_late, nullptr);
      register_exit_handler(say, const_cast<char*>("B"));
      Q7_CHILD_CHECK(handlers_initialised == 1);
      if (how == 1) exit_wait_c(5);
      if (how == 2) exit_wait(5);
      exit(5);
    });
    EXPECT_TRUE(result.exited_with(5)) << describe(result);
    EXPECT_EQ(result.out, "walked\nB\nA\n") << "how=" << how;
  }
}

}  // namespace
