// Tests of the days-to-seconds split and the current time text.
#include "q7/runtime/time_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits.h>

#include <array>

namespace {

using ::testing::MatchesRegex;

TEST(TimeText, SplitsSecondsAndShowsTheCurrentTime) {
  const struct {
    int in;
    std::array<int, 4> parts;  // days, hours, minutes, seconds
  } cases[] = {{59, {0, 0, 0, 59}},         {3600, {0, 1, 0, 0}},  {86399, {0, 23, 59, 59}},
               {90061, {1, 1, 1, 1}},       {-59, {0, 0, 0, -59}}, {-90061, {-1, -1, -1, -1}},
               {INT_MAX, {24855, 3, 14, 7}}};
  for (const auto& c : cases) {
    std::array<int, 4> parts{};
    secs_to_dhms(c.in, parts[0], parts[1], parts[2], parts[3]);
    EXPECT_EQ(parts, c.parts) << "in=" << c.in;
  }
  EXPECT_THAT(cur_time_string(),
              MatchesRegex("[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} "
                           "[0-9]{4}"));
}
}  // namespace
