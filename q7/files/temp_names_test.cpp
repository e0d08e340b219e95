// Tests of temporary names from the process id and clock, and from UUIDs.
#include "q7/files/temp_names.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include "q7/mp/clock.h"
#include "tests/support/child_process.h"

namespace {

using ::testing::MatchesRegex;

constexpr char kUuid[] = "[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}";

uint32_t low_microseconds() {
  return static_cast<uint32_t>(static_cast<long long>(q7mp_getclock() * 1000000.0));
}

// The static buffer is process-wide, so the checks run in a child; it prints the name.
TEST(FileGetTempName, NamesTmpByProcessIdAndMicrosecondsWithoutCreating) {
  const auto result = q7test::run_in_child([] {
    const uint32_t before = low_microseconds();
    char* name = file_get_temp_name();
    const uint32_t after = low_microseconds();
    const std::string prefix = "/tmp/_" + std::to_string(getpid()) + "_";
    Q7_CHILD_CHECK(strncmp(name, prefix.c_str(), prefix.size()) == 0);
    char* end = nullptr;
    const unsigned long stamp = strtoul(name + prefix.size(), &end, 10);
    Q7_CHILD_CHECK(*end == '\0' && static_cast<uint32_t>(stamp) - before <= after - before);
    Q7_CHILD_CHECK(access(name, F_OK) != 0);
    fputs(name, stdout);
    Q7_CHILD_CHECK(file_get_temp_name() == name);
  });
  ASSERT_TRUE(result.exited_with(0)) << describe(result);
  EXPECT_THAT(result.out, MatchesRegex("/tmp/_[0-9]+_[0-9]+"));
}

TEST(FileGetTempNameEx, AppendsAFreshUuidToThePrefix) {
  for (auto* make : {file_get_temp_name_ex, file_get_temp_name_ex_c}) {
    char prefix[] = "/tmp/x_";
    char first[64] = "unset";
    char second[64];
    make(prefix, first);
    make(prefix, second);
    EXPECT_THAT(first, MatchesRegex(std::string("/tmp/x_") + kUuid));
    EXPECT_STRNE(first, second);
    char empty[] = "";
    make(empty, first);
    EXPECT_THAT(first, MatchesRegex(kUuid));
    char in_place[64] = "dir/";
    make(in_place, in_place);
    EXPECT_THAT(in_place, MatchesRegex(std::string("dir/") + kUuid));
    strcpy(first, "unset");
    make(nullptr, first);
    make(prefix, nullptr);
    EXPECT_STREQ(first, "unset");
  }
}

TEST(FileGetTempNameExDyn, GivesANewBlockWithRoomForTheName) {
  for (auto* make : {file_get_temp_name_ex_dyn, file_get_temp_name_ex_dyn_c}) {
    char prefix[] = "/tmp/y_";
    char* name = make(prefix);
    ASSERT_NE(name, nullptr);
    EXPECT_THAT(name, MatchesRegex(std::string("/tmp/y_") + kUuid));
    free(name);
    char empty[] = "";
    name = make(empty);
    ASSERT_NE(name, nullptr);
    EXPECT_THAT(name, MatchesRegex(kUuid));
    free(name);
    EXPECT_EQ(make(nullptr), nullptr);
  }
}

}  // namespace
