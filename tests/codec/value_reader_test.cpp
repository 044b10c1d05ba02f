#include "codec/value_reader.h"

#include "codec/text_forms.h"
#include "xml/request/RequestParser.h"
#include "xml/xml_names.h"

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>

#include <gtest/gtest.h>

#include <chrono>
#include <ostream>
#include <random>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

namespace kx::information_model::opc {

namespace {

/// A parsed "Value" element in the OPC XML-DA namespace.
class ValueElement {
public:
    explicit ValueElement(const std::string& content)
        : document_(parse_request("<Value xmlns=\"" + xml_namespaces::XMLDA + "\">" + content + "</Value>")) {
    }

    const Poco::XML::Node* get() const { return document_->documentElement(); }

private:
    Poco::AutoPtr<Poco::XML::Document> document_;
};

template <class T>
Value read_scalar(const std::string& content) {
    return convert<T>(ValueElement(content).get(), false);
}

template <class T>
Value read_array(const std::string& content) {
    return convert<T>(ValueElement(content).get(), true);
}

TimePoint to_time(long seconds) {
    return TimePoint(std::chrono::seconds(seconds));
}

// What each type calls its members, two texts and what they mean.
template <class T>
struct Sample;

#define SAMPLE(Type, Enumerator, Member, Text1, Value1, Text2, Value2)          \
    template <>                                                                 \
    struct Sample<Type> {                                                       \
        static constexpr VALUE_TYPE VALUE_TYPE_NUMBER = VALUE_TYPE::Enumerator; \
        static std::string get_member() { return Member; }                      \
        static std::vector<std::string> get_texts() { return {Text1, Text2}; }  \
        static std::vector<Type> get_values() { return {Value1, Value2}; }      \
    }
SAMPLE(bool, BOOLEAN, "boolean", "1", true, "0", false);
SAMPLE(std::string, STRING, "string", " a b ", " a b ", "", "");
SAMPLE(double, DOUBLE, "double", "2.5", 2.5, "-1e-7", -1e-7);
SAMPLE(float, FLOAT, "float", "0.1", 0.1F, "-3e4", -3e4F);
SAMPLE(long, LONG, "long", "9223372036854775807", 9223372036854775807L, "-5", -5L);
SAMPLE(int, INT, "int", "42", 42, "-2147483648", -2147483647 - 1);
SAMPLE(short, SHORT, "short", "1", 1, "-2", -2);
SAMPLE(signed char, BYTE, "byte", "127", 127, "-128", -128);
SAMPLE(unsigned long, UNSIGNED_LONG, "unsignedLong", "18446744073709551615", 18446744073709551615UL, "0",
       0UL);
SAMPLE(unsigned int, UNSIGNED_INT, "unsignedInt", "4294967295", 4294967295U, "7", 7U);
SAMPLE(unsigned short, UNSIGNED_SHORT, "unsignedShort", "65535", 65535, "7", 7);
SAMPLE(TimePoint, DATE_TIME, "dateTime", "1970-01-01T00:00:01Z", to_time(1), "2000-01-01T00:00:00Z",
       to_time(946'684'800));
SAMPLE(Duration, DURATION, "duration", "PT1S", Duration(std::chrono::seconds(1)), "-P1D",
       Duration(std::chrono::hours(-24)));
#undef SAMPLE

template <class T>
class ConvertFromXml : public ::testing::Test {};

using ReadTypes = ::testing::Types<bool, std::string, double, float, long, int, short, signed char,
                                   unsigned long, unsigned int, unsigned short, TimePoint, Duration>;
TYPED_TEST_SUITE(ConvertFromXml, ReadTypes);

TYPED_TEST(ConvertFromXml, ReadsAScalarWithItsType) {
    const auto texts = Sample<TypeParam>::get_texts();
    const std::vector<TypeParam> values = Sample<TypeParam>::get_values();
    for (std::size_t index = 0; index < texts.size(); ++index) {
        const Value value = read_scalar<TypeParam>(texts[index]);
        EXPECT_EQ(value.get_type_info(), ValueTypeInfo(Sample<TypeParam>::VALUE_TYPE_NUMBER, false));
        EXPECT_EQ(std::get<TypeParam>(value), values[index]);
    }
}

TYPED_TEST(ConvertFromXml, ReadsAnArrayInDocumentOrder) {
    const std::string member = Sample<TypeParam>::get_member();
    std::string content = "\n ";
    for (const std::string& text : Sample<TypeParam>::get_texts()) {
        content += "<" + member + ">" + text + "</" + member + ">\n ";
    }
    const Value value = read_array<TypeParam>(content);
    EXPECT_EQ(value.get_type_info(), ValueTypeInfo(Sample<TypeParam>::VALUE_TYPE_NUMBER, true));
    EXPECT_EQ(std::get<std::vector<TypeParam>>(value), Sample<TypeParam>::get_values());
}

TYPED_TEST(ConvertFromXml, ReadsNoMembersAsAnEmptyArray) {
    for (const char* content : {"", " \n", "1", "<!-- nothing -->", "<other>1</other>"}) {
        const Value value = read_array<TypeParam>(content);
        EXPECT_EQ(value.get_type_info(), ValueTypeInfo(Sample<TypeParam>::VALUE_TYPE_NUMBER, true));
        EXPECT_TRUE(std::get<std::vector<TypeParam>>(value).empty()) << content;
    }
}

TYPED_TEST(ConvertFromXml, SkipsChildrenOfAnotherNameOrNamespace) {
    const std::string member = Sample<TypeParam>::get_member();
    const std::string text = Sample<TypeParam>::get_texts()[0];
    const std::string end = ">" + text + "</" + member + ">";
    const Value value = read_array<TypeParam>("<" + member + " xmlns=\"\"" + end + "<" + member +
                                              " xmlns=\"urn:other\"" + end + "<Byte>1</Byte><a><" + member +
                                              end + "</a>text<!--x--><?p i?><" + member + end);
    EXPECT_EQ(std::get<std::vector<TypeParam>>(value),
              std::vector<TypeParam>{Sample<TypeParam>::get_values()[0]});
}

TYPED_TEST(ConvertFromXml, GoesByTheNamespaceNotByThePrefix) {
    const std::string name = "q:" + Sample<TypeParam>::get_member();
    const std::string text = Sample<TypeParam>::get_texts()[0];
    const Value value = read_array<TypeParam>("<" + name + " xmlns:q=\"" + xml_namespaces::XMLDA + "\">" +
                                              text + "</" + name + ">");
    EXPECT_EQ(std::get<std::vector<TypeParam>>(value),
              std::vector<TypeParam>{Sample<TypeParam>::get_values()[0]});
}

template <class T>
class ConvertNumberFromXml : public ::testing::Test {};

using NumberTypes = ::testing::Types<bool, double, float, long, int, short, signed char, unsigned long,
                                     unsigned int, unsigned short>;
TYPED_TEST_SUITE(ConvertNumberFromXml, NumberTypes);

TYPED_TEST(ConvertNumberFromXml, ReadsWhatIsNoNumberAsZero) {
    for (const char* text : {"", " ", "\t\n", "x", "-", "true", "false", "NaN", "INF", "<!-- 1 -->"}) {
        EXPECT_EQ(std::get<TypeParam>(read_scalar<TypeParam>(text)), TypeParam{}) << text;
    }
}

TYPED_TEST(ConvertNumberFromXml, SkipsWhiteSpaceAndIgnoresWhatFollows) {
    for (const char* text : {" 1 ", "\n1", "1x", "1 2", "+1", "0001"}) {
        EXPECT_EQ(std::get<TypeParam>(read_scalar<TypeParam>(text)), TypeParam{1}) << text;
    }
}

TEST(ConvertFromXmlQuirks, OutOfRangeIntegersSaturate) {
    EXPECT_EQ(std::get<int>(read_scalar<int>("3000000000")), 2147483647);
    EXPECT_EQ(std::get<short>(read_scalar<short>("40000")), 32767);
    EXPECT_EQ(std::get<short>(read_scalar<short>("-40000")), -32768);
    EXPECT_EQ(std::get<unsigned short>(read_scalar<unsigned short>("70000")), 65535);
}

TEST(ConvertFromXmlQuirks, NegativeTextWrapsForUnsignedTypes) {
    EXPECT_EQ(std::get<unsigned int>(read_scalar<unsigned int>("-1")), 4294967295U);
    EXPECT_EQ(std::get<unsigned short>(read_scalar<unsigned short>("-1")), 65535);
    EXPECT_EQ(std::get<unsigned long>(read_scalar<unsigned long>("-1")), 18446744073709551615UL);
}

TEST(ConvertFromXmlQuirks, BooleansAreNumbers) {
    EXPECT_TRUE(std::get<bool>(read_scalar<bool>("2")));
    EXPECT_TRUE(std::get<bool>(read_scalar<bool>("-7")));
    EXPECT_FALSE(std::get<bool>(read_scalar<bool>("true")));
    const Value value = read_array<bool>("<boolean>true</boolean><boolean>2</boolean><boolean/>");
    EXPECT_EQ(std::get<std::vector<bool>>(value), (std::vector<bool>{false, true, false}));
}

TEST(ConvertFromXmlQuirks, BytesWrapAndSaturateAtSixteenBits) {
    const Value value = read_array<signed char>(
        "<byte>200</byte><byte>300</byte><byte>100000</byte><byte>-100000</byte><byte/><byte>abc</byte>");
    EXPECT_EQ(std::get<std::vector<signed char>>(value), (std::vector<signed char>{-56, 44, -1, 0, 0, 0}));
}

TEST(ConvertFromXmlQuirks, SpecialFloatingPointValuesReadAsZero) {
    const Value value = read_array<double>("<double>INF</double><double>-INF</double><double>NaN</double>");
    EXPECT_EQ(std::get<std::vector<double>>(value), (std::vector<double>{0, 0, 0}));
}

TEST(ConvertFromXmlQuirks, MembersOfAnotherTypeAreSkipped) {
    const Value value = read_array<int>("<int>1</int><double>2</double><int>3</int>");
    EXPECT_EQ(std::get<std::vector<int>>(value), (std::vector<int>{1, 3}));
}

TEST(ConvertFromXml, WhiteSpaceRoundTimesIsSkipped) {
    EXPECT_EQ(std::get<TimePoint>(read_scalar<TimePoint>(" 1970-01-01T00:00:01Z\n")),
              TimePoint(std::chrono::seconds(1)));
    EXPECT_EQ(std::get<Duration>(read_scalar<Duration>("PT1S ")), Duration(std::chrono::seconds(1)));
}

TEST(ConvertFromXmlQuirks, MalformedTimesAreRefused) {
    EXPECT_THROW(read_scalar<TimePoint>("2000-01-01 00:00:00Z"), std::invalid_argument);
    EXPECT_THROW(read_scalar<TimePoint>(" "), std::invalid_argument);
    EXPECT_THROW(read_scalar<TimePoint>(""), std::invalid_argument);
    EXPECT_THROW(read_scalar<Duration>("PT1 S"), std::invalid_argument);
    EXPECT_THROW(read_array<Duration>("<duration>PT1S</duration><duration>x</duration>"),
                 std::invalid_argument);
}

TEST(ConvertFromXmlText, JoinsAllTextBelowTheElement) {
    EXPECT_EQ(std::get<int>(read_scalar<int>("4<!-- 9 -->2")), 42);
    EXPECT_EQ(std::get<int>(read_scalar<int>("<a>1</a>2<b><c>3</c></b>")), 123);
    EXPECT_EQ(std::get<std::string>(read_scalar<std::string>("a&lt;<![CDATA[<b>]]>&#233;")), "a<<b>\xC3\xA9");
    const Value value = read_array<int>("<int>1<x>2</x></int><int><![CDATA[3]]></int>");
    EXPECT_EQ(std::get<std::vector<int>>(value), (std::vector<int>{12, 3}));
}

TEST(ConvertFromXmlText, KeepsStringsExactly) {
    EXPECT_EQ(std::get<std::string>(read_scalar<std::string>("\n a\t b \n")), "\n a\t b \n");
    const Value value = read_array<std::string>("<string/><string> </string><string></string>");
    EXPECT_EQ(std::get<std::vector<std::string>>(value), (std::vector<std::string>{"", " ", ""}));
}

std::string generate_content(std::mt19937& random, int depth) {
    static const std::vector<std::string> LEAVES = {
        "text",  "12",   " ", "<!-- c -->",        "<?p i?>", "<![CDATA[<x>]]>",
        "&amp;", "<e/>", "",  "<string>s</string>"};
    std::string content;
    for (auto count = random() % 5; count > 0; --count) {
        content += depth < 6 && random() % 3 == 0 ? "<n>" + generate_content(random, depth + 1) + "</n>"
                                                  : LEAVES[random() % LEAVES.size()];
    }
    return content;
}

TEST(ConvertFromXmlText, IsTheInnerTextOfAnyElement) {
    std::mt19937 random(4);
    for (int count = 0; count < 2000; ++count) {
        const ValueElement element(generate_content(random, 0));
        ASSERT_EQ(std::get<std::string>(convert<std::string>(element.get(), false)),
                  element.get()->innerText());
    }
}

struct InputTypeRow {
    const char* xsi_type;
    const char* content;
    Value expected;

