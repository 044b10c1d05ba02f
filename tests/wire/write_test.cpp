#include "support/StderrCapture.h"
#include "support/TestServer.h"
#include "support/TestThreads.h"
#include "support/replies.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <limits>
#include <mutex>
#include <ostream>
#include <shared_mutex>
#include <stop_token>
#include <string>
#include <vector>

namespace kx::information_model::opc::testing {

/// A mode whose values are not their positions in the list.
enum class OPERATION : std::uint8_t { OFF = 10, AUTOMATIC = 20, MANUAL = 30 };

}  // namespace kx::information_model::opc::testing

template <>
struct kx::information_model::symbol_list::SymbolList<kx::information_model::opc::testing::OPERATION> {
    static const std::string& get_list_name() {
        static const std::string LIST_NAME = "plant.Mode";
        return LIST_NAME;
    }
    static const std::vector<Symbol>& get_symbols() {
        static const std::vector<Symbol> SYMBOLS = {
            {10, "off", ""}, {20, "automatic", ""}, {30, "manual", ""}};
        return SYMBOLS;
    }
};

namespace kx::information_model::opc::testing {

namespace {

using HISTORY_KIND = symbol_list::HISTORY_KIND;

/// A "Value" element as clients send and get it.
std::string create_value(const std::string& xsi_type, const std::string& content) {
    const std::string start = "<Value xsi:type=\"" + xsi_type + "\"";
    return content.empty() ? start + "/>" : start + ">" + content + "</Value>";
}

/// An item of a request.
std::string create_item(const std::string& name, const std::string& value) {
    return "<Items ItemName=\"" + name + "\">" + value + "</Items>";
}

/// A request that wants the values back.
std::string create_write(const std::string& items, const std::string& options = "") {
    return "<Write ReturnValuesOnReply=\"true\">" + options + "<ItemList>" + items + "</ItemList></Write>";
}

/// The response that reports these items.
std::string create_response(const std::string& items, const char* client_request_handle = nullptr) {
    const std::string list = items.empty() ? "<RItemList/>" : "<RItemList>" + items + "</RItemList>";
    return "<WriteResponse>" + list + create_result("WriteResult", client_request_handle) +
           "</WriteResponse>";
}

template <class Row>
std::string get_row_name(const ::testing::TestParamInfo<Row>& info) {
    return info.param.name;
}

TimePoint to_time(long seconds) {
    return TimePoint(std::chrono::seconds(seconds));
}

class WriteService : public WireTest {
protected:
    Variable& add(const std::string& name, Value initial) {
        return add(name, std::move(initial), {.writable = true});
    }

    Variable& add(const std::string& name, Value initial, VariableOptions options) {
        const std::unique_lock<Tree> lock(server.get_tree());
        return server.get_root().add_variable(name, std::move(initial), std::move(options));
    }

    Domain& add_domain(const std::string& name) {
        const std::unique_lock<Tree> lock(server.get_tree());
        return server.get_root().add_domain(name);
    }

    Value get(const Variable& variable) {
        const std::shared_lock<const Tree> lock(server.get_tree());
        return variable.get_value();
    }

    TimePoint get_timestamp(const Variable& variable) {
        const std::shared_lock<const Tree> lock(server.get_tree());
        return variable.get_timestamp();
    }

    Reply write(const std::string& items, const std::string& options = "") {
        return server.call(create_write(items, options));
    }

    /// Expects the tree's lock to be free.
    void expect_unlocked() {
        ASSERT_TRUE(server.get_tree().try_lock());
        server.get_tree().unlock();
    }
};

// ---- Each type, each way of storing it ----

struct TypeRow {
    const char* name;
    Value initial;
    const char* xsi_type;
    std::string content;  // sent
    Value expected;
    std::string reply_content;
    const char* reply_xsi_type = nullptr;  // the one sent, unless given

