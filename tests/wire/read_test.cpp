#include "support/StderrCapture.h"
#include "support/TestServer.h"
#include "support/TestThreads.h"
#include "support/replies.h"

#include <information_model/symbol_lists.h>

#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <mutex>
#include <shared_mutex>
#include <stop_token>
#include <string>
#include <vector>

namespace kx::information_model::opc::testing {
namespace {

using symbol_list::HISTORY_KIND;

std::string create_read(const std::string& items, const std::string& options = {}) {
    return "<Read>" + options + "<ItemList>" + items + "</ItemList></Read>";
}

std::string create_response(const std::string& items, const char* client_request_handle = nullptr) {
    const std::string list = items.empty() ? "<RItemList/>" : "<RItemList>" + items + "</RItemList>";
    return "<ReadResponse>" + list + create_result("ReadResult", client_request_handle) + "</ReadResponse>";
}

class ReadService : public WireTest {
protected:
    ReadService() {
        Domain& boiler = server.get_root().add_domain("boiler");
        boiler.add_variable("temperature", Value(21.5));
        boiler.add_variable("running", Value(true));
    }

    void expect_read(const std::string& items, const std::string& response_items,
                     const std::string& options = {}, const char* client_request_handle = nullptr) const {
        expect_success(server.call(create_read(items, options)),
                       create_response(response_items, client_request_handle));
    }