    friend std::ostream& operator<<(std::ostream& stream, const InputTypeRow& row) {
        return stream << row.xsi_type;
    }
};

class FindValueReader : public ::testing::TestWithParam<InputTypeRow> {};

TEST_P(FindValueReader, GivesTheReaderOfTheType) {
    const ValueReader read = find_value_reader(GetParam().xsi_type);
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read(ValueElement(GetParam().content).get()), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    AcceptedTypes, FindValueReader,
    ::testing::Values(
        InputTypeRow{"xsd:string", "a", Value("a")}, InputTypeRow{"xsd:boolean", "1", Value(true)},
        InputTypeRow{"xsd:float", "1.5", Value(1.5F)}, InputTypeRow{"xsd:double", "1.5", Value(1.5)},
        InputTypeRow{"xsd:long", "1", Value(1L)}, InputTypeRow{"xsd:int", "1", Value(1)},
        InputTypeRow{"xsd:short", "1", Value(short{1})},
        InputTypeRow{"xsd:byte", "200", Value(static_cast<signed char>(-56))},
        InputTypeRow{"xsd:unsignedLong", "1", Value(1UL)}, InputTypeRow{"xsd:unsignedInt", "1", Value(1U)},
        InputTypeRow{"xsd:unsignedShort", "1", Value(static_cast<unsigned short>(1))},
        InputTypeRow{"xsd:unsignedByte", "456", Value(static_cast<unsigned char>(200))},
        InputTypeRow{"xsd:dateTime", "1970-01-01T00:00:01Z", Value(to_time(1))},
        InputTypeRow{"xsd:duration", "PT1S", Value(Duration(std::chrono::seconds(1)))},
        InputTypeRow{"ArrayOfByte", "<byte>200</byte>", Value(std::vector<signed char>{-56})},
        InputTypeRow{"ArrayOfShort", "<short>1</short>", Value(std::vector<short>{1})},
        InputTypeRow{"ArrayOfUnsignedShort", "<unsignedShort>1</unsignedShort>",
                     Value(std::vector<unsigned short>{1})},
        InputTypeRow{"ArrayOfInt", "<int>1</int>", Value(std::vector<int>{1})},
        InputTypeRow{"ArrayOfUnsignedInt", "<unsignedInt>1</unsignedInt>",
                     Value(std::vector<unsigned int>{1})},
        InputTypeRow{"ArrayOfLong", "<long>1</long>", Value(std::vector<long>{1})},
        InputTypeRow{"ArrayOfUnsignedLong", "<unsignedLong>1</unsignedLong>",
                     Value(std::vector<unsigned long>{1})},
        InputTypeRow{"ArrayOfFloat", "<float>1.5</float>", Value(std::vector<float>{1.5F})},
        InputTypeRow{"ArrayOfDouble", "<double>1.5</double>", Value(std::vector<double>{1.5})},
        InputTypeRow{"ArrayOfBoolean", "<boolean>1</boolean>", Value(std::vector<bool>{true})},
        InputTypeRow{"ArrayOfString", "<string>a</string>", Value(std::vector<std::string>{"a"})},
        InputTypeRow{"ArrayOfDateTime", "<dateTime>1970-01-01T00:00:01Z</dateTime>",
                     Value(std::vector<TimePoint>{to_time(1)})},
        InputTypeRow{"ArrayOfDuration", "<duration>PT1S</duration>",
                     Value(std::vector<Duration>{Duration(std::chrono::seconds(1))})}));

TEST(FindValueReaderFailure, ComparesNamesExactly) {
    for (const char* name :
         {"", "ArrayOfUnsignedByte", "xsd:ArrayOfInt", "int", "xs:int", "xsd:Int", "xsd:int ", " xsd:int",
          "xsd:", "xsd:decimal", "xsd:integer", "xsd:date", "xsd:anyType", "arrayOfInt", "ArrayOfint",
          "ArrayOfAnyType", "ArrayOfDecimal", "xsd:base64Binary", "{http://www.w3.org/2001/XMLSchema}int"}) {
        EXPECT_EQ(find_value_reader(name), nullptr) << name;
    }
}

}  // namespace

}  // namespace kx::information_model::opc
