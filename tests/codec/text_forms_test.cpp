#include "codec/text_forms.h"

#include <information_model/symbol_lists.h>

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cerrno>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <locale>
#include <random>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace kx::information_model::opc {
namespace {

enum class LEVEL : std::uint32_t { LOW = 0, HIGH = 4294967295U };

}  // namespace
}  // namespace kx::information_model::opc

template <>
struct kx::information_model::symbol_list::SymbolList<kx::information_model::opc::LEVEL> {
    static const std::string& get_list_name() {
        static const std::string LIST_NAME = "test.Level";
        return LIST_NAME;
    }
    static const std::vector<Symbol>& get_symbols() {
        static const std::vector<Symbol> SYMBOLS = {{0, "low", ""}, {4294967295U, "high", ""}};
        return SYMBOLS;
    }
};

namespace kx::information_model::opc {
namespace {

using std::chrono::nanoseconds;

std::string print(double value) {
    std::array<char, 400> text;
    return {text.data(), static_cast<std::size_t>(std::snprintf(text.data(), text.size(), "%f", value))};
}

TEST(ToXmlString, WritesBools) {
    EXPECT_EQ(to_xml_string(true), "1");
    EXPECT_EQ(to_xml_string(false), "0");
}

TEST(ToXmlString, WritesStringsAsTheyAre) {
    const std::string text = " <a>&amp;\xC3\xA4\r\n" + std::string(1, '\0');
    EXPECT_EQ(to_xml_string(text), text);
    EXPECT_EQ(to_xml_string(std::string()), "");
}

TEST(ToXmlString, WritesDoublesInFixedNotation) {
    EXPECT_EQ(to_xml_string(2.5), "2.500000");
    EXPECT_EQ(to_xml_string(0.0), "0.000000");
    EXPECT_EQ(to_xml_string(-0.0), "-0.000000");
    EXPECT_EQ(to_xml_string(1e-7), "0.000000");
    EXPECT_EQ(to_xml_string(-1e-7), "-0.000000");
    EXPECT_EQ(to_xml_string(1e20), "100000000000000000000.000000");
    EXPECT_EQ(to_xml_string(0.0000005), print(0.0000005));
    EXPECT_EQ(to_xml_string(2.0000005), print(2.0000005));
}

TEST(ToXmlString, WritesFloatsAsDoubles) {
    EXPECT_EQ(to_xml_string(0.1F), "0.100000");
    EXPECT_EQ(to_xml_string(16777216.0F), "16777216.000000");
    EXPECT_EQ(to_xml_string(3.4e38F), print(static_cast<double>(3.4e38F)));
}

TEST(ToXmlString, WritesWhatIsNotFinite) {
    const double infinity = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(to_xml_string(infinity), "inf");
    EXPECT_EQ(to_xml_string(-infinity), "-inf");
    EXPECT_EQ(to_xml_string(std::copysign(nan, 1.0)), "nan");
    EXPECT_EQ(to_xml_string(std::copysign(nan, -1.0)), "-nan");
    EXPECT_EQ(to_xml_string(std::numeric_limits<float>::infinity()), "inf");
    EXPECT_EQ(to_xml_string(std::copysign(std::numeric_limits<float>::quiet_NaN(), -1.0F)), "-nan");
}

TEST(ToXmlString, WritesTheLimitsOfDouble) {
    using Limits = std::numeric_limits<double>;
    for (const double value :
         {Limits::max(), Limits::lowest(), Limits::min(), Limits::denorm_min(), Limits::epsilon(),
          9007199254740993.0, 0.9999995, 0.99999949999, 999999.9999995}) {
        EXPECT_EQ(to_xml_string(value), print(value));
        EXPECT_EQ(to_xml_string(-value), print(-value));
    }
}

TEST(ToXmlString, WritesAnyDoubleAsPrintf) {
    std::mt19937_64 random(1);
    for (int round = 0; round < 100000; ++round) {
        const std::uint64_t bits = random();
        const auto value = std::bit_cast<double>(bits);
        ASSERT_EQ(to_xml_string(value), print(value)) << std::hex << bits;
    }
}

// Random bits are mostly far too large or too small; these are the magnitudes that plants have.
TEST(ToXmlString, WritesEverydayDoublesAsPrintf) {
    std::mt19937_64 random(2);
    for (int round = 0; round < 100000; ++round) {
        const double value = std::ldexp(static_cast<double>(static_cast<std::int64_t>(random())),
                                        -static_cast<int>(random() % 90));
        ASSERT_EQ(to_xml_string(value), print(value)) << std::hexfloat << value;
    }
}

// Millionths that end close to a half, where rounding is decided far behind the sixth digit.
TEST(ToXmlString, RoundsAsPrintf) {
    std::mt19937_64 random(4);
    for (int round = 0; round < 100000; ++round) {
        const auto millionths = static_cast<double>(random() % (std::uint64_t{1} << (random() % 44)));
        double value = (millionths + 0.5 + static_cast<double>(random() % 5) * 0.0005 - 0.001) / 1e6;
        for (std::uint64_t steps = random() % 4; steps > 0; --steps) {
            value = std::nextafter(value, random() % 2 == 0 ? 0.0 : 1e9);
        }
        ASSERT_EQ(to_xml_string(value), print(value)) << std::hexfloat << value;
        ASSERT_EQ(to_xml_string(-value), print(-value)) << std::hexfloat << value;
    }
}

TEST(ToXmlString, WritesAnyFloatAsPrintf) {
    std::mt19937 random(3);
    for (int round = 0; round < 100000; ++round) {
        const auto bits = static_cast<std::uint32_t>(random());
        const auto value = std::bit_cast<float>(bits);
        ASSERT_EQ(to_xml_string(value), print(static_cast<double>(value))) << std::hex << bits;
    }
}

template <class T>
class IntegerForm : public ::testing::Test {};

using Integers = ::testing::Types<long, int, short, signed char, unsigned long, unsigned int, unsigned short,
                                  unsigned char>;
TYPED_TEST_SUITE(IntegerForm, Integers);

TYPED_TEST(IntegerForm, IsDecimal) {
    using Limits = std::numeric_limits<TypeParam>;
    for (const TypeParam value :
         {Limits::min(), Limits::max(), TypeParam{0}, TypeParam{1}, TypeParam{42}, TypeParam{65}}) {
        EXPECT_EQ(to_xml_string(value), std::to_string(value));
    }
    if constexpr (Limits::is_signed) {
        EXPECT_EQ(to_xml_string(TypeParam{-1}), "-1");
    }
}

TEST(ToXmlString, WritesBytesAsNumbers) {
    for (int number = -128; number < 128; ++number) {
        EXPECT_EQ(to_xml_string(static_cast<signed char>(number)), std::to_string(number));
    }
    for (int number = 0; number < 256; ++number) {
        EXPECT_EQ(to_xml_string(static_cast<unsigned char>(number)), std::to_string(number));
    }
}

TEST(ToXmlString, WritesTimesInIso8601) {
    EXPECT_EQ(to_xml_string(TimePoint()), "1970-01-01T00:00:00Z");
    const TimePoint time(nanoseconds(1500000000));
    EXPECT_EQ(to_xml_string(time), to_iso8601_string(time));
    EXPECT_EQ(to_xml_string(time), "1970-01-01T00:00:01.500Z");
}

TEST(ToXmlString, WritesDurationsInIso8601) {
    EXPECT_EQ(to_xml_string(Duration()), "PT0S");
    EXPECT_EQ(to_xml_string(Duration(std::chrono::milliseconds(-90500))), "-PT1M30.5S");
}

TEST(ToXmlString, WritesPaths) {
    EXPECT_EQ(to_xml_string(Path("boiler/temperature")), "boiler/temperature");
    EXPECT_EQ(to_xml_string(AbsolutePath("", "", "/boiler")), "/boiler");
    EXPECT_EQ(to_xml_string(AbsolutePath("host", "tree", "boiler")), "//host/tree/boiler");
}

TEST(ToXmlString, WritesSymbolsAsNumbers) {
    EXPECT_EQ(to_xml_string(SymbolInfo(symbol_list::HISTORY_KIND::HISTORY_SUGGESTED)), "2");
    EXPECT_EQ(to_xml_string(SymbolInfo(LEVEL::LOW)), "0");
    EXPECT_EQ(to_xml_string(SymbolInfo(LEVEL::HIGH)), "4294967295");
}

TEST(ToOpcTime, DropsTheZoneDesignator) {
    EXPECT_EQ(to_opc_time(TimePoint()), "1970-01-01T00:00:00");
    EXPECT_EQ(to_opc_time(TimePoint(nanoseconds(1))), "1970-01-01T00:00:00.000000001");
}

TEST(FromXmlString, CopiesStrings) {
    const std::string text = " a\n" + std::string(1, '\0');
    EXPECT_EQ(from_xml_string<std::string>(text), text);
}

TEST(FromXmlString, ReadsTimesAndDurations) {
    EXPECT_EQ(from_xml_string<TimePoint>("1970-01-01T00:00:01Z"), TimePoint(std::chrono::seconds(1)));
    EXPECT_EQ(from_xml_string<Duration>("PT1.5S"), Duration(std::chrono::milliseconds(1500)));
    EXPECT_EQ(from_xml_string<TimePoint>(" 1970-01-01T00:00:01Z\n"), TimePoint(std::chrono::seconds(1)));
    EXPECT_EQ(from_xml_string<Duration>("\tPT1.5S "), Duration(std::chrono::milliseconds(1500)));
    for (const std::string text : {"", " ", "x", "x 1970-01-01T00:00:01Z", "PT", "PT1 S"}) {
        EXPECT_THROW(from_xml_string<TimePoint>(text), std::invalid_argument) << text;
        EXPECT_THROW(from_xml_string<Duration>(text), std::invalid_argument) << text;
    }
}

struct ByteRow {
    std::string text;
    int signed_byte;
    int unsigned_byte;
};

class ByteText : public ::testing::TestWithParam<ByteRow> {};

TEST_P(ByteText, IsReadAsANumberOf16Bits) {
    EXPECT_EQ(from_xml_string<signed char>(GetParam().text), GetParam().signed_byte);
    EXPECT_EQ(from_xml_string<unsigned char>(GetParam().text), GetParam().unsigned_byte);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ByteText,
    ::testing::Values(ByteRow{"0", 0, 0}, ByteRow{"12", 12, 12}, ByteRow{"-12", -12, 244},
                      ByteRow{"+5", 5, 5}, ByteRow{"127", 127, 127}, ByteRow{"128", -128, 128},
                      ByteRow{"200", -56, 200}, ByteRow{"255", -1, 255}, ByteRow{"256", 0, 0},
                      ByteRow{"300", 44, 44}, ByteRow{"-1", -1, 255}, ByteRow{"-128", -128, 128},
                      ByteRow{"-129", 127, 127},
                      // Saturated at 16 bits, signed and unsigned.
                      ByteRow{"32767", -1, 255}, ByteRow{"32768", -1, 0}, ByteRow{"65535", -1, 255},
                      ByteRow{"65536", -1, 255}, ByteRow{"100000", -1, 255}, ByteRow{"-32768", 0, 0},
                      ByteRow{"-100000", 0, 255}, ByteRow{"99999999999999999999999", -1, 255},
                      ByteRow{"-99999999999999999999999", 0, 255},
                      // White space in front, anything behind.
                      ByteRow{" 12abc", 12, 12}, ByteRow{"\t\n\r 7", 7, 7}, ByteRow{"1.9", 1, 1},
                      ByteRow{"0x10", 0, 0}, ByteRow{"010", 10, 10}, ByteRow{"1,000", 1, 1},
                      ByteRow{"1 2", 1, 1},
                      // No number.
                      ByteRow{"", 0, 0}, ByteRow{"  ", 0, 0}, ByteRow{"abc", 0, 0}, ByteRow{"A", 0, 0},
                      ByteRow{"-", 0, 0}, ByteRow{"- 1", 0, 0}, ByteRow{"--1", 0, 0}, ByteRow{".5", 0, 0}));

class CommaPunctuation : public std::numpunct<char> {
protected:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
    std::string do_truename() const override { return "wahr"; }
    std::string do_falsename() const override { return "falsch"; }
};

void expect_texts_of_no_locale() {
    EXPECT_EQ(to_xml_string(1234567.5), "1234567.500000");
    EXPECT_EQ(to_xml_string(1234567.5F), "1234567.500000");
    EXPECT_EQ(to_xml_string(1234567L), "1234567");
    EXPECT_EQ(to_xml_string(-1234567), "-1234567");
    EXPECT_EQ(to_xml_string(1234567UL), "1234567");
    EXPECT_EQ(to_xml_string(true), "1");
    EXPECT_EQ(to_xml_string(TimePoint(nanoseconds(1500000000))), "1970-01-01T00:00:01.500Z");
    EXPECT_EQ(to_xml_string(Duration(std::chrono::milliseconds(1500))), "PT1.5S");
    EXPECT_EQ(from_xml_string<TimePoint>("1970-01-01T00:00:01.5Z"), TimePoint(nanoseconds(1500000000)));
    EXPECT_EQ(from_xml_string<Duration>("PT1.5S"), Duration(std::chrono::milliseconds(1500)));
    EXPECT_EQ(from_xml_string<signed char>("1.000"), 1);
    EXPECT_EQ(from_xml_string<unsigned char>("1,000"), 1);
}

TEST(TextForms, DoNotDependOnTheGlobalLocale) {
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new CommaPunctuation));
    expect_texts_of_no_locale();
    std::locale::global(before);
}

