// Tests of the directory watcher with its real thread and real timing: every wait is bounded
// and generous, and no verdict rests on how long something took.
#include "q7/files/watcher.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "q7/mp/sync.h"
#include "q7/mp/threads.h"
#include "tests/support/child_process.h"
#include "tests/support/sanitizers.h"
#include "tests/support/temp_dir.h"

namespace {

using namespace std::chrono_literals;

// What the callbacks saw, in order: "+text" for an addition, "-text" for a removal.
std::mutex events_lock;
std::condition_variable events_changed;
std::vector<std::string> events;

void record(std::string event) {
  std::lock_guard lock(events_lock);
  events.push_back(std::move(event));
  events_changed.notify_all();
}

void on_added(char* text) { record(std::string("+") + text); }
void on_removed(char* text) { record(std::string("-") + text); }

// The size the added file has when its callback runs.
void on_added_with_size(char* text) {
  struct stat status;
  record("+" + std::string(text) + " " +
         (stat(text, &status) == 0 ? std::to_string(status.st_size) : "gone"));
}

// The events so far, once there are at least `count` of them or `limit` has passed.
std::vector<std::string> wait_for_events(size_t count, std::chrono::seconds limit = 30s) {
  std::unique_lock lock(events_lock);
  events_changed.wait_for(lock, limit, [count] { return events.size() >= count; });
  return events;
}

// Long enough for two polls, to show that nothing more is coming.
constexpr auto kQuietSeconds = 3s;

void make_directory(const std::string& path, std::initializer_list<const char*> files) {
  ASSERT_EQ(mkdir(path.c_str(), 0700), 0) << path;
  for (const char* name : files) ASSERT_TRUE(q7test::write_file(path + "/" + name, name));
}

// Puts `staged` in the place of `watched` in one step, so that a single listing sees every
// difference at once.
void swap_in(const std::string& staged, const std::string& watched) {
  ASSERT_EQ(renameat2(AT_FDCWD, staged.c_str(), AT_FDCWD, watched.c_str(), RENAME_EXCHANGE), 0);
}

class DirectoryWatcher : public testing::Test {
 protected:
  void SetUp() override {
    std::lock_guard lock(events_lock);
    events.clear();
  }
  void TearDown() override { watch_directory_end(&watch_); }