    friend std::ostream& operator<<(std::ostream& stream, const TypeRow& row) { return stream << row.name; }
};

class WriteType : public WriteService, public ::testing::WithParamInterface<TypeRow> {};

TEST_P(WriteType, StoresAndReturnsTheValue) {
    const TypeRow& row = GetParam();
    Variable& variable = add("v", row.initial);
    const char* reply_type = row.reply_xsi_type != nullptr ? row.reply_xsi_type : row.xsi_type;
    expect_success(write(create_item("v", create_value(row.xsi_type, row.content))),
                   create_response(create_item("/v", create_value(reply_type, row.reply_content))));
    EXPECT_EQ(get(variable), row.expected);
    EXPECT_EQ(get(variable).get_type_info(), row.initial.get_type_info());
}

INSTANTIATE_TEST_SUITE_P(
    Scalars, WriteType,
    ::testing::Values(
        TypeRow{"Boolean", Value(false), "xsd:boolean", "1", Value(true), "1"},
        TypeRow{"String", Value("x"), "xsd:string", " a &lt;b&gt; ", Value(" a <b> "), " a &lt;b&gt; "},
        TypeRow{"StringEmpty", Value("x"), "xsd:string", "", Value(""), ""},
        TypeRow{"Double", Value(0.0), "xsd:double", "2.5", Value(2.5), "2.500000"},
        TypeRow{"Float", Value(0.0F), "xsd:float", "0.1", Value(0.1F), "0.100000"},
        TypeRow{"Long", Value(0L), "xsd:long", "-9223372036854775808",
                Value(std::numeric_limits<long>::min()), "-9223372036854775808"},
        TypeRow{"Int", Value(0), "xsd:int", "42", Value(42), "42"},
        TypeRow{"Short", Value(short{0}), "xsd:short", "-2", Value(short{-2}), "-2"},
        TypeRow{"Byte", Value(static_cast<signed char>(0)), "xsd:byte", "-128",
                Value(static_cast<signed char>(-128)), "-128"},
        TypeRow{"UnsignedLong", Value(0UL), "xsd:unsignedLong", "18446744073709551615",
                Value(18446744073709551615UL), "18446744073709551615"},
        TypeRow{"UnsignedInt", Value(0U), "xsd:unsignedInt", "4294967295", Value(4294967295U), "4294967295"},
        TypeRow{"UnsignedShort", Value(static_cast<unsigned short>(0)), "xsd:unsignedShort", "65535",
                Value(static_cast<unsigned short>(65535)), "65535"},
        TypeRow{"UnsignedByte", Value(static_cast<unsigned char>(0)), "xsd:unsignedByte", "200",
                Value(static_cast<unsigned char>(200)), "200"},
        TypeRow{"DateTime", Value(to_time(0)), "xsd:dateTime", "2000-01-01T01:00:00+01:00",
                Value(to_time(946'684'800)), "2000-01-01T00:00:00Z"},
        TypeRow{"Duration", Value(Duration()), "xsd:duration", "PT90S",
                Value(Duration(std::chrono::seconds(90))), "PT1M30S"},
        TypeRow{"Path", Value(Path("/")), "xsd:string", "/boiler/temperature",
                Value(Path("/boiler/temperature")), "/boiler/temperature"},
        TypeRow{"Symbol", Value(SymbolInfo(HISTORY_KIND::NONE)), "xsd:int", "2",
                Value(SymbolInfo(HISTORY_KIND::HISTORY_SUGGESTED)), "2"},
        // The client names a position and gets the value that stands there.
        TypeRow{"SymbolByPosition", Value(SymbolInfo(OPERATION::OFF)), "xsd:int", "1",
                Value(SymbolInfo(OPERATION::AUTOMATIC)), "20"}),
    get_row_name<TypeRow>);

INSTANTIATE_TEST_SUITE_P(
    Arrays, WriteType,
    ::testing::Values(
        TypeRow{"Boolean", Value(std::vector<bool>{}), "ArrayOfBoolean",
                "<boolean>1</boolean><boolean>0</boolean>", Value(std::vector<bool>{true, false}),
                "<boolean>1</boolean><boolean>0</boolean>"},
        TypeRow{"String", Value(std::vector<std::string>{"x"}), "ArrayOfString",
                "<string>a</string><string/>", Value(std::vector<std::string>{"a", ""}),
                "<string>a</string><string/>"},
        TypeRow{"Double", Value(std::vector<double>{}), "ArrayOfDouble",
                "<double>1.5</double><double>-2</double>", Value(std::vector<double>{1.5, -2}),
                "<double>1.500000</double><double>-2.000000</double>"},
        TypeRow{"DoubleEmpty", Value(std::vector<double>{1.5}), "ArrayOfDouble", "",
                Value(std::vector<double>{}), ""},
        TypeRow{"Float", Value(std::vector<float>{}), "ArrayOfFloat", "<float>1.5</float>",
                Value(std::vector<float>{1.5F}), "<float>1.500000</float>"},
        TypeRow{"Long", Value(std::vector<long>{}), "ArrayOfLong", "<long>-1</long>",
                Value(std::vector<long>{-1}), "<long>-1</long>"},
        TypeRow{"Int", Value(std::vector<int>{}), "ArrayOfInt", "<int>1</int><int>2</int>",
                Value(std::vector<int>{1, 2}), "<int>1</int><int>2</int>"},
        TypeRow{"Short", Value(std::vector<short>{}), "ArrayOfShort", "<short>1</short>",
                Value(std::vector<short>{1}), "<short>1</short>"},
        TypeRow{"Byte", Value(std::vector<signed char>{}), "ArrayOfByte", "<byte>-1</byte><byte>200</byte>",
                Value(std::vector<signed char>{-1, -56}), "<byte>-1</byte><byte>-56</byte>"},
        TypeRow{"UnsignedLong", Value(std::vector<unsigned long>{}), "ArrayOfUnsignedLong",
                "<unsignedLong>7</unsignedLong>", Value(std::vector<unsigned long>{7}),
                "<unsignedLong>7</unsignedLong>"},
        TypeRow{"UnsignedInt", Value(std::vector<unsigned int>{}), "ArrayOfUnsignedInt",
                "<unsignedInt>7</unsignedInt>", Value(std::vector<unsigned int>{7}),
                "<unsignedInt>7</unsignedInt>"},
        TypeRow{"UnsignedShort", Value(std::vector<unsigned short>{}), "ArrayOfUnsignedShort",
                "<unsignedShort>7</unsignedShort>", Value(std::vector<unsigned short>{7}),
                "<unsignedShort>7</unsignedShort>"},
        // The bits of the signed bytes are what is stored, and what is sent back.
        TypeRow{"UnsignedByte", Value(std::vector<unsigned char>{}), "ArrayOfByte",
                "<byte>-128</byte><byte>-1</byte><byte>7</byte>",
                Value(std::vector<unsigned char>{128, 255, 7}),
                "<byte>-128</byte><byte>-1</byte><byte>7</byte>"},
        TypeRow{"UnsignedByteEmpty", Value(std::vector<unsigned char>{1}), "ArrayOfByte", "",
                Value(std::vector<unsigned char>{}), ""},
        TypeRow{"DateTime", Value(std::vector<TimePoint>{}), "ArrayOfDateTime",
                "<dateTime>1970-01-01T00:00:01Z</dateTime>", Value(std::vector<TimePoint>{to_time(1)}),
                "<dateTime>1970-01-01T00:00:01Z</dateTime>"},
        TypeRow{"Duration", Value(std::vector<Duration>{}), "ArrayOfDuration", "<duration>PT1S</duration>",
                Value(std::vector<Duration>{Duration(std::chrono::seconds(1))}), "<duration>PT1S</duration>"},
        TypeRow{"Path", Value(std::vector<Path>{}), "ArrayOfString",
                "<string>/a</string><string>b/c</string>", Value(std::vector<Path>{Path("/a"), Path("b/c")}),
                "<string>/a</string><string>b/c</string>"},
        TypeRow{"PathEmpty", Value(std::vector<Path>{Path("/a")}), "ArrayOfString", "",
                Value(std::vector<Path>{}), ""}),
    get_row_name<TypeRow>);

INSTANTIATE_TEST_SUITE_P(
    Quirks, WriteType,
    ::testing::Values(
        TypeRow{"PartialNumber", Value(0), "xsd:int", "12 apples", Value(12), "12"},
        TypeRow{"NoNumber", Value(7), "xsd:int", "x", Value(0), "0"},
        TypeRow{"EmptyNumber", Value(7.0), "xsd:double", "", Value(0.0), "0.000000"},
        TypeRow{"BlankBoolean", Value(true), "xsd:boolean", " \n", Value(false), "0"},
        TypeRow{"Hexadecimal", Value(7), "xsd:int", "0x10", Value(0), "0"},
        TypeRow{"Saturation", Value(0), "xsd:int", "3000000000", Value(2147483647), "2147483647"},
        TypeRow{"ShortSaturation", Value(short{0}), "xsd:short", "40000", Value(short{32767}), "32767"},
        TypeRow{"UnsignedWrap", Value(0U), "xsd:unsignedInt", "-1", Value(4294967295U), "4294967295"},
        TypeRow{"ByteWrap", Value(static_cast<signed char>(0)), "xsd:byte", "200",
                Value(static_cast<signed char>(-56)), "-56"},
        TypeRow{"UnsignedByteWrap", Value(static_cast<unsigned char>(0)), "xsd:unsignedByte", "300",
                Value(static_cast<unsigned char>(44)), "44"},
        TypeRow{"UnsignedByteSaturation", Value(static_cast<unsigned char>(0)), "xsd:unsignedByte", "100000",
                Value(static_cast<unsigned char>(255)), "255"},
        TypeRow{"WordTrue", Value(true), "xsd:boolean", "true", Value(false), "0"},
        TypeRow{"BooleanTwo", Value(false), "xsd:boolean", "2", Value(true), "1"},
        TypeRow{"NaN", Value(1.0), "xsd:double", "NaN", Value(0.0), "0.000000"},
        TypeRow{"UnfinishedExponent", Value(1.0), "xsd:double", "1e", Value(0.0), "0.000000"},
        TypeRow{"FloatSaturation", Value(0.0F), "xsd:float", "-1e99",
                Value(std::numeric_limits<float>::lowest()),
                "-340282346638528859811704183484516925440.000000"},
        TypeRow{"NestedText", Value(0), "xsd:int", "<a>1</a><!-- 5 -->2<![CDATA[3]]>", Value(123), "123"},
        TypeRow{"ForeignMembers", Value(std::vector<int>{}), "ArrayOfInt",
                " <int>1</int><double>2</double><int xmlns=\"\">3</int><int>4</int> ",
                Value(std::vector<int>{1, 4}), "<int>1</int><int>4</int>"},
        TypeRow{"TextInsteadOfMembers", Value(std::vector<int>{9}), "ArrayOfInt", "1 2",
                Value(std::vector<int>{}), ""}),
    get_row_name<TypeRow>);

// ---- An item without a value ----

struct ResetRow {
    const char* name;
    Value initial;
    Value expected;
    std::string reply_value;