/// Makes a German locale from the sources in Debian's package "locales", in a directory of its own.
class GermanLocale {
public:
    GermanLocale() : directory_(std::filesystem::temp_directory_path() / "kx-locale-XXXXXX") {
        std::string name = directory_.string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), name);
        }
        directory_ = name;
        setenv("LOCPATH", name.c_str(), 1);
    }
    GermanLocale(const GermanLocale&) = delete;
    GermanLocale& operator=(const GermanLocale&) = delete;

    ~GermanLocale() {
        std::setlocale(LC_ALL, "C");
        unsetenv("LOCPATH");
        std::filesystem::remove_all(directory_);
    }

    /// False if those sources are not there.
    bool build() const {
        const std::string path = directory_ / "de_DE.UTF-8";
        return std::system(("localedef -i de_DE -f UTF-8 '" + path + "'").c_str()) == 0;
    }

private:
    std::filesystem::path directory_;
};

TEST(TextForms, DoNotDependOnTheLocaleOfC) {
    const GermanLocale locale;
    if (!locale.build()) {
        GTEST_SKIP() << "Debian's package locales is not installed";
    }
    ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    ASSERT_STREQ(std::localeconv()->decimal_point, ",");
    expect_texts_of_no_locale();
}

}  // namespace
}  // namespace kx::information_model::opc
