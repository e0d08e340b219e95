// Tests of Console: both standard streams, and the log file on request.
#include "q7/log/console.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>

#include "q7/log/message_log.h"
#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"

namespace {


TEST(Console, WritesBothStreamsAndTheLogFileWhenThereIsOneCutToItsBuffer) {
  q7test::TempDir dir;
  const std::string log_path = dir.file("render.log");
  const auto result = q7test::run_in_child([&] {
    if (Console::theConsole_ != nullptr) exit(3);
    Console::logprintf(const_cast<char*>("no log file %d\n"), 1);
    if (Console::theConsole_ == nullptr) exit(4);
    FILE* log = fopen(log_path.c_str(), "w");
    defaultLogger.setFile(log);
    Console::logprintf(const_cast<char*>("stream but no facility\n"));
    q7_notify_set_facility("render");
    Console::logprintf(const_cast<char*>("into the log %s\n"), "too");
    Console::printf(const_cast<char*>("printf only\n"));
    Console console;
    console.out("out text\n");
    fclose(log);
    Console::printf(const_cast<char*>("%s"), std::string(3000, 'c').c_str());
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  const std::string both =
      "no log file 1\nstream but no facility\ninto the log too\n"
      "printf only\nout text\n" +
      std::string(1023, 'c');
  EXPECT_EQ(result.out, both);
  EXPECT_EQ(result.err, both);
  EXPECT_EQ(q7test::read_file(log_path), "CONSOLE LOG:into the log too\n");
}

}  // namespace