    friend std::ostream& operator<<(std::ostream& stream, const ResetRow& row) { return stream << row.name; }
};

class WriteReset : public WriteService, public ::testing::WithParamInterface<ResetRow> {};

TEST_P(WriteReset, LeavesTheDefaultContentOfTheType) {
    Variable& variable = add("v", GetParam().initial);
    expect_success(write(R"(<Items ItemName="v"/>)"),
                   create_response(create_item("/v", GetParam().reply_value)));
    EXPECT_EQ(get(variable), GetParam().expected);
    EXPECT_EQ(get(variable).get_type_info(), GetParam().initial.get_type_info());
}

INSTANTIATE_TEST_SUITE_P(
    Types, WriteReset,
    ::testing::Values(ResetRow{"Boolean", Value(true), Value(false), create_value("xsd:boolean", "0")},
                      ResetRow{"String", Value("x"), Value(""), "<Value xsi:type=\"xsd:string\"/>"},
                      ResetRow{"Double", Value(2.5), Value(0.0), create_value("xsd:double", "0.000000")},
                      ResetRow{"Int", Value(7), Value(0), create_value("xsd:int", "0")},
                      ResetRow{"UnsignedByte", Value(static_cast<unsigned char>(7)),
                               Value(static_cast<unsigned char>(0)), create_value("xsd:unsignedByte", "0")},
                      ResetRow{"DateTime", Value(to_time(7)), Value(to_time(0)),
                               create_value("xsd:dateTime", "1970-01-01T00:00:00Z")},
                      ResetRow{"Duration", Value(Duration(std::chrono::seconds(1))), Value(Duration()),
                               create_value("xsd:duration", "PT0S")},
                      ResetRow{"Path", Value(Path("/a")), Value(Path(".")), create_value("xsd:string", ".")},
                      ResetRow{"AbsolutePath", Value(AbsolutePath("h", "t", "p")),
                               Value(AbsolutePath("", "", "/")), create_value("xsd:string", "/")},
                      ResetRow{"Symbol", Value(SymbolInfo(OPERATION::MANUAL)),
                               Value(SymbolInfo(OPERATION::OFF)), create_value("xsd:int", "10")},
                      ResetRow{"DoubleArray", Value(std::vector<double>{1}), Value(std::vector<double>{}),
                               create_value("ArrayOfDouble", "")},
                      ResetRow{"UnsignedByteArray", Value(std::vector<unsigned char>{1}),
                               Value(std::vector<unsigned char>{}), create_value("ArrayOfByte", "")},
                      ResetRow{"SymbolArray", Value(std::vector<SymbolInfo>{SymbolInfo(OPERATION::MANUAL)}),
                               Value(std::vector<SymbolInfo>{}), create_value("ArrayOfInt", "")}),
    get_row_name<ResetRow>);

TEST_F(WriteService, ValueElementOfAnotherNamespaceIsNoValue) {
    Variable& variable = add("v", Value(7));
    expect_success(write(create_item("v", R"(<Value xmlns="" xsi:type="xsd:int">5</Value>)")),
                   create_response(create_item("/v", create_value("xsd:int", "0"))));
    EXPECT_EQ(get(variable), Value(0));
}

TEST_F(WriteService, FirstOfSeveralValuesCounts) {
    Variable& variable = add("v", Value(7));
    expect_success(
        write(create_item("v", "text" + create_value("xsd:int", "1") + create_value("xsd:int", "2"))),
        create_response(create_item("/v", create_value("xsd:int", "1"))));
    EXPECT_EQ(get(variable), Value(1));
}

// ---- What fails the request ----

struct FailureRow {
    const char* name;
    Value initial;
    const char* xsi_type;
    std::string content;

