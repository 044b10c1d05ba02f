#include "codec/number_extraction.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <locale>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace kx::information_model::opc {

namespace {

using namespace std::string_view_literals;
using Random = std::mt19937_64;

constexpr int TEXTS_PER_GENERATOR = 70'000;

template <class T>
T extract_with_stream(const std::string& text) {
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    T value = 0;
    stream >> value;
    return value;
}

// Equal means the same bits: -0.0 is not 0.0.
template <class T>
auto to_bits(T value) {
    if constexpr (std::is_same_v<T, double>) {
        return std::bit_cast<std::uint64_t>(value);
    } else if constexpr (std::is_same_v<T, float>) {
        return std::bit_cast<std::uint32_t>(value);
    } else {
        return value;
    }
}

template <class T>
::testing::AssertionResult agrees_with_stream(const std::string& text) {
    const T expected = extract_with_stream<T>(text);
    const T actual = extract_number<T>(text);
    if (to_bits(actual) == to_bits(expected)) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << ::testing::PrintToString(text) << ": a stream reads " << +expected
                                         << ", extract_number " << +actual;
}

template <std::size_t N>
std::string pick(Random& random, const std::array<const char*, N>& choices) {
    return choices[random() % N];
}

std::string generate_digits(Random& random, std::size_t maximum) {
    std::string digits;
    for (std::size_t count = random() % (maximum + 1); count > 0; --count) {
        digits += static_cast<char>('0' + random() % 10);
    }
    return digits;
}

// Texts that are numbers, nearly.
std::string generate_number(Random& random) {
    static constexpr std::array SPACES{"", "", "", " ", "\t\n\v\f\r ", "  ", "\xC2\xA0"};
    static constexpr std::array SIGNS{"", "", "", "-", "-", "+", "--", "+-", "- "};
    static constexpr std::array PREFIXES{"", "", "", "", "", "0", "000", "0x", "0X"};
    static constexpr std::array POINTS{"", "", ".", ".", ",", "..", "_"};
    static constexpr std::array EXPONENTS{"", "", "", "e", "E", "e+", "E-", "e-", "e--", "ee", "p"};
    static constexpr std::array TAILS{"", "", "", " ", "x", "apples", ".5", "e3", "-", "f", "L"};
    const std::size_t size = random() % 8 == 0 ? 60 : 6;
    std::string text = pick(random, SPACES) + pick(random, SIGNS) + pick(random, PREFIXES);
    text += generate_digits(random, size) + pick(random, POINTS) + generate_digits(random, size);
    return text + pick(random, EXPONENTS) + generate_digits(random, 4) + pick(random, TAILS);
}

std::string generate_junk(Random& random) {
    static constexpr auto LETTERS = "0123456789019+-.eE+-.eE \t\n\v\f\rxX,_'INFinfaAbp\0\x85\xA0"sv;
    const bool any_byte = random() % 4 == 0;
    std::string text;
    for (std::size_t count = random() % 14; count > 0; --count) {
        text += any_byte ? static_cast<char>(random() % 256) : LETTERS[random() % LETTERS.size()];
    }
    return text;
}

// Integers at the edges of every type's range, and floating-point numbers of every size.
std::string generate_extreme(Random& random) {
    std::array<char, 2000> text;
    if (random() % 2 == 0) {
        const unsigned int bits = std::array{7U, 8U, 15U, 16U, 31U, 32U, 63U, 64U}[random() % 8];
        const unsigned long power = bits == 64 ? 0 : 1UL << bits;
        const std::string number = std::to_string(power - 3 + random() % 6);
        const std::string digits = random() % 4 == 0 ? generate_digits(random, 3) : "";
        return (random() % 2 == 0 ? "-" : "") + number + digits;
    }
    const auto value = std::bit_cast<double>(random());
    static constexpr std::array FORMATS{"%.17g", "%.16g", "%.9g", "%.8e", "%f", "%.40e", "%.800e", "%a"};
    const auto narrow = static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(random())));
    std::snprintf(text.data(), text.size(), pick(random, FORMATS).c_str(),
                  random() % 2 == 0 ? value : narrow);
    return text.data();
}

