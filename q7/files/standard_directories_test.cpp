// Tests of the home directory, the standard directory codes and paths made under the home.
#include "q7/files/standard_directories.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <string>

#include "q7/files/file_names.h"
#include "q7/log/message_log.h"
#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"

namespace {

using q7test::describe;
using q7test::run_in_child;
using q7test::TempDir;
using q7test::write_file;
using ::testing::HasSubstr;

bool is_directory(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

mode_t mode_of(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

// The variable is read on every call, so each child sets it as a user's shell would.
TEST(GetStandardDirectory, BuildsEachCodeFromTheHomeAsFound) {
  const auto result = run_in_child([] {
    q7_notify_setlevel(5);
    unsetenv("Q7_HOME_DIR");
    Q7_CHILD_CHECK(strcmp(get_home_directory(), "/usr/local/Fernmoss") == 0);
    Q7_CHILD_CHECK(strcmp(get_standard_directory(73), "/usr/local/Fernmoss/Logs") == 0);
    const struct {
      const char* home;
      int code;
      const char* path;
    } cases[] = {{"/srv/app", 69, "/srv/app"},
                 {"/srv/app", 70, "/srv/app/Settings"},
                 {"/srv/app", 71, "/srv/app/Settings/Variables"},
                 {"/srv/app", 73, "/srv/app/Logs"},
                 {"/srv/app", 0, " "},
                 {"/srv/app", 68, " "},
                 {"/srv/app", 72, " "},
                 {"/srv/app", 74, " "},
                 {"/srv/app", -1, " "},
                 {"/srv/app/", 73, "/srv/app//Logs"},
                 {"", 69, ""},
                 {"", 70, "/Settings"},
                 {"", 71, "/Settings/Variables"}};
    for (const auto& c : cases) {
      fprintf(stderr, "case home=%s code=%d\n", c.home, c.code);
      setenv("Q7_HOME_DIR", c.home, 1);
      Q7_CHILD_CHECK(strcmp(get_home_directory(), c.home) == 0);
      Q7_CHILD_CHECK(get_home_directory() == getenv("Q7_HOME_DIR"));
      Q7_CHILD_CHECK(strcmp(get_standard_directory(c.code), c.path) == 0);
    }
    Q7_CHILD_CHECK(strcmp(get_temp_directory(), "/tmp") == 0);
    Q7_CHILD_CHECK(strcmp(get_system_directory(), "/") == 0);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_THAT(result.err, HasSubstr("TRACE: get_home_directory() is returning utils hardwired "
                                    "DEFAULT: /usr/local/Fernmoss\n"));
  EXPECT_THAT(result.err, HasSubstr("TRACE: get_standard_directory(73) is returning: "
                                    "/usr/local/Fernmoss/Logs\n"));
  EXPECT_THAT(result.err, HasSubstr("TRACE: get_home_directory() is returning: /srv/app/\n"));
  EXPECT_THAT(result.err, HasSubstr("TRACE: get_standard_directory(68) is returning:  \n"));
  EXPECT_THAT(result.err, HasSubstr("TRACE: get_standard_directory(70) is returning: /Settings\n"));
}

TEST(EnsureStandardDirectory, CreatesTheSubdirectoryAndBuildsThePathInTempPath) {
  TempDir dir;
  const std::string home = dir.file("home");
  const auto result = run_in_child([&] {
    setenv("Q7_HOME_DIR", home.c_str(), 1);
    char name[] = "server.log";
    // The home must exist: only the subdirectory is created.
    Q7_CHILD_CHECK(ensure_standard_directory("Logs", name, nullptr) == nullptr);
    Q7_CHILD_CHECK(mkdir(home.c_str(), 0755) == 0);
    Q7_CHILD_CHECK(ensure_standard_directory("Logs", name, nullptr) == temp_path);
    Q7_CHILD_CHECK(temp_path == home + "/Logs/server.log");
    Q7_CHILD_CHECK(is_directory(home + "/Logs") && !is_directory(home + "/Logs/server.log"));
    char out[4096];
    Q7_CHILD_CHECK(ensure_standard_directory("Logs", nullptr, out) == out);
    Q7_CHILD_CHECK(out == home + "/Logs/");
    setenv("Q7_HOME_DIR", (home + "/").c_str(), 1);
    Q7_CHILD_CHECK(
        strcmp(ensure_standard_directory("Spool", "a", out), (home + "/Spool/a").c_str()) == 0);
    Q7_CHILD_CHECK(ensure_standard_directory(nullptr, "a", nullptr) == nullptr);
    // A name too long for the buffer fails after the subdirectory was made.
    const std::string long_name(5000, 'n');
    Q7_CHILD_CHECK(ensure_standard_directory("Cache", long_name.c_str(), nullptr) == nullptr);
    Q7_CHILD_CHECK(is_directory(home + "/Cache"));
    Q7_CHILD_CHECK(ensure_standard_directory(long_name.c_str(), nullptr, nullptr) == nullptr);
    // A home of 4095 characters gets nothing appended: the path is the home itself.
    std::string padded = home;
    while (padded.size() < 4093) padded += "/.";
    if (padded.size() < 4095) padded += padded.size() == 4093 ? "//" : "/";
    Q7_CHILD_CHECK(padded.size() == 4095);
    setenv("Q7_HOME_DIR", padded.c_str(), 1);
    Q7_CHILD_CHECK(ensure_standard_directory("Logs", nullptr, out) == out && out == padded);
    Q7_CHILD_CHECK(ensure_standard_directory("Logs", "x", out) == nullptr);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_THAT(result.err, HasSubstr("ERROR: Error creating directory " + home +
                                    "/Logs : No such file or directory\n"));
}

TEST(EnsureStandardEnvironment, CreatesEveryLevelWritableForAllOrStopsAtTheFirstFailure) {
  TempDir dir;
  const auto result = run_in_child([&] {
    umask(022);
    const std::string home = dir.file("deep/home");
    setenv("Q7_HOME_DIR", home.c_str(), 1);
    Q7_CHILD_CHECK(ensure_standard_environment() == 1);
    for (const char* sub : {"", "/Settings", "/Settings/Variables", "/Logs"}) {
      fprintf(stderr, "case %s\n", sub);
      Q7_CHILD_CHECK(is_directory(home + sub) && mode_of(home + sub) == 0777);
    }
    Q7_CHILD_CHECK(ensure_standard_environment() == 1);

    // A regular file where a standard directory belongs: 0, the later ones not attempted.
    const std::string blocked = dir.file("blocked");
    Q7_CHILD_CHECK(mkdir(blocked.c_str(), 0755) == 0 && write_file(blocked + "/Settings", "x"));
    setenv("Q7_HOME_DIR", blocked.c_str(), 1);
    Q7_CHILD_CHECK(ensure_standard_environment() == 0);
    Q7_CHILD_CHECK(!is_directory(blocked + "/Logs") && mode_of(blocked) == 0755);
    Q7_CHILD_CHECK(write_file(dir.file("file_home"), "x"));
    setenv("Q7_HOME_DIR", dir.file("file_home").c_str(), 1);
    Q7_CHILD_CHECK(ensure_standard_environment() == 0);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_EQ(result.err.find("ERROR"), std::string::npos) << result.err;
}

}  // namespace
