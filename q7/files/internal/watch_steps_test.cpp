// Tests of the watcher's steps: the sorted search, one listing and the stability wait.
#include "q7/files/internal/watch_steps.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/temp_dir.h"

namespace {

using q7::internal::wait_for_stable;
using q7::internal::watch_find;

TEST(WatchFind, FindsExactlyTheNamesOfASortedPrefix) {
  char* names[] = {(char*)"B", (char*)"a", (char*)"b", (char*)"b2", (char*)"c"};
  struct Case {
    const char* name;
    int count;
    bool found;
  };
  const Case cases[] = {{"B", 5, true},   {"a", 5, true},   {"b", 5, true},     {"b2", 5, true},
                        {"c", 5, true},   {"A", 5, false},  {"d", 5, false},    {"ab", 5, false},
                        {"b1", 5, false}, {"b2", 3, false}, {"b", 3, true},     {"B", 1, true},
                        {"a", 1, false},  {"B", 0, false},  {nullptr, 5, false}};
  for (const Case& c : cases) {
    EXPECT_EQ(watch_find(c.name, names, c.count), c.found)
        << "name=" << (c.name ? c.name : "(null)") << " count=" << c.count;
  }
  EXPECT_FALSE(watch_find("a", nullptr, 5));
}

TEST(WatchListing, KeepsRegularFilesAndLinksToThemInByteOrderAndFailsForAMissingDirectory) {
  q7test::TempDir dir;
  for (const char* name : {"b", "B", ".hidden", "10", "9", "\xc3\xa9t\xc3\xa9"}) {
    ASSERT_TRUE(q7test::write_file(dir.file(name), "x")) << name;
  }
  ASSERT_EQ(mkdir(dir.file("sub").c_str(), 0700), 0);
  ASSERT_EQ(mkfifo(dir.file("pipe").c_str(), 0600), 0);
  ASSERT_EQ(symlink("b", dir.file("to_b").c_str()), 0);
  ASSERT_EQ(symlink("sub", dir.file("to_sub").c_str()), 0);
  ASSERT_EQ(symlink("nowhere", dir.file("dangling").c_str()), 0);

  tagDWATCH watch{};
  std::string directory = dir.path();
  watch.directory = directory.data();
  auto listing = [&watch] {
    std::vector<std::string> names;
    if (!q7::internal::watch_dir_get_dir_list(&watch, watch.fresh, watch.nfresh,
                                              watch.fresh_capacity)) {
      names.push_back("(failed)");
    }
    for (int i = 0; i < watch.nfresh; ++i) names.push_back(watch.fresh[i]);
    return names;
  };
  EXPECT_EQ(listing(), (std::vector<std::string>{".hidden", "10", "9", "B", "b", "to_b",
                                                 "\xc3\xa9t\xc3\xa9"}));
  EXPECT_EQ(watch.fresh_capacity, 8);
  EXPECT_EQ(watch.stream, nullptr);

  // A second listing into the same array releases the names it held.
  ASSERT_EQ(unlink(dir.file("b").c_str()), 0);
  EXPECT_EQ(listing(), (std::vector<std::string>{".hidden", "10", "9", "B", "\xc3\xa9t\xc3\xa9"}));
  std::string missing = dir.file("missing");
  watch.directory = missing.data();
  EXPECT_EQ(listing(), std::vector<std::string>{"(failed)"});
  EXPECT_EQ(watch.nfresh, 0);
  watch.directory = nullptr;
  q7::internal::watch_clean_up(&watch);
  EXPECT_EQ(watch.fresh, nullptr);
}

// A writer that appends a byte every few milliseconds, far more often than the 0.1 seconds
// between two looks, until it is stopped; a vanishing file is removed while it still grows.
class GrowingFile {
 public:
  GrowingFile(const std::string& path, bool vanish) : out_(path, std::ios::binary) {
    writer_ = std::thread([this, path, vanish] {
      while (!stop_) {
        out_ << 'x' << std::flush;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
      }
      if (vanish) unlink(path.c_str());
    });
  }
  ~GrowingFile() { stop(); }
  void stop() {
    stop_ = true;
    if (writer_.joinable()) writer_.join();
  }

 private:
  std::ofstream out_;
  std::atomic<bool> stop_{false};
  std::thread writer_;
};

TEST(WaitForStable, TrueOnlyForAFileWhoseSizeHoldsStillWithinTheLimit) {
  q7test::TempDir dir;
  EXPECT_FALSE(wait_for_stable(dir.file("missing").c_str(), 100.0f));
  ASSERT_TRUE(q7test::write_file(dir.file("still"), "complete"));
  EXPECT_TRUE(wait_for_stable(dir.file("still").c_str(), 100.0f));
  EXPECT_TRUE(wait_for_stable(dir.path().c_str(), 0.0f)) << "a directory's size holds too";
  {
    GrowingFile growing(dir.file("growing"), false);
    EXPECT_FALSE(wait_for_stable(dir.file("growing").c_str(), 0.25f));
  }
  GrowingFile vanishing(dir.file("vanishing"), true);
  std::thread stopper([&vanishing] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    vanishing.stop();
  });
  EXPECT_FALSE(wait_for_stable(dir.file("vanishing").c_str(), 100.0f));
  stopper.join();
}

}  // namespace
