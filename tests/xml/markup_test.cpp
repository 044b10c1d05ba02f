#include "xml/reply/markup.h"

#include "support/xml_characters.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace kx::information_model::opc {
namespace {

using testing::encode;
using testing::is_unicode_scalar;
using testing::is_xml_character;
using testing::replace_slowly;
using testing::REPLACEMENT;

std::string to_text_markup(std::string_view text) {
    std::string buffer = "what was there before";
    return std::string(escape_text(text, buffer));
}

std::string to_attribute_markup(std::string_view text) {
    std::string buffer;
    return std::string(escape_attribute(text, buffer));
}

std::string escape_slowly(std::string_view text, bool is_attribute) {
    std::string markup;
    for (const char character : text) {
        switch (character) {
            case '<':
                markup += "&lt;";
                break;
            case '>':
                markup += "&gt;";
                break;
            case '&':
                markup += "&amp;";
                break;
            case '"':
                markup += "&quot;";
                break;
            case '\t':
                markup += is_attribute ? "&#x9;" : "\t";
                break;
            case '\n':
                markup += is_attribute ? "&#xA;" : "\n";
                break;
            case '\r':
                markup += is_attribute ? "&#xD;" : "\r";
                break;
            default:
                markup += character;
        }
    }
    return markup;
}

// Checks both markups, which holds for what precedes and follows as well.
void expect_markup(const std::string& text, const std::string& replaced) {
    ASSERT_EQ(to_text_markup(text), escape_slowly(replaced, false)) << ::testing::PrintToString(text);
    ASSERT_EQ(to_attribute_markup(text), escape_slowly(replaced, true)) << ::testing::PrintToString(text);
}

TEST(Markup, CarriesEveryCharacterThatXmlCan) {
    for (std::uint32_t code_point = 0; code_point < 0x120000; ++code_point) {
        const std::string text = encode(code_point);
        ASSERT_EQ(to_text_markup(text) == escape_slowly(text, false), is_xml_character(code_point))
            << std::hex << code_point;
        ASSERT_EQ(to_attribute_markup(text) == escape_slowly(text, true), is_xml_character(code_point))
            << std::hex << code_point;
    }
}

TEST(Markup, ReplacesEachForbiddenCharacterOnce) {
    for (std::uint32_t code_point = 0; code_point < 0x110000; ++code_point) {
        if (is_unicode_scalar(code_point) && !is_xml_character(code_point)) {
            EXPECT_EQ(to_text_markup("a" + encode(code_point) + "b"), "a" + REPLACEMENT + "b");
        }
    }
}

struct TextRow {
    std::string text;
    std::string expected;  // with "?" for the replacement character
};

class MarkupTable : public ::testing::TestWithParam<TextRow> {};

TEST_P(MarkupTable, IsReplaced) {
    std::string expected;
    for (const char letter : GetParam().expected) {
        expected += letter == '?' ? REPLACEMENT : std::string(1, letter);
    }
    expect_markup(GetParam().text, expected);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, MarkupTable,
    ::testing::Values(TextRow{"", ""}, TextRow{"plain", "plain"}, TextRow{"\t\n\r", "\t\n\r"},
                      TextRow{std::string("\0", 1), "?"}, TextRow{std::string("a\0b\x1F", 4), "a?b?"},
                      TextRow{"\x7F", "\x7F"}, TextRow{"\xC3\xA4", "\xC3\xA4"},
                      TextRow{"\xC2\x80", "\xC2\x80"},  // C1 controls are allowed
                      TextRow{"\x80", "?"},             // continuation alone
                      TextRow{"\xC3", "?"},             // cut short
                      TextRow{"\xC3x", "?x"},           //
                      TextRow{"\xE2\x82", "?"},         //
                      TextRow{"\xE2\x82x", "?x"},       //
                      TextRow{"\xF0\x9F\x98", "?"},     //
                      TextRow{"\xF0\x9F\x98x", "?x"},   //
                      TextRow{"\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80"}, TextRow{"\xC0\x80", "??"},  // overlong
                      TextRow{"\xE0\x80\x80", "???"},                                              //
                      TextRow{"\xF0\x80\x80\x80", "????"},                                         //
                      TextRow{"\xED\xA0\x80", "???"},       // surrogate
                      TextRow{"\xF4\x90\x80\x80", "????"},  // beyond U+10FFFF
                      TextRow{"\xFF\xFE", "??"}, TextRow{"\xEF\xBF\xBE", "?"}, TextRow{"\xEF\xBF\xBF", "?"},
                      TextRow{"\xEF\xBF\xBD", "\xEF\xBF\xBD"},
                      TextRow{"\xF0\x9F\xBF\xBE", "\xF0\x9F\xBF\xBE"}, TextRow{"12345678\x01", "12345678?"},
                      TextRow{"1234567\x01", "1234567?"},
                      TextRow{"\x01"
                              "12345678",
                              "?12345678"},
                      TextRow{"12345678\x80", "12345678?"}));

std::string create_random_text(std::mt19937& random) {
    static const std::vector<std::string> PIECES = {
        "\xC3",         "\xA4", "\xE2", "\x82", "\xAC", "\xED", "\xA0", "\x80",       "\xF0", "\x9F",
        "\xF4",         "\x8F", "\xBF", "\xEF", "\xBE", "\x90", "x",    "plain text", "\x01", "\xC3\xA4",
        "\xE2\x82\xAC", "<",    ">",    "&",    "\"",   "\t",   "\n",   "\r"};
    std::string text;
    for (auto count = random() % 24; count > 0; --count) {
        if (random() % 4 == 0) {
            text += static_cast<char>(random() & 0xFFU);
        } else {
            text += PIECES[random() % PIECES.size()];
        }
    }
    return text;
}

TEST(Markup, AgreesWithASlowDecoder) {
    std::mt19937 random(7);
    int valid = 0;
    for (int round = 0; round < 50000; ++round) {
        const std::string text = create_random_text(random);
        const std::string replaced = replace_slowly(text);
        expect_markup(text, replaced);
        valid += text == replaced ? 1 : 0;
    }
    EXPECT_GT(valid, 100);
}

TEST(Markup, SeesEachByteAtEachPlace) {
    for (std::size_t size = 1; size <= 24; ++size) {
        for (std::size_t place = 0; place < size; ++place) {
            for (unsigned byte = 0; byte < 0x100; ++byte) {
                std::string text(size, 'x');
                text[place] = static_cast<char>(byte);
                expect_markup(text, replace_slowly(text));
            }
        }
    }
    EXPECT_EQ(to_text_markup({}), "");  // a view of nothing at all
}

TEST(Markup, CopiesNothingThatStays) {
    const std::string text = "a plain text, and not a short one";
    std::string buffer;
    EXPECT_EQ(escape_text(text, buffer).data(), text.data());
    EXPECT_EQ(escape_attribute(text, buffer).data(), text.data());
    EXPECT_TRUE(buffer.empty());
}

}  // namespace
}  // namespace kx::information_model::opc
