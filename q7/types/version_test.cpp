#include "q7/types/version.h"

#include <gtest/gtest.h>
#include <limits.h>

#include <array>
#include <string>

namespace {

char* text(const std::string& s) { return const_cast<char*>(s.c_str()); }

using Triple = std::array<int, 3>;

Triple jx(JXversion& v) {
  Triple t;
  v.get_jx_version(t[0], t[1], t[2]);
  return t;
}

Triple host(JXversion& v) {
  Triple t;
  v.get_host_version(t[0], t[1], t[2]);
  return t;
}

std::string show(const Triple& t) {
  return std::to_string(t[0]) + "." + std::to_string(t[1]) + "." + std::to_string(t[2]);
}

TEST(JXversion, NewObjectIsAllUnknown) {
  JXversion version;
  EXPECT_STREQ(version.get_version(), "Vx.x.x-x.x.x");
  EXPECT_STREQ(version.get_trimmed_version(1), "Vx-x");
  EXPECT_EQ(jx(version), (Triple{-1, -1, -1}));
}

TEST(JXversion, SetVersionParsesBothTriples) {
  const struct {
    std::string input;
    Triple host;
    Triple jx;
    std::string text;
  } cases[] = {
      {"V5.2-3.1.4", {5, 2, -1}, {3, 1, 4}, "V5.2.x-3.1.4"},
      {"3.1.4", {-1, -1, -1}, {3, 1, 4}, "Vx.x.x-3.1.4"},
      {"v3.1.4", {-1, -1, -1}, {3, 1, 4}, "Vx.x.x-3.1.4"},
      {"V5.2-", {5, 2, -1}, {-1, -1, -1}, "V5.2.x-x.x.x"},
      {"5.beta.1", {-1, -1, -1}, {5, -1, 1}, "Vx.x.x-5.x.1"},
      {"4.5", {-1, -1, -1}, {4, 5, -1}, "Vx.x.x-4.5.x"},
      {"1.2.3.4", {-1, -1, -1}, {1, 2, -1}, "Vx.x.x-1.2.x"},
      {"V1-V2", {1, -1, -1}, {-1, -1, -1}, "V1.x.x-x.x.x"},
      {"1-2-3", {1, -1, -1}, {-1, -1, -1}, "V1.x.x-x.x.x"},
      {"x.X.7", {-1, -1, -1}, {-1, -1, 7}, "Vx.x.x-x.x.7"},
      {"..", {-1, -1, -1}, {-1, -1, -1}, "Vx.x.x-x.x.x"},
      {"", {-1, -1, -1}, {-1, -1, -1}, "Vx.x.x-x.x.x"},
      {"99999999999.0.2147483647",
       {-1, -1, -1},
       {2147483647, 0, 2147483647},
       "Vx.x.x-2147483647.0.2147483647"},
  };
  for (const auto& c : cases) {
    JXversion version;
    version.set_host_version(9, 9, 9);
    ASSERT_TRUE(version.set_version(text(c.input))) << "input=" << c.input;
    EXPECT_EQ(show(host(version)), show(c.host)) << "input=" << c.input;
    EXPECT_EQ(show(jx(version)), show(c.jx)) << "input=" << c.input;
    EXPECT_EQ(std::string(version.get_version()), c.text) << "input=" << c.input;
  }
  JXversion version;
  version.set_jx_version(1, 2, 3);
  EXPECT_FALSE(version.set_version(nullptr));
  EXPECT_EQ(jx(version), (Triple{1, 2, 3}));
}

TEST(JXversion, TrimmedTexts) {
  const struct {
    Triple host;
    Triple jx;
    int which;
    std::string trimmed;
  } cases[] = {
      {{5, 2, -1}, {3, 1, 4}, 1, "V5.2-3.1.4"}, {{5, 2, -1}, {3, 1, 4}, 2, "V3.1.4"},
      {{5, 2, -1}, {3, 1, 4}, 3, "V5.2-"},      {{5, 2, -1}, {3, 1, 4}, 0, "V"},
      {{5, 2, -1}, {3, 1, 4}, 4, "V"},          {{-1, -1, -1}, {3, 1, -1}, 2, "V3.1"},
      {{7, -1, 2}, {-1, 5, 5}, 1, "V7-x.5.5"},
  };
  for (const auto& c : cases) {
    JXversion version;
    version.set_host_version(c.host[0], c.host[1], c.host[2]);
    version.set_jx_version(c.jx[0], c.jx[1], c.jx[2]);
    EXPECT_EQ(std::string(version.get_trimmed_version(c.which)), c.trimmed)
        << "host=" << show(c.host) << " jx=" << show(c.jx) << " which=" << c.which;
    char out[80];
    EXPECT_EQ(version.get_trimmed_version(out, c.which), out);
    EXPECT_EQ(std::string(out), c.trimmed);
  }
  JXversion version;
  version.set_jx_version(3, 1, -1);
  EXPECT_STREQ(version.get_version(), "Vx.x.x-3.1.x");
  char out[80];
  EXPECT_STREQ(version.get_version(out), "Vx.x.x-3.1.x");
}

TEST(JXversion, TrimmedTextReadsBackToTheSameComponents) {
  JXversion version;
  version.set_version(text("V1.2.3-4.5.6"));
  JXversion again;
  again.set_version(version.get_trimmed_version(1));
  EXPECT_EQ(host(again), (Triple{1, 2, 3}));
  EXPECT_EQ(jx(again), (Triple{4, 5, 6}));
  version.set_host_version(8, 1, -1);
  again.set_version(version.get_trimmed_version(3));
  EXPECT_EQ(host(again), (Triple{8, 1, -1}));
  EXPECT_EQ(jx(again), (Triple{-1, -1, -1}));
}

TEST(JXversion, ComponentConversion) {
  const struct {
    const char* input;
    int value;
  } cases[] = {{"x", -1},
               {"X", -1},
               {"12", 12},
               {"1a", -1},
               {"-1", -1},
               {" 1", -1},
               {"", 0},
               {"xx", -1},
               {"007", 7},
               {nullptr, -1},
               {"4294967296", 2147483647}};
  for (const auto& c : cases) {
    EXPECT_EQ(JXversion::version_atoi(const_cast<char*>(c.input)), c.value)
        << "input=" << (c.input != nullptr ? c.input : "(null)");
  }
  char out[12];
  JXversion::version_string(out, -1);
  EXPECT_STREQ(out, "x");
  JXversion::version_string(out, INT_MIN);
  EXPECT_STREQ(out, "-2147483648");
}

TEST(JXversion, ComparisonsPassOverUnknowns) {
  const struct {
    Triple mine;
    Triple theirs;
    bool before, before_or_equal, after, after_or_equal;
  } cases[] = {
      {{1, 5, 0}, {1, 9, 0}, true, true, false, false},
      {{1, 2, 3}, {1, 2, 3}, false, true, false, true},
      {{1, 2, -1}, {1, 2, 7}, true, true, true, true},
      {{2, 0, 0}, {1, 9, 9}, false, false, true, true},
      {{-1, 3, 0}, {9, 2, 0}, false, false, true, true},
      {{1, -1, 4}, {1, 7, 5}, true, true, false, false},
  };
  for (const auto& c : cases) {
    for (bool use_host : {false, true}) {
      JXversion mine;
      JXversion theirs;
      if (use_host) {
        mine.set_host_version(c.mine[0], c.mine[1], c.mine[2]);
        theirs.set_host_version(c.theirs[0], c.theirs[1], c.theirs[2]);
        // Jx triples that would answer differently, were they compared.
        mine.set_jx_version(9, 9, 9);
        theirs.set_jx_version(0, 0, 0);
      } else {
        mine.set_jx_version(c.mine[0], c.mine[1], c.mine[2]);
        theirs.set_jx_version(c.theirs[0], c.theirs[1], c.theirs[2]);
      }
      const std::string which =
          show(c.mine) + " vs " + show(c.theirs) + (use_host ? " host" : " jx");
      EXPECT_EQ(mine.before(theirs, use_host, false), c.before) << which;
      EXPECT_EQ(mine.before(theirs, use_host, true), c.before_or_equal) << which;
      EXPECT_EQ(mine.after(theirs, use_host, false), c.after) << which;
      EXPECT_EQ(mine.after(theirs, use_host, true), c.after_or_equal) << which;
    }
  }
}

}  // namespace
