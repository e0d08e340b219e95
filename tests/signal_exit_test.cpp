// Handled signals end the process through the exit handlers with status 1, 2 or 3, also
// when the signal interrupts the log or the handlers get stuck.
#include "q7/runtime/internal/signal_exit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

#include "q7/log/message_log.h"
#include "q7/runtime/exit_handlers.h"
#include "tests/support/child_process.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// Flushed, so that the text survives an exit that skips the stdio clean-up.
void say(void* text) {
  printf("%s\n", static_cast<const char*>(text));
  fflush(stdout);
}

TEST(SignalExit, SignalsMapToExitStatusesAfterTheHandlers) {
  const struct {
    int signal_number;
    int status;
    const char* report;  // on standard error at log level 4
  } cases[] = {
      {SIGHUP, 1, "DEBUG: SIGNAL: Interrupted by user (signal 1)\n"},
      {SIGINT, 1, "DEBUG: SIGNAL: Interrupted by user (signal 2)\n"},
      {SIGTERM, 1, "DEBUG: SIGNAL: Interrupted by user (signal 15)\n"},
      {SIGTSTP, 1, "DEBUG: SIGNAL: Interrupted by user (signal 20)\n"},
      {SIGABRT, 1, "DEBUG: SIGNAL: Interrupted by user (signal 6)\n"},
      {SIGSEGV, 2, "DEBUG: SIGNAL: Fatal internal error (signal 11)\n"},
      {SIGFPE, 2, "DEBUG: SIGNAL: Fatal internal error (signal 8)\n"},
      {SIGILL, 2, "DEBUG: SIGNAL: Fatal internal error (signal 4)\n"},
      {SIGALRM, 3, "SIGNAL: Alarm call (signal 14)\n"},
      {SIGXCPU, 3, "SIGNAL: Quota exceeded (signal 24)\n"},
      {SIGXFSZ, 3, "SIGNAL: Quota exceeded (signal 25)\n"},
  };
  for (const auto& c : cases) {
    const auto result = q7test::run_in_child([&c] {
      q7_notify_setlevel(4);
      register_exit_handler(say, const_cast<char*>("cleaned up"));
      raise(c.signal_number);
      exit(9);
    });
    EXPECT_TRUE(result.exited_with(c.status)) << "signal " << c.signal_number << "\n"
                                              << describe(result);
    EXPECT_EQ(result.out, "In call_exit_handlers_abend( " + std::to_string(c.signal_number) +
                              " )\ncleaned up\n")
        << "signal " << c.signal_number;
    EXPECT_THAT(result.err, HasSubstr(c.report)) << "signal " << c.signal_number;
  }
}

TEST(SignalExit, ReportsAtDefaultLevelStayQuiet) {
  const auto result = q7test::run_in_child([] {
    register_exit_handler(say, const_cast<char*>("cleaned up"));
    raise(SIGTERM);
  });
  EXPECT_TRUE(result.exited_with(1)) << describe(result);
  EXPECT_EQ(result.out, "In call_exit_handlers_abend( 15 )\ncleaned up\n");
  EXPECT_THAT(result.err, Not(HasSubstr("Interrupted")));
}

TEST(SignalExit, OtherSignalsOnlyPrintTheFirstLine) {
  const auto result = q7test::run_in_child([] {
    register_exit_handler(say, const_cast<char*>("cleaned up"));
    signal(SIGUSR1, call_exit_handlers_abend);
    raise(SIGUSR1);
    printf("still running\n");
    exit(0);
  });
  EXPECT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_EQ(result.out, "In call_exit_handlers_abend( 10 )\nstill running\ncleaned up\n");
}

// A stream whose writes raise a signal: the signal arrives while the writing thread holds
// the log's locks.
ssize_t write_and_interrupt(void*, const char*, size_t size) {
  raise(SIGINT);
  return static_cast<ssize_t>(size);
}

TEST(SignalExit, SignalInsideTheLogDoesNotWaitForItsOwnLock) {
  const auto result = q7test::run_in_child(
      [] {
        q7_notify_setlevel(4);
        register_exit_handler(say, const_cast<char*>("cleaned up"));
        FILE* stream = fopencookie(nullptr, "w", {nullptr, write_and_interrupt, nullptr, nullptr});
        defaultLogger.setFile(stream);
        q7_notify(3, "a line whose flush is interrupted");
      },
      std::chrono::seconds(20));
  EXPECT_TRUE(result.exited_with(1)) << describe(result);
  EXPECT_THAT(result.out, HasSubstr("cleaned up\n"));
  EXPECT_THAT(result.err, HasSubstr("DEBUG: SIGNAL: Interrupted by user (signal 2)\n"));
}

void hang(void*) {
  for (;;) pause();
}

TEST(SignalExit, StuckHandlersEndWithTheSignalStatus) {
  const auto result = q7test::run_in_child([] {
    q7::internal::set_signal_exit_timeout(1);
    register_exit_handler(hang, nullptr);
    register_exit_handler(say, const_cast<char*>("ran first"));
    raise(SIGSEGV);
  });
  EXPECT_TRUE(result.exited_with(2)) << describe(result);
  EXPECT_THAT(result.out, HasSubstr("ran first\n"));
  EXPECT_THAT(result.err, HasSubstr("SIGNAL: exit handlers did not finish\n"));
}

TEST(SignalExit, SecondSignalFromAnotherThreadLeavesTheFirstExitToFinish) {
  const auto result = q7test::run_in_child([] {
    register_exit_handler(say, const_cast<char*>("once"));
    register_exit_handler(
        [](void*) {
          std::thread([] { raise(SIGTERM); }).detach();
          std::this_thread::sleep_for(std::chrono::milliseconds(100));
          printf("after second signal\n");
        },
        nullptr);
    raise(SIGINT);
  });
  EXPECT_TRUE(result.exited_with(1)) << describe(result);
  EXPECT_THAT(result.out, HasSubstr("after second signal\nonce\n"));
}

}  // namespace
