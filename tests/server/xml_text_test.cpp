#include "server/xml_text.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace kx::information_model::opc {
namespace {

const std::string REPLACEMENT = "\xEF\xBF\xBD";

// Any code point, surrogates and those beyond U+10FFFF included, in the shortest form that carries it.
std::string encode(std::uint32_t code_point) {
    const auto byte = [](std::uint32_t value) {
        return static_cast<char>(static_cast<unsigned char>(value));
    };
    if (code_point < 0x80) {
        return {byte(code_point)};
    }
    if (code_point < 0x800) {
        return {byte(0xC0 | code_point >> 6), byte(0x80 | (code_point & 0x3F))};
    }
    if (code_point < 0x10000) {
        return {byte(0xE0 | code_point >> 12), byte(0x80 | (code_point >> 6 & 0x3F)),
                byte(0x80 | (code_point & 0x3F))};
    }
    return {byte(0xF0 | code_point >> 18), byte(0x80 | (code_point >> 12 & 0x3F)),
            byte(0x80 | (code_point >> 6 & 0x3F)), byte(0x80 | (code_point & 0x3F))};
}

bool is_unicode_scalar(std::uint32_t code_point) {
    return code_point <= 0x10FFFF && (code_point < 0xD800 || code_point > 0xDFFF);
}

bool is_xml_character(std::uint32_t code_point) {
    return code_point == 0x9 || code_point == 0xA || code_point == 0xD ||
           (code_point >= 0x20 && code_point <= 0xD7FF) || (code_point >= 0xE000 && code_point <= 0xFFFD) ||
           (code_point >= 0x10000 && code_point <= 0x10FFFF);
}

// Decodes a sequence of just this length by its bits and accepts it if it is what `encode` makes of the
// result.
std::optional<std::uint32_t> decode(std::string_view sequence) {
    static constexpr std::array<std::uint32_t, 5> LEAD_BITS = {0, 0x7F, 0x1F, 0x0F, 0x07};
    std::uint32_t code_point = static_cast<unsigned char>(sequence[0]) & LEAD_BITS.at(sequence.size());
    for (const char byte : sequence.substr(1)) {
        code_point = code_point << 6 | (static_cast<unsigned char>(byte) & 0x3FU);
    }
    if (encode(code_point) != sequence || !is_unicode_scalar(code_point)) {
        return std::nullopt;
    }
    return code_point;
}

// Whether some continuation makes a character of it.
bool is_start_of_character(const std::string& bytes, std::size_t missing) {
    if (missing == 0) {
        return decode(bytes).has_value();
    }
    for (const char next : {'\x80', '\x8F', '\x90', '\x9F', '\xA0', '\xBF'}) {
        if (is_start_of_character(bytes + next, missing - 1)) {
            return true;
        }
    }
    return false;
}

bool is_start_of_character(std::string_view bytes) {
    for (std::size_t length = bytes.size() + 1; length <= 4; ++length) {
        if (is_start_of_character(std::string(bytes), length - bytes.size())) {
            return true;
        }
    }
    return false;
}

std::size_t get_ill_formed_length(std::string_view text) {
    std::size_t length = 1;
    while (length < text.size() && length < 3 && is_start_of_character(text.substr(0, length + 1))) {
        ++length;
    }
    return length;
}

std::string replace_slowly(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        std::size_t length = 0;
        bool is_allowed = false;
        for (std::size_t candidate = 1; candidate <= 4 && candidate <= text.size() && length == 0;
             ++candidate) {
            if (const auto code_point = decode(text.substr(0, candidate))) {
                length = candidate;
                is_allowed = is_xml_character(*code_point);
            }
        }
        if (length == 0) {
            length = get_ill_formed_length(text);
        }
        result += is_allowed ? std::string(text.substr(0, length)) : REPLACEMENT;
        text.remove_prefix(length);
    }
    return result;
}

TEST(XmlText, JudgesEveryCodePoint) {
    for (std::uint32_t code_point = 0; code_point < 0x120000; ++code_point) {
        const bool expected = is_xml_character(code_point);
        const std::string text = encode(code_point);
        ASSERT_EQ(is_valid_xml_text(text), expected) << std::hex << code_point;
        ASSERT_EQ(to_valid_xml_text(text) == text, expected) << std::hex << code_point;
    }
}

TEST(XmlText, ReplacesEachForbiddenCharacterOnce) {
    for (std::uint32_t code_point = 0; code_point < 0x110000; ++code_point) {
        if (is_unicode_scalar(code_point) && !is_xml_character(code_point)) {
            EXPECT_EQ(to_valid_xml_text("a" + encode(code_point) + "b"), "a" + REPLACEMENT + "b");
        }
    }
}

struct TextRow {
    std::string text;
    std::string expected;  // with "?" for the replacement character
};

class XmlTextTable : public ::testing::TestWithParam<TextRow> {};

TEST_P(XmlTextTable, IsReplaced) {
    std::string expected;
    for (const char letter : GetParam().expected) {
        expected += letter == '?' ? REPLACEMENT : std::string(1, letter);
    }
    EXPECT_EQ(to_valid_xml_text(GetParam().text), expected);
    EXPECT_EQ(is_valid_xml_text(GetParam().text), GetParam().text == expected);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, XmlTextTable,
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
        "\xC3", "\xA4", "\xE2", "\x82",       "\xAC", "\xED",     "\xA0",
        "\x80", "\xF0", "\x9F", "\xF4",       "\x8F", "\xBF",     "\xEF",
        "\xBE", "\x90", "x",    "plain text", "\x01", "\xC3\xA4", "\xE2\x82\xAC"};
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

TEST(XmlText, AgreesWithASlowDecoder) {
    std::mt19937 random(7);
    int valid = 0;
    for (int round = 0; round < 50000; ++round) {
        const std::string text = create_random_text(random);
        const std::string expected = replace_slowly(text);
        ASSERT_EQ(to_valid_xml_text(text), expected) << ::testing::PrintToString(text);
        ASSERT_EQ(is_valid_xml_text(text), text == expected) << ::testing::PrintToString(text);
        ASSERT_TRUE(is_valid_xml_text(expected));
        valid += text == expected ? 1 : 0;
    }
    EXPECT_GT(valid, 100);
}

TEST(XmlText, SeesAForbiddenByteAtEveryPlace) {
    for (std::size_t size = 1; size < 40; ++size) {
        for (std::size_t position = 0; position < size; ++position) {
            for (const char forbidden : {'\0', '\x1F', '\x80', '\xFF'}) {
                std::string text(size, ' ');
                text[position] = forbidden;
                ASSERT_FALSE(is_valid_xml_text(text));
                ASSERT_EQ(to_valid_xml_text(text),
                          text.substr(0, position) + REPLACEMENT + text.substr(position + 1));
            }
        }
    }
}

}  // namespace
}  // namespace kx::information_model::opc
