#include "odd_items.h"
#include "subscription_requests.h"
#include "support/StderrCapture.h"
#include "support/TestServer.h"
#include "support/replies.h"

#include <information_model/TimePoint.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <mutex>

namespace kx::information_model::opc::testing {
namespace {

const std::string TEMPERATURE_VALUE = R"(<Value xsi:type="xsd:double">21.500000</Value>)";
const std::string COUNT_VALUE = R"(<Value xsi:type="xsd:int">7</Value>)";

std::string create_item(const std::string& attributes, const std::string& value) {
    return "<Items><ItemValue " + attributes + (value.empty() ? "/>" : ">" + value + "</ItemValue>") +
           "</Items>";
}

const std::string TEMPERATURE_ITEM = create_item(R"(ItemName="/boiler/temperature")", TEMPERATURE_VALUE);

class SubscribeService : public WireTest {
protected:
    SubscribeService() {
        Domain& boiler = server.get_root().add_domain("boiler");
        temperature = &boiler.add_variable("temperature", Value(21.5));
        temperature->set_timestamp(date_time_from_iso8601_string("2026-11-21T10:11:12.25Z"));
        boiler.add_variable("count", Value(7))
            .set_timestamp(date_time_from_iso8601_string("2026-11-21T10:11:13Z"));
    }

    /// Expects a success with these items and returns the handle.
    std::string expect_items(const std::string& request, const std::string& items,
                             const char* client_request_handle = nullptr) {
        const Reply reply = server.call(request);
        const std::string handle = get_handle(reply);
        expect_success(reply, create_subscribe_response(handle, items, client_request_handle));
        return handle;
    }

