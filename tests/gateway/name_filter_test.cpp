#include "gateway/services/name_filter.h"

#include <string>

#include <gtest/gtest.h>

namespace gateway {
namespace {

TEST(NameFilter, EmptySuitsEverything) {
    EXPECT_TRUE(matches_filter("", ""));
    EXPECT_TRUE(matches_filter("a", ""));
}

TEST(NameFilter, KnowsPlaceholders) {
    EXPECT_TRUE(matches_filter("temperature", "temp*"));
    EXPECT_TRUE(matches_filter("temperature", "*per*re"));
    EXPECT_TRUE(matches_filter("temperature", "t?mperature"));
    EXPECT_TRUE(matches_filter("v12", "v##"));
    EXPECT_TRUE(matches_filter("", "*"));
    EXPECT_FALSE(matches_filter("v1x", "v##"));
    EXPECT_FALSE(matches_filter("temperature", "temp"));
    EXPECT_FALSE(matches_filter("temp", "temp?"));
    EXPECT_FALSE(matches_filter("Temp", "temp"));
}

TEST(NameFilter, KnowsSets) {
    EXPECT_TRUE(matches_filter("b", "[a-c]"));
    EXPECT_TRUE(matches_filter("x7", "[xyz][0-9]"));
    EXPECT_FALSE(matches_filter("b", "[!a-c]"));
    EXPECT_TRUE(matches_filter("d", "[!a-c]"));
    EXPECT_TRUE(matches_filter("]", "[]]"));
    EXPECT_TRUE(matches_filter("[a", "[a"));  // a set that does not end is no set
}

TEST(NameFilter, TakesNoLongTime) {
    std::string pattern;
    for (int i = 0; i < 50; ++i) {
        pattern += "a*";
    }
    EXPECT_FALSE(matches_filter(std::string(5000, 'a'), pattern + "b"));
}

}  // namespace
}  // namespace gateway
