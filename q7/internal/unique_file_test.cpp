// Tests of owned streams and descriptors and of whole reads and writes.
#include "q7/internal/unique_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

namespace {

using q7::internal::UniqueFd;

bool is_open(int fd) { return fcntl(fd, F_GETFD) != -1; }

TEST(WholeIo, ReadsAcrossPartialPiecesUntilTheEndAndWritesEverything) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  UniqueFd reader(ends[0]);
  UniqueFd writer(ends[1]);
  const std::string sent(200000, 'q');  // more than a pipe holds: the writer must go on
  std::thread feed([&] {
    EXPECT_TRUE(q7::internal::write_full(writer.get(), sent.data(), 7));
    EXPECT_TRUE(q7::internal::write_full(writer.get(), sent.data() + 7, sent.size() - 7));
    EXPECT_TRUE(writer.close());
  });
  std::string got(sent.size() + 10, '\0');
  EXPECT_EQ(q7::internal::read_full(reader.get(), got.data(), got.size()),
            static_cast<ssize_t>(sent.size()))
      << "the end of the data ends the read short";
  feed.join();
  got.resize(sent.size());
  EXPECT_EQ(got, sent);
  EXPECT_EQ(q7::internal::read_full(reader.get(), got.data(), 1), 0);
  EXPECT_EQ(q7::internal::read_full(-1, got.data(), 1), -1);

  UniqueFd full(open("/dev/full", O_WRONLY));
  ASSERT_TRUE(full);
  EXPECT_FALSE(q7::internal::write_full(full.get(), sent.data(), 10));
}

std::atomic<int> alarms{0};

void count_alarm(int) { ++alarms; }

// A writer blocked on a full pipe is cut short by a signal: write returns what it has written
// so far, or -1 with EINTR when it has written nothing. Both must go on.
TEST(WholeIo, GoesOnWhenSignalsCutWritesShort) {
  struct sigaction action = {}, saved = {};
  action.sa_handler = count_alarm;  // no SA_RESTART: the signal ends the blocked write
  sigaction(SIGALRM, &action, &saved);
  sigset_t alarm_only;
  sigemptyset(&alarm_only);
  sigaddset(&alarm_only, SIGALRM);
  pthread_sigmask(SIG_BLOCK, &alarm_only, nullptr);  // only the writer takes the signal

  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  UniqueFd reader(ends[0]);
  UniqueFd writer(ends[1]);
  std::string sent(8 << 20, '\0');
  for (size_t i = 0; i < sent.size(); ++i) sent[i] = static_cast<char>(i * 131 >> 7);
  alarms = 0;
  const itimerval every_200us = {{0, 200}, {0, 200}};
  setitimer(ITIMER_REAL, &every_200us, nullptr);
  std::thread feed([&] {
    pthread_sigmask(SIG_UNBLOCK, &alarm_only, nullptr);
    EXPECT_TRUE(q7::internal::write_full(writer.get(), sent.data(), sent.size()));
    EXPECT_TRUE(writer.close());
  });
  std::string got;
  char piece[4096];
  for (ssize_t n; (n = q7::internal::read_full(reader.get(), piece, sizeof piece)) > 0;) {
    got.append(piece, static_cast<size_t>(n));
    if (got.size() % (256 << 10) == 0) usleep(1000);  // keep the pipe full for a while
  }
  feed.join();
  const itimerval off = {};
  setitimer(ITIMER_REAL, &off, nullptr);
  pthread_sigmask(SIG_UNBLOCK, &alarm_only, nullptr);
  sigaction(SIGALRM, &saved, nullptr);
  EXPECT_GT(alarms, 0) << "no signal reached the writer, so nothing was cut short";
  EXPECT_TRUE(got == sent) << "got " << got.size() << " of " << sent.size() << " bytes";
}

TEST(UniqueFd, ClosesWhatItHoldsOnceWhetherReplacedDestroyedOrReleased) {
  const int first = open("/dev/null", O_RDONLY);
  const int second = open("/dev/null", O_RDONLY);
  {
    UniqueFd held(first);
    UniqueFd moved(std::move(held));
    EXPECT_FALSE(held);
    EXPECT_EQ(moved.get(), first);
    moved = UniqueFd(second);
    EXPECT_FALSE(is_open(first)) << "replacing closes the old descriptor";
    EXPECT_TRUE(is_open(second));
  }
  EXPECT_FALSE(is_open(second)) << "leaving the scope closes";

  const int kept = open("/dev/null", O_RDONLY);
  { EXPECT_EQ(UniqueFd(kept).release(), kept); }
  EXPECT_TRUE(is_open(kept)) << "released descriptors stay open";
  close(kept);
}

TEST(UniqueFile, CloseReportsALostWriteAndOpenFailsOnAMissingPath) {
  q7::internal::UniqueFile full(fopen("/dev/full", "w"));
  ASSERT_TRUE(full);
  fputs("buffered until the close", full.get());
  EXPECT_FALSE(q7::internal::close_file(full));
  EXPECT_FALSE(full);

  EXPECT_FALSE(q7::internal::open_unbuffered("/nonexistent/q7/file", "rb"));
  q7::internal::UniqueFile null = q7::internal::open_unbuffered("/dev/null", "wb");
  ASSERT_TRUE(null);
  EXPECT_TRUE(q7::internal::close_file(null));
}

}  // namespace
