#include "codec/value_writer.h"

#include "codec/type_names.h"
#include "support/reply_text.h"
#include "xml/reply/reply_dom.h"

#include <information_model/symbol_lists.h>

#include <Poco/Exception.h>

#include <gtest/gtest.h>

#include <limits>
#include <regex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kx::information_model::opc {
namespace {

using symbol_list::HISTORY_KIND;
using testing::to_text;

std::string write(const Value& value) {
    const auto document = create_reply_document();
    return to_text(*create_value_element(document, value));
}

std::string write_into_parent(const Value& value, std::string_view xsi_type = {}) {
    const auto document = create_reply_document();
    auto parent = create_element(*document, "P");
    ChildWriter writer(*parent);
    write_value_element(writer, value, xsi_type);
    const std::string text = to_text(*parent);
    return text.substr(3, text.size() - 7);  // without <P> and </P>
}

struct ValueRow {
    Value value;
    std::string content;  // of the element "Value"
};

class WrittenValue : public ::testing::TestWithParam<ValueRow> {};

TEST_P(WrittenValue, HasItsText) {
    const auto& [value, content] = GetParam();
    const std::string start = "<Value xsi:type=\"" + get_xsi_type_name(value.get_type_info()) + "\"";
    const std::string expected = content.empty() ? start + "/>" : start + ">" + content + "</Value>";
    EXPECT_EQ(write(value), expected);
    EXPECT_EQ(write_into_parent(value), expected);
}

template <class T>
Value make_array(std::vector<T> members) {
    return Value(std::move(members));
}

const TimePoint EPOCH{};
const Duration MINUTE{std::chrono::minutes(1)};

INSTANTIATE_TEST_SUITE_P(
    Scalars, WrittenValue,
    ::testing::Values(
        ValueRow{Value(true), "1"}, ValueRow{Value(false), "0"}, ValueRow{Value("text"), "text"},
        ValueRow{Value(" <a>&\"' "), " &lt;a&gt;&amp;&quot;' "}, ValueRow{Value(""), ""},
        ValueRow{Value("\xC3\xA4\xE2\x82\xAC"), "\xC3\xA4\xE2\x82\xAC"},
        ValueRow{Value("a\x01\xFF"), "a\xEF\xBF\xBD\xEF\xBF\xBD"}, ValueRow{Value(2.5), "2.500000"},
        ValueRow{Value(0.1F), "0.100000"}, ValueRow{Value(std::numeric_limits<double>::infinity()), "inf"},
        ValueRow{Value(std::numeric_limits<long>::min()), "-9223372036854775808"}, ValueRow{Value(42), "42"},
        ValueRow{Value(short{-7}), "-7"}, ValueRow{Value(static_cast<signed char>(-56)), "-56"},
        ValueRow{Value(std::numeric_limits<unsigned long>::max()), "18446744073709551615"},
        ValueRow{Value(4294967295U), "4294967295"},
        ValueRow{Value(static_cast<unsigned short>(65535)), "65535"},
        ValueRow{Value(static_cast<unsigned char>(200)), "200"},
        ValueRow{Value(EPOCH), "1970-01-01T00:00:00Z"}, ValueRow{Value(MINUTE), "PT1M"},
        ValueRow{Value(Path("a/b")), "a/b"}, ValueRow{Value(AbsolutePath("", "", "/a/b")), "/a/b"},
        ValueRow{Value(SymbolInfo(HISTORY_KIND::HISTORY_SUGGESTED)), "2"}));

INSTANTIATE_TEST_SUITE_P(
    Arrays, WrittenValue,
    ::testing::Values(
        ValueRow{make_array<bool>({true, false}), "<boolean>1</boolean><boolean>0</boolean>"},
        ValueRow{make_array<std::string>({"a", "", "<"}), "<string>a</string><string/><string>&lt;</string>"},
        ValueRow{make_array<double>({2.5, 1e20}),
                 "<double>2.500000</double><double>100000000000000000000.000000</double>"},
        ValueRow{make_array<float>({0.1F}), "<float>0.100000</float>"},
        ValueRow{make_array<long>({-1, 2}), "<long>-1</long><long>2</long>"},
        ValueRow{make_array<int>({42, 43}), "<int>42</int><int>43</int>"},
        ValueRow{make_array<short>({1, -2}), "<short>1</short><short>-2</short>"},
        ValueRow{make_array<signed char>({-128, 127}), "<byte>-128</byte><byte>127</byte>"},
        ValueRow{make_array<unsigned long>({1, 2}),
                 "<unsignedLong>1</unsignedLong><unsignedLong>2</unsignedLong>"},
        ValueRow{make_array<unsigned int>({1, 2}),
                 "<unsignedInt>1</unsignedInt><unsignedInt>2</unsignedInt>"},
        ValueRow{make_array<unsigned short>({1, 2}),
                 "<unsignedShort>1</unsignedShort><unsignedShort>2</unsignedShort>"},
        ValueRow{make_array<unsigned char>({200, 7, 127, 128, 255}),
                 "<byte>-56</byte><byte>7</byte><byte>127</byte><byte>-128</byte><byte>-1</byte>"},
        ValueRow{make_array<TimePoint>({EPOCH}), "<dateTime>1970-01-01T00:00:00Z</dateTime>"},
        ValueRow{make_array<Duration>({MINUTE}), "<duration>PT1M</duration>"},
        ValueRow{make_array<Path>({Path("a"), Path("/")}), "<string>a</string><string>/</string>"},
        ValueRow{make_array<AbsolutePath>({AbsolutePath("", "", "/a")}), "<string>/a</string>"},
        ValueRow{make_array<SymbolInfo>({SymbolInfo(HISTORY_KIND::NONE),
                                         SymbolInfo(HISTORY_KIND::HISTORY_AVAILABLE)}),
                 "<int>0</int><int>1</int>"}));

template <class T>
struct Sample {
    static T get() { return T{}; }
};
template <>
struct Sample<Path> {
    static Path get() { return Path("/"); }
};
template <>
struct Sample<AbsolutePath> {
    static AbsolutePath get() { return {"", "", "/"}; }
};
template <>
struct Sample<SymbolInfo> {
    static SymbolInfo get() { return SymbolInfo(HISTORY_KIND::NONE); }
};

template <class T>
class Convert : public ::testing::Test {
protected:
    static constexpr VALUE_TYPE TYPE = get_type_info_of<T>().get_type();

