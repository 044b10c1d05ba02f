#include "model/utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace kx::information_model::detail {

namespace {

/// The bytes of `code_point` in a sequence of `length` bytes, well-formed or not.
std::string encode(char32_t code_point, std::size_t length) {
    constexpr unsigned int LEAD[] = {0, 0, 0xC0, 0xE0, 0xF0};
    std::string bytes(length, '\0');
    for (std::size_t i = length; i-- > 1; code_point >>= 6U) {
        bytes[i] = static_cast<char>(0x80U | (code_point & 0x3FU));
    }
    bytes[0] = static_cast<char>(LEAD[length] | code_point);
    return bytes;
}

std::size_t get_shortest_length(char32_t code_point) {
    if (code_point < 0x80U) {
        return 1;
    }
    if (code_point < 0x800U) {
        return 2;
    }
    return code_point < 0x10000U ? 3 : 4;
}

/// Whether the table reads `code_point`, and nothing else, from its shortest form alone.
bool is_read_strictly(char32_t code_point) {
    const std::size_t shortest = get_shortest_length(code_point);
    const bool is_surrogate = code_point >= 0xD800U && code_point <= 0xDFFFU;
    const auto [read, length] = read_utf8(encode(code_point, shortest), 0);
    if (is_surrogate ? length != 0 : length != shortest || read != code_point) {
        return false;
    }
    for (std::size_t longer = shortest + 1; longer <= 4; ++longer) {
        if (read_utf8(encode(code_point, longer), 0).length != 0) {
            return false;
        }
    }
    return true;
}

}  // namespace

TEST(ReadUtf8, ReadsEveryCodePointInItsShortestFormOnly) {
    for (char32_t code_point = 0; code_point <= 0x10FFFFU; ++code_point) {
        ASSERT_TRUE(is_read_strictly(code_point)) << static_cast<unsigned int>(code_point);
    }
}

TEST(ReadUtf8, CodePointsAboveTheLastAreRefused) {
    for (char32_t code_point = 0x110000U; code_point < 0x200000U; ++code_point) {
        ASSERT_EQ(read_utf8(encode(code_point, 4), 0).length, 0U) << static_cast<unsigned int>(code_point);
    }
}

TEST(ReadUtf8, BytesThatBeginNothingAreRefused) {
    for (unsigned int byte = 0x80U; byte <= 0xFFU; ++byte) {
        const std::string text = {static_cast<char>(byte), 'a', 'a', 'a', 'a', 'a'};
        ASSERT_EQ(read_utf8(text, 0).length, 0U) << byte;
    }
}

TEST(ReadUtf8, CutSequencesAreRefused) {
    for (const std::string whole : {"\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x94\xA5"}) {
        for (std::size_t length = 1; length < whole.size(); ++length) {
            const std::string cut = whole.substr(0, length);
            EXPECT_EQ(read_utf8(cut, 0).length, 0U);
            EXPECT_EQ(read_utf8(cut + "a", 0).length, 0U);
        }
    }
}

TEST(ReadUtf8, ReadsAtTheOffset) {
    const auto [code_point, length] = read_utf8("ab\xE2\x82\xAC", 2);
    EXPECT_EQ(code_point, U'\u20AC');
    EXPECT_EQ(length, 3U);
}

}  // namespace kx::information_model::detail
