// Tests of JXversion: parsing, full and trimmed texts, and comparisons.
#include "q7/types/version.h"

#include <gtest/gtest.h>
#include <limits.h>

#include <array>
#include <string>

namespace {

char* text(const char* s) { return const_cast<char*>(s); }

using Triple = std::array<int, 3>;

JXversion make(const Triple& host, const Triple& jx) {
  JXversion version;
  version.set_host_version(host[0], host[1], host[2]);
  version.set_jx_version(jx[0], jx[1], jx[2]);
  return version;
}

// The full text of a version with all six components 9 after set_version(`input`), marked
// when refused. The full text names every component ("x" for unknown), so it shows the parse.
std::string parsed(const char* input) {
  JXversion version = make({9, 9, 9}, {9, 9, 9});
  const bool accepted = version.set_version(text(input));
  return (accepted ? "" : "refused, ") + std::string(version.get_version());
}

TEST(JXversion, SetVersionParsesBothTriples) {
  const struct {
    const char* input;
    const char* text;
  } cases[] = {
      {"V5.2-3.1.4", "V5.2.x-3.1.4"}, {"3.1.4", "Vx.x.x-3.1.4"},    {"v3.1.4", "Vx.x.x-3.1.4"},
      {"V5.2-", "V5.2.x-x.x.x"},      {"5.beta.1", "Vx.x.x-5.x.1"}, {"4.5", "Vx.x.x-4.5.x"},
      {"1.2.3.4", "Vx.x.x-1.2.x"},    {"V1-V2", "V1.x.x-x.x.x"},    {"1-2-3", "V1.x.x-x.x.x"},
      {"x.X.7", "Vx.x.x-x.x.7"},      {"..", "Vx.x.x-x.x.x"},       {"", "Vx.x.x-x.x.x"},
  };
  for (const auto& c : cases) EXPECT_EQ(parsed(c.input), c.text) << "input=" << c.input;
  EXPECT_EQ(parsed("99999999999.0.7"), "Vx.x.x-2147483647.0.7");
  EXPECT_EQ(parsed(nullptr), "refused, V9.9.9-9.9.9");
  EXPECT_STREQ(JXversion().get_version(), "Vx.x.x-x.x.x");
}

// Each trimmed text, and what it reads back as: the trailing hyphen keeps a host triple a host
// triple.
TEST(JXversion, TrimmedTextsReadBack) {
  const struct {
    Triple host, jx;
    int which;
    const char *trimmed, *read_back;
  } cases[] = {
      {{5, 2, -1}, {3, 1, 4}, 1, "V5.2-3.1.4", "V5.2.x-3.1.4"},
      {{5, 2, -1}, {3, 1, 4}, 2, "V3.1.4", "Vx.x.x-3.1.4"},
      {{5, 2, -1}, {3, 1, 4}, 3, "V5.2-", "V5.2.x-x.x.x"},
      {{5, 2, -1}, {3, 1, 4}, 0, "V", "Vx.x.x-x.x.x"},
      {{5, 2, -1}, {3, 1, 4}, 4, "V", "Vx.x.x-x.x.x"},
      {{1, 2, 3}, {4, 5, 6}, 1, "V1.2.3-4.5.6", "V1.2.3-4.5.6"},
      {{7, -1, 2}, {-1, 5, 5}, 1, "V7-x.5.5", "V7.x.x-x.5.5"},
      {{-1, -1, -1}, {-1, -1, -1}, 1, "Vx-x", "Vx.x.x-x.x.x"},
  };
  char out[80];
  for (const auto& c : cases) {
    JXversion version = make(c.host, c.jx);
    EXPECT_EQ(version.get_trimmed_version(out, c.which), out);
    EXPECT_STREQ(out, c.trimmed) << version.get_version() << " which=" << c.which;
    EXPECT_EQ(parsed(version.get_trimmed_version(c.which)), c.read_back) << "trimmed=" << out;
  }
  EXPECT_STREQ(make({-1, -1, -1}, {3, 1, -1}).get_version(out), "Vx.x.x-3.1.x");
}

TEST(JXversion, ComponentsAreDigitsOrUnknownAndClamp) {
  for (const char* unknown : {"x", "X", "xx", "1a", "-1", " 1", "+1"})
    EXPECT_EQ(JXversion::version_atoi(text(unknown)), -1) << "input=" << unknown;
  EXPECT_EQ(JXversion::version_atoi(text("")), 0);
  EXPECT_EQ(JXversion::version_atoi(text("007")), 7);
  EXPECT_EQ(JXversion::version_atoi(text("4294967296")), INT_MAX);
  EXPECT_EQ(JXversion::version_atoi(nullptr), -1);
  char out[12];
  JXversion::version_string(out, INT_MIN);
  EXPECT_STREQ(out, "-2147483648");
}

TEST(JXversion, ComparisonsPassOverUnknowns) {
  // before(false), before(true), after(false), after(true), as T or F.
  const struct {
    Triple mine, theirs;
    const char* order;
  } cases[] = {
      {{1, 5, 0}, {1, 9, 0}, "TTFF"},  {{1, 2, 3}, {1, 2, 3}, "FTFT"},
      {{1, 2, -1}, {1, 2, 7}, "TTTT"}, {{2, 0, 0}, {1, 9, 9}, "FFTT"},
      {{-1, 3, 0}, {9, 2, 0}, "FFTT"}, {{1, -1, 4}, {1, 7, 5}, "TTFF"},
  };
  for (const auto& c : cases) {
    for (bool host : {false, true}) {
      // The triple not compared would answer the other way.
      JXversion mine = host ? make(c.mine, {9, 9, 9}) : make({9, 9, 9}, c.mine);
      JXversion theirs = host ? make(c.theirs, {0, 0, 0}) : make({0, 0, 0}, c.theirs);
      std::string order;
      for (bool result : {mine.before(theirs, host, false), mine.before(theirs, host, true),
                          mine.after(theirs, host, false), mine.after(theirs, host, true)}) {
        order += result ? 'T' : 'F';
      }
      EXPECT_EQ(order, c.order) << mine.get_version() << " vs " << theirs.get_version()
                                << (host ? " host" : " jx");
    }
  }
}

}  // namespace
