// Tests of identifiers, byte order, time texts, the growth rule and the diagnostics.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <bit>
#include <cmath>
#include <limits>
#include <string>

#include "q7/runtime/byte_order.h"
#include "q7/runtime/diagnostics.h"
#include "q7/runtime/growth.h"
#include "q7/runtime/identifiers.h"
#include "q7/runtime/time_text.h"
#include "tests/support/child_process.h"

namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;

TEST(Identifiers, NewTextsAreDistinctUuids) {
  const char* first = uuid_new();
  const char* second = uuid_new();
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  const char* kForm = "[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}";
  EXPECT_THAT(first, MatchesRegex(kForm));
  EXPECT_THAT(second, MatchesRegex(kForm));
  EXPECT_STRNE(first, second);
  uuid_delete(first);
  uuid_delete(second);
  uuid_delete(nullptr);
}

TEST(ByteOrder, ReversesWordsAndArraysInPlace) {
  EXPECT_EQ(word32_swab(0x11223344u), 0x44332211u);
  EXPECT_EQ(word16_swab(0x1234), 0x3412);
  unsigned int words[4] = {0x11223344u, 0xa0b0c0d0u, 0x01020304u, 0xdeadbeefu};
  word32_swab_vec(words, 3);
  EXPECT_EQ(words[0], 0x44332211u);
  EXPECT_EQ(words[1], 0xd0c0b0a0u);
  EXPECT_EQ(words[2], 0x04030201u);
  EXPECT_EQ(words[3], 0xdeadbeefu) << "past the count";
  word32_swab_vec(words, -1);
  EXPECT_EQ(words[0], 0x44332211u);
  unsigned short halves[3] = {0x1234, 0xabcd, 0x5678};
  word16_swab_vec(halves, 2);
  EXPECT_EQ(halves[0], 0x3412);
  EXPECT_EQ(halves[1], 0xcdab);
  EXPECT_EQ(halves[2], 0x5678);
  word16_swab_vec(halves, 0);
  EXPECT_EQ(halves[0], 0x3412);
}

TEST(ByteOrder, FloatsSurviveTwoReversals) {
  for (const float value : {1.5f, -0.0f, 3.14159f, 1e-38f, 65504.0f}) {
    EXPECT_EQ(std::bit_cast<uint32_t>(float_swab(float_swab(value))),
              std::bit_cast<uint32_t>(value));
  }
  EXPECT_EQ(std::bit_cast<uint32_t>(float_swab(1.0f)), 0x0000803fu);
  // Every pattern, signalling NaNs included, survives the array form.
  const uint32_t patterns[] = {0x7fa00001u, 0xffa00001u, 0x7fc00000u, 0x0000807fu, 0x3f800000u};
  float values[5];
  memcpy(values, patterns, sizeof values);
  float_swab_vec(values, 5);
  uint32_t once[5];
  memcpy(once, values, sizeof once);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(once[i], __builtin_bswap32(patterns[i]));
  float_swab_vec(values, 5);
  EXPECT_EQ(memcmp(values, patterns, sizeof patterns), 0);
}

TEST(TimeText, SplitsSecondsIntoDaysHoursMinutesSeconds) {
  const struct {
    int in, days, hours, minutes, seconds;
  } cases[] = {
      {0, 0, 0, 0, 0},     {59, 0, 0, 0, 59},
      {3600, 0, 1, 0, 0},  {86399, 0, 23, 59, 59},
      {90061, 1, 1, 1, 1}, {-90061, -1, -1, -1, -1},
      {-59, 0, 0, 0, -59}, {2147483647, 24855, 3, 14, 7},
  };
  for (const auto& c : cases) {
    int days = 99, hours = 99, minutes = 99, seconds = 99;
    secs_to_dhms(c.in, days, hours, minutes, seconds);
    EXPECT_EQ(days, c.days) << "in=" << c.in;
    EXPECT_EQ(hours, c.hours) << "in=" << c.in;
    EXPECT_EQ(minutes, c.minutes) << "in=" << c.in;
    EXPECT_EQ(seconds, c.seconds) << "in=" << c.in;
  }
}

TEST(TimeText, CurrentTimeIsTheCtimeFormWithoutNewline) {
  const std::string text = cur_time_string();
  EXPECT_EQ(text.size(), 24u);
  EXPECT_THAT(text, MatchesRegex("[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] "
                                 "[0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4}"));
}

TEST(Growth, DoublesThenGrowsBy512) {
  const struct {
    int used, capacity, needed, initial;
    int expected_capacity;
  } cases[] = {
      {0, 0, 40, 16, 64},        {1500, 1500, 1, 16, 3000},
      {1024, 1024, 1, 16, 2048}, {1100, 1100, 1200, 8, 2712},
      {2, 10, 3, 16, 10},        {0, 0, 3, 0, 4},
      {0, 0, 1, -5, 1},          {0, 0, 0, 16, 0},
  };
  for (const auto& c : cases) {
    int capacity = c.capacity;
    char** array =
        c.capacity > 0 ? static_cast<char**>(calloc(c.capacity, sizeof(char*))) : nullptr;
    const unsigned int free_after = ensure_memory(array, c.used, capacity, c.needed, c.initial);
    EXPECT_EQ(capacity, c.expected_capacity) << "used=" << c.used << " capacity=" << c.capacity;
    EXPECT_EQ(free_after, static_cast<unsigned int>(c.expected_capacity - c.used));
    for (int i = 0; i < capacity; ++i) array[i] = nullptr;  // the whole array is usable
    free(array);
  }
}

TEST(Growth, OutOfMemoryLeavesTheArrayAndLogsAnError) {
  const auto result = q7test::run_in_child([] {
    int capacity = 4;
    char** array = static_cast<char**>(calloc(4, sizeof(char*)));
    char** const before = array;
    if (ensure_memory(array, 4, capacity, std::numeric_limits<int>::max() - 8, 16) != 0) exit(2);
    if (array != before || capacity != 4) exit(3);
    free(array);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_THAT(result.err, HasSubstr("ERROR: ensure_memory(): Out of memory!\n"));
}

TEST(Diagnostics, DoNextToNothing) {
  EXPECT_STREQ(round_get_mode(), "unknown");
  EXPECT_STREQ(round_mode_names[4], "near");
  dump_memory_leak_info(nullptr);
}

}  // namespace
