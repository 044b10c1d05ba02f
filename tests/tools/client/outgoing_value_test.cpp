#include "client/outgoing_value.h"
#include "client/errors.h"
#include "client/split_list.h"
#include "client/type_names.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace xmlda::testing {
namespace {

using ::testing::ElementsAre;

std::string write_scalar(const std::string& type, const std::string& text) {
    return parse_outgoing_value(type, text).texts.at(0);
}

std::string get_refusal(const std::string& type, const std::string& text) {
    try {
        return "taken: " + write_scalar(type, text);
    } catch (const UnsuitableText& error) {
        return error.what();
    }
}

struct TypedText {
    const char* type;
    const char* text;
};

class TakeText : public ::testing::TestWithParam<TypedText> {};

TEST_P(TakeText, AsItIs) {
    EXPECT_EQ(write_scalar(GetParam().type, GetParam().text), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Types, TakeText,
    ::testing::Values(TypedText{"double", "2.5"}, TypedText{"double", "-1e-7"}, TypedText{"double", "INF"},
                      TypedText{"double", "NaN"}, TypedText{"float", "+3"}, TypedText{"decimal", "-12.50"},
                      TypedText{"long", "-9223372036854775808"},
                      TypedText{"unsignedLong", "18446744073709551615"}, TypedText{"int", "-2147483648"},
                      TypedText{"unsignedInt", "4294967295"}, TypedText{"short", "32767"},
                      TypedText{"unsignedShort", "65535"}, TypedText{"byte", "-128"},
                      TypedText{"unsignedByte", "255"}, TypedText{"dateTime", "2026-11-21T10:11:12.5+01:00"},
                      TypedText{"dateTime", "2026-11-21T10:11:12"}, TypedText{"duration", "P1DT2H3M4.5S"},
                      TypedText{"duration", "-PT0S"}, TypedText{"string", " a = \"b\" "},
                      TypedText{"string", ""}, TypedText{"anyURI", "urn:x"},
                      TypedText{"date", "2026-11-21"}));

class RefuseText : public ::testing::TestWithParam<TypedText> {};

TEST_P(RefuseText, NamingTextAndType) {
    const std::string type = GetParam().type;
    const std::string article =
        type == "int" || type == "unsignedInt" || type == "unsignedByte" ? "an " : "a ";
    EXPECT_THAT(get_refusal(type, GetParam().text),
                ::testing::StartsWith("'" + std::string(GetParam().text) + "' is not " + article + type));
}

INSTANTIATE_TEST_SUITE_P(Types, RefuseText,
                         ::testing::Values(TypedText{"double", "2,5"}, TypedText{"double", ""},
                                           TypedText{"double", "inf"}, TypedText{"double", "0x10"},
                                           TypedText{"float", "1e99"}, TypedText{"int", "2147483648"},
                                           TypedText{"int", "4 5"}, TypedText{"int", "+-4"},
                                           TypedText{"int", "1.0"}, TypedText{"unsignedInt", "-1"},
                                           TypedText{"byte", "128"}, TypedText{"unsignedByte", "256"},
                                           TypedText{"decimal", "1e3"}, TypedText{"dateTime", "2026-11-21"},
                                           TypedText{"dateTime", "now"}, TypedText{"duration", "5s"},
                                           TypedText{"duration", "P"}, TypedText{"duration", "PT"}));

TEST(OutgoingValue, BooleansBecomeNumbers) {
    for (const char* const text : {"true", "1", "on", "yes", "TRUE", " Yes "}) {
        EXPECT_EQ(write_scalar("boolean", text), "1") << text;
    }
    for (const char* const text : {"false", "0", "off", "no"}) {
        EXPECT_EQ(write_scalar("boolean", text), "0") << text;
    }
    EXPECT_EQ(get_refusal("boolean", "2"), "'2' is not a boolean (true or false)");
}

TEST(OutgoingValue, BlanksAroundNumbersAreDropped) {
    EXPECT_EQ(write_scalar("int", " 4 "), "4");
}

TEST(OutgoingValue, ArraysHaveOneTextForEachMember) {
    EXPECT_THAT(parse_outgoing_value("ArrayOfInt", "1, 2,3").texts, ElementsAre("1", "2", "3"));
    EXPECT_THAT(parse_outgoing_value("ArrayOfBoolean", "[true, off]").texts, ElementsAre("1", "0"));
    EXPECT_THAT(parse_outgoing_value("ArrayOfString", R"(["a, b", c])").texts, ElementsAre("a, b", "c"));
    EXPECT_THAT(parse_outgoing_value("ArrayOfDouble", "[]").texts, ElementsAre());
    EXPECT_EQ(get_refusal("ArrayOfInt", "1,x"), "'x' is not an int (-2147483648 to 2147483647)");
}

TEST(OutgoingValue, BytesInArraysMayBeUnsigned) {
    EXPECT_THAT(parse_outgoing_value("ArrayOfByte", "-128, 127, 128, 200, 255").texts,
                ElementsAre("-128", "127", "-128", "-56", "-1"));
    EXPECT_EQ(get_refusal("ArrayOfByte", "256"), "'256' is not a byte (-128 to 127)");
    EXPECT_EQ(get_refusal("ArrayOfByte", "-129"), "'-129' is not a byte (-128 to 127)");
}

TEST(OutgoingValue, RefusesTypesThatNoTextMakes) {
    EXPECT_EQ(get_refusal("ArrayOfAnyType", "1"),
              "values of the type 'ArrayOfAnyType' cannot be written from a text");
    EXPECT_EQ(get_refusal("colour", "1"), "values of the type 'colour' cannot be written from a text");
}

TEST(OutgoingValue, RefusesWhatXmlCannotCarry) {
    EXPECT_EQ(get_refusal("string", "a\x1b"), "the value holds a character that XML cannot carry");
    EXPECT_EQ(get_refusal("string", "\xFF"), "the value holds a character that XML cannot carry");
    EXPECT_EQ(get_refusal("ArrayOfString", R"("\u0007")"),
              "the value holds a character that XML cannot carry");
}

TEST(SplitList, TakesBracketsQuotesAndEscapes) {
    EXPECT_THAT(split_list(""), ElementsAre());
    EXPECT_THAT(split_list("[ ]"), ElementsAre());
    EXPECT_THAT(split_list("a"), ElementsAre("a"));
    EXPECT_THAT(split_list("a,"), ElementsAre("a", ""));
    EXPECT_THAT(split_list("[a b , c]"), ElementsAre("a b", "c"));
    EXPECT_THAT(split_list(R"(["", " a "])"), ElementsAre("", " a "));
    EXPECT_THAT(split_list(R"("\"\\\/\b\f\n\r\t\u00e4\ud83d\ude00" , x)"),
                ElementsAre("\"\\/\b\f\n\r\t\xC3\xA4\xF0\x9F\x98\x80", "x"));
}

TEST(SplitList, RefusesMalformedQuotes) {
    const auto get_message = [](const std::string& text) -> std::string {
        try {
            split_list(text);
            return "";
        } catch (const UnsuitableText& error) {
            return error.what();
        }
    };

    EXPECT_EQ(get_message("\"a"), "'\"a' is not a list: a quote is not closed");
    EXPECT_EQ(get_message(R"("a\)"), R"('"a\' is not a list: a quote is not closed)");
    EXPECT_EQ(get_message(R"("a"b)"), R"('"a"b' is not a list: a comma is missing behind a closing quote)");
    EXPECT_EQ(get_message(R"("\q")"), R"('"\q"' is not a list: \q means nothing)");
    EXPECT_EQ(get_message(R"("\u12")"), R"('"\u12"' is not a list: \u needs four hexadecimal digits)");
}

TEST(TypeNames, AreUnderstoodInSeveralForms) {
    EXPECT_EQ(to_type_name("xsd:double"), "double");
    EXPECT_EQ(to_type_name("double"), "double");
    EXPECT_EQ(to_type_name("double[]"), "ArrayOfDouble");
    EXPECT_EQ(to_type_name("da:ArrayOfUnsignedInt"), "ArrayOfUnsignedInt");
    EXPECT_EQ(to_type_name(""), "");
}

TEST(TypeNames, AreWrittenAsServersWantThem) {
    EXPECT_EQ(to_request_type("double"), "xsd:double");
    EXPECT_EQ(to_request_type("ArrayOfDouble"), "ArrayOfDouble");
    EXPECT_EQ(get_member_type("ArrayOfUnsignedInt"), "unsignedInt");
    EXPECT_FALSE(is_array_type("ArrayOf"));
}

}  // namespace
}  // namespace xmlda::testing