    void expect_mismatch(const Value& value) {
        try {
            convert<T>(document_, element_, value);
            FAIL() << "no exception";
        } catch (const BadValueTypeException& error) {
            EXPECT_STREQ(error.what(), "Bad value type.");
        }
        EXPECT_THROW(create_value_element(document_, value), BadValueTypeException);
        auto parent = create_element(*document_, "P");
        ChildWriter writer(*parent);
        EXPECT_THROW(write_value_element(writer, value), BadValueTypeException);
        EXPECT_EQ(to_text(*parent), "<P/>");
    }

    Poco::AutoPtr<Poco::XML::Document> document_ = create_reply_document();
    Poco::AutoPtr<Poco::XML::Element> element_ = create_element(*document_, "Value");
};

using ScalarTypes = ::testing::Types<bool, std::string, double, float, long, int, short, signed char,
                                     unsigned long, unsigned int, unsigned short, unsigned char, TimePoint,
                                     Duration, Path, AbsolutePath, SymbolInfo>;
TYPED_TEST_SUITE(Convert, ScalarTypes);

TYPED_TEST(Convert, FillsTheElementAsCreateValueElementDoes) {
    for (const Value& value :
         {Value(Sample<TypeParam>::get()),
          Value(std::vector<TypeParam>{Sample<TypeParam>::get(), Sample<TypeParam>::get()})}) {
        auto element = create_element(*this->document_, "Value");
        convert<TypeParam>(this->document_, element, value);
        set_attribute(*element, "xsi:type", get_xsi_type_name(value.get_type_info()));
        EXPECT_EQ(to_text(*element), write(value));
    }
}

TYPED_TEST(Convert, GivesAScalarOneText) {
    convert<TypeParam>(this->document_, this->element_, Value(Sample<TypeParam>::get()));
    EXPECT_EQ(this->element_->firstChild(), nullptr);
    const std::string text = to_text(*this->element_);
    EXPECT_TRUE(text == "<Value/>" || std::regex_match(text, std::regex("<Value>[^<>]+</Value>"))) << text;
}

TYPED_TEST(Convert, GivesAnEmptyArrayNothing) {
    convert<TypeParam>(this->document_, this->element_, Value(std::vector<TypeParam>{}));
    EXPECT_EQ(this->element_->firstChild(), nullptr);
    EXPECT_EQ(to_text(*this->element_), "<Value/>");
}

TYPED_TEST(Convert, RefusesContentOfAnotherType) {
    if constexpr (std::is_same_v<TypeParam, int>) {
        this->expect_mismatch(Value("text", ValueTypeInfo(this->TYPE, false)));
        this->expect_mismatch(Value(std::vector<std::string>{}, ValueTypeInfo(this->TYPE, true)));
    } else {
        this->expect_mismatch(Value(1, ValueTypeInfo(this->TYPE, false)));
        this->expect_mismatch(Value(std::vector<int>{1}, ValueTypeInfo(this->TYPE, true)));
    }
}

TYPED_TEST(Convert, RefusesScalarsForArraysAndTheReverse) {
    this->expect_mismatch(Value(Sample<TypeParam>::get(), ValueTypeInfo(this->TYPE, true)));
    this->expect_mismatch(Value(std::vector<TypeParam>{}, ValueTypeInfo(this->TYPE, false)));
}

TYPED_TEST(Convert, RefusesNull) {
    for (const Value& value : {Value(Sample<TypeParam>::get()), Value(std::vector<TypeParam>{})}) {
        EXPECT_THROW(convert<TypeParam>(nullptr, this->element_, value), Poco::NullPointerException);
        EXPECT_THROW(convert<TypeParam>(this->document_, nullptr, value), Poco::NullPointerException);
        EXPECT_THROW(create_value_element(nullptr, value), Poco::NullPointerException);
    }
}

TEST(WriteValueElement, NamesTheTypeThatItIsGiven) {
    EXPECT_EQ(write_into_parent(Value("xsd:int"), "xsd:QName"),
              R"(<Value xsi:type="xsd:QName">xsd:int</Value>)");
}

template <class Write>
std::string get_failure(Write write, VALUE_TYPE type, bool is_array) {
    try {
        return write(Value(1, ValueTypeInfo(type, is_array)));
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

template <class Write>
void expect_refusal_of_types_without_form(Write write) {
    for (const bool is_array : {false, true}) {
        EXPECT_EQ(get_failure(write, VALUE_TYPE::DECIMAL, is_array), "Decimal type not implemented.");
        EXPECT_EQ(get_failure(write, VALUE_TYPE::ATTACHMENT, is_array), "Attachment type not implemented.");
        for (const unsigned number : {0U, 20U, 255U, 0xFFFFFFFFU}) {
            EXPECT_EQ(get_failure(write, static_cast<VALUE_TYPE>(number), is_array), "Unknown value type.");
        }
    }
}

TEST(CreateValueElement, RefusesTypesWithoutForm) {
    expect_refusal_of_types_without_form([](const Value& value) { return write(value); });
}

TEST(WriteValueElement, RefusesTypesWithoutForm) {
    expect_refusal_of_types_without_form([](const Value& value) { return write_into_parent(value); });
}

TEST(CreateValueElement, TellsSignedFromUnsignedBytes) {
    EXPECT_EQ(write(Value(static_cast<signed char>(-56))), R"(<Value xsi:type="xsd:byte">-56</Value>)");
    EXPECT_EQ(write(Value(static_cast<unsigned char>(200))),
              R"(<Value xsi:type="xsd:unsignedByte">200</Value>)");
    EXPECT_THROW(write(Value(static_cast<unsigned char>(200), ValueTypeInfo(VALUE_TYPE::BYTE, false))),
                 BadValueTypeException);
}

TEST(CreateValueElement, SetsTheTypeAndAttachesNothing) {
    auto document = create_reply_document();
    auto element = create_value_element(document, Value(1));
    EXPECT_EQ(to_text(*element), R"(<Value xsi:type="xsd:int">1</Value>)");
    EXPECT_EQ(element->parentNode(), nullptr);
    EXPECT_EQ(element->ownerDocument(), document.get());
    EXPECT_EQ(document->firstChild(), nullptr);
}

}  // namespace
}  // namespace kx::information_model::opc
