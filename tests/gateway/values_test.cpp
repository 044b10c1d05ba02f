#include "gateway/values/convert_value.h"
#include "gateway/values/published_value.h"

#include <initializer_list>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

namespace gateway {
namespace {

using xmlda::Value;

Value create_scalar(const std::string& type, const std::string& text) {
    Value value;
    value.type = type;
    value.text = text;
    return value;
}

Value create_list(const std::string& type, const std::string& member_type,
                  std::initializer_list<const char*> texts) {
    Value value;
    value.kind = Value::Kind::LIST;
    value.type = type;
    for (const char* const text : texts) {
        value.members.push_back(create_scalar(member_type, text));
    }
    return value;
}

std::string write(const Value& value) {
    xmlda::XmlWriter writer;
    write_published_value(writer, value);
    return writer.get();
}

TEST(PublishedValue, HasTheWordsOfXmlSchema) {
    EXPECT_EQ(to_published_value(create_scalar("boolean", "1")).text, "true");
    EXPECT_EQ(to_published_value(create_scalar("boolean", "0")).text, "false");
    EXPECT_EQ(to_published_value(create_scalar("double", "-inf")).text, "-INF");
    EXPECT_EQ(to_published_value(create_scalar("float", "-nan")).text, "NaN");
    EXPECT_EQ(to_published_value(create_scalar("string", "inf")).text, "inf");
    EXPECT_EQ(to_published_value(create_list("ArrayOfBoolean", "boolean", {"1", "0"})).members[0].text,
              "true");
}

TEST(PublishedValue, IsWrittenWithPrefixes) {
    EXPECT_EQ(write(create_scalar("double", "1.5")), R"(<Value xsi:type="xsd:double">1.5</Value>)");
    EXPECT_EQ(write(create_list("ArrayOfInt", "int", {"1"})),
              R"(<Value xsi:type="da:ArrayOfInt"><int>1</int></Value>)");
    EXPECT_EQ(write(create_list("ArrayOfInt", "int", {})), R"(<Value xsi:type="da:ArrayOfInt"/>)");
}

TEST(PublishedValue, OfAnotherArrayIsAnArrayOfAnything) {
    EXPECT_EQ(
        write(create_list("ArrayOfDuration", "duration", {"PT1S"})),
        R"(<Value xsi:type="da:ArrayOfAnyType"><anyType xsi:type="xsd:duration">PT1S</anyType></Value>)");
}

struct ConversionCase {
    Value value;
    std::string type;
    std::string expected;  // the text, or the code
};

void PrintTo(const ConversionCase& row, std::ostream* stream) {
    *stream << row.value.type << " '" << row.value.text << "' to " << row.type;
}

class Conversion : public testing::TestWithParam<ConversionCase> {};

TEST_P(Conversion, GivesTextOrCode) {
    const auto& row = GetParam();
    const ConvertedValue result = convert_value(row.value, row.type, Fractions::REFUSED);
    EXPECT_EQ(result.code.empty() ? result.value.text : result.code, row.expected);
    if (result.code.empty()) {
        EXPECT_EQ(result.value.type, row.type);
    }
}

INSTANTIATE_TEST_SUITE_P(
    OfScalars, Conversion,
    testing::Values(
        ConversionCase{create_scalar("int", " 42 "), "double", "42"},
        ConversionCase{create_scalar("double", "42.0"), "int", "42"},
        ConversionCase{create_scalar("double", "42.5"), "int", "E_BADTYPE"},
        ConversionCase{create_scalar("double", "1e3"), "short", "1000"},
        ConversionCase{create_scalar("double", "1e30"), "long", "E_RANGE"},
        ConversionCase{create_scalar("double", "INF"), "int", "E_RANGE"},
        ConversionCase{create_scalar("double", "NaN"), "int", "E_BADTYPE"},
        ConversionCase{create_scalar("", "+7"), "unsignedByte", "7"},
        ConversionCase{create_scalar("int", "-1"), "unsignedInt", "E_RANGE"},
        ConversionCase{create_scalar("int", "-0"), "unsignedInt", "0"},
        ConversionCase{create_scalar("int", "-128"), "byte", "-128"},
        ConversionCase{create_scalar("int", "-129"), "byte", "E_RANGE"},
        ConversionCase{create_scalar("long", "-9223372036854775808"), "long", "-9223372036854775808"},
        ConversionCase{create_scalar("unsignedLong", "18446744073709551615"), "unsignedLong",
                       "18446744073709551615"},
        ConversionCase{create_scalar("unsignedLong", "18446744073709551616"), "unsignedLong", "E_RANGE"},
        ConversionCase{create_scalar("double", "1e39"), "float", "E_RANGE"},
        ConversionCase{create_scalar("double", "1e999"), "double", "E_RANGE"},
        ConversionCase{create_scalar("double", "1e-999"), "double", "1e-999"},
        ConversionCase{create_scalar("double", "inf"), "double", "E_BADTYPE"},
        ConversionCase{create_scalar("double", "0x10"), "double", "E_BADTYPE"},
        ConversionCase{create_scalar("string", "12 apples"), "int", "E_BADTYPE"},
        ConversionCase{create_scalar("string", ""), "int", "E_BADTYPE"},
        ConversionCase{create_scalar("boolean", "true"), "int", "1"},
        ConversionCase{create_scalar("boolean", "0"), "double", "0"},
        ConversionCase{create_scalar("int", "2"), "boolean", "true"},
        ConversionCase{create_scalar("string", "false"), "boolean", "false"},
        ConversionCase{create_scalar("string", "yes"), "boolean", "E_BADTYPE"},
        ConversionCase{create_scalar("double", " 1.5"), "string", " 1.5"},
        ConversionCase{create_scalar("string", "2026-11-21T10:11:12Z"), "dateTime", "2026-11-21T10:11:12Z"},
        ConversionCase{create_scalar("int", "5"), "dateTime", "E_BADTYPE"},
        ConversionCase{create_scalar("duration", "PT5M"), "duration", "PT5M"},
        ConversionCase{create_scalar("duration", "P"), "duration", "E_BADTYPE"},
        ConversionCase{create_scalar("int", "5"), "ArrayOfInt", "E_BADTYPE"},
        ConversionCase{create_list("ArrayOfInt", "int", {"5"}), "int", "E_BADTYPE"},
        ConversionCase{create_scalar("int", "5"), "unknownType", "E_BADTYPE"}));

TEST(Conversion, RoundsWhatIsRead) {
    EXPECT_EQ(convert_value(create_scalar("double", "21.7"), "int", Fractions::ROUNDED).value.text, "22");
    EXPECT_EQ(convert_value(create_scalar("double", "-21.7"), "short", Fractions::ROUNDED).value.text, "-22");
}

TEST(Conversion, OfArraysGoesMemberByMember) {
    const auto result =
        convert_value(create_list("ArrayOfInt", "int", {"1", "2"}), "ArrayOfDouble", Fractions::REFUSED);
    ASSERT_EQ(result.code, "");
    EXPECT_EQ(result.value, create_list("ArrayOfDouble", "double", {"1", "2"}));
    EXPECT_EQ(
        convert_value(create_list("ArrayOfInt", "int", {"1", "x"}), "ArrayOfInt", Fractions::REFUSED).code,
        "E_BADTYPE");
    EXPECT_EQ(convert_value(create_scalar("", " "), "ArrayOfInt", Fractions::REFUSED).value,
              create_list("ArrayOfInt", "int", {}));
}

TEST(Conversion, TakesBytesInEveryForm) {
    const Value expected = create_list("ArrayOfByte", "byte", {"1", "-1", "-128"});
    for (const Value& value : {create_list("ArrayOfByte", "byte", {"1", "-1", "-128"}),
                               create_list("ArrayOfUnsignedByte", "unsignedByte", {"1", "255", "128"}),
                               create_scalar("base64Binary", " Af+A\n")}) {
        const auto result = convert_value(value, "ArrayOfByte", Fractions::REFUSED);
        EXPECT_EQ(result.code, "");
        EXPECT_EQ(result.value, expected);
    }
    EXPECT_EQ(convert_value(create_scalar("base64Binary", "A?"), "ArrayOfByte", Fractions::REFUSED).code,
              "E_BADTYPE");
    EXPECT_EQ(convert_value(create_list("", "int", {"256"}), "ArrayOfByte", Fractions::REFUSED).code,
              "E_RANGE");
}

TEST(Conversion, OfNothingFails) {
    Value nil;
    nil.kind = Value::Kind::NIL;
    EXPECT_EQ(convert_value(nil, "string", Fractions::REFUSED).code, "E_BADTYPE");
}

}  // namespace
}  // namespace gateway
