// Tests of the settings variables: the file format, bad files, threads, processes, full disk.
#include "q7/files/settings_variables.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/small_file_system.h"
#include "tests/support/temp_dir.h"

namespace {

using q7test::describe;
using q7test::read_file;
using q7test::run_in_child;
using q7test::SmallFileSystem;
using q7test::TempDir;
using q7test::write_file;

// A fresh home for one test; the operations read Q7_HOME_DIR, so they run in a child that
// sets it.
class Home {
 public:
  std::string home() const { return dir_.file("home"); }
  std::string variable(const std::string& name) const {
    return home() + "/Settings/Variables/" + name;
  }
  void enter() const {
    mkdir(home().c_str(), 0755);
    setenv("Q7_HOME_DIR", home().c_str(), 1);
  }

 private:
  TempDir dir_;
};

char* text(std::string& value) { return value.data(); }

std::string stored(const std::string& value) {
  const auto length = static_cast<int32_t>(value.size() + 1);
  return std::string(reinterpret_cast<const char*>(&length), 4) + value + '\0';
}

// get_variable's result as text, "null" for none; the block is freed.
std::string got(const char* name) {
  char* value = get_variable(const_cast<char*>(name));
  if (value == nullptr) return "null";
  std::string result = value;
  free(value);
  return result;
}

TEST(SettingsVariables, KeepEachValueInAFileOfItsOwnByteForByte) {
  Home home;
  const auto result = run_in_child([&] {
    home.enter();
    std::string on = "on";
    Q7_CHILD_CHECK(set_variable(const_cast<char*>("mode"), text(on)));
    for (const char* sub : {"/Settings", "/Settings/Variables", "/Logs"}) {
      Q7_CHILD_CHECK(std::filesystem::is_directory(home.home() + sub));
    }
    Q7_CHILD_CHECK(read_file(home.variable("mode")) == std::string("\x03\0\0\0on\0", 7));
    Q7_CHILD_CHECK(got("mode") == "on");
    Q7_CHILD_CHECK(get_variable_static(const_cast<char*>("mode"), nullptr) == static_value);
    Q7_CHILD_CHECK(strcmp(static_value, "on") == 0);
    char buffer[4096] = "";
    Q7_CHILD_CHECK(get_variable_static(const_cast<char*>("mode"), buffer) == buffer);
    Q7_CHILD_CHECK(strcmp(buffer, "on") == 0);

    // A second value replaces the first whole: the file is not appended to.
    std::string empty;
    Q7_CHILD_CHECK(set_variable(const_cast<char*>("mode"), text(empty)));
    Q7_CHILD_CHECK(read_file(home.variable("mode")) == std::string("\x01\0\0\0\0", 5));
    Q7_CHILD_CHECK(got("mode") == "");

    // 4094 bytes fit the static buffer with the terminator; 4095 do not.
    for (const size_t size : {4094u, 4095u}) {
      std::string value(size, 'v');
      Q7_CHILD_CHECK(set_variable(const_cast<char*>("big"), text(value)));
      Q7_CHILD_CHECK(read_file(home.variable("big")) == stored(value));
      Q7_CHILD_CHECK(got("big") == value);
      strcpy(buffer, "kept");
      char* into = get_variable_static(const_cast<char*>("big"), buffer);
      Q7_CHILD_CHECK((into == buffer) == (size == 4094u));
      Q7_CHILD_CHECK(size == 4094u ? buffer == value : strcmp(buffer, "kept") == 0);
    }

    Q7_CHILD_CHECK(delete_variable(const_cast<char*>("mode")));
    Q7_CHILD_CHECK(!std::filesystem::exists(home.variable("mode")));
    Q7_CHILD_CHECK(!delete_variable(const_cast<char*>("mode")));
    Q7_CHILD_CHECK(got("mode") == "null");
    Q7_CHILD_CHECK(get_variable_static(const_cast<char*>("mode"), buffer) == nullptr);

    // A slash reaches into a subdirectory; the empty name is the directory itself.
    Q7_CHILD_CHECK(mkdir((home.variable("group")).c_str(), 0755) == 0);
    Q7_CHILD_CHECK(set_variable(const_cast<char*>("group/x"), text(on)) && got("group/x") == "on");
    Q7_CHILD_CHECK(!set_variable(const_cast<char*>(""), text(on)) && got("") == "null");
    Q7_CHILD_CHECK(!delete_variable(const_cast<char*>("")));
    Q7_CHILD_CHECK(!set_variable(nullptr, text(on)) &&
                   !set_variable(const_cast<char*>("x"), nullptr));
    Q7_CHILD_CHECK(got(nullptr) == "null" && !delete_variable(nullptr));
    std::string long_name(4090, 'n');
    Q7_CHILD_CHECK(!set_variable(text(long_name), text(on)) && got(long_name.c_str()) == "null");
    // Only the values are in the directory: no new file was left beside them.
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(home.variable(""))) {
      files += entry.path().filename().string().rfind(".q7_", 0) == 0 ? 100 : 1;
    }
    Q7_CHILD_CHECK(files == 2);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
}

TEST(SettingsVariables, FilesThatBreakTheFormatReadAsNull) {
  const auto length = [](int32_t value) {
    return std::string(reinterpret_cast<const char*>(&value), 4);
  };
  const struct {
    const char* what;
    std::string bytes;
    const char* value;  // null: reads as null
  } cases[] = {
      {"empty file", "", nullptr},
      {"length cut short", std::string("\x03\0\0", 3), nullptr},
      {"length 0", length(0), nullptr},
      {"negative length", length(-1) + "abc", nullptr},
      {"most negative length", length(INT32_MIN) + "abc", nullptr},
      {"absurd length", length(INT32_MAX) + "abc", nullptr},
      {"value cut short", length(10) + "abcd", nullptr},
      {"no terminator", length(3) + "abc", nullptr},
      {"terminator inside", length(4) + std::string("ab\0c", 4), nullptr},
      {"bytes after the value", length(3) + std::string("ab\0zzzz", 7), "ab"},
      {"embedded terminator", length(4) + std::string("a\0b\0", 4), "a"},
  };
  for (const auto& c : cases) {
    Home home;
    const auto result = run_in_child([&] {
      home.enter();
      std::string on = "on";
      Q7_CHILD_CHECK(set_variable(const_cast<char*>("v"), text(on)));
      Q7_CHILD_CHECK(write_file(home.variable("v"), c.bytes));
      Q7_CHILD_CHECK(got("v") == (c.value != nullptr ? c.value : "null"));
      char buffer[4096] = "kept";
      char* into = get_variable_static(const_cast<char*>("v"), buffer);
      Q7_CHILD_CHECK(c.value != nullptr ? into == buffer && strcmp(buffer, c.value) == 0
                                        : into == nullptr && strcmp(buffer, "kept") == 0);
      Q7_CHILD_CHECK(get_variable_static(const_cast<char*>("v"), nullptr) ==
                     (c.value != nullptr ? static_value : nullptr));
    });
    EXPECT_TRUE(result.exited_with(0)) << c.what << "\n" << describe(result);
  }
}

TEST(SettingsVariables, ThreadsMakeOneLockAndSeeWholeValues) {
  Home home;
  const auto result = run_in_child([&] {
    home.enter();
    constexpr int kThreads = 8;
    constexpr int kRounds = 150;
    std::latch start(kThreads);
    std::vector<std::thread> threads;
    std::vector<int> torn(kThreads, 0);
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        // Values of different lengths, so that a torn one could not pass as another.
        std::string mine(static_cast<size_t>(1 + t * 500), static_cast<char>('a' + t));
        const std::string own_name = "own" + std::to_string(t);
        start.arrive_and_wait();  // every thread's first call finds var_lock absent
        for (int round = 0; round < kRounds; ++round) {
          char buffer[4096];
          const bool ok =
              set_variable(const_cast<char*>("shared"), text(mine)) &&
              set_variable(const_cast<char*>(own_name.c_str()), text(mine)) &&
              got(own_name.c_str()) == mine &&
              get_variable_static(const_cast<char*>(own_name.c_str()), buffer) == buffer &&
              buffer == mine;
          const std::string shared = got("shared");
          const size_t letter = shared.empty() ? 0 : static_cast<size_t>(shared[0] - 'a');
          if (!ok || shared.size() != 1 + letter * 500 ||
              shared != std::string(shared.size(), shared[0])) {
            ++torn[t];
          }
        }
      });
    }
    for (auto& thread : threads) thread.join();
    for (int t = 0; t < kThreads; ++t) Q7_CHILD_CHECK(torn[t] == 0);
    Q7_CHILD_CHECK(var_lock != nullptr);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
}

// A writer process swaps a short and a long value as fast as it can while this one reads:
// every read must give one of them whole.
TEST(SettingsVariables, AReaderInAnotherProcessNeverSeesATornValue) {
  Home home;
  const auto result = run_in_child([&] {
    home.enter();
    std::string short_value = "s";
    std::string long_value(4000, 'L');
    Q7_CHILD_CHECK(set_variable(const_cast<char*>("swap"), text(short_value)));
    const pid_t writer = fork();
    if (writer == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      for (;;) {
        set_variable(const_cast<char*>("swap"), text(long_value));
        set_variable(const_cast<char*>("swap"), text(short_value));
      }
    }
    Q7_CHILD_CHECK(writer > 0);
    int torn = 0;
    for (int read = 0; read < 3000; ++read) {
      const std::string value = got("swap");
      char buffer[4096];
      const char* into = get_variable_static(const_cast<char*>("swap"), buffer);
      if ((value != short_value && value != long_value) || into == nullptr ||
          (buffer != short_value && buffer != long_value)) {
        ++torn;
      }
    }
    kill(writer, SIGKILL);
    waitpid(writer, nullptr, 0);
    fprintf(stderr, "torn reads: %d\n", torn);
    Q7_CHILD_CHECK(torn == 0);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
}

TEST(SettingsVariables, AFullDiskKeepsTheOldValue) {
  SmallFileSystem disk;
  if (!disk.mounted()) GTEST_SKIP() << disk.error();
  const auto result = run_in_child([&] {
    setenv("Q7_HOME_DIR", disk.path().c_str(), 1);
    std::string old_value(64 * 1024, 'o');
    std::string new_value(512 * 1024, 'n');
    Q7_CHILD_CHECK(set_variable(const_cast<char*>("kept"), text(old_value)));
    Q7_CHILD_CHECK(disk.fill());
    Q7_CHILD_CHECK(!set_variable(const_cast<char*>("kept"), text(new_value)));
    Q7_CHILD_CHECK(!set_variable(const_cast<char*>("fresh"), text(new_value)));
    Q7_CHILD_CHECK(got("kept") == old_value && got("fresh") == "null");
    Q7_CHILD_CHECK(!disk.has_leftovers("Settings/Variables"));
    disk.make_room();
    Q7_CHILD_CHECK(set_variable(const_cast<char*>("kept"), text(new_value)));
    Q7_CHILD_CHECK(got("kept") == new_value);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
}

}  // namespace
