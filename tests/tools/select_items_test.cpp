#include "xmlda/commands/select_items.h"

#include <gtest/gtest.h>

namespace xmlda::testing {
namespace {

TEST(Patterns, HaveStarsOrQuestionMarks) {
    EXPECT_TRUE(is_pattern("/boiler/*"));
    EXPECT_TRUE(is_pattern("a?"));
    EXPECT_FALSE(is_pattern("[PLC]N7[0]"));
    EXPECT_FALSE(is_pattern(R"(a\*b\?)"));
}

TEST(Patterns, MatchInOneSegment) {
    EXPECT_TRUE(matches_pattern("/boiler/*", "/boiler/level"));
    EXPECT_TRUE(matches_pattern("boiler/*", "/boiler/level"));
    EXPECT_FALSE(matches_pattern("/boiler/*", "/boiler/a/b"));
    EXPECT_FALSE(matches_pattern("/boiler/*", "/boiler"));
    EXPECT_TRUE(matches_pattern("/*/temp?", "/boiler/temp1"));
    EXPECT_TRUE(matches_pattern("[PLC]N7[?]", "[PLC]N7[0]"));
    EXPECT_FALSE(matches_pattern("[PLC]N7[?]", "PN70"));
    EXPECT_TRUE(matches_pattern(R"(a\*?)", "a*b"));
    EXPECT_TRUE(matches_pattern("S7.Line.*", "S7.Line.Speed"));
}

TEST(Patterns, MatchAtAnyDepthWithTwoStars) {
    EXPECT_TRUE(matches_pattern("/boiler/**", "/boiler/a/b"));
    EXPECT_TRUE(matches_pattern("**/reading", "/instruments/thermometer_1/reading"));
    EXPECT_FALSE(matches_pattern("/boiler/**", "/turbine/a"));
}

TEST(Patterns, LeadOnlyIntoBranchesThatMayHoldSomething) {
    EXPECT_TRUE(may_match_below("/boiler/*", "/boiler"));
    EXPECT_FALSE(may_match_below("/boiler/*", "/turbine"));
    EXPECT_FALSE(may_match_below("/boiler/*", "/boiler/drum"));
    EXPECT_TRUE(may_match_below("/boiler/**", "/boiler/drum"));
    EXPECT_TRUE(may_match_below("boil*/x", "/boiler"));
    EXPECT_TRUE(may_match_below("S7.*", "S7.Line"));
    EXPECT_TRUE(may_match_below("*", "S7"));
}

}  // namespace
}  // namespace xmlda::testing