    friend std::ostream& operator<<(std::ostream& stream, const FailureRow& row) {
        return stream << row.name;
    }
};

class WriteFailure : public WriteService, public ::testing::WithParamInterface<FailureRow> {};

// The value is seen to be wrong when its turn comes: what stands before it is written, what follows is not.
TEST_P(WriteFailure, LeavesEarlierItemsWritten) {
    Variable& before = add("before", Value(0));
    Variable& variable = add("v", GetParam().initial);
    Variable& after = add("after", Value(0));
    StderrCapture capture;
    expect_bad_request(write(create_item("before", create_value("xsd:int", "1")) +
                             create_item("nowhere", "") +
                             create_item("v", create_value(GetParam().xsi_type, GetParam().content)) +
                             create_item("after", create_value("xsd:int", "1"))));
    EXPECT_EQ(capture.stop(), "error not foundPath not found: nowhere\n");
    expect_unlocked();
    EXPECT_EQ(get(before), Value(1));
    EXPECT_EQ(get(variable), GetParam().initial);
    EXPECT_EQ(get(after), Value(0));
}

const Value SYMBOL{SymbolInfo(HISTORY_KIND::HISTORY_AVAILABLE)};
const Value SYMBOLS(std::vector<SymbolInfo>{SymbolInfo(HISTORY_KIND::HISTORY_AVAILABLE)});
const Value UNSIGNED_BYTES(std::vector<unsigned char>{1});
const Value PATHS(std::vector<Path>{Path("/a")});

INSTANTIATE_TEST_SUITE_P(
    WrongKindOfValue, WriteFailure,
    ::testing::Values(
        FailureRow{"UnsignedBytesFromShorts", UNSIGNED_BYTES, "ArrayOfShort", "<short>1</short>"},
        FailureRow{"UnsignedBytesFromScalar", UNSIGNED_BYTES, "xsd:byte", "1"},
        FailureRow{"UnsignedBytesFromUnsignedByte", UNSIGNED_BYTES, "xsd:unsignedByte", "1"},
        FailureRow{"SymbolFromUnsignedInt", SYMBOL, "xsd:unsignedInt", "2"},
        FailureRow{"SymbolFromString", SYMBOL, "xsd:string", "2"},
        FailureRow{"SymbolFromInts", SYMBOL, "ArrayOfInt", "<int>2</int>"},
        FailureRow{"SymbolOutsideTheList", SYMBOL, "xsd:int", "3"},
        FailureRow{"SymbolNegative", SYMBOL, "xsd:int", "-1"},
        FailureRow{"SymbolsFromInts", SYMBOLS, "ArrayOfInt", "<int>2</int>"},
        FailureRow{"SymbolsFromInt", SYMBOLS, "xsd:int", "2"},
        FailureRow{"PathFromInt", Value(Path("/a")), "xsd:int", "1"},
        FailureRow{"PathFromStrings", Value(Path("/a")), "ArrayOfString", "<string>/b</string>"},
        FailureRow{"PathFromNoPath", Value(Path("/a")), "xsd:string", "a//b"},
        FailureRow{"PathFromEmptyText", Value(Path("/a")), "xsd:string", ""},
        FailureRow{"PathsFromString", PATHS, "xsd:string", "/b"},
        FailureRow{"PathsFromInts", PATHS, "ArrayOfInt", "<int>1</int>"},
        FailureRow{"PathsWithOneThatIsNone", PATHS, "ArrayOfString", "<string>/b</string><string/>"},
        FailureRow{"AbsolutePath", Value(AbsolutePath("h", "t", "p")), "xsd:string", "//h/t/q"},
        FailureRow{"DoubleFromInt", Value(1.5), "xsd:int", "2"},
        FailureRow{"DoubleFromFloat", Value(1.5), "xsd:float", "2"},
        FailureRow{"DoubleFromDoubles", Value(1.5), "ArrayOfDouble", "<double>2</double>"},
        FailureRow{"DoublesFromDouble", Value(std::vector<double>{1}), "xsd:double", "2"},
        FailureRow{"IntFromLong", Value(1), "xsd:long", "2"},
        FailureRow{"UnsignedByteFromByte", Value(static_cast<unsigned char>(1)), "xsd:byte", "2"},
        FailureRow{"StringFromBoolean", Value("x"), "xsd:boolean", "1"}),
    get_row_name<FailureRow>);

class WriteMalformed : public WriteService, public ::testing::WithParamInterface<std::string> {};

// Seen while the request is read, before any item is written.
TEST_P(WriteMalformed, WritesNothing) {
    Variable& first = add("first", Value(0));
    Variable& variable = add("v", Value(7));
    StderrCapture capture;
    expect_bad_request(
        write(create_item("nowhere", "") + create_item("first", create_value("xsd:int", "1")) + GetParam()));
    EXPECT_EQ(capture.stop(), "");
    EXPECT_EQ(get(first), Value(0));
    EXPECT_EQ(get(variable), Value(7));
}

INSTANTIATE_TEST_SUITE_P(
    Types, WriteMalformed,
    ::testing::Values(
        create_item("v", "<Value>5</Value>"), create_item("v", R"(<Value type="xsd:int">5</Value>)"),
        create_item("v", R"(<Value type="xsd:int" xmlns:o="urn:o" o:type="xsd:int">5</Value>)"),
        create_item("v", create_value("", "5")), create_item("v", create_value("int", "5")),
        create_item("v", create_value("xs:int", "5")), create_item("v", create_value("xsd:int ", "5")),
        create_item("v", create_value(" xsd:int", "5")), create_item("v", create_value("XSD:int", "5")),
        create_item("v", create_value("xsd:Int", "5")), create_item("v", create_value("xsd:decimal", "5")),
        create_item("v", create_value("xsd:ArrayOfInt", "<int>5</int>")),
        create_item("v", create_value("ArrayOfUnsignedByte", "<unsignedByte>5</unsignedByte>")),
        create_item("v", create_value("ArrayOfAnyType", "")),
        create_item("nowhere", create_value("xsd:anyType", "5"))));

INSTANTIATE_TEST_SUITE_P(Texts, WriteMalformed,
                         ::testing::Values(create_item("v", create_value("xsd:dateTime", "yesterday")),
                                           create_item("v", create_value("xsd:dateTime", "")),
                                           create_item("v",
                                                       create_value("xsd:dateTime", "2000-01-01 00:00:00Z")),
                                           create_item("v", create_value("xsd:duration", "1 s")),
                                           create_item("v", create_value("ArrayOfDateTime", "<dateTime/>"))));

INSTANTIATE_TEST_SUITE_P(ItemNames, WriteMalformed,
                         ::testing::Values("<Items/>", R"(<Items ItemName=""/>)",
                                           R"(<Items ItemName="a//b"/>)", R"(<Items ItemName="../v"/>)",
                                           R"(<Items ItemPath="v"/>)",
                                           R"(<Items xmlns:q="urn:q" q:ItemName="v"/>)"));

class WriteRequest : public WriteService, public ::testing::WithParamInterface<std::string> {};

TEST_P(WriteRequest, IsRefusedAndWritesNothing) {
    Variable& variable = add("v", Value(7));
    expect_bad_request(server.call(GetParam() + "<ItemList>" +
                                   create_item("v", create_value("xsd:int", "5")) + "</ItemList></Write>"));
    EXPECT_EQ(get(variable), Value(7));
}

INSTANTIATE_TEST_SUITE_P(
    Attributes, WriteRequest,
    ::testing::Values("<Write>", R"(<Write ReturnValuesOnReply="">)",
                      R"(<Write ReturnValuesOnReply="maybe">)", R"(<Write returnValuesOnReply="true">)",
                      R"(<Write><Options ReturnValuesOnReply="true"/>)",
                      R"(<Write ReturnValuesOnReply="1"><Options ReturnItemTime="maybe"/>)",
                      R"(<Write ReturnValuesOnReply="1"><Options ReturnErrorText="2x"/>)"));

// ---- What is left out ----

TEST_F(WriteService, LeavesOutWhatIsUnknownNoVariableOrNotWritable) {
    Variable& first = add("first", Value(0));
    Variable& read_only = add("readOnly", Value(0), {.writable = false});
    Variable& unsaid = add("unsaid", Value(0), {});
    add_domain("boiler");
    Variable& last = add("last", Value(0));
    std::string items;
    for (const char* name :
         {"first", "readOnly", "unsaid", "/boiler/nothing", "boiler", ".", "first/x", "last"}) {
        items += create_item(name, create_value("xsd:int", "1"));
    }
    StderrCapture capture;
    expect_success(write(items), create_response(create_item("/first", create_value("xsd:int", "1")) +
                                                 create_item("/last", create_value("xsd:int", "1"))));
    EXPECT_EQ(capture.stop(),
              "error not foundPath not found: /boiler/nothing\n"
              "error variable not found\n"
              "error variable not found\n"
              "error not foundPath not found: first/x\n");
    EXPECT_EQ(get(first), Value(1));
    EXPECT_EQ(get(read_only), Value(0));
    EXPECT_EQ(get(unsaid), Value(0));
    EXPECT_EQ(get(last), Value(1));
}

TEST_F(WriteService, DoesNotLookAtTheValueForAVariableThatIsNotWritable) {
    Variable& variable = add("v", Value(0), {.writable = false});
    StderrCapture capture;
    expect_success(write(create_item("v", create_value("xsd:string", "x")) + create_item("v", "")),
                   create_response(""));
    EXPECT_EQ(capture.stop(), "");
    EXPECT_EQ(get(variable), Value(0));
}

TEST_F(WriteService, EmptyOrMissingItemListGivesAnEmptyList) {
    for (const char* content :
         {"", "<ItemList/>", "<ItemList> \n </ItemList>", "<ItemList><!-- x --></ItemList>",
          "<ItemList><Item ItemName=\"v\"/><items/></ItemList>", "<Items ItemName=\"v\"/>",
          "<ItemList><Items xmlns=\"urn:q\" ItemName=\"v\"/></ItemList>",
          "<ItemList xmlns=\"\"><Items ItemName=\"v\"/></ItemList>",
          "<ItemList/><ItemList><Items ItemName=\"v\"/></ItemList>"}) {
        Reply reply = server.call(std::string("<Write ReturnValuesOnReply=\"true\">") + content + "</Write>");
        expect_success(reply, create_response(""));
    }
}

// ---- The reply ----

TEST_F(WriteService, ReportsOnlyNameAndHandleUnlessAskedForMore) {
    Variable& variable = add("v", Value(0));
    expect_success(
        server.call("<Write ReturnValuesOnReply=\"false\"><ItemList>"
                    "<Items ItemName=\"v\" ClientItemHandle=\"h &amp; 1\">" +
                    create_value("xsd:int", "1") + "</Items>" +
                    "<Items ItemName=\"v\" ClientItemHandle=\"\">" + create_value("xsd:int", "2") +
                    "</Items></ItemList></Write>"),
        create_response(R"(<Items ClientItemHandle="h &amp; 1" ItemName="/v"/><Items ItemName="/v"/>)"));
    EXPECT_EQ(get(variable), Value(2));
}

TEST_F(WriteService, ReturnsTheValueOfEachMomentForAnItemThatIsWrittenTwice) {
    add("v", Value(0));
    expect_success(write(create_item("v", create_value("xsd:int", "1")) + create_item("v", "") +
                         create_item("v", create_value("xsd:int", "2"))),
                   create_response(create_item("/v", create_value("xsd:int", "1")) +
                                   create_item("/v", create_value("xsd:int", "0")) +
                                   create_item("/v", create_value("xsd:int", "2"))));
}

TEST_F(WriteService, AcceptsEveryFormOfABool) {
    add("v", Value(0));
    const std::string list = "<ItemList><Items ItemName=\"v\"/></ItemList></Write>";
    const std::string with_value = create_response(create_item("/v", create_value("xsd:int", "0")));
    const std::string without_value = create_response(R"(<Items ItemName="/v"/>)");
    for (const char* text : {"1", "true", "True", "yes", "ON", "7"}) {
        expect_success(server.call("<Write ReturnValuesOnReply=\"" + std::string(text) + "\">" + list),
                       with_value);
    }
    for (const char* text : {"0", "false", "FALSE", "no", "off"}) {
        expect_success(server.call("<Write ReturnValuesOnReply=\"" + std::string(text) + "\">" + list),
                       without_value);
    }
}

TEST_F(WriteService, ReportsTheTimeOfTheWriteIfAsked) {
    Variable& variable = add("v", Value(0));
    const TimePoint before = std::chrono::system_clock::now();
    const Reply reply = write(create_item("v", create_value("xsd:int", "0")),
                              R"(<Options ReturnItemTime="true" ClientRequestHandle="r"/>)");
    EXPECT_GE(get_timestamp(variable), before);
    expect_success(reply, create_response("<Items ItemName=\"/v\" Timestamp=\"" +
                                              to_iso8601_string(get_timestamp(variable)) + "\">" +
                                              create_value("xsd:int", "0") + "</Items>",
                                          "r"));
}

TEST_F(WriteService, OptionsWithoutItemTimeAskForIt) {
    Variable& variable = add("v", Value(0));
    const Reply reply = write(R"(<Items ItemName="v"/>)", "<Options/>");
    expect_success(reply, create_response("<Items ItemName=\"/v\" Timestamp=\"" +
                                          to_iso8601_string(get_timestamp(variable)) + "\">" +
                                          create_value("xsd:int", "0") + "</Items>"));
}

TEST_F(WriteService, OtherOptionsChangeNothing) {
    add("v", Value(0));
    expect_success(write(R"(<Items ItemName="v"/>)",
                         R"(<Options ReturnErrorText="0" ReturnDiagnosticInfo="1" ReturnItemTime="0")"
                         R"( ReturnItemPath="1" LocaleID="de-DE"/>)"),
                   create_response(create_item("/v", create_value("xsd:int", "0"))));
}

TEST_F(WriteService, AddressesItemsByTheirNameAlone) {
    Domain& boiler = add_domain("boiler");
    {
        const std::unique_lock<Tree> lock(server.get_tree());
        boiler.add_variable("level", Value(0), {.writable = true});
    }
    const std::string written = create_item("/boiler/level", create_value("xsd:int", "0"));
    StderrCapture capture;
    expect_success(write(R"(<Items ItemName="boiler/level"/><Items ItemName="./boiler/level"/>)"
                         R"(<Items ItemName="/boiler/level" ItemPath="/nowhere"/>)"
                         R"(<Items ItemName="level" ItemPath="boiler"/>)"),
                   create_response(written + written + written));
    EXPECT_EQ(capture.stop(), "error not foundPath not found: level\n");
}

TEST_F(WriteService, TakesTheItemNameWithoutPrefixOnly) {
    add("v", Value(0));
    add("w", Value(0));
    const std::string declaration = R"(xmlns:q="http://opcfoundation.org/webservices/XMLDA/1.0/")";
    expect_success(write("<Items " + declaration + R"( q:ItemName="w" ItemName="v"/>)"),
                   create_response(create_item("/v", create_value("xsd:int", "0"))));
    expect_bad_request(write("<Items " + declaration + R"( q:ItemName="w"/>)"));
}

TEST_F(WriteService, GoesByNamespacesNotByPrefixes) {
    Variable& variable = add("v", Value(0));
    const Reply reply = server.post(
        R"(<s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/")"
        R"( xmlns:d="http://opcfoundation.org/webservices/XMLDA/1.0/")"
        R"( xmlns:i="http://www.w3.org/2001/XMLSchema-instance"><s:Body>)"
        R"(<d:Write d:ReturnValuesOnReply="true"><d:Options d:ReturnItemTime="0" d:ClientRequestHandle="r"/>)"
        R"(<d:ItemList><d:Items ItemName="v" d:ClientItemHandle="h"><d:Value i:type="xsd:int">5</d:Value>)"
        R"(</d:Items></d:ItemList></d:Write></s:Body></s:Envelope>)");
    expect_success(reply, create_response(R"(<Items ClientItemHandle="h" ItemName="/v">)" +
                                              create_value("xsd:int", "5") + "</Items>",
                                          "r"));
    EXPECT_EQ(get(variable), Value(5));
}

TEST_F(WriteService, WritesManyItemsOfOneRequest) {
    std::string items;
    std::string expected;
    for (int index = 0; index < 2000; ++index) {
        const std::string name = "v" + std::to_string(index);
        add(name, Value(0));
        items += create_item(name, create_value("xsd:int", std::to_string(index)));
        expected += create_item("/" + name, create_value("xsd:int", std::to_string(index)));
    }
    expect_success(write(items), create_response(expected));
}

// ---- Guards ----

bool clamp(const Variable& /*variable*/, Value& value) {
    if (std::get<double>(value) > 350.0) {
        value = Value(350.0);
    }
    return true;
}

TEST_F(WriteService, StoresAndReportsWhatTheGuardMakesOfAValue) {
    Variable& setpoint = add("setpoint", Value(20.0), {.writable = true, .accept = clamp});
    std::vector<Value> seen;
    Registration registration;
    {
        const std::unique_lock<Tree> lock(server.get_tree());
        registration = setpoint.on_write([&](const Path&, const Value& value) { seen.push_back(value); });
    }
    expect_success(write(create_item("setpoint", create_value("xsd:double", "5000")) +
                         create_item("setpoint", create_value("xsd:double", "200"))),
                   create_response(create_item("/setpoint", create_value("xsd:double", "350.000000")) +
                                   create_item("/setpoint", create_value("xsd:double", "200.000000"))));
    EXPECT_EQ(seen, (std::vector<Value>{Value(350.0), Value(200.0)}));
}

TEST_F(WriteService, LeavesOutWhatTheGuardRefuses) {
    const auto refuse = [](const Variable&, Value& value) {
        value = Value(7);
        return false;
    };
    Variable& refused = add("refused", Value(1), {.writable = true, .accept = refuse});
    Variable& other = add("other", Value(1));
    const TimePoint timestamp = get_timestamp(refused);
    StderrCapture capture;
    expect_success(
        write(create_item("refused", create_value("xsd:int", "2")) +
              create_item("other", create_value("xsd:int", "2")) + R"(<Items ItemName="refused"/>)"),
        create_response(create_item("/other", create_value("xsd:int", "2"))));
    EXPECT_EQ(capture.stop(), "");
    EXPECT_EQ(get(refused), Value(1));
    EXPECT_EQ(get_timestamp(refused), timestamp);
    EXPECT_EQ(get(other), Value(2));
}

TEST_F(WriteService, AGuardSeesTheValueAsTheVariableHoldsIt) {
    std::vector<Value> seen;
    const Guard remember = [&](const Variable& variable, Value& value) {
        EXPECT_EQ(value.get_type_info(), variable.get_value_type_info());
        seen.push_back(value);
        return true;
    };
    add("symbol", Value(SymbolInfo(HISTORY_KIND::NONE)), {.writable = true, .accept = remember});
    add("path", Value(Path("/a")), {.writable = true, .accept = remember});
    add("bytes", UNSIGNED_BYTES, {.writable = true, .accept = remember});
    add("emptied", Value(5), {.writable = true, .accept = remember});
    write(create_item("symbol", create_value("xsd:int", "1")) +
          create_item("path", create_value("xsd:string", "/b")) +
          create_item("bytes", create_value("ArrayOfByte", "<byte>-1</byte>")) +
          R"(<Items ItemName="emptied"/>)");
    EXPECT_EQ(seen, (std::vector<Value>{Value(SymbolInfo(HISTORY_KIND::HISTORY_AVAILABLE)), Value(Path("/b")),
                                        Value(std::vector<unsigned char>{255}), Value(0)}));
}

TEST_F(WriteService, AGuardThatFailsRefuses) {
    const auto fail = [](const Variable&, Value&) -> bool { throw std::runtime_error("guard at fault"); };
    const auto fail_oddly = [](const Variable&, Value&) -> bool { throw 5; };
    const auto retype = [](const Variable&, Value& value) {
        value = Value("text");
        return true;
    };
    add("a", Value(1), {.writable = true, .accept = fail});
    add("b", Value(1), {.writable = true, .accept = fail_oddly});
    add("c", Value(1), {.writable = true, .accept = retype});
    add("d", Value(1));
    std::string items;
    for (const char* name : {"a", "b", "c", "d"}) {
        items += create_item(name, create_value("xsd:int", "2"));
    }
    StderrCapture capture;
    expect_success(write(items), create_response(create_item("/d", create_value("xsd:int", "2"))));
    EXPECT_EQ(capture.stop(),
              "error guard of /a failed: guard at fault\n"
              "error guard of /b failed: unknown exception\n"
              "error guard of /c failed: Bad value type.\n");
    expect_unlocked();
}

TEST_F(WriteService, AGuardIsNotAskedAboutAValueOfAnotherType) {
    int asked = 0;
    const Guard count = [&](const Variable&, Value&) {
        ++asked;
        return false;
    };
    add("guarded", Value(1), {.writable = true, .accept = count});
    add("readOnly", Value(1), {.writable = false, .accept = count});
    expect_bad_request(write(create_item("readOnly", create_value("xsd:int", "1")) +
                             create_item("guarded", create_value("xsd:double", "1"))));
    EXPECT_EQ(asked, 0);
}

// ---- Observers and the lock ----

TEST_F(WriteService, ObserversMayLockTheTreeAndWrite) {
    Variable& setpoint = add("setpoint", Value(0.0));
    Variable& echo = add("echo", Value(0.0));
    std::vector<std::string> seen;
    Registration registration;
    {
        const std::unique_lock<Tree> lock(server.get_tree());
        registration = setpoint.on_change([&](const Path& path, const Value& value) {
            const std::unique_lock<Tree> inner(server.get_tree());
            echo = value;
            seen.push_back(path.as_string());
        });
    }
    expect_success(write(create_item("setpoint", create_value("xsd:double", "2.5"))),
                   create_response(create_item("/setpoint", create_value("xsd:double", "2.500000"))));
    EXPECT_EQ(seen, std::vector<std::string>{"/setpoint"});
    EXPECT_EQ(get(echo), Value(2.5));
}

TEST_F(WriteService, ObserversSeeEveryItemOfTheRequestWritten) {
    Variable& first = add("first", Value(0));
    Variable& second = add("second", Value(0));
    std::vector<Value> seen;
    Registration registration;
    {
        const std::unique_lock<Tree> lock(server.get_tree());
        registration = first.on_change([&](const Path&, const Value&) { seen.push_back(get(second)); });
    }
    write(create_item("first", create_value("xsd:int", "1")) +
          create_item("second", create_value("xsd:int", "2")));
    EXPECT_EQ(seen, std::vector<Value>{Value(2)});
}

TEST_F(WriteService, EveryBranchReachesBothKindsOfObservers) {
    Variable& number = add("number", Value(1));
    Variable& symbol = add("symbol", Value(SymbolInfo(HISTORY_KIND::NONE)));
    Variable& path = add("path", Value(Path("/a")));
    Variable& bytes = add("bytes", UNSIGNED_BYTES);
    Variable& emptied = add("emptied", Value(1));
    std::vector<std::string> changed;
    std::vector<std::string> written;
    std::vector<Registration> registrations;
    {
        const std::unique_lock<Tree> lock(server.get_tree());
        for (Variable* variable : {&number, &symbol, &path, &bytes, &emptied}) {
            registrations.push_back(variable->on_change(
                [&](const Path& name, const Value&) { changed.push_back(name.as_string()); }));
            registrations.push_back(variable->on_write(
                [&](const Path& name, const Value&) { written.push_back(name.as_string()); }));
        }
    }
    const std::string items = create_item("number", create_value("xsd:int", "2")) +
                              create_item("symbol", create_value("xsd:int", "1")) +
                              create_item("path", create_value("xsd:string", "/b")) +
                              create_item("bytes", create_value("ArrayOfByte", "<byte>-1</byte>")) +
                              R"(<Items ItemName="emptied"/>)";
    const std::vector<std::string> all = {"/number", "/symbol", "/path", "/bytes", "/emptied"};
    write(items);
    EXPECT_EQ(changed, all);
    EXPECT_EQ(written, all);
    write(items);  // now nothing changes
    EXPECT_EQ(changed, all);
    EXPECT_EQ(written.size(), 2 * all.size());
}

TEST_F(WriteService, ObserversOfWhatWasWrittenRunWhenTheRequestFailsHalfWay) {
    Variable& first = add("first", Value(0));
    Variable& symbol = add("symbol", SYMBOL);
    std::vector<Value> seen;
    std::vector<Registration> registrations;
    {
        const std::unique_lock<Tree> lock(server.get_tree());
        registrations.push_back(first.on_change([&](const Path&, const Value& value) {
            const std::unique_lock<Tree> inner(server.get_tree());
            seen.push_back(value);
        }));
        registrations.push_back(
            symbol.on_write([&](const Path&, const Value& value) { seen.push_back(value); }));
    }
    expect_bad_request(write(create_item("first", create_value("xsd:int", "1")) +
                             create_item("symbol", create_value("xsd:unsignedInt", "1"))));
    EXPECT_EQ(seen, std::vector<Value>{Value(1)});
    expect_unlocked();
}

TEST_F(WriteService, AnObserverThatThrowsDoesNotFailTheRequest) {
    Variable& variable = add("v", Value(0));
    Registration registration;
    {
        const std::unique_lock<Tree> lock(server.get_tree());
        registration = variable.on_change(
            [](const Path&, const Value&) { throw std::runtime_error("observer at fault"); });
    }
    StderrCapture capture;
    expect_success(write(create_item("v", create_value("xsd:int", "1"))),
                   create_response(create_item("/v", create_value("xsd:int", "1"))));
    EXPECT_NE(capture.stop().find("observer at fault"), std::string::npos);
}

TEST_F(WriteService, WaitsForTheTreeLock) {
    Variable& variable = add("v", Value(0));
    std::shared_lock<const Tree> lock(server.get_tree());
    auto reply =
        std::async(std::launch::async, [&] { return write(create_item("v", create_value("xsd:int", "1"))); });
    EXPECT_EQ(reply.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
    EXPECT_EQ(variable.get_value(), Value(0));
    lock.unlock();
    EXPECT_EQ(reply.get().status, 200);
    EXPECT_EQ(get(variable), Value(1));
}

// What a malformed request does not need is the lock: it is refused while the host holds it.
TEST_F(WriteService, ReadsTheRequestWithoutTheTreeLock) {
    add("v", Value(0));
    const std::unique_lock<Tree> lock(server.get_tree());
    expect_bad_request(write(create_item("v", create_value("xsd:decimal", "1"))));
}

TEST_F(WriteService, NobodySeesTheItemsOfOneRequestApart) {
    Variable& left = add("left", Value(0));
    Variable& right = add("right", Value(0));
    std::atomic<bool> torn = false;
    const auto watch = [&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            const std::shared_lock<const Tree> lock(server.get_tree());
            torn = torn || !(left.get_value() == right.get_value());
        }
    };
    TestThreads watchers;
    watchers.start(watch);
    watchers.start(watch);
    HttpClient client(server.get_port());
    for (int round = 1; round <= 200; ++round) {
        const std::string value = create_value("xsd:int", std::to_string(round));
        const Reply reply = client.post(
            create_request(create_write(create_item("left", value) + create_item("right", value))));
        EXPECT_EQ(reply.status, 200);
    }
    watchers.stop();
    EXPECT_FALSE(torn);
    EXPECT_EQ(get(left), Value(200));
}

}  // namespace

}  // namespace kx::information_model::opc::testing