  q7test::TempDir root_;
  std::string watched_ = root_.file("watched");
  std::string staged_ = root_.file("staged");
  tagDWATCH watch_{};
};

TEST_F(DirectoryWatcher, ReportsEachArrivalOnceInByteOrderAndNeverTheBaselineOrADirectory) {
  make_directory(watched_, {"old", "zz_old"});
  ASSERT_EQ(mkdir((watched_ + "/keep").c_str(), 0700), 0);
  ASSERT_TRUE(watch_directory_start(&watch_, watched_.data(), on_added, on_removed, true));

  make_directory(staged_, {"old", "zz_old", "c", ".hidden", "B"});
  ASSERT_EQ(mkdir((staged_ + "/sub").c_str(), 0700), 0);
  ASSERT_EQ(symlink("c", (staged_ + "/link").c_str()), 0);
  swap_in(staged_, watched_);
  const std::string w = watched_ + "/";
  EXPECT_EQ(wait_for_events(4), (std::vector<std::string>{"+" + w + ".hidden", "+" + w + "B",
                                                          "+" + w + "c", "+" + w + "link"}));
  EXPECT_EQ(wait_for_events(5, kQuietSeconds).size(), 4u);
}

TEST_F(DirectoryWatcher, ReportsDeparturesAndARenameAsRemovalThenAddition) {
  make_directory(watched_, {"a", "b", "c"});
  ASSERT_TRUE(watch_directory_start(&watch_, watched_.data(), on_added, on_removed, false));
  ASSERT_EQ(unlink((watched_ + "/a").c_str()), 0);
  EXPECT_EQ(wait_for_events(1), std::vector<std::string>{"-a"});
  ASSERT_EQ(rename((watched_ + "/c").c_str(), (watched_ + "/0").c_str()), 0);
  EXPECT_EQ(wait_for_events(3), (std::vector<std::string>{"-a", "-c", "+0"}));
  EXPECT_EQ(wait_for_events(4, kQuietSeconds).size(), 3u);
}

TEST_F(DirectoryWatcher, WithoutAnAddedCallbackReportsRemovalsOfFilesItNeverReportedAdding) {
  make_directory(watched_, {"a", "b"});
  ASSERT_TRUE(watch_directory_start(&watch_, watched_.data(), nullptr, on_removed, true));
  make_directory(staged_, {"b", "new"});
  swap_in(staged_, watched_);
  // The listing that missed "a" also took in "new".
  EXPECT_EQ(wait_for_events(1), std::vector<std::string>{"-" + watched_ + "/a"});
  ASSERT_EQ(unlink((watched_ + "/new").c_str()), 0);
  EXPECT_EQ(wait_for_events(2),
            (std::vector<std::string>{"-" + watched_ + "/a", "-" + watched_ + "/new"}));
}

TEST_F(DirectoryWatcher, HandsOverAFileWrittenInPiecesOnlyWhenComplete) {
  make_directory(watched_, {});
  ASSERT_TRUE(
      watch_directory_start(&watch_, watched_.data(), on_added_with_size, on_removed, true));
  // 150 pieces 20 ms apart: three seconds of growth, pauses far below the 0.1 seconds
  // between two looks.
  constexpr int kPieces = 150;
  const std::string piece(4096, 'p');
  {
    const std::string path = watched_ + "/slow";
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600);
    ASSERT_GE(fd, 0);
    for (int i = 0; i < kPieces; ++i) {
      ASSERT_EQ(write(fd, piece.data(), piece.size()), static_cast<ssize_t>(piece.size()));
      std::this_thread::sleep_for(20ms);
    }
    close(fd);
  }
  EXPECT_EQ(wait_for_events(1),
            std::vector<std::string>{"+" + watched_ + "/slow " + std::to_string(kPieces * 4096)});
}

TEST_F(DirectoryWatcher, FallsSilentWhileTheDirectoryIsGoneAndThenReportsOnlyTheDifference) {
  make_directory(watched_, {"a", "b"});
  ASSERT_TRUE(watch_directory_start(&watch_, watched_.data(), on_added, on_removed, false));
  const std::string gone = root_.file("gone");
  ASSERT_EQ(rename(watched_.c_str(), gone.c_str()), 0);
  EXPECT_TRUE(wait_for_events(1, kQuietSeconds).empty());
  make_directory(staged_, {"b", "c"});
  ASSERT_EQ(rename(staged_.c_str(), watched_.c_str()), 0);
  EXPECT_EQ(wait_for_events(2), (std::vector<std::string>{"-a", "+c"}));
  EXPECT_EQ(wait_for_events(3, kQuietSeconds).size(), 2u);
}

TEST_F(DirectoryWatcher, TwoWatchersReportTheirOwnDirectoriesAndOneStartsAgainAfterItsEnd) {
  const std::string other = root_.file("other");
  make_directory(watched_, {});
  make_directory(other, {});
  tagDWATCH second{};
  ASSERT_TRUE(watch_directory_start(&watch_, watched_.data(), on_added, on_removed, true));
  ASSERT_TRUE(
      watch_directory_start(&second, const_cast<char*>(other.c_str()), on_added, on_removed, true));
  EXPECT_NE(watch_.thread, second.thread);
  ASSERT_TRUE(q7test::write_file(watched_ + "/x", "x"));
  ASSERT_TRUE(q7test::write_file(other + "/x", "x"));
  auto seen = wait_for_events(2);
  EXPECT_EQ(std::set<std::string>(seen.begin(), seen.end()),
            (std::set<std::string>{"+" + watched_ + "/x", "+" + other + "/x"}));

  watch_directory_end(&second);
  EXPECT_EQ(second.thread, -1);
  ASSERT_TRUE(q7test::write_file(other + "/y", "y"));
  ASSERT_TRUE(
      watch_directory_start(&second, const_cast<char*>(other.c_str()), on_added, on_removed, true));
  ASSERT_TRUE(q7test::write_file(other + "/z", "z"));
  ASSERT_EQ(unlink((watched_ + "/x").c_str()), 0);
  seen = wait_for_events(4);
  EXPECT_EQ(std::set<std::string>(seen.begin() + 2, seen.end()),
            (std::set<std::string>{"-" + watched_ + "/x", "+" + other + "/z"}));
  watch_directory_end(&second);
}

