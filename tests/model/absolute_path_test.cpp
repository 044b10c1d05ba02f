#include <information_model/AbsolutePath.h>

#include <gtest/gtest.h>

namespace kx::information_model {

TEST(AbsolutePath, TextHasHostTreeAndPath) {
    const AbsolutePath path("server1", "plant", "boiler/temperature");
    EXPECT_EQ(path.as_string(), "//server1/plant/boiler/temperature");
}

TEST(AbsolutePath, PathIsJoinedWithExactlyOneSlash) {
    EXPECT_EQ(AbsolutePath("h", "t", "/boiler").as_string(), "//h/t/boiler");
    EXPECT_EQ(AbsolutePath("h", "t", "boiler").as_string(), "//h/t/boiler");
    EXPECT_EQ(AbsolutePath("h", "t", "/").as_string(), "//h/t/");
    EXPECT_EQ(AbsolutePath("h", "t", "").as_string(), "//h/t/");
}

TEST(AbsolutePath, WithoutHostAndTreeTextIsThePathAsGiven) {
    EXPECT_EQ(AbsolutePath("", "", "/boiler").as_string(), "/boiler");
    EXPECT_EQ(AbsolutePath("", "", "boiler").as_string(), "boiler");
    EXPECT_EQ(AbsolutePath("", "", "").as_string(), "");
}

TEST(AbsolutePath, HostOrTreeAloneKeepsBothPlaces) {
    EXPECT_EQ(AbsolutePath("h", "", "a").as_string(), "//h//a");
    EXPECT_EQ(AbsolutePath("", "t", "a").as_string(), "///t/a");
}

TEST(AbsolutePath, KeepsItsParts) {
    const AbsolutePath path("h", "t", "/a");
    EXPECT_EQ(path.get_host(), "h");
    EXPECT_EQ(path.get_tree(), "t");
    EXPECT_EQ(path.get_path(), "/a");
}

TEST(AbsolutePath, EqualityComparesAllParts) {
    const AbsolutePath path("h", "t", "a");
    EXPECT_EQ(path, AbsolutePath("h", "t", "a"));
    EXPECT_NE(path, AbsolutePath("x", "t", "a"));
    EXPECT_NE(path, AbsolutePath("h", "x", "a"));
    EXPECT_NE(path, AbsolutePath("h", "t", "x"));
}

}  // namespace kx::information_model
