// Tests of the example's box filter, on one processor and in bands.
#include "examples/band_filter/box_filter.h"

#include <gtest/gtest.h>

#include <string>

#include "q7/mp/parallel.h"
#include "tests/support/child_process.h"

namespace {

using band_filter::FilterJob;
using band_filter::Image;

TEST(BoxFilter, MeansTheNeighbourhoodWithBorderPixelsRepeated) {
  const Image source{3, 2, {0, 9, 18, 90, 0, 0}};
  Image target = source;
  FilterJob job{&source, &target};
  band_filter::filter_lines(&job, 0, 1);
  // Top-left: rows 0,0,1 and columns 0,0,1 around (0,0).
  EXPECT_EQ(target.pixels[0], (0 + 0 + 9 + 0 + 0 + 9 + 90 + 90 + 0 + 4) / 9);
  EXPECT_EQ(target.pixels[4], (0 + 9 + 18 + 90 + 0 + 0 + 90 + 0 + 0 + 4) / 9);
  band_filter::filter_lines(&job, 1, 0);  // an empty band changes nothing
}

TEST(BoxFilter, BandsOnFourProcessorsGiveTheWholeImage) {
  const auto result = q7test::run_in_child([] {
    q7mp_set_nprocs(4);
    const Image source = band_filter::synthetic_image(123, 37);
    Image whole = source;
    Image banded = source;
    FilterJob whole_job{&source, &whole};
    FilterJob banded_job{&source, &banded};
    band_filter::filter_lines(&whole_job, 0, source.height - 1);
    q7mp_lib_mp_exec(nullptr, band_filter::filter_lines, source.height, &banded_job);
    if (whole.pixels != banded.pixels) _exit(2);
  });
  EXPECT_TRUE(result.exited_with(0)) << describe(result);
}

}  // namespace
