#include "model/quoted_text.h"

#include <gtest/gtest.h>

#include <string>

namespace kx::information_model::detail {

TEST(QuotedText, StandsBetweenQuotes) {
    EXPECT_EQ(quoted_text("boiler"), "\"boiler\"");
    EXPECT_EQ(quoted_text(""), "\"\"");
    EXPECT_EQ(quoted_text("K\xC3\xBChler"), "\"K\xC3\xBChler\"");
}

TEST(QuotedText, ControlCharactersAreEscaped) {
    EXPECT_EQ(quoted_text(std::string("a\0\n\x1F\x7F", 5)), "\"a\\x00\\x0a\\x1f\\x7f\"");
}

TEST(QuotedText, LongTextIsCut) {
    EXPECT_EQ(quoted_text(std::string(256, 'a')), "\"" + std::string(256, 'a') + "\"");
    EXPECT_EQ(quoted_text(std::string(257, 'a')), "\"" + std::string(256, 'a') + "...\"");
}

TEST(QuotedText, LongTextIsNotCutInsideACharacter) {
    const std::string euro = "\xE2\x82\xAC";
    EXPECT_EQ(quoted_text(std::string(254, 'a') + euro), "\"" + std::string(254, 'a') + "...\"");
    EXPECT_EQ(quoted_text(std::string(253, 'a') + euro + "b"), "\"" + std::string(253, 'a') + euro + "...\"");
}

TEST(QuotedText, LongTextThatIsNotUtf8IsCutToo) {
    const std::string shown = quoted_text(std::string(1000, '\x80'));
    EXPECT_LE(shown.size(), 256U + 5U);
    EXPECT_GE(shown.size(), 252U + 5U);
}

}  // namespace kx::information_model::detail
