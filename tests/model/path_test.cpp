#include <information_model/Path.h>
#include <information_model/exceptions.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <compare>
#include <sstream>
#include <string>
#include <unordered_map>

namespace kx::information_model {

using ::testing::HasSubstr;

class GoodPath : public ::testing::TestWithParam<const char*> {};

TEST_P(GoodPath, KeepsItsTextAsGiven) {
    EXPECT_EQ(Path(GetParam()).as_string(), GetParam());
}

INSTANTIATE_TEST_SUITE_P(Path, GoodPath,
                         ::testing::Values("/", ".", "a", "/a", "./a", "a/b", "/a/b/c", "./a/b", "...", "a.b",
                                           ".a", "..a", "a..", "/boiler/temperature", "a b", " ", "a:b",
                                           "a\\b", "K\xC3\xBChler/\xE6\xB8\xA9\xE5\xBA\xA6", "\xC2\xA0",
                                           "\xF0\x9F\x94\xA5", "\xEF\xBF\xBD", "\xF0\x9F\xBF\xBE",
                                           "\xF4\x8F\xBF\xBF", "<&>\"'"));

/// A text that is no path, what is wrong with it and at which byte.
struct BadText {
    std::string text;
    const char* defect;
};

class BadPath : public ::testing::TestWithParam<BadText> {};

TEST_P(BadPath, ThrowsAndNamesThePlace) {
    try {
        const Path path(GetParam().text);
        FAIL() << "taken as a path: " << path.as_string();
    } catch (const InvalidPathException& error) {
        EXPECT_THAT(error.what(), HasSubstr(GetParam().defect));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Path, BadPath,
    ::testing::Values(
        BadText{"", "\"\": empty path at byte 0"}, BadText{"//", "\"//\": empty segment at byte 1"},
        BadText{"a/", "\"a/\": empty segment at byte 2"}, BadText{"/a/", "empty segment at byte 3"},
        BadText{"a//b", "\"a//b\": empty segment at byte 2"}, BadText{"//a", "empty segment at byte 1"},
        BadText{"./", "empty segment at byte 2"}, BadText{".//a", "empty segment at byte 2"},
        BadText{"..", "segment \"..\" at byte 0"}, BadText{"../a", "segment \"..\" at byte 0"},
        BadText{"/..", "segment \"..\" at byte 1"}, BadText{"a/../b", "segment \"..\" at byte 2"},
        BadText{"./..", "segment \"..\" at byte 2"}, BadText{"/.", "segment \".\" at byte 1"},
        BadText{"a/.", "segment \".\" at byte 2"}, BadText{"a/./b", "segment \".\" at byte 2"},
        BadText{"./.", "segment \".\" at byte 2"}, BadText{"/./a", "segment \".\" at byte 1"},
        BadText{std::string("a\0b", 3), "control character at byte 1"},
        BadText{"a\nb", "\"a\\x0ab\": control character at byte 1"},
        BadText{"x/ab\x1F", "control character at byte 4"}, BadText{"\x7F", "control character at byte 0"},
        BadText{"\xC2\x80", "control character at byte 0"},
        BadText{"a\xC2\x9F", "control character at byte 1"}, BadText{"a/\x80", "not UTF-8 at byte 2"},
        BadText{"\xC0\xAF", "not UTF-8 at byte 0"}, BadText{"\xC3", "not UTF-8 at byte 0"},
        BadText{"ab\xC3/c", "not UTF-8 at byte 2"}, BadText{"\xE0\x80\xAF", "not UTF-8 at byte 0"},
        BadText{"\xED\xA0\x80", "not UTF-8 at byte 0"}, BadText{"\xF4\x90\x80\x80", "not UTF-8 at byte 0"},
        BadText{"\xFF", "not UTF-8 at byte 0"},
        BadText{"a/\xEF\xBF\xBE", "character that XML cannot carry at byte 2"},
        BadText{"\xEF\xBF\xBF", "character that XML cannot carry at byte 0"}));

TEST(Path, EqualityComparesTheTexts) {
    EXPECT_EQ(Path("a/b"), Path("a/b"));
    EXPECT_NE(Path("a/b"), Path("/a/b"));
    EXPECT_NE(Path("a"), Path("./a"));
}

TEST(Path, IsWrittenToAStreamAsItsText) {
    std::ostringstream stream;
    stream << Path("/boiler/temperature");
    EXPECT_EQ(stream.str(), "/boiler/temperature");
}

TEST(Path, LongTextIsTakenInOnePass) {
    std::string text = "a";
    for (int i = 0; i < 500'000; ++i) {
        text += "/a";
    }
    EXPECT_EQ(Path(text).as_string(), text);
}

TEST(IsValidSegment, RefusesWhatWouldSplitOrBend) {
    for (const char* good : {"a", "a b", "...", ".a", "K\xC3\xBChler"}) {
        EXPECT_TRUE(is_valid_segment(good)) << good;
    }
    for (const char* bad : {"", ".", "..", "/", "a/b", "/a", "a/", "a\tb", "\xC2\x85", "\xFF"}) {
        EXPECT_FALSE(is_valid_segment(bad)) << bad;
    }
}

TEST(Path, AreJoined) {
    EXPECT_EQ(Path("/boiler") / "drum", Path("/boiler/drum"));
    EXPECT_EQ(Path("boiler") / "drum/level", Path("boiler/drum/level"));
    EXPECT_EQ(Path("/") / "boiler", Path("/boiler"));
    EXPECT_EQ(Path(".") / "boiler", Path("./boiler"));
    EXPECT_EQ(Path("/boiler") / ".", Path("/boiler"));
    EXPECT_EQ(Path("/boiler") / "./drum", Path("/boiler/drum"));
    EXPECT_EQ(Path("/boiler") / Path("drum") / Path("level"), Path("/boiler/drum/level"));
}

TEST(Path, OnlyRelativeOnesAreAppended) {
    for (const char* relative : {"/drum", "/", "", "..", "a//b", "a/"}) {
        EXPECT_THROW(Path("/boiler") / relative, InvalidPathException) << relative;
    }
    EXPECT_THROW(Path("/boiler") / Path("/drum"), InvalidPathException);
}

TEST(Path, AreOrderedByTheirTexts) {
    EXPECT_LT(Path("/a"), Path("/a/b"));
    EXPECT_LT(Path("/a/b"), Path("/b"));
    EXPECT_GT(Path("/\xC3\xA4"), Path("/z"));
    EXPECT_EQ(Path("/a") <=> Path("/a"), std::strong_ordering::equal);
}

TEST(Path, AreKeys) {
    const std::unordered_map<Path, int> numbers = {{Path("/a"), 1}, {Path("/b"), 2}};
    EXPECT_EQ(numbers.at(Path("/b")), 2);
    EXPECT_FALSE(numbers.contains(Path("b")));
    EXPECT_EQ(std::hash<Path>()(Path("/a")), std::hash<Path>()(Path("/a")));
}

}  // namespace kx::information_model