    Variable* temperature;
};

TEST_F(SubscribeService, AnswersWithAHandleAndTheValuesInRequestOrder) {
    const std::string handle =
        expect_items(create_subscribe(R"(<Items ItemName="/boiler/count" ClientItemHandle="c"/>)"
                                      R"(<Items ItemName="/boiler"/>)"
                                      R"(<Items ItemName="/boiler/temperature"/>)"),
                     create_item(R"(ClientItemHandle="c" ItemName="/boiler/count")", COUNT_VALUE) +
                         create_item(R"(ItemName="/boiler")", "") + TEMPERATURE_ITEM);
    EXPECT_THAT(handle, ::testing::MatchesRegex("[1-9][0-9]*"));
}

TEST_F(SubscribeService, LaterHandlesAreLarger) {
    const long long first = std::stoll(get_handle(server.call(create_subscribe(""))));
    const long long second = std::stoll(get_handle(server.call(create_subscribe(""))));
    EXPECT_GT(second, first);
}

TEST_F(SubscribeService, WithoutItemListTheListIsEmpty) {
    const std::string request = R"(<Subscribe ReturnValuesOnReply="true" SubscriptionPingRate="3600000"/>)";
    const std::string handle = expect_items(request, "");
    expect_success(server.call(create_poll(handle)), create_poll_response(""));
}

TEST_F(SubscribeService, EmptyItemListGivesAnEmptyList) {
    expect_items(create_subscribe(""), "");
}

TEST_F(SubscribeService, UnknownItemIsLeftOutButStaysInTheSubscription) {
    StderrCapture capture;
    const std::string handle =
        expect_items(create_subscribe(R"(<Items ItemName="/nowhere/at all"/>)"
                                      R"(<Items ItemName="/boiler/temperature"/>)"
                                      R"(<Items ItemName="boiler/temperature/below"/>)"),
                     TEMPERATURE_ITEM);
    EXPECT_EQ(capture.stop(), "error not found:/nowhere/at all\nerror not found:boiler/temperature/below\n");

    {
        const std::unique_lock lock(server.get_tree());
        server.get_root().add_domain("nowhere").add_variable("at all", Value(true));
    }
    StderrCapture poll_capture;
    const std::string value = R"(<Value xsi:type="xsd:boolean">1</Value>)";
    expect_success(
        server.call(create_poll(handle)),
        create_poll_response("<Items ItemName=\"/nowhere/at all\">" + value + "</Items>" +
                             "<Items ItemName=\"/boiler/temperature\">" + TEMPERATURE_VALUE + "</Items>"));
    EXPECT_EQ(poll_capture.stop(), "error not found Path not found: boiler/temperature/below\n");
}

TEST_F(SubscribeService, SameItemTwiceIsReportedTwice) {
    const std::string item = R"(<Items ItemName="/boiler/temperature"/>)";
    const std::string handle =
        expect_items(create_subscribe(item + item), TEMPERATURE_ITEM + TEMPERATURE_ITEM);
    const std::string reported = "<Items ItemName=\"/boiler/temperature\">" + TEMPERATURE_VALUE + "</Items>";
    expect_success(server.call(create_poll(handle)), create_poll_response(reported + reported));
}

TEST_F(SubscribeService, RelativeNamesComeBackAbsolute) {
    expect_items(create_subscribe(R"(<Items ItemName="boiler/temperature"/><Items ItemName="./boiler"/>)"
                                  R"(<Items ItemName="."/><Items ItemName="/"/>)"),
                 TEMPERATURE_ITEM + create_item(R"(ItemName="/boiler")", "") +
                     create_item(R"(ItemName="/")", "") + create_item(R"(ItemName="/")", ""));
}

TEST_F(SubscribeService, ArrayValue) {
    server.get_root().add_variable("list", Value(std::vector<short>{1, -2}));
    expect_items(create_subscribe(R"(<Items ItemName="/list"/>)"),
                 create_item(R"(ItemName="/list")",
                             R"(<Value xsi:type="ArrayOfShort"><short>1</short><short>-2</short></Value>)"));
}

TEST_F(SubscribeService, EmptyClientItemHandleIsWritten) {
    expect_items(create_subscribe(R"(<Items ItemName="/boiler" ClientItemHandle=""/>)"
                                  R"(<Items ItemName="/boiler/count" ClientItemHandle=""/>)"),
                 create_item(R"(ClientItemHandle="" ItemName="/boiler")", "") +
                     create_item(R"(ClientItemHandle="" ItemName="/boiler/count")", COUNT_VALUE));
}

TEST_F(SubscribeService, ItemTimeIsWrittenWhenAskedFor) {
    const std::string timed = create_item(
        R"(ItemName="/boiler/temperature" Timestamp="2026-11-21T10:11:12.250Z")", TEMPERATURE_VALUE);
    const std::string item = R"(<Items ItemName="/boiler/temperature"/>)";
    expect_items(create_subscribe(item, LONG_PING_RATE, R"(<Options ReturnItemTime="true"/>)"), timed);
    expect_items(create_subscribe(item, LONG_PING_RATE, R"(<Options/>)"), timed);
    expect_items(create_subscribe(item, LONG_PING_RATE, R"(<Options ReturnItemTime="false"/>)"),
                 TEMPERATURE_ITEM);
    expect_items(create_subscribe(item), TEMPERATURE_ITEM);
}

TEST_F(SubscribeService, DomainCarriesTheCurrentTime) {
    const std::string before = to_iso8601_string(std::chrono::system_clock::now());
    const Reply reply =
        server.call(create_subscribe(R"(<Items ItemName="/boiler"/>)", LONG_PING_RATE, "<Options/>"));
    const std::string expected =
        create_subscribe_response(get_handle(reply), create_item(R"(ItemName="/boiler" Timestamp="*")", ""));
    EXPECT_EQ(mask_all_times(reply.body), create_reply(expected));
    const auto start = reply.body.find("Timestamp=\"") + 11;
    const TimePoint time =
        date_time_from_iso8601_string(reply.body.substr(start, reply.body.find('"', start) - start));
    EXPECT_GE(time, date_time_from_iso8601_string(before));
    EXPECT_LE(time, std::chrono::system_clock::now());
}

TEST_F(SubscribeService, ClientRequestHandleIsThatOfTheOptions) {
    expect_items(create_subscribe("", LONG_PING_RATE, R"(<Options ClientRequestHandle="mine"/>)"), "",
                 "mine");
    expect_items(create_subscribe("", LONG_PING_RATE, R"(<Options ClientRequestHandle=""/>)"), "", "");
    expect_items(R"(<Subscribe ReturnValuesOnReply="true" ClientRequestHandle="not there"/>)", "");
}

TEST_F(SubscribeService, OtherOptionsChangeNothing) {
    expect_items(
        create_subscribe(R"(<Items ItemName="/boiler/temperature" ItemPath="elsewhere"/>)", LONG_PING_RATE,
                         R"(<Options ReturnErrorText="false" ReturnDiagnosticInfo="true")"
                         R"( ReturnItemTime="false" ReturnItemPath="true" LocaleID="de-DE"/>)"),
        TEMPERATURE_ITEM);
}

TEST_F(SubscribeService, ValuesAreSentWhateverReturnValuesOnReplySays) {
    expect_items(R"(<Subscribe ReturnValuesOnReply="false"><ItemList><Items ItemName="/boiler/temperature"/>)"
                 R"(</ItemList></Subscribe>)",
                 TEMPERATURE_ITEM);
}

TEST_F(SubscribeService, OtherChildrenAreSkipped) {
    expect_items(
        R"(<Subscribe ReturnValuesOnReply="true"><!-- c --><Other/> text )"
        R"(<ItemList xmlns:o="urn:other"> text <!-- c --><o:Items ItemName="/boiler/count"/>)"
        R"(<Item ItemName="/boiler/count"/><Items ItemName="/boiler/temperature"/><?p i?></ItemList>)"
        R"(<ItemList><Items ItemName="/boiler/count"/></ItemList></Subscribe>)",
        TEMPERATURE_ITEM);
}

TEST_F(SubscribeService, TakesTheItemNameWithoutPrefixOnly) {
    const std::string declaration = R"(xmlns:q="http://opcfoundation.org/webservices/XMLDA/1.0/")";
    expect_items(create_subscribe("<Items " + declaration +
                                  R"( q:ItemName="/boiler" ItemName="/boiler/temperature"/>)"),
                 TEMPERATURE_ITEM);
    expect_bad_request(server.call(create_subscribe("<Items " + declaration + R"( q:ItemName="/boiler"/>)")));
}

TEST_F(SubscribeService, AnyPrefixWillDo) {
    expect_items(
        R"(<da:Subscribe xmlns:da="http://opcfoundation.org/webservices/XMLDA/1.0/")"
        R"( da:ReturnValuesOnReply="true" da:SubscriptionPingRate="3600000">)"
        R"(<da:Options da:ClientRequestHandle="r" da:ReturnItemTime="0"/>)"
        R"(<da:ItemList><da:Items ItemName="/boiler/temperature" da:ClientItemHandle="i"/></da:ItemList>)"
        R"(</da:Subscribe>)",
        create_item(R"(ClientItemHandle="i" ItemName="/boiler/temperature")", TEMPERATURE_VALUE), "r");
}

TEST_F(SubscribeService, WithoutPingRateTheHandleIsInvalidAtTheNextRequest) {
    const std::string request =
        R"(<Subscribe ReturnValuesOnReply="true"><ItemList><Items ItemName="/boiler/count"/>)"
        R"(</ItemList></Subscribe>)";
    const std::string handle = get_handle(server.call(request));
    expect_success(server.call(create_poll(handle)), create_poll_response("", create_invalid(handle)));
}

TEST_F(SubscribeService, NegativePingRateExpiresAtOnce) {
    const std::string handle = get_handle(server.call(create_subscribe("", "-2147483648")));
    expect_success(server.call(create_poll(handle)), create_poll_response("", create_invalid(handle)));
}

TEST_F(SubscribeService, LargestPingRate) {
    const std::string handle = get_handle(server.call(create_subscribe("", "2147483647")));
    expect_success(server.call(create_poll(handle)), create_poll_response(""));
}

// The value of one item cannot be written: the whole request fails, and the tree is not left locked.
TEST_F(SubscribeService, ValueThatCannotBeSentFailsTheRequest) {
    server.get_root().add_variable("bad", Value(1, ValueTypeInfo(VALUE_TYPE::DECIMAL, false)));
    expect_bad_request(
        server.call(create_subscribe(R"(<Items ItemName="/boiler/temperature"/><Items ItemName="/bad"/>)")));
    EXPECT_TRUE(server.get_tree().try_lock());
    server.get_tree().unlock();
}

TEST_F(SubscribeService, ItemOfUnknownTypeFailsTheRequest) {
    const ItemOfUnknownType odd(*temperature);
    expect_bad_request(server.call(
        create_subscribe(R"(<Items ItemName="/boiler/count"/><Items ItemName="/boiler/temperature"/>)")));
    EXPECT_TRUE(server.get_tree().try_lock());
    server.get_tree().unlock();
}

TEST_F(SubscribeService, TextThatXmlCannotCarryIsReplaced) {
    server.get_root().add_variable("text", Value(std::string("a\x01z")));
    expect_items(create_subscribe(R"(<Items ItemName="/text"/>)"),
                 create_item(R"(ItemName="/text")", "<Value xsi:type=\"xsd:string\">a\xEF\xBF\xBDz</Value>"));
}

TEST_F(SubscribeService, GetStatusInTheSameBodyComesFirst) {
    const Reply reply = server.call(create_subscribe("") + "<GetStatus/>");
    EXPECT_EQ(reply.status, 200);
    EXPECT_THAT(reply.body, ::testing::HasSubstr("<GetStatusResponse>"));
}

TEST_F(SubscribeService, ComesBeforeTheOtherSubscriptionServices) {
    expect_items(create_cancel("1") + create_poll("1") + create_subscribe(""), "");
    expect_success(server.call(create_cancel("1") + create_poll("1")),
                   create_poll_response("", create_invalid("1")));
}

class MalformedSubscribe : public WireTest, public ::testing::WithParamInterface<std::string> {};

TEST_P(MalformedSubscribe, IsABadRequest) {
    expect_bad_request(server.call(GetParam()));
}

std::string create_malformed(const std::string& attributes, const std::string& content = "") {
    return "<Subscribe " + attributes + ">" + content + "</Subscribe>";
}

const std::string REQUIRED = R"(ReturnValuesOnReply="true")";

INSTANTIATE_TEST_SUITE_P(
    Requests, MalformedSubscribe,
    ::testing::Values(
        create_malformed(""), create_malformed(R"(ReturnValuesOnReply="")"),
        create_malformed(R"(ReturnValuesOnReply="maybe")"),
        create_malformed(REQUIRED + R"( SubscriptionPingRate="")"),
        create_malformed(REQUIRED + R"( SubscriptionPingRate="soon")"),
        create_malformed(REQUIRED + R"( SubscriptionPingRate="1.5")"),
        create_malformed(REQUIRED + R"( SubscriptionPingRate="2147483648")"),
        create_malformed(REQUIRED, R"(<Options ReturnErrorText="maybe"/>)"),
        create_malformed(REQUIRED, R"(<Options ReturnDiagnosticInfo="maybe"/>)"),
        create_malformed(REQUIRED, R"(<Options ReturnItemTime="maybe"/>)"),
        create_malformed(REQUIRED, R"(<Options ReturnItemPath="maybe"/>)"),
        create_malformed(REQUIRED, R"(<ItemList Deadband="x"/>)"),
        create_malformed(REQUIRED, R"(<ItemList RequestedSamplingRate="x"/>)"),
        create_malformed(REQUIRED, R"(<ItemList EnableBuffering="x"/>)"),
        create_malformed(REQUIRED, R"(<ItemList><Items/></ItemList>)"),
        create_malformed(REQUIRED, R"(<ItemList><Items ItemName=""/></ItemList>)"),
        create_malformed(REQUIRED, R"(<ItemList><Items ItemName=".."/></ItemList>)"),
        create_malformed(REQUIRED, R"(<ItemList><Items ItemName="/a" Deadband=""/></ItemList>)"),
        create_malformed(REQUIRED,
                         R"(<ItemList><Items ItemName="/a" RequestedSamplingRate="1e3"/></ItemList>)"),
        create_malformed(REQUIRED, R"(<ItemList><Items ItemName="/a" EnableBuffering="si"/></ItemList>)")));

}  // namespace
}  // namespace kx::information_model::opc::testing
