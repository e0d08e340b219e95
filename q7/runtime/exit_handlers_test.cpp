// Tests of exit handler registration and the walk at exit, each in a child process.
#include "q7/runtime/exit_handlers.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>

#include "tests/support/child_process.h"

namespace {

void say(void* text) { printf("%s\n", static_cast<const char*>(text)); }

void register_late(void*) {
  printf("registering late\n");
  register_exit_handler(say, const_cast<char*>("late"));
}

TEST(ExitHandlers, RunOnceEachMostRecentFirst) {
  const auto result = q7test::run_in_child([] {
    register_exit_handler(say, const_cast<char*>("A"));
    register_exit_handler(say, const_cast<char*>("B"));
    register_exit_handler(say, const_cast<char*>("C"));
    exit(0);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_EQ(result.out, "C\nB\nA\n");
}

TEST(ExitHandlers, ExitWaitEndsWithItsStatus) {
  for (const bool plain_name : {false, true}) {
    const auto result = q7test::run_in_child([plain_name] {
      register_exit_handler(say, const_cast<char*>("cleaned"));
      if (plain_name) exit_wait_c(5);
      exit_wait(5);
    });
    ASSERT_TRUE(result.exited_with(5)) << describe(result);
    EXPECT_EQ(result.out, "cleaned\n");
  }
}

TEST(ExitHandlers, HandlerRegisteredDuringTheWalkIsNotCalled) {
  const auto result = q7test::run_in_child([] {
    register_exit_handler(say, const_cast<char*>("first"));
    register_exit_handler(register_late, nullptr);
    exit(0);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_EQ(result.out, "registering late\nfirst\n");
}

TEST(ExitHandlers, NullHandlerInstallsNothing) {
  const auto result = q7test::run_in_child([] {
    register_exit_handler(nullptr, nullptr);
    if (handlers_initialised != 0 || handler_list != nullptr) exit(2);
    raise(SIGINT);
  });
  EXPECT_EQ(result.term_signal, SIGINT) << describe(result);
  EXPECT_EQ(result.out, "");
}

TEST(ExitHandlers, WalkEmptiesTheListAndALaterRegistrationInstallsAgain) {
  const auto result = q7test::run_in_child([] {
    register_exit_handler(say, const_cast<char*>("one"));
    if (handlers_initialised != 1) exit(2);
    call_exit_handlers();
    if (handlers_initialised != 0 || handler_list != nullptr) exit(3);
    register_exit_handler(say, const_cast<char*>("two"));
    if (handlers_initialised != 1) exit(4);
    exit(0);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_EQ(result.out, "one\ntwo\n");
}

}  // namespace
