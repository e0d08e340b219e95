// Tests of the start-up banner and the program's log file, each in a child with its own home.
#include "q7/runtime/startup.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "q7/log/message_log.h"
#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"

namespace {

using q7test::describe;
using q7test::read_file;
using q7test::run_in_child;
using q7test::TempDir;
using q7test::write_file;
using ::testing::MatchesRegex;

constexpr char kTime[] = "[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{2}";

TEST(StartupInfo, PrintsTheBannerOnStandardOutputAndInTheLog) {
  const std::string timed = std::string("\\(Q7 LIB\\) ") + kTime + " INFO : ";
  const std::string untimed = "\\(Q7 LIB\\)" + std::string(18, ' ') + ": ";
  const struct {
    const char* title;
    const char* date;
    const char* time;
    bool plain;  // startup_info_c
    const char* out;
    std::string log;
  } cases[] = {
      {"Render 2.1", "Mar  5 2026", "10:00:00", false,
       "\nRender 2.1\n==========\n[Built on: Mar  5 2026 at 10:00:00]\n\n",
       timed + "Render 2.1\n" + untimed + "==========\n" + untimed +
           "\\[Built on: Mar  5 2026 at 10:00:00\\]\n"},
      {"Render 2.1", nullptr, nullptr, true, "\nRender 2.1\n==========\n\n",
       timed + "Render 2.1\n" + untimed + "==========\n"},
      {"x", "Mar  5 2026", nullptr, false, "\nx\n=\n\n", timed + "x\n" + untimed + "=\n"},
      {"", nullptr, nullptr, false, "\n\n\n\n", timed + "\n" + untimed + "\n"},
      {nullptr, "d", "t", false, "", ""},
  };
  for (const auto& c : cases) {
    TempDir home;
    const auto result = run_in_child([&] {
      setenv("Q7_HOME_DIR", home.path().c_str(), 1);
      if (c.plain) {
        startup_info_c(const_cast<char*>(c.title));
      } else {
        startup_info(const_cast<char*>(c.title), const_cast<char*>(c.date),
                     const_cast<char*>(c.time));
      }
      Q7_CHILD_CHECK(std::filesystem::is_directory(home.path() + "/Logs"));
    });
    const std::string what = c.title != nullptr ? c.title : "null title";
    ASSERT_TRUE(result.exited_with(0)) << what << "\n" << describe(result);
    EXPECT_EQ(result.out, c.out) << what;
    EXPECT_THAT(result.err, MatchesRegex(c.log)) << what;
  }
}

TEST(OpenLog, RotatesTenCopiesAndSendsStandardErrorIntoANewFile) {
  TempDir home;
  const std::string logs = home.path() + "/Logs/";
  ASSERT_TRUE(std::filesystem::create_directory(logs));
  ASSERT_TRUE(write_file(logs + "render.log", "old 0"));
  for (int i = 1; i <= 10; ++i) {
    ASSERT_TRUE(
        write_file(logs + "render." + std::to_string(i) + ".log", "old " + std::to_string(i)));
  }
  const auto result = run_in_child([&] {
    setenv("Q7_HOME_DIR", home.path().c_str(), 1);
    FILE* log = open_log(const_cast<char*>("render"));
    Q7_CHILD_CHECK(log == stderr);
    q7_notify(3, "hello from %s", "render");
    Q7_CHILD_CHECK(defaultLogger.q7_have_logfile());
    fprintf(stderr, "straight to standard error\n");
    // Readable as well as writable, as "w+" opens it.
    char first[128] = "";
    Q7_CHILD_CHECK(fseek(log, 0, SEEK_SET) == 0 && fgets(first, sizeof first, log) != nullptr);
    fseek(log, 0, SEEK_END);
    printf("%s", first);
    // A child process's standard error goes there too.
    Q7_CHILD_CHECK(system("echo from a child >&2") == 0);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(result.out,
              MatchesRegex(std::string("\\(render\\) ") + kTime + " INFO : hello from render\n"));
  EXPECT_THAT(
      read_file(logs + "render.log"),
      MatchesRegex(std::string("\\(render\\) ") + kTime +
                   " INFO : hello from render\nstraight to standard error\nfrom a child\n"));
  for (int i = 1; i <= 10; ++i) {
    EXPECT_EQ(read_file(logs + "render." + std::to_string(i) + ".log"),
              "old " + std::to_string(i - 1));
  }
  EXPECT_FALSE(std::filesystem::exists(logs + "render.11.log"));
}

TEST(OpenLog, FailsWithoutRoomForLogsOrWithALinkInThePlaceOfTheLog) {
  TempDir home;
  const std::string logs = home.path() + "/Logs/";
  ASSERT_TRUE(std::filesystem::create_directory(logs));
  // A dangling link is no file the rotation moves; following it would make the target.
  const std::string target = home.path() + "/target";
  std::filesystem::create_symlink(target, logs + "render.log");
  const auto result = run_in_child([&] {
    setenv("Q7_HOME_DIR", home.path().c_str(), 1);
    Q7_CHILD_CHECK(open_log(const_cast<char*>("render")) == nullptr);
    Q7_CHILD_CHECK(open_log(nullptr) == nullptr);
    // A home that is a regular file: its Logs cannot be made.
    Q7_CHILD_CHECK(write_file(home.path() + "/file", "x"));
    setenv("Q7_HOME_DIR", (home.path() + "/file").c_str(), 1);
    Q7_CHILD_CHECK(open_log(const_cast<char*>("render")) == nullptr);
    fprintf(stderr, "standard error still works\n");
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_FALSE(std::filesystem::exists(target));
  EXPECT_THAT(result.err, MatchesRegex("\\(render\\) " + std::string(kTime) +
                                       " ERROR: Error creating directory .*/file/Logs : Not a "
                                       "directory\nstandard error still works\n"));
}

}  // namespace