const std::vector<std::string>& get_hard_texts() {
    static const std::vector<std::string> TEXTS = [] {
        const std::string many_zeros(100'000, '0');
        const std::string many_digits(100'000, '7');
        return std::vector<std::string>{
            "", " ", "\t\n\v\f\r ", std::string(1, '\0'), std::string("1\0002", 3), "\xA0 1", "\x85 1",
            // signs
            "+", "-", "+1", "-1", "++1", "--1", "+-1", "-+1", "- 1", "+ 1", "1-", "1+1", "-0", "+0", "-00",
            "-0.0", "-x", "+x",
            // where a number ends
            "42", " 42 ", "4x", "x4", "12 apples", "1,000", "1_000", "1'000", "1 000", "1\n2", "0x10", "0X1F",
            "0x", "0x1p3", "010", "00001", "09", "0b1", "1L", "1u", "1f", "true", "false", "True", "TRUE",
            "yes",
            // points
            ".", "..", "-.", "+.", ".5", "+.5", "-.5", "5.", "-5.", "1.5.2", "1..5", ".5.", "0.", "00.00",
            ".0", "1,5",
            // exponents
            "e", "e5", ".e5", "-e5", "1e", "1E", "1e+", "1e-", "1e+-5", "1e--5", "1e 5", "1ee5", "1e5e3",
            "1e5.5", "1e.5", "1E5", "1e+5", "1e-5", "-2e3", "0e", "0e5", "0e99999", "-0e99999", "0e-99999",
            "1.e5", ".5e1", "1e0005", "1e00000000000000000000005", "1d5", "1p5", "1e5x",
            // large and small
            "1e308", "1e309", "-1e309", "1.7976931348623157e308", "1.7976931348623158e308",
            "1.7976931348623159e308",
            "179769313486231580793728971405303415079934132710037826936173778980444968292764"
            "750946649017977587207096330286416692887910946555547851940402630657488671505820681908902000708383"
            "6762738"
            "548458177115317644757302700698555713669596228429148198608349364752927190741684443655107043427115"
            "5969950"
            "8093042880177904174497791.999",
            "1e99999", "-1e99999", "1e-99999", "-1e-99999", "1e99999999999999999999",
            "1e-99999999999999999999", "2.2250738585072014e-308", "2.2250738585072011e-308", "4.9e-324",
            "5e-324", "2.4703282292062327e-324", "2.4703282292062328e-324", "2.4703282292062329e-324",
            "1e-324", "-1e-324", "-1e-400", "3.4028234663852886e38", "3.4028235677973366e38",
            "3.4028235677973365e38", "3.5e38", "-3.5e38", "1e39", "1.1754943508222875e-38", "1.4e-45",
            "7.006492321624085e-46", "7.006492321624086e-46", "7e-46", "-7e-46", "9007199254740993",
            "9007199254740992.5", "16777217", "16777216.5", "0.1", "0.3", "2.5", "100.25",
            // integers at their limits
            "127", "128", "-128", "-129", "200", "255", "256", "300", "32767", "32768", "40000", "-32768",
            "-32769", "-40000", "65535", "65536", "-65535", "-65536", "100000", "-100000", "2147483647",
            "2147483648", "3000000000", "-2147483648", "-2147483649", "4294967295", "4294967296",
            "-4294967295", "-4294967296", "9223372036854775807", "9223372036854775808",
            "-9223372036854775808", "-9223372036854775809", "18446744073709551615", "18446744073709551616",
            "-18446744073709551615", "-18446744073709551616", "99999999999999999999999999",
            "-99999999999999999999999999",
            // words
            "INF", "-INF", "+INF", "inf", "infinity", "NaN", "nan", "-nan", "nan(1)",
            // long ones, also where point and exponent make up for each other
            many_zeros, "-" + many_zeros + "1", many_digits, "-" + many_digits, "1e" + many_zeros + "5",
            "1e" + many_digits, "1e-" + many_digits, "0." + many_zeros + "1e100001",
            "0." + many_zeros + "1e99000", "1" + many_zeros + "e-100000", "-1" + many_zeros + "e-100000",
            "0." + many_digits, many_digits + "e-99999", "." + many_zeros,
            many_zeros + "." + many_zeros + "e5", std::string(100'000, ' ') + "7", many_digits + "."};
    }();
    return TEXTS;
}

template <class T>
class ExtractNumber : public ::testing::Test {
protected:
    template <class Generator>
    static void expect_agreement(Generator generate, std::uint64_t seed) {
        Random random(seed);
        for (int count = 0; count < TEXTS_PER_GENERATOR; ++count) {
            ASSERT_TRUE(agrees_with_stream<T>(generate(random)));
        }
    }
};

struct TypeName {
    template <class T>
    static std::string GetName(int) {
        if constexpr (std::is_same_v<T, bool>) {
            return "Bool";
        } else {
            const std::string kind = std::is_floating_point_v<T> ? "Float"
                                     : std::is_signed_v<T>       ? "Int"
                                                                 : "UInt";
            return kind + std::to_string(sizeof(T) * 8);
        }
    }
};

using Types =
    ::testing::Types<bool, short, int, long, unsigned short, unsigned int, unsigned long, float, double>;
TYPED_TEST_SUITE(ExtractNumber, Types, TypeName);

TYPED_TEST(ExtractNumber, AgreesWithStreamOnHardTexts) {
    for (const std::string& text : get_hard_texts()) {
        EXPECT_TRUE(agrees_with_stream<TypeParam>(text));
    }
}

TYPED_TEST(ExtractNumber, AgreesWithStreamOnEveryShortText) {
    static const std::string LETTERS = "0129+-.eE \nx";
    for (const char first : LETTERS) {
        for (const char second : LETTERS) {
            for (const char third : LETTERS) {
                for (const char fourth : LETTERS) {
                    ASSERT_TRUE(agrees_with_stream<TypeParam>({first, second, third, fourth}));
                }
            }
        }
    }
}

TYPED_TEST(ExtractNumber, AgreesWithStreamOnEveryByteAroundADigit) {
    for (int byte = 0; byte < 256; ++byte) {
        const auto letter = static_cast<char>(byte);
        EXPECT_TRUE(agrees_with_stream<TypeParam>({letter}));
        EXPECT_TRUE(agrees_with_stream<TypeParam>({letter, '7'}));
        EXPECT_TRUE(agrees_with_stream<TypeParam>({'7', letter, '7'}));
        EXPECT_TRUE(agrees_with_stream<TypeParam>({'-', letter, '7'}));
    }
}

TYPED_TEST(ExtractNumber, AgreesWithStreamOnGeneratedNumbers) {
    TestFixture::expect_agreement(generate_number, 1);
}

TYPED_TEST(ExtractNumber, AgreesWithStreamOnGeneratedJunk) {
    TestFixture::expect_agreement(generate_junk, 2);
}

TYPED_TEST(ExtractNumber, AgreesWithStreamOnGeneratedExtremes) {
    TestFixture::expect_agreement(generate_extreme, 3);
}

// What the stream does is also said here in numbers: it is what clients rely on.
TEST(ExtractInteger, StopsAtTheFirstCharacterThatCannotContinue) {
    EXPECT_EQ(extract_number<int>("12 apples"), 12);
    EXPECT_EQ(extract_number<int>("0x10"), 0);
    EXPECT_EQ(extract_number<int>("1,000"), 1);
    EXPECT_EQ(extract_number<int>("\t\n\v\f\r -7"), -7);
    EXPECT_EQ(extract_number<int>("- 7"), 0);
    EXPECT_EQ(extract_number<int>(""), 0);
}

TEST(ExtractInteger, SaturatesAtTheLimitsOfTheType) {
    EXPECT_EQ(extract_number<short>("40000"), 32767);
    EXPECT_EQ(extract_number<short>("-99999999999999999999"), -32768);
    EXPECT_EQ(extract_number<int>("3000000000"), 2147483647);
    EXPECT_EQ(extract_number<int>("-3000000000"), std::numeric_limits<int>::min());
    EXPECT_EQ(extract_number<long>("-9223372036854775809"), std::numeric_limits<long>::min());
    EXPECT_EQ(extract_number<unsigned short>("65536"), 65535);
    EXPECT_EQ(extract_number<unsigned long>("18446744073709551616"), 18446744073709551615UL);
}

TEST(ExtractInteger, WrapsNegativeTextForUnsignedTypes) {
    EXPECT_EQ(extract_number<unsigned int>("-1"), 4294967295U);
    EXPECT_EQ(extract_number<unsigned short>("-65535"), 1);
    EXPECT_EQ(extract_number<unsigned short>("-65536"), 65535);
    EXPECT_EQ(extract_number<unsigned long>("-1"), 18446744073709551615UL);
}

TEST(ExtractBool, TakesAnyNumberButZeroForTrue) {
    for (const char* text : {"1", "2", "-1", "+1", "00001", "99999999999999999999", "1x"}) {
        EXPECT_TRUE(extract_number<bool>(text)) << text;
    }
    for (const char* text : {"0", "-0", "0x1", "true", "false", "", " ", "-", "0.9"}) {
        EXPECT_FALSE(extract_number<bool>(text)) << text;
    }
}

TEST(ExtractFloatingPoint, ReadsDecimalAndExponentForms) {
    EXPECT_EQ(extract_number<double>("1.5"), 1.5);
    EXPECT_EQ(extract_number<double>("-2e3"), -2000.0);
    EXPECT_EQ(extract_number<double>("+.5"), 0.5);
    EXPECT_EQ(extract_number<double>("1.5.2"), 1.5);
    EXPECT_EQ(extract_number<double>("1e5e3"), 100000.0);
    EXPECT_EQ(extract_number<float>("0.1"), 0.1F);
}

TEST(ExtractFloatingPoint, ReadsAnUnfinishedExponentAsZero) {
    for (const char* text : {"1e", "1e+", "7E-", "1e+-5", "1ex"}) {
        EXPECT_EQ(to_bits(extract_number<double>(text)), 0U) << text;
    }
}

TEST(ExtractFloatingPoint, SaturatesAtTheLargestFiniteNumber) {
    EXPECT_EQ(extract_number<double>("1e99999"), std::numeric_limits<double>::max());
    EXPECT_EQ(extract_number<double>("-1e99999"), std::numeric_limits<double>::lowest());
    EXPECT_EQ(extract_number<float>("1e39"), std::numeric_limits<float>::max());
    EXPECT_EQ(extract_number<float>("-1e39"), std::numeric_limits<float>::lowest());
}

TEST(ExtractFloatingPoint, KeepsSubnormalsAndTheSignOfZero) {
    EXPECT_EQ(extract_number<double>("4.9e-324"), std::numeric_limits<double>::denorm_min());
    EXPECT_EQ(extract_number<float>("1.4e-45"), std::numeric_limits<float>::denorm_min());
    EXPECT_TRUE(std::signbit(extract_number<double>("-1e-400")));
    EXPECT_TRUE(std::signbit(extract_number<double>("-0")));
}

TEST(ExtractFloatingPoint, KnowsNoSpecialValuesAndNoHexadecimal) {
    for (const char* text : {"INF", "-INF", "NaN", "inf", "nan", "0x1p3"}) {
        EXPECT_EQ(to_bits(extract_number<double>(text)), 0U) << text;
    }
}

// A host may set any locale; what a client sends must not change its meaning by that.
TEST(ExtractFloatingPoint, DoesNotDependOnTheGlobalLocale) {
    struct Comma : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    const std::locale previous = std::locale::global(std::locale(std::locale::classic(), new Comma));
    const double small = extract_number<double>("1.5");
    const double large = extract_number<double>("1.5e999");
    const int grouped = extract_number<int>("1.000");
    std::locale::global(previous);
    EXPECT_EQ(small, 1.5);
    EXPECT_EQ(large, std::numeric_limits<double>::max());
    EXPECT_EQ(grouped, 1);
}

}  // namespace

}  // namespace kx::information_model::opc
