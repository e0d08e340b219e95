// Tests of the example's PGM files: written and read back, and bad files refused.
#include "examples/band_filter/pgm.h"

#include <gtest/gtest.h>

#include <string>

#include "examples/band_filter/box_filter.h"
#include "tests/support/temp_dir.h"

namespace {

using band_filter::Image;

TEST(Pgm, WritesAndReadsBackAndRejectsBadFiles) {
  q7test::TempDir dir;
  const Image image = band_filter::synthetic_image(17, 5);
  ASSERT_TRUE(band_filter::write_pgm(dir.file("card.pgm"), image));
  Image back;
  std::string error;
  ASSERT_TRUE(band_filter::read_pgm(dir.file("card.pgm"), back, error)) << error;
  EXPECT_EQ(back.width, 17);
  EXPECT_EQ(back.pixels, image.pixels);

  const std::string bad[] = {"P6\n2 2\n255\n....",       "P5\n2 2\n255\n...",     "P5\n0 2\n255\n",
                             "P5\n2 2\n65535\n........", "P5\n99999999 2\n255\n", "P5",
                             "P5\n# comment\n2 1\n255\n"};
  for (const std::string& bytes : bad) {
    q7test::write_file(dir.file("bad.pgm"), bytes);
    EXPECT_FALSE(band_filter::read_pgm(dir.file("bad.pgm"), back, error)) << bytes;
  }
  q7test::write_file(dir.file("comment.pgm"), "P5\n# made by hand\n2 1\n255\nab");
  EXPECT_TRUE(band_filter::read_pgm(dir.file("comment.pgm"), back, error)) << error;
  EXPECT_FALSE(band_filter::read_pgm(dir.file("missing.pgm"), back, error));
}

}  // namespace