    // That no request has left the lock behind.
    void expect_lock_free() {
        const std::unique_lock lock(server.get_tree(), std::try_to_lock);
        EXPECT_TRUE(lock.owns_lock());
    }
};

const std::string TEMPERATURE =
    R"(<Items ItemName="/boiler/temperature"><Value xsi:type="xsd:double">21.500000</Value></Items>)";
const std::string RUNNING =
    R"(<Items ItemName="/boiler/running"><Value xsi:type="xsd:boolean">1</Value></Items>)";

// Values.

struct ValueRow {
    Value value;
    std::string element;
};

class ReadOfType : public WireTest, public ::testing::WithParamInterface<ValueRow> {};

TEST_P(ReadOfType, IsAWholeReply) {
    server.get_root().add_variable("v", GetParam().value);
    const Reply reply = server.call(create_read(R"(<Items ItemName="/v"/>)"));
    expect_success(reply, create_response("<Items ItemName=\"/v\">" + GetParam().element + "</Items>"));
}

std::string scalar(const std::string& type, const std::string& text) {
    return "<Value xsi:type=\"xsd:" + type + "\">" + text + "</Value>";
}

std::string array(const std::string& type, const std::string& members) {
    return "<Value xsi:type=\"ArrayOf" + type + "\">" + members + "</Value>";
}

const TimePoint TIME{std::chrono::milliseconds(1500)};
const Duration MINUTE{std::chrono::minutes(1)};

INSTANTIATE_TEST_SUITE_P(
    Scalars, ReadOfType,
    ::testing::Values(ValueRow{Value(true), scalar("boolean", "1")},
                      ValueRow{Value(false), scalar("boolean", "0")},
                      ValueRow{Value("<a> & \"b\""), scalar("string", "&lt;a&gt; &amp; &quot;b&quot;")},
                      ValueRow{Value("\xE2\x82\xAC"), scalar("string", "\xE2\x82\xAC")},
                      ValueRow{Value(""), R"(<Value xsi:type="xsd:string"/>)"},
                      ValueRow{Value("a\x01"
                                     "b\xFF"
                                     "c"),
                               scalar("string",
                                      "a\xEF\xBF\xBD"
                                      "b\xEF\xBF\xBD"
                                      "c")},
                      ValueRow{Value(2.5), scalar("double", "2.500000")},
                      ValueRow{Value(1e20), scalar("double", "100000000000000000000.000000")},
                      ValueRow{Value(-std::numeric_limits<double>::infinity()), scalar("double", "-inf")},
                      ValueRow{Value(0.1F), scalar("float", "0.100000")},
                      ValueRow{Value(-9000000000L), scalar("long", "-9000000000")},
                      ValueRow{Value(42), scalar("int", "42")},
                      ValueRow{Value(short{-7}), scalar("short", "-7")},
                      ValueRow{Value(static_cast<signed char>(-56)), scalar("byte", "-56")},
                      ValueRow{Value(18446744073709551615UL), scalar("unsignedLong", "18446744073709551615")},
                      ValueRow{Value(4294967295U), scalar("unsignedInt", "4294967295")},
                      ValueRow{Value(static_cast<unsigned short>(65535)), scalar("unsignedShort", "65535")},
                      ValueRow{Value(static_cast<unsigned char>(200)), scalar("unsignedByte", "200")},
                      ValueRow{Value(TIME), scalar("dateTime", "1970-01-01T00:00:01.500Z")},
                      ValueRow{Value(MINUTE), scalar("duration", "PT1M")},
                      ValueRow{Value(Path("a/b")), scalar("string", "a/b")},
                      ValueRow{Value(AbsolutePath("", "", "/a/b")), scalar("string", "/a/b")},
                      ValueRow{Value(SymbolInfo(HISTORY_KIND::HISTORY_SUGGESTED)), scalar("int", "2")}));

INSTANTIATE_TEST_SUITE_P(
    Arrays, ReadOfType,
    ::testing::Values(
        ValueRow{Value(std::vector<bool>{true, false}),
                 array("Boolean", "<boolean>1</boolean><boolean>0</boolean>")},
        ValueRow{Value(std::vector<std::string>{"a", ""}), array("String", "<string>a</string><string/>")},
        ValueRow{Value(std::vector<double>{2.5, 0}),
                 array("Double", "<double>2.500000</double><double>0.000000</double>")},
        ValueRow{Value(std::vector<double>{}), R"(<Value xsi:type="ArrayOfDouble"/>)"},
        ValueRow{Value(std::vector<float>{0.1F}), array("Float", "<float>0.100000</float>")},
        ValueRow{Value(std::vector<long>{-1}), array("Long", "<long>-1</long>")},
        ValueRow{Value(std::vector<int>{1, 2}), array("Int", "<int>1</int><int>2</int>")},
        ValueRow{Value(std::vector<short>{1, -2}), array("Short", "<short>1</short><short>-2</short>")},
        ValueRow{Value(std::vector<signed char>{-128}), array("Byte", "<byte>-128</byte>")},
        ValueRow{Value(std::vector<unsigned long>{1}),
                 array("UnsignedLong", "<unsignedLong>1</unsignedLong>")},
        ValueRow{Value(std::vector<unsigned int>{1}), array("UnsignedInt", "<unsignedInt>1</unsignedInt>")},
        ValueRow{Value(std::vector<unsigned short>{1}),
                 array("UnsignedShort", "<unsignedShort>1</unsignedShort>")},
        ValueRow{Value(std::vector<unsigned char>{200, 7}), array("Byte", "<byte>-56</byte><byte>7</byte>")},
        ValueRow{Value(std::vector<TimePoint>{TIME}),
                 array("DateTime", "<dateTime>1970-01-01T00:00:01.500Z</dateTime>")},
        ValueRow{Value(std::vector<Duration>{MINUTE}), array("Duration", "<duration>PT1M</duration>")},
        ValueRow{Value(std::vector<Path>{Path("a"), Path("/b")}),
                 array("String", "<string>a</string><string>/b</string>")},
        ValueRow{Value(std::vector<AbsolutePath>{AbsolutePath("h", "t", "/b")}),
                 array("String", "<string>//h/t/b</string>")},
        ValueRow{Value(std::vector<SymbolInfo>{SymbolInfo(HISTORY_KIND::HISTORY_AVAILABLE)}),
                 array("Int", "<int>1</int>")}));

TEST_F(ReadService, SendsOneBadStringWithoutSpoilingTheOthers) {
    server.get_root().add_variable("bad", Value(std::string("\0\xC3(", 3)));
    expect_read(R"(<Items ItemName="/bad"/><Items ItemName="/boiler/running"/>)",
                R"(<Items ItemName="/bad"><Value xsi:type="xsd:string">)"
                "\xEF\xBF\xBD\xEF\xBF\xBD(</Value></Items>" +
                    RUNNING);
}

// Items.

TEST_F(ReadService, ReadsVariables) {
    expect_read(R"(<Items ItemName="/boiler/temperature"/><Items ItemName="/boiler/running"/>)",
                TEMPERATURE + RUNNING);
}

TEST_F(ReadService, ReadsDomainsByTheirNameAlone) {
    expect_read(R"(<Items ItemName="/boiler"/><Items ItemName="/"/>)",
                R"(<Items ItemName="/boiler"/><Items ItemName="/"/>)");
}

TEST_F(ReadService, AnswersInTheOrderOfTheRequest) {
    expect_read(
        R"(<Items ItemName="/boiler/running"/><Items ItemName="/boiler"/><Items ItemName="/boiler/temperature"/>)",
        RUNNING + R"(<Items ItemName="/boiler"/>)" + TEMPERATURE);
}

TEST_F(ReadService, ReadsAnItemAsOftenAsItIsAsked) {
    expect_read(
        R"(<Items ItemName="/boiler/running"/><Items ItemName="/boiler/running" ClientItemHandle="2"/>)"
        R"(<Items ItemName="/boiler/running"/>)",
        RUNNING +
            R"(<Items ClientItemHandle="2" ItemName="/boiler/running"><Value xsi:type="xsd:boolean">1</Value>)"
            "</Items>" +
            RUNNING);
}

TEST_F(ReadService, TellsTheAbsoluteName) {
    for (const std::string name : {"boiler/running", "./boiler/running", "/boiler/running"}) {
        expect_read("<Items ItemName=\"" + name + "\"/>", RUNNING);
    }
    expect_read(R"(<Items ItemName="."/><Items/>)", R"(<Items ItemName="/"/><Items ItemName="/"/>)");
}

TEST_F(ReadService, ReadsNamesWithMarkupAndOtherLetters) {
    server.get_root().add_domain("a & <b>").add_variable("\xC3\xA4\"'\xE2\x82\xAC", Value(1));
    expect_read("<Items ItemName=\"a &amp; &lt;b>/\xC3\xA4&quot;'\xE2\x82\xAC\"/>",
                "<Items ItemName=\"/a &amp; &lt;b&gt;/\xC3\xA4&quot;'\xE2\x82\xAC\"><Value "
                "xsi:type=\"xsd:int\">1</Value>"
                "</Items>");
}

TEST_F(ReadService, ReadsTheValueOfTheMoment) {
    auto& temperature = static_cast<Variable&>(server.get_root().get_item(Path("boiler/temperature"), false));
    expect_read(R"(<Items ItemName="/boiler/temperature"/>)", TEMPERATURE);
    {
        const std::unique_lock lock(server.get_tree());
        temperature = Value(22.0);
    }
    expect_read(
        R"(<Items ItemName="/boiler/temperature"/>)",
        R"(<Items ItemName="/boiler/temperature"><Value xsi:type="xsd:double">22.000000</Value></Items>)");
}

TEST_F(ReadService, ReadsNothingWhenNothingIsAsked) {
    expect_success(server.call("<Read/>"), create_response(""));
    expect_success(server.call("<Read><ItemList/></Read>"), create_response(""));
    expect_success(server.call("<Read><Options ReturnItemTime='false'/></Read>"), create_response(""));
    expect_success(server.call(R"(<Read><Items ItemName="/boiler"/></Read>)"), create_response(""));
}

TEST_F(ReadService, TakesTheFirstListOnly) {
    expect_success(server.call(R"(<Read><ItemList><Items ItemName="/boiler/running"/></ItemList>)"
                               R"(<ItemList><Items ItemName="/boiler"/></ItemList></Read>)"),
                   create_response(RUNNING));
}

TEST_F(ReadService, SkipsForeignNodes) {
    expect_read(
        R"(text<!-- <Items/> --><?Items?><![CDATA[<Items/>]]><items ItemName="/boiler"/><Item ItemName="/boiler"/>)"
        R"(<Items xmlns="urn:x" ItemName="/boiler"/><Items xmlns="" ItemName="/boiler"/>)"
        R"(<Other><Items ItemName="/boiler"/></Other>)"
        R"(<q:Items xmlns:q="http://opcfoundation.org/webservices/XMLDA/1.0/" ItemName="/boiler/running"/>)",
        RUNNING);
}

TEST_F(ReadService, IgnoresOtherAttributes) {
    expect_success(
        server.call(
            R"(<Read><ItemList MaxAge="0" ItemPath="/other"><Items ItemPath="/other" ReqType="xsd:int")"
            R"( MaxAge="x" ItemName="/boiler/running"/></ItemList></Read>)"),
        create_response(RUNNING));
}

TEST_F(ReadService, TakesTheItemNameWithoutPrefixOnly) {
    expect_read(
        R"(<Items xmlns:q="http://opcfoundation.org/webservices/XMLDA/1.0/" q:ItemName="/boiler/running"/>)",
        R"(<Items ItemName="/"/>)");
}

// Unknown items.

TEST_F(ReadService, LeavesOutUnknownItemsAndReportsThem) {
    StderrCapture captured;
    expect_read(
        R"(<Items ItemName="/nowhere"/><Items ItemName="/boiler/running"/><Items ItemName="boiler/none"/>)"
        R"(<Items ItemName="/boiler/running/below"/><Items ItemName="./no &lt;where>"/>)",
        RUNNING);
    EXPECT_EQ(
        captured.stop(),
        "error not found: /nowhere\nerror not found: boiler/none\nerror not found: /boiler/running/below\n"
        "error not found: ./no <where>\n");
}

TEST_F(ReadService, ReportsAnUnknownItemAsOftenAsItIsAsked) {
    StderrCapture captured;
    expect_read(R"(<Items ItemName="/none"/><Items ItemName="/none"/>)", "");
    EXPECT_EQ(captured.stop(), "error not found: /none\nerror not found: /none\n");
}

TEST_F(ReadService, ReportsNothingWhenAllAreKnown) {
    StderrCapture captured;
    expect_read(R"(<Items ItemName="/boiler/running"/>)", RUNNING);
    EXPECT_EQ(captured.stop(), "");
}

TEST_F(ReadService, RefusesNamesThatAreNoPaths) {
    StderrCapture captured;
    for (const std::string name :
         {"", "//", "/boiler/", "a//b", "..", "/..", "boiler/../boiler", "boiler/.", "a&#9;b"}) {
        SCOPED_TRACE(name);
        expect_bad_request(server.call(
            create_read(R"(<Items ItemName="/boiler/running"/><Items ItemName=")" + name + "\"/>")));
    }
    EXPECT_EQ(captured.stop(), "");
    expect_lock_free();
}

// Handles.

TEST_F(ReadService, EchoesItemHandles) {
    expect_read(
        "<Items ItemName=\"/boiler\" ClientItemHandle=\"h "
        "&lt;&amp;&quot;'&#10;\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\"/>",
        "<Items ClientItemHandle=\"h &lt;&amp;&quot;'&#xA;\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\" "
        "ItemName=\"/boiler\"/>");
    expect_read(R"(<Items xmlns:q="http://opcfoundation.org/webservices/XMLDA/1.0/" q:ClientItemHandle="q")"
                R"( ClientItemHandle="plain" ItemName="/boiler"/>)",
                R"(<Items ClientItemHandle="q" ItemName="/boiler"/>)");
}

TEST_F(ReadService, LeavesOutEmptyItemHandles) {
    expect_read(R"(<Items ItemName="/boiler" ClientItemHandle=""/><Items ItemName="/boiler"/>)",
                R"(<Items ItemName="/boiler"/><Items ItemName="/boiler"/>)");
}

TEST_F(ReadService, EchoesTheRequestHandleOfTheOptions) {
    expect_read("", "", R"(<Options ClientRequestHandle="h&lt;"/>)", "h&lt;");
    expect_read("", "", R"(<Options ClientRequestHandle=""/>)", "");
    expect_read("", "", "<Options/>");
    expect_success(server.call(R"(<Read ClientRequestHandle="not here"/>)"), create_response(""));
}

// Options.

const std::string TIMED_RUNNING = R"(<Items ItemName="/boiler/running" Timestamp="1970-01-01T00:00:01.500Z">)"
                                  R"(<Value xsi:type="xsd:boolean">1</Value></Items>)";

class ReadOptions : public ReadService {
protected:
    ReadOptions() {
        static_cast<Variable&>(server.get_root().get_item(Path("boiler/running"), false)).set_timestamp(TIME);
    }

