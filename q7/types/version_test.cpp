// Tests of JXversion: parsing, full and trimmed texts, and comparisons.
#include "q7/types/version.h"

#include <gtest/gtest.h>
#include <limits.h>

#include <array>
#include <string>
#include <tuple>
#include <utility>

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

// A component holding anything but digits is unknown, a huge one clamped. set_version never
// hands version_atoi an empty component or a minus sign, so those are asked of it directly.
TEST(JXversion, SetVersionParsesBothTriples) {
  const std::pair<const char*, const char*> cases[] = {
      {"V5.2-3.1.4", "V5.2.x-3.1.4"}, {"3.1.4", "Vx.x.x-3.1.4"},    {"v3.1.4", "Vx.x.x-3.1.4"},
      {"V5.2-", "V5.2.x-x.x.x"},      {"5.beta.1", "Vx.x.x-5.x.1"}, {"4.5", "Vx.x.x-4.5.x"},
      {"1.2.3.4", "Vx.x.x-1.2.x"},    {"V1-V2", "V1.x.x-x.x.x"},    {"1-2-3", "V1.x.x-x.x.x"},
      {"x.X.7", "Vx.x.x-x.x.7"},      {"..", "Vx.x.x-x.x.x"},       {"", "Vx.x.x-x.x.x"},
      {"xx.1a.007", "Vx.x.x-x.x.7"},  {" 1.+1.1 ", "Vx.x.x-x.x.x"},
  };
  for (const auto& [input, full] : cases) EXPECT_EQ(parsed(input), full) << "input=" << input;
  EXPECT_EQ(parsed("99999999999.0.7"), "Vx.x.x-2147483647.0.7");
  EXPECT_EQ(parsed(nullptr), "refused, V9.9.9-9.9.9");
  EXPECT_STREQ(JXversion().get_version(), "Vx.x.x-x.x.x");
  EXPECT_EQ(JXversion::version_atoi(text("")), 0);
  EXPECT_EQ(JXversion::version_atoi(text("-1")), -1);
  EXPECT_EQ(JXversion::version_atoi(nullptr), -1);
}

// Each version's trimmed texts for `which` 0 to 4, and its full text with the widest component.
TEST(JXversion, TrimmedAndFullTexts) {
  const std::tuple<Triple, Triple, const char*> cases[] = {
      {{5, 2, -1}, {3, 1, 4}, "V|V5.2-3.1.4|V3.1.4|V5.2-|V|"},
      {{1, 2, 3}, {4, 5, 6}, "V|V1.2.3-4.5.6|V4.5.6|V1.2.3-|V|"},
      {{7, -1, 2}, {-1, 5, 5}, "V|V7-x.5.5|Vx.5.5|V7-|V|"},
      {{-1, -1, -1}, {-1, -1, -1}, "V|Vx-x|Vx|Vx-|V|"}};
  for (const auto& [host, jx, expected] : cases) {
    JXversion version = make(host, jx);
    std::string trimmed;
    for (int which = 0; which <= 4; ++which)
      trimmed += std::string(version.get_trimmed_version(which)) + "|";
    EXPECT_EQ(trimmed, expected) << version.get_version();
  }
  char out[80];
  JXversion version = make({INT_MIN, 0, -1}, {3, 1, -1});
  EXPECT_EQ(version.get_trimmed_version(out, 1), out);
  EXPECT_STREQ(out, "V-2147483648.0-3.1");
  EXPECT_STREQ(version.get_version(out), "V-2147483648.0.x-3.1.x");
}

// For the jx and then the host triples: each pair's before(false), before(true), after(false)
// and after(true), as T or F. The triple not compared would answer the other way.
TEST(JXversion, ComparisonsPassOverUnknowns) {
  const std::pair<Triple, Triple> pairs[] = {{{1, 5, 0}, {1, 9, 0}},  {{1, 2, 3}, {1, 2, 3}},
                                             {{1, 2, -1}, {1, 2, 7}}, {{2, 0, 0}, {1, 9, 9}},
                                             {{-1, 3, 0}, {9, 2, 0}}, {{1, -1, 4}, {1, 7, 5}}};
  for (bool host : {false, true}) {
    std::string orders;
    for (const auto& [m, t] : pairs) {
      JXversion mine = host ? make(m, {9, 9, 9}) : make({9, 9, 9}, m);
      JXversion theirs = host ? make(t, {0, 0, 0}) : make({0, 0, 0}, t);
      for (bool result : {mine.before(theirs, host, false), mine.before(theirs, host, true),
                          mine.after(theirs, host, false), mine.after(theirs, host, true)}) {
        orders += result ? 'T' : 'F';
      }
      orders += ' ';
    }
    EXPECT_EQ(orders, "TTFF FTFT TTTT FFTT FFTT TTFF ") << (host ? "host" : "jx");
  }
}

}  // namespace
