// Tests of the instance lock and the process count, with real processes and a real /tmp.
#include "q7/runtime/instance_lock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "q7/runtime/exit_handlers.h"
#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"

namespace {

using q7test::describe;
using q7test::read_file;
using q7test::run_in_child;
using q7test::TempDir;
using q7test::write_file;
using ::testing::MatchesRegex;

// The owner line: the process id, ctime's 24 characters and its newline.
constexpr char kCtime[] = "[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] [0-9:]{8} [0-9]{4}";

// A lock name of this test run in /tmp, and a home for the standard directories; whatever
// a test leaves there goes with the object.
class Lock {
 public:
  Lock() : name_(std::filesystem::path(home_.path()).filename().string() + ".lock") {}
  ~Lock() { std::filesystem::remove_all(path()); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

  char* name() { return name_.data(); }
  std::string path() const { return "/tmp/" + name_; }
  std::string home() const { return home_.path(); }
  void enter() const { setenv("Q7_HOME_DIR", home().c_str(), 1); }

 private:
  TempDir home_;
  std::string name_;
};

bool exists(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0;
}

TEST(ProgramLock, WritesTheOwnerLineAndShowsItToTheNextComer) {
  Lock lock;
  const auto result = run_in_child([&] {
    lock.enter();
    Q7_CHILD_CHECK(program_lock(lock.name(), nullptr, 0) == 1);
    Q7_CHILD_CHECK(std::filesystem::is_directory(lock.home() + "/Settings/Variables"));
    const std::string line = read_file(lock.path());
    printf("%s", line.c_str());
    Q7_CHILD_CHECK(line.rfind(std::to_string(getpid()) + " ", 0) == 0);
    char owner[64] = "unset";
    Q7_CHILD_CHECK(program_lock(lock.name(), owner, sizeof owner) == 0);
    Q7_CHILD_CHECK(owner == line.substr(0, line.size() - 1));
    // Another process sees it held and whose it is, cut as fgets cuts it.
    const auto other = run_in_child([&] {
      char whole[64] = "unset";
      char cut[8] = "unset";
      Q7_CHILD_CHECK(program_lock(lock.name(), whole, sizeof whole) == 0);
      Q7_CHILD_CHECK(program_lock(lock.name(), cut, sizeof cut) == 0);
      Q7_CHILD_CHECK(program_lock(lock.name(), nullptr, 64) == 0);
      Q7_CHILD_CHECK(whole == line.substr(0, line.size() - 1) && cut == line.substr(0, 7));
    });
    Q7_CHILD_CHECK(other.exited_with(0));
    exit(0);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_THAT(result.out, MatchesRegex("[0-9]+ " + std::string(kCtime) + "\n\n"));
  EXPECT_FALSE(exists(lock.path())) << "the exit handler removes the lock";
}

TEST(ProgramLock, GoesAtExitAndAfterHandledSignalsButStaysAfterSigkill) {
  const struct {
    const char* how;
    int signal;  // 0: exit_wait with status 4
    bool removed;
  } cases[] = {{"exit_wait", 0, true},
               {"SIGINT", SIGINT, true},
               {"SIGTERM", SIGTERM, true},
               {"SIGKILL", SIGKILL, false}};
  for (const auto& c : cases) {
    Lock lock;
    const auto holder = run_in_child([&] {
      lock.enter();
      Q7_CHILD_CHECK(program_lock(lock.name(), nullptr, 0) == 1);
      if (c.signal == 0) exit_wait(4);
      raise(c.signal);
    });
    EXPECT_TRUE(c.signal == SIGKILL ? holder.term_signal == SIGKILL
                                    : holder.exited_with(c.signal == 0 ? 4 : 1))
        << c.how << "\n"
        << describe(holder);
    EXPECT_EQ(exists(lock.path()), !c.removed) << c.how;
    // The next comer gets the lock exactly when the file went.
    const auto next = run_in_child([&] {
      lock.enter();
      exit(program_lock(lock.name(), nullptr, 0) == 1 ? 10 : 11);
    });
    EXPECT_TRUE(next.exited_with(c.removed ? 10 : 11)) << c.how << "\n" << describe(next);
    EXPECT_EQ(exists(lock.path()), !c.removed) << c.how;
  }
}

TEST(ProgramLock, NeverFollowsOrOverwritesWhatStandsInItsPlace) {
  TempDir dir;
  const std::string victim = dir.file("victim");
  ASSERT_TRUE(write_file(victim, "precious first line\nmore\n"));
  const struct {
    const char* what;
    int (*plant)(const char* target, const char* path);
    const char* target;
    const char* owner;  // what the owner buffer holds afterwards
  } cases[] = {
      {"directory", [](const char*, const char* path) { return mkdir(path, 0755); }, "", "unset"},
      // A link is never opened: the owner shows nothing of the file it names.
      {"link to a file", symlink, victim.c_str(), ""},
      {"dangling link", symlink, "/nonexistent/q7_lock_target", "unset"},
      // Opened for writing, a pipe without a reader would hold the caller forever.
      {"pipe", [](const char*, const char* path) { return mkfifo(path, 0666); }, "", "unset"},
  };
  for (const auto& c : cases) {
    Lock lock;
    ASSERT_EQ(c.plant(c.target, lock.path().c_str()), 0) << c.what;
    const auto result = run_in_child(
        [&] {
          lock.enter();
          char owner[64] = "unset";
          Q7_CHILD_CHECK(program_lock(lock.name(), owner, sizeof owner) == 0);
          Q7_CHILD_CHECK(strcmp(owner, c.owner) == 0);
        },
        std::chrono::seconds(10));
    EXPECT_TRUE(result.exited_with(0)) << c.what << "\n" << describe(result);
    EXPECT_EQ(read_file(victim), "precious first line\nmore\n") << c.what;
    EXPECT_FALSE(exists("/nonexistent/q7_lock_target"));
  }
  const auto result = run_in_child([&] {
    Q7_CHILD_CHECK(program_lock(nullptr, nullptr, 0) == 0);
    std::string long_name(4092, 'n');
    Q7_CHILD_CHECK(program_lock(long_name.data(), nullptr, 0) == 0);
  });
  EXPECT_TRUE(result.exited_with(0)) << describe(result);
}

TEST(ProgramLock, ExactlyOneOfRacingProcessesTakesIt) {
  constexpr int kRacers = 6;
  Lock lock;
  int start[2];
  ASSERT_EQ(pipe(start), 0);
  std::vector<pid_t> racers;
  for (int i = 0; i < kRacers; ++i) {
    const pid_t pid = fork();
    if (pid == 0) {
      close(start[1]);
      lock.enter();
      alarm(30);  // a racer never outlives a broken test
      char go;
      (void)!read(start[0], &go, 1);
      _exit(program_lock(lock.name(), nullptr, 0));
    }
    racers.push_back(pid);
  }
  close(start[0]);
  close(start[1]);  // the end of the pipe starts them all at once
  int holders = 0;
  for (const pid_t pid : racers) {
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status)) << status;
    holders += WEXITSTATUS(status);
  }
  EXPECT_EQ(holders, 1);
  EXPECT_TRUE(exists(lock.path()));
}

TEST(IsProgramRunning, CountsProcessesByCommandNameIgnoringCase) {
  const auto result = run_in_child([] {
    // Three processes of a name no other process has.
    const std::string name = "q7p" + std::to_string(getpid() % 1000000);
    int ready[2];
    Q7_CHILD_CHECK(pipe(ready) == 0);
    std::vector<pid_t> probes;
    for (int i = 0; i < 3; ++i) {
      const pid_t pid = fork();
      if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        prctl(PR_SET_NAME, name.c_str());
        (void)!write(ready[1], "r", 1);
        for (;;) pause();
      }
      probes.push_back(pid);
    }
    char r;
    for (int i = 0; i < 3; ++i) Q7_CHILD_CHECK(read(ready[0], &r, 1) == 1);
    std::string upper = name;
    for (char& ch : upper) ch = static_cast<char>(toupper(ch));
    const int found = is_program_running(upper.data());
    char absent[] = "q7_nobody_runs_this";
    char header[] = "command";
    const int none = is_program_running(absent);
    const int headers = is_program_running(header);
    const int nulls = is_program_running(nullptr);
    for (const pid_t pid : probes) kill(pid, SIGKILL);
    for (const pid_t pid : probes) waitpid(pid, nullptr, 0);
    fprintf(stderr, "found=%d none=%d headers=%d\n", found, none, headers);
    Q7_CHILD_CHECK(found == 3 && none == 0 && headers == 1 && nulls == 0);
    // The list files are gone.
    const std::string prefix = "_" + std::to_string(getpid()) + "_";
    for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
      Q7_CHILD_CHECK(entry.path().filename().string().rfind(prefix, 0) != 0);
    }
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  // Each call writes its command, without a newline.
  EXPECT_THAT(result.out, MatchesRegex("(ps -e -o comm > /tmp/_[0-9]+_[0-9]+){3}"));
}

}  // namespace