// The callback of the next test: its first call holds the watch thread until it is let go.
void* held_entered;
void* held_release;
std::atomic<int> held_calls{0};
std::atomic<bool> held_done{false};

void hold_in_callback(char*) {
  if (++held_calls > 1) return;
  q7mp_post_sema(held_entered);
  q7mp_wait_sema(held_release);
  held_done = true;
}

TEST_F(DirectoryWatcher, EndWaitsForARunningCallbackAndNoCallbackStartsAfterIt) {
  held_entered = q7mp_new_sema(0);
  held_release = q7mp_new_sema(0);
  // On the heap, so that AddressSanitizer sees any touch of the record after the end.
  auto watch = std::make_unique<tagDWATCH>();
  make_directory(watched_, {"gone1", "gone2"});
  ASSERT_TRUE(watch_directory_start(watch.get(), watched_.data(), hold_in_callback,
                                    hold_in_callback, false));
  // One listing then misses two files and finds two new ones: the first removal holds the
  // thread, and the three reports due after it must not come once the end is asked for.
  make_directory(staged_, {"new1", "new2"});
  swap_in(staged_, watched_);
  ASSERT_EQ(q7mp_wait_sema(held_entered), 1);

  std::atomic<bool> ended{false};
  bool done_at_end = false;
  std::thread ender([&] {
    watch_directory_end(watch.get());
    done_at_end = held_done;
    ended = true;
  });
  std::this_thread::sleep_for(300ms);
  EXPECT_FALSE(ended) << "the end returned while a callback was running";
  q7mp_post_sema(held_release);
  ender.join();
  EXPECT_TRUE(done_at_end);
  EXPECT_EQ(held_calls, 1) << "a callback started after the end was asked for";
  EXPECT_EQ(watch->thread, -1);
  EXPECT_EQ(watch->directory, nullptr);
  EXPECT_EQ(watch->known, nullptr);
  EXPECT_EQ(watch->fresh, nullptr);
  watch.reset();
  q7mp_delete_sema(held_entered);
  q7mp_delete_sema(held_release);
}

TEST(DirectoryWatcherStart, FailsForBadArgumentsAndLeavesNothingToRelease) {
  q7test::TempDir dir;
  ASSERT_TRUE(q7test::write_file(dir.file("file"), "x"));
  EXPECT_FALSE(watch_directory_start(nullptr, const_cast<char*>("/tmp"), on_added, nullptr, true));
  tagDWATCH watch;
  for (const std::string& path : {dir.file("missing"), dir.file("file"), std::string()}) {
    memset(&watch, 0x5a, sizeof watch);
    char* directory = path.empty() ? nullptr : const_cast<char*>(path.c_str());
    EXPECT_FALSE(watch_directory_start(&watch, directory, on_added, on_removed, true))
        << "directory=" << path;
    if (directory == nullptr) continue;
    EXPECT_TRUE(watch.directory == nullptr && watch.known == nullptr && watch.nknown == 0 &&
                watch.thread == -1)
        << "directory=" << path;
  }
  // With the thread table full the start fails after its first listing, which it releases.
  const auto result = q7test::run_in_child([&dir] {
    void* never = q7mp_new_sema(0);
    auto block = [](void* sema) -> void* {
      q7mp_wait_sema(sema);
      return nullptr;
    };
    for (int i = 0; i < 32; ++i) q7mp_start_thread(block, never);
    tagDWATCH full;
    Q7_CHILD_CHECK(!watch_directory_start(&full, const_cast<char*>(dir.path().c_str()), on_added,
                                          nullptr, true));
    Q7_CHILD_CHECK(full.known == nullptr && full.directory == nullptr);
  });
  EXPECT_TRUE(result.exited_with(0)) << describe(result);
}

}  // namespace
