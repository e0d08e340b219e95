// Tests of owned streams and descriptors and of whole reads and writes.
#include "q7/internal/unique_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

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
