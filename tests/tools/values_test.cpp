#include "client/Value.h"
#include "client/xml/XmlDocument.h"
#include "xmlda/print/JsonWriter.h"
#include "xmlda/print/value_text.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace xmlda::testing {
namespace {

/// @param element  "Value" with the prefixes "x" for XML Schema and "i" for its instances; the default
///                 namespace is that of OPC XML-DA
Value parse(const std::string& element) {
    const XmlDocument document(
        "<a xmlns='http://opcfoundation.org/webservices/XMLDA/1.0/' "
        "xmlns:x='http://www.w3.org/2001/XMLSchema' "
        "xmlns:i='http://www.w3.org/2001/XMLSchema-instance'>" +
        element + "</a>");
    return parse_value(document.get_root().get_children().front());
}

std::string to_json(const Value& value) {
    std::ostringstream stream;
    JsonWriter(stream, JsonWriter::Layout::ONE_LINE).value(value);
    return stream.str();
}

struct ShownValue {
    const char* name;
    const char* element;
    const char* type;
    const char* text;
    const char* json;
};

class ShowValue : public ::testing::TestWithParam<ShownValue> {};

TEST_P(ShowValue, ForPeopleAndForScripts) {
    const Value value = parse(GetParam().element);

    EXPECT_EQ(value.type, GetParam().type);
    EXPECT_EQ(to_text(value), GetParam().text);
    EXPECT_EQ(to_json(value), GetParam().json);
}

INSTANTIATE_TEST_SUITE_P(
    Values, ShowValue,
    ::testing::Values(
        ShownValue{"Double", "<Value i:type='x:double'>2.500000</Value>", "double", "2.500000", "2.500000"},
        ShownValue{"Exponent", "<Value i:type='x:double'>-1.5E-7</Value>", "double", "-1.5E-7", "-1.5E-7"},
        ShownValue{"Infinity", "<Value i:type='x:double'>INF</Value>", "double", "INF", R"("INF")"},
        ShownValue{"NotJsonsNumber", "<Value i:type='x:float'>+1.</Value>", "float", "+1.", R"("+1.")"},
        ShownValue{"BlanksAroundANumber", "<Value i:type='x:int'>\n 42 </Value>", "int", "42", "42"},
        ShownValue{"LargeInteger", "<Value i:type='x:unsignedLong'>18446744073709551615</Value>",
                   "unsignedLong", "18446744073709551615", "18446744073709551615"},
        ShownValue{"TypeWithAPrefixThatIsNotDeclared", "<Value i:type='xsd:boolean'>true</Value>", "boolean",
                   "true", "true"},
        ShownValue{"TrueAsNumber", "<Value i:type='x:boolean'>1</Value>", "boolean", "true", "true"},
        ShownValue{"FalseAsWord", "<Value i:type='x:boolean'>false</Value>", "boolean", "false", "false"},
        ShownValue{"OddBoolean", "<Value i:type='x:boolean'>maybe</Value>", "boolean", "maybe", R"("maybe")"},
        ShownValue{"String", "<Value i:type='x:string'>a b</Value>", "string", "a b", R"("a b")"},
        ShownValue{"EmptyString", "<Value i:type='x:string'/>", "string", R"("")", R"("")"},
        ShownValue{"BlanksAroundAString", "<Value i:type='x:string'> a</Value>", "string", R"(" a")",
                   R"(" a")"},
        ShownValue{"StringWithQuotes", "<Value i:type='x:string'>a \"b\"</Value>", "string", R"(a "b")",
                   R"("a \"b\"")"},
        ShownValue{"StringLikeAList", "<Value i:type='x:string'>[a]</Value>", "string", R"("[a]")",
                   R"("[a]")"},
        ShownValue{"LineBreak", "<Value i:type='x:string'>a&#10;b\\</Value>", "string", R"("a\nb\\")",
                   R"("a\nb\\")"},
        ShownValue{"C1Control", "<Value i:type='x:string'>&#x9b;31m</Value>", "string", R"("\x9b31m")",
                   R"("\u009b31m")"},
        ShownValue{"TurnedText", "<Value i:type='x:string'>a&#x202e;b</Value>", "string", R"("a\u202eb")",
                   R"("a\u202eb")"},
        ShownValue{"Time", "<Value i:type='x:dateTime'>2026-01-02T03:04:05.600Z</Value>", "dateTime",
                   "2026-01-02T03:04:05.600Z", R"("2026-01-02T03:04:05.600Z")"},
        ShownValue{"Array", "<Value i:type='ArrayOfInt'> <int>1</int> <int>-2</int> </Value>", "ArrayOfInt",
                   "[1, -2]", "[1,-2]"},
        ShownValue{"EmptyArray", "<Value i:type='ArrayOfDouble'/>", "ArrayOfDouble", "[]", "[]"},
        ShownValue{"Strings",
                   "<Value i:type='ArrayOfString'><string>a, b</string><string>c]</string><string/>"
                   "<string>\"</string><string>d e</string></Value>",
                   "ArrayOfString", R"(["a, b", "c]", "", "\"", d e])", R"(["a, b","c]","","\"","d e"])"},
        ShownValue{"Booleans",
                   "<Value i:type='ArrayOfBoolean'><boolean>1</boolean><boolean>false</boolean></Value>",
                   "ArrayOfBoolean", "[true, false]", "[true,false]"},
        ShownValue{"AnyMembers",
                   "<Value i:type='ArrayOfAnyType'><anyType i:type='x:int'>1</anyType><anyType i:nil='true'/>"
                   "<anyType i:type='ArrayOfInt'><int>2</int></anyType></Value>",
                   "ArrayOfAnyType", "[1, (nil), [2]]", "[1,null,[2]]"},
        ShownValue{"Nil", "<Value i:nil='1'/>", "", "(nil)", "null"},
        ShownValue{"Untyped", "<Value> 5 </Value>", "", R"(" 5 ")", R"(" 5 ")"},
        ShownValue{"UntypedWithMembers", "<Value><b>1</b><b>2</b></Value>", "", "[1, 2]", R"(["1","2"])"},
        ShownValue{"VendorsType", "<Value xmlns:v='urn:v' i:type='v:colour'>red</Value>", "v:colour", "red",
                   R"("red")"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(JsonWriter, IndentsMembers) {
    std::ostringstream stream;
    JsonWriter json(stream, JsonWriter::Layout::INDENTED);
    json.begin_object().member("a", "b").member("left out", "").key("c").begin_array().text("d").null();
    json.begin_object().end_object().end_array().key("e").boolean(false).end_object();

    EXPECT_EQ(stream.str(), R"({
  "a": "b",
  "c": [
    "d",
    null,
    {}
  ],
  "e": false
})");
}

TEST(JsonWriter, ReplacesWhatIsNotUtf8) {
    std::ostringstream stream;
    JsonWriter(stream, JsonWriter::Layout::ONE_LINE).text("a\xFFz");

    EXPECT_EQ(stream.str(), "\"a\xEF\xBF\xBDz\"");
}

Value create_number(const std::string& type, const std::string& text) {
    return {Value::Kind::SCALAR, type, text, {}};
}

TEST(JsonWriter, WritesAsNumbersWhatJsonTakesForNumbers) {
    for (const std::string number : {"0", "-0", "10", "-12.5", "0.0", "1e5", "1E+05", "2.50e-300"}) {
        EXPECT_EQ(to_json(create_number("double", number)), number);
    }
    for (const std::string other :
         {"",     "-",     "+1",   "007", "00", "1.",  ".5",  "-.5",  "1e", "1e+",
          "1.e1", "1.5.2", "0x10", "1 ",  " 1", "1,5", "--1", "1e5e", "e5", "NaN"}) {
        EXPECT_EQ(to_json(create_number("double", other)), '"' + other + '"');
    }
}

TEST(ValueWithFacts, HasUnitAndDigits) {
    ItemFacts facts;
    facts.unit = "degC";
    facts.fractional_digits = 1;

    EXPECT_EQ(to_text(create_number("double", "21.456000"), facts), "21.5 degC");
    EXPECT_EQ(to_text(create_number("double", "-0.000000"), facts), "-0.0 degC");
    EXPECT_EQ(to_text(create_number("float", "1E3"), facts), "1000.0 degC");
    EXPECT_EQ(to_text(create_number("double", "INF"), facts), "INF degC");
    EXPECT_EQ(to_text(create_number("int", "21"), facts), "21 degC");
    EXPECT_EQ(to_text({Value::Kind::LIST,
                       "ArrayOfDouble",
                       "",
                       {create_number("double", "1.25"), create_number("double", "2")}},
                      facts),
              "[1.2, 2.0] degC");
    EXPECT_EQ(to_text({Value::Kind::NIL, "double", "", {}}, facts), "(nil)");
    facts.fractional_digits = -1;
    EXPECT_EQ(to_text(create_number("double", "21.456000"), facts), "21.456000 degC");
}

TEST(ValueWithFacts, HasTheNameOfASymbol) {
    ItemFacts facts;
    facts.symbols = {"off", "o\x1bn"};

    EXPECT_EQ(to_text(create_number("int", "0"), facts), "0 (off)");
    EXPECT_EQ(to_text(create_number("int", "1"), facts), "1 (o\\x1bn)");
    EXPECT_EQ(to_text(create_number("int", "2"), facts), "2");
    EXPECT_EQ(to_text(create_number("string", "0"), facts), "0");
}

}  // namespace
}  // namespace xmlda::testing