    void expect_time(const std::string& options, bool is_returned) const {
        SCOPED_TRACE(options);
        expect_read(R"(<Items ItemName="/boiler/running"/>)", is_returned ? TIMED_RUNNING : RUNNING, options);
    }
};

TEST_F(ReadOptions, ReturnNoTimeWithoutTheElement) {
    expect_time("", false);
    expect_time(R"(<Options xmlns="urn:x" ReturnItemTime="true"/>)", false);
}

TEST_F(ReadOptions, ReturnTheTimeWithoutTheAttribute) {
    expect_time("<Options/>", true);
    expect_time(R"(<Options ReturnErrorText="false" ReturnDiagnosticInfo="false" ReturnItemPath="false"/>)",
                true);
}

TEST_F(ReadOptions, ReturnTheTimeAsTheAttributeSays) {
    for (const std::string text : {"true", "TRUE", "True", "1", "yes", "Yes", "on", "On"}) {
        expect_time("<Options ReturnItemTime=\"" + text + "\"/>", true);
    }
    for (const std::string text : {"false", "FALSE", "0", "no", "No", "off", "OFF"}) {
        expect_time("<Options ReturnItemTime=\"" + text + "\"/>", false);
    }
    expect_time(
        R"(<Options xmlns:q="http://opcfoundation.org/webservices/XMLDA/1.0/" q:ReturnItemTime="false"/>)",
        false);
    expect_time(
        R"(<Options xmlns:q="http://opcfoundation.org/webservices/XMLDA/1.0/" q:ReturnItemTime="false")"
        R"( ReturnItemTime="true"/>)",
        false);
    expect_time(R"(<Options xmlns:x="urn:x" x:ReturnItemTime="false"/>)", true);
}

TEST_F(ReadOptions, HaveNoOtherEffect) {
    expect_time(R"(<Options ReturnItemTime="false" ReturnErrorText="true" ReturnDiagnosticInfo="true")"
                R"( ReturnItemPath="true" RequestDeadline="x" LocaleID="de-DE"/>)",
                false);
}

TEST_F(ReadOptions, AreRefusedWhenTheyAreNoBools) {
    for (const std::string name :
         {"ReturnErrorText", "ReturnDiagnosticInfo", "ReturnItemTime", "ReturnItemPath"}) {
        for (const std::string text : {"maybe", "", "truee"}) {
            expect_bad_request(server.call(create_read("", "<Options " + name + "=\"" + text + "\"/>")));
        }
    }
}

TEST_F(ReadOptions, ReturnTheCurrentTimeForDomains) {
    const TimePoint before = std::chrono::system_clock::now();
    const Reply reply =
        server.call(create_read(R"(<Items ItemName="/boiler" ClientItemHandle="h"/>)", "<Options/>"));
    const TimePoint after = std::chrono::system_clock::now();
    const auto start = reply.body.find(" Timestamp=\"") + 12;
    const TimePoint time =
        date_time_from_iso8601_string(reply.body.substr(start, reply.body.find('"', start) - start));
    EXPECT_LE(before, time);
    EXPECT_LE(time, after);
    EXPECT_EQ(
        mask_all_times(reply.body),
        create_reply(create_response(R"(<Items ClientItemHandle="h" ItemName="/boiler" Timestamp="*"/>)")));
}

// Failures of the whole request.

class ReadOfBadValue : public ReadService, public ::testing::WithParamInterface<Value> {};

TEST_P(ReadOfBadValue, IsABadRequestThatLeavesTheLockFree) {
    server.get_root().add_variable("bad", GetParam());
    StderrCapture captured;
    expect_bad_request(
        server.call(create_read(R"(<Items ItemName="/none"/><Items ItemName="/boiler/running"/>)"
                                R"(<Items ItemName="/bad"/><Items ItemName="/never"/>)",
                                R"(<Options ClientRequestHandle="h"/>)")));
    EXPECT_EQ(captured.stop(), "error not found: /none\n");
    expect_lock_free();
    expect_read(R"(<Items ItemName="/boiler/running"/>)", RUNNING);
}

INSTANTIATE_TEST_SUITE_P(Values, ReadOfBadValue,
                         ::testing::Values(Value(1, ValueTypeInfo(VALUE_TYPE::DECIMAL, false)),
                                           Value(std::vector<int>{},
                                                 ValueTypeInfo(VALUE_TYPE::DECIMAL, true)),
                                           Value("x", ValueTypeInfo(VALUE_TYPE::ATTACHMENT, false)),
                                           Value("x", ValueTypeInfo(VALUE_TYPE::INT, false)),
                                           Value(1, ValueTypeInfo(VALUE_TYPE::INT, true)),
                                           Value(std::vector<int>{1}, ValueTypeInfo(VALUE_TYPE::INT, false)),
                                           Value(1, ValueTypeInfo(static_cast<VALUE_TYPE>(0), false)),
                                           Value(1, ValueTypeInfo(static_cast<VALUE_TYPE>(20), false))));

// The lock.

TEST_F(ReadService, ReadsWhileOthersRead) {
    const std::shared_lock<const Tree> lock(server.get_tree());
    expect_read(R"(<Items ItemName="/boiler/running"/>)", RUNNING);
}

TEST_F(ReadService, WaitsForAWriter) {
    std::unique_lock lock(server.get_tree());
    HttpClient client(server.get_port());
    const std::string body = create_request(create_read(R"(<Items ItemName="/boiler/temperature"/>)"));
    client.send("POST / HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
    EXPECT_FALSE(client.get_socket().poll(Poco::Timespan(0, 200000), Poco::Net::Socket::SELECT_READ));
    static_cast<Variable&>(server.get_root().get_item(Path("boiler/temperature"), false)) = Value(23.0);
    lock.unlock();
    expect_success(
        client.receive(),
        create_response(
            R"(<Items ItemName="/boiler/temperature"><Value xsi:type="xsd:double">23.000000</Value></Items>)"));
}

// A writer keeps both variables equal; no reply may show them apart.
TEST_F(ReadService, ReadsAllItemsUnderOneLock) {
    auto& first = server.get_root().add_variable("first", Value(0));
    std::string items = R"(<Items ItemName="/first"/>)";
    for (int number = 0; number < 200; ++number) {
        items += R"(<Items ItemName="/boiler"/>)";
    }
    auto& second = server.get_root().add_variable("second", Value(0));
    items += R"(<Items ItemName="/second"/>)";
    TestThreads writer([&](const std::stop_token& stop) {
        for (int number = 1; !stop.stop_requested(); ++number) {
            const std::unique_lock lock(server.get_tree());
            first = Value(number);
            second = Value(number);
        }
    });
    HttpClient client(server.get_port());
    for (int round = 0; round < 50; ++round) {
        const std::string body = client.post(create_request(create_read(items))).body;
        const std::string start = R"(<Value xsi:type="xsd:int">)";
        const auto first_start = body.find(start);
        const auto second_start = body.rfind(start);
        ASSERT_LT(first_start, second_start);
        EXPECT_EQ(body.substr(first_start, body.find("</Value>", first_start) - first_start),
                  body.substr(second_start, body.find("</Value>", second_start) - second_start));
    }
    writer.stop();
}

// Size.

TEST_F(ReadService, ReadsAHundredThousandItems) {
    constexpr int COUNT = 100000;
    Domain& bulk = server.get_root().add_domain("bulk");
    std::string items;
    std::string expected;
    for (int number = 0; number < COUNT; ++number) {
        const std::string text = std::to_string(number);
        bulk.add_variable("v" + text, Value(number));
        items += "<Items ItemName=\"/bulk/v" + text + "\" ClientItemHandle=\"" + text + "\"/>";
        expected += "<Items ClientItemHandle=\"" + text + "\" ItemName=\"/bulk/v" + text +
                    "\"><Value xsi:type=\"xsd:int\">" + text + "</Value></Items>";
    }
    const Reply reply = server.call(create_read(items));
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.headers.at("content-length"), std::to_string(reply.body.size()));
    const auto start = reply.body.find("<RItemList>") + 11;
    EXPECT_TRUE(reply.body.substr(start, reply.body.find("</RItemList>") - start) == expected);
}

TEST_F(ReadService, ReadsAnArrayOfAHundredThousandMembers) {
    server.get_root().add_variable("array", Value(std::vector<int>(100000, 7)));
    std::string members;
    for (int number = 0; number < 100000; ++number) {
        members += "<int>7</int>";
    }
    const Reply reply = server.call(create_read(R"(<Items ItemName="/array"/>)"));
    EXPECT_EQ(reply.status, 200);
    EXPECT_TRUE(mask_times(reply.body) == create_reply(create_response("<Items ItemName=\"/array\">" +
                                                                       array("Int", members) + "</Items>")));
}

}  // namespace
}  // namespace kx::information_model::opc::testing
