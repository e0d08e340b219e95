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
using ::testing::MatchesRegex;

// Flushed, so that the text survives an exit that skips the stdio clean-up.
void say(void* text) {
  printf("%s\n", static_cast<const char*>(text));
  fflush(stdout);
}

std::string first_line(int signal_number) {
  return "In call_exit_handlers_abend( " + std::to_string(signal_number) + " )\n";
}

TEST(SignalExit, SignalsMapToExitStatusesAfterTheHandlers) {
  // The reports on standard error, before " (signal N)"; the first two at log level 4.
  const std::string user = R"(\(Q7 LIB\) [0-9:.]+ DEBUG: SIGNAL: Interrupted by user)";
  const std::string fatal = R"(\(Q7 LIB\) [0-9:.]+ DEBUG: SIGNAL: Fatal internal error)";
  const std::string quota = "SIGNAL: Quota exceeded";
  const struct {
    int signal_number;
    int status;
    std::string report;
  } cases[] = {{SIGHUP, 1, user},   {SIGINT, 1, user},  {SIGQUIT, 1, user},
               {SIGABRT, 1, user},  {SIGTERM, 1, user}, {SIGTSTP, 1, user},
               {SIGFPE, 2, fatal},  {SIGBUS, 2, fatal}, {SIGSEGV, 2, fatal},
               {SIGTRAP, 2, fatal}, {SIGILL, 2, fatal}, {SIGALRM, 3, "SIGNAL: Alarm call"},
               {SIGXCPU, 3, quota}, {SIGXFSZ, 3, quota}};
  for (const auto& c : cases) {
    const auto result = q7test::run_in_child([&c] {
      q7_notify_setlevel(4);
      register_exit_handler(say, const_cast<char*>("cleaned up"));
      raise(c.signal_number);
      exit(9);
    });
    const std::string number = std::to_string(c.signal_number);
    SCOPED_TRACE("signal " + number);
    EXPECT_TRUE(result.exited_with(c.status)) << describe(result);
    EXPECT_EQ(result.out, first_line(c.signal_number) + "cleaned up\n");
    EXPECT_THAT(result.err, MatchesRegex(c.report + " \\(signal " + number + "\\)\n"));
  }
}

// A stream whose writes raise a signal: the signal arrives while the writing thread holds
// the log's locks.
ssize_t write_and_interrupt(void*, const char*, size_t size) {
  raise(SIGINT);
  return static_cast<ssize_t>(size);
}

void hang(void*) {
  for (;;) pause();
}

void signal_from_another_thread(void*) {
  std::thread([] { raise(SIGTERM); }).detach();
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  printf("after second signal\n");
}

TEST(SignalExit, HeldLogLocksStuckHandlersAndFurtherSignalsCannotStopTheExit) {
  const auto in_log = q7test::run_in_child([] {
    q7_notify_setlevel(4);
    register_exit_handler(say, const_cast<char*>("cleaned up"));
    defaultLogger.setFile(
        fopencookie(nullptr, "w", {nullptr, write_and_interrupt, nullptr, nullptr}));
    q7_notify(3, "a line whose flush is interrupted");
  });
  EXPECT_TRUE(in_log.exited_with(1)) << describe(in_log);
  EXPECT_THAT(in_log.out, HasSubstr("cleaned up\n"));
  EXPECT_THAT(in_log.err, HasSubstr("DEBUG: SIGNAL: Interrupted by user (signal 2)\n"));

  const auto stuck = q7test::run_in_child([] {
    q7::internal::set_signal_exit_timeout(1);
    register_exit_handler(hang, nullptr);
    register_exit_handler(say, const_cast<char*>("ran first"));
    raise(SIGSEGV);
  });
  EXPECT_TRUE(stuck.exited_with(2)) << describe(stuck);
  EXPECT_THAT(stuck.out, HasSubstr("ran first\n"));
  EXPECT_THAT(stuck.err, HasSubstr("SIGNAL: exit handlers did not finish\n"));

  // At the default level the reports stay quiet; a signal outside the list only says so.
  const auto twice = q7test::run_in_child([] {
    register_exit_handler(say, const_cast<char*>("once"));
    register_exit_handler(signal_from_another_thread, nullptr);
    signal(SIGUSR1, call_exit_handlers_abend);
    raise(SIGUSR1);
    raise(SIGINT);
  });
  EXPECT_TRUE(twice.exited_with(1)) << describe(twice);
  EXPECT_THAT(twice.out, ::testing::StartsWith(first_line(SIGUSR1) + first_line(SIGINT)));
  EXPECT_THAT(twice.out, HasSubstr("after second signal\nonce\n"));
  EXPECT_EQ(twice.err, "");
}

}  // namespace
