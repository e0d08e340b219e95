// Runs drop_folder as a user would: a copy that watches a directory, a file dropped and taken
// away, a second copy refused, Ctrl-C, and the lock gone afterwards. Every wait is bounded.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "tests/support/temp_dir.h"

namespace {

using q7test::read_file;
using q7test::TempDir;
using q7test::write_file;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using Clock = std::chrono::steady_clock;

constexpr auto kPatience = std::chrono::seconds(20);

// One running copy of the program, its standard output read through a pipe and its
// standard error kept in a file.
class Program {
 public:
  Program(const std::string& home, const std::string& directory, const std::string& lock,
          const std::string& errors) {
    int out[2];
    if (pipe(out) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      setenv("Q7_HOME_DIR", home.c_str(), 1);
      dup2(out[1], STDOUT_FILENO);
      const int err = open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
      dup2(err, STDERR_FILENO);
      execl(DROP_FOLDER_PROGRAM, "drop_folder", directory.c_str(), lock.c_str(), nullptr);
      _exit(127);
    }
    close(out[1]);
    out_ = out[0];
  }
  ~Program() {
    if (pid_ > 0 && !ended_) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
    if (out_ >= 0) close(out_);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  pid_t pid() const { return pid_; }
  const std::string& out() const { return text_; }

  // Reads standard output until it holds `wanted` or the patience runs out.
  bool wait_for_output(const std::string& wanted) {
    const auto deadline = Clock::now() + kPatience;
    while (text_.find(wanted) == std::string::npos) {
      const auto left =
          std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
      pollfd ready = {out_, POLLIN, 0};
      if (left <= 0 || poll(&ready, 1, static_cast<int>(left)) <= 0) return false;
      char chunk[4096];
      const ssize_t got = read(out_, chunk, sizeof chunk);
      if (got <= 0) return false;
      text_.append(chunk, static_cast<size_t>(got));
    }
    return true;
  }

  // Waits for the program to end; its exit status, or -1 when it did not exit in time.
  int wait_for_exit() {
    const auto deadline = Clock::now() + kPatience;
    int status = 0;
    while (waitpid(pid_, &status, WNOHANG) == 0) {
      if (Clock::now() > deadline) return -1;
      usleep(10000);
    }
    ended_ = true;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t pid_ = -1;
  int out_ = -1;
  bool ended_ = false;
  std::string text_;
};

TEST(DropFolder, ReportsArrivalsAndDeparturesRefusesASecondCopyAndEndsOnCtrlC) {
  TempDir dir;
  const std::string home = dir.file("home");
  const std::string drop = dir.file("drop");
  ASSERT_TRUE(std::filesystem::create_directory(home) && std::filesystem::create_directory(drop));
  const std::string lock = "drop_folder_test_" + std::to_string(getpid()) + ".lock";
  const std::string lock_path = "/tmp/" + lock;

  Program first(home, drop, lock, dir.file("first.err"));
  ASSERT_TRUE(first.wait_for_output("; Ctrl-C ends\n")) << first.out();
  EXPECT_THAT(first.out(), MatchesRegex("\ndrop_folder 1.0\n===============\n\\[Built on: "
                                        "[^\n]+ at [0-9:]+\\]\n\nwatching " +
                                        drop + "; Ctrl-C ends\n"));
  EXPECT_THAT(read_file(lock_path), MatchesRegex(std::to_string(first.pid()) + " [^\n]+\n\n"));

  // A file written elsewhere and moved in arrives whole.
  ASSERT_TRUE(write_file(dir.file("scan.tif"), "0123456789a"));
  std::filesystem::rename(dir.file("scan.tif"), drop + "/scan.tif");
  ASSERT_TRUE(first.wait_for_output("arrived: scan.tif, 11 bytes, ")) << first.out();

  Program second(home, drop, lock, dir.file("second.err"));
  EXPECT_EQ(second.wait_for_exit(), 1);
  const std::string owner_line = read_file(lock_path);
  EXPECT_EQ(read_file(dir.file("second.err")), "drop_folder: another copy holds " + lock_path +
                                                   ": " +
                                                   owner_line.substr(0, owner_line.size() - 1));
  EXPECT_EQ(second.out(), "");

  std::filesystem::remove(drop + "/scan.tif");
  ASSERT_TRUE(first.wait_for_output("left: scan.tif\n")) << first.out();

  kill(first.pid(), SIGINT);
  EXPECT_EQ(first.wait_for_exit(), 1) << "SIGINT ends a program of the family with status 1";
  EXPECT_FALSE(std::filesystem::exists(lock_path)) << "the lock goes with the program";
  const std::string log = read_file(home + "/Logs/drop_folder.log");
  EXPECT_THAT(log, HasSubstr(" INFO : arrived: scan.tif, 11 bytes, "));
  EXPECT_THAT(log, HasSubstr(" INFO : left: scan.tif\n"));
  EXPECT_THAT(log, HasSubstr("(drop_folder) "));
  // The banner came before the log was opened, on the standard error it started with.
  EXPECT_THAT(read_file(dir.file("first.err")), HasSubstr(" INFO : drop_folder 1.0\n"));
  std::filesystem::remove(lock_path);
}

}  // namespace
