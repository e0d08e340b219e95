// Tests of Console: both standard streams, and the log file when there is one.
#include "q7/log/console.h"

#include <gtest/gtest.h>

#include <string>

#include "q7/log/message_log.h"
#include "tests/support/child_process.h"

namespace {

TEST(Console, WritesBothStreamsAndTheLogFileWhenThereIsOneCutToItsBuffer) {
  const auto result = q7test::run_in_child([] {
    Q7_CHILD_CHECK(Console::theConsole_ == nullptr);
    Console::logprintf(const_cast<char*>("no log file %d\n"), 1);
    Q7_CHILD_CHECK(Console::theConsole_ != nullptr);
    defaultLogger.setFile(stdout);
    Console::logprintf(const_cast<char*>("stream but no facility\n"));
    q7_notify_set_facility("render");
    Console::logprintf(const_cast<char*>("into the log %s\n"), "too");
    Console::printf(const_cast<char*>("printf only\n"));
    Console console;
    console.out("out text\n");
    Console::printf(const_cast<char*>("%s"), std::string(3000, 'c').c_str());
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  const std::string before = "no log file 1\nstream but no facility\n";
  const std::string after = "into the log too\nprintf only\nout text\n" + std::string(1023, 'c');
  EXPECT_EQ(result.err, before + after);
  // The log file is standard output.
  EXPECT_EQ(result.out, before + "CONSOLE LOG:into the log too\n" + after);
}

}  // namespace
