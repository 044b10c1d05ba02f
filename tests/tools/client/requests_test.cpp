#include "client/requests.h"
#include "client/ItemMatcher.h"
#include "client/envelope.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace xmlda::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::Eq;
using ::testing::Optional;

const std::string OPTIONS = R"(<Options ReturnErrorText="true" ReturnDiagnosticInfo="false" )"
                            R"(ReturnItemTime="true" ReturnItemPath="false" ReturnItemName="true"/>)";

/// The element of a request, without the envelope around it.
std::string get_element(const Request& request) {
    const std::string envelope = wrap("|");
    const std::size_t begin = envelope.find('|');
    EXPECT_EQ(request.body.substr(0, begin), envelope.substr(0, begin));
    EXPECT_TRUE(request.body.ends_with(envelope.substr(begin + 1))) << request.body;
    return request.body.substr(begin, request.body.size() - envelope.size() + 1);
}

TEST(Requests, AreWrappedInAnEnvelope) {
    EXPECT_EQ(
        wrap("<GetStatus/>"),
        R"(<?xml version="1.0" encoding="utf-8"?>)"
        R"(<soap:Envelope xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/" )"
        R"(xmlns:xsd="http://www.w3.org/2001/XMLSchema" xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" )"
        R"(xmlns="http://opcfoundation.org/webservices/XMLDA/1.0/"><soap:Body><GetStatus/></soap:Body>)"
        R"(</soap:Envelope>)");
}

TEST(Requests, Status) {
    EXPECT_EQ(get_element(create_status_request()), "<GetStatus/>");
}

TEST(Requests, BrowseOfTheRoot) {
    EXPECT_EQ(get_element(create_browse_request({}, false, "")),
              R"(<Browse BrowseFilter="all" ReturnAllProperties="false" ReturnPropertyValues="false" )"
              R"(ReturnErrorText="true"/>)");
}

TEST(Requests, BrowseGoesOn) {
    EXPECT_EQ(get_element(create_browse_request({"a", "p"}, true, "c")),
              R"(<Browse ItemPath="p" ItemName="a" ContinuationPoint="c" BrowseFilter="all" )"
              R"(ReturnAllProperties="true" ReturnPropertyValues="true" ReturnErrorText="true"/>)");
}

TEST(Requests, Properties) {
    EXPECT_EQ(
        get_element(create_properties_request({{"a", ""}}, {"dataType", "euInfo"})),
        R"(<GetProperties ReturnAllProperties="false" ReturnPropertyValues="true" ReturnErrorText="true">)"
        R"(<ItemIDs ItemName="a"/><PropertyNames>dataType</PropertyNames>)"
        R"(<PropertyNames>euInfo</PropertyNames></GetProperties>)");
}

TEST(Requests, AllPropertiesOfSeveralItems) {
    EXPECT_EQ(
        get_element(create_properties_request({{"a", ""}, {"b", "p"}})),
        R"(<GetProperties ReturnAllProperties="true" ReturnPropertyValues="true" ReturnErrorText="true">)"
        R"(<ItemIDs ItemName="a"/><ItemIDs ItemPath="p" ItemName="b"/></GetProperties>)");
}

TEST(Requests, SayWhatTheyAsk) {
    const Request request = create_read_request({});

    EXPECT_EQ(request.service, "Read");
    EXPECT_EQ(request.get_action(), "http://opcfoundation.org/webservices/XMLDA/1.0/Read");
}

TEST(Requests, Read) {
    EXPECT_EQ(get_element(create_read_request({{"a<b", ""}, {"c", "p"}})),
              "<Read>" + OPTIONS +
                  R"(<ItemList><Items ItemName="a&lt;b" ClientItemHandle="1"/>)"
                  R"(<Items ItemPath="p" ItemName="c" ClientItemHandle="2"/></ItemList></Read>)");
}

TEST(Requests, WriteOfScalarsAndArrays) {
    const std::vector<WriteItem> items = {{{"a", ""}, {"double", {"2.5"}}},
                                          {{"b", ""}, {"ArrayOfUnsignedInt", {"1", "2"}}},
                                          {{"c", ""}, {"ArrayOfString", {}}},
                                          {{"d", ""}, {"string", {"<"}}}};

    EXPECT_EQ(
        get_element(create_write_request(items, true)),
        R"(<Write ReturnValuesOnReply="true">)" + OPTIONS +
            R"(<ItemList>)"
            R"(<Items ItemName="a" ClientItemHandle="1"><Value xsi:type="xsd:double">2.5</Value></Items>)"
            R"(<Items ItemName="b" ClientItemHandle="2"><Value xsi:type="ArrayOfUnsignedInt">)"
            R"(<unsignedInt>1</unsignedInt><unsignedInt>2</unsignedInt></Value></Items>)"
            R"(<Items ItemName="c" ClientItemHandle="3"><Value xsi:type="ArrayOfString"/></Items>)"
            R"(<Items ItemName="d" ClientItemHandle="4"><Value xsi:type="xsd:string">&lt;</Value></Items>)"
            R"(</ItemList></Write>)");
}

TEST(Requests, SubscribeRefreshAndCancel) {
    EXPECT_EQ(
        get_element(create_subscribe_request({{"a", ""}}, 500ms, 30s)),
        R"(<Subscribe ReturnValuesOnReply="true" SubscriptionPingRate="30000">)" + OPTIONS +
            R"(<ItemList RequestedSamplingRate="500"><Items ItemName="a" ClientItemHandle="1"/></ItemList>)"
            R"(</Subscribe>)");
    EXPECT_EQ(get_element(create_refresh_request("h")),
              R"(<SubscriptionPolledRefresh WaitTime="0" ReturnAllItems="false">)" + OPTIONS +
                  R"(<ServerSubHandles>h</ServerSubHandles></SubscriptionPolledRefresh>)");
    EXPECT_EQ(get_element(create_cancel_request("h")), R"(<SubscriptionCancel ServerSubHandle="h"/>)");
}

ItemReply create_item(std::optional<std::string> handle, std::optional<std::string> name,
                      const std::string& text = "") {
    ItemReply item;
    item.handle = std::move(handle);
    item.name = std::move(name);
    item.diagnostic = text;
    return item;
}

TEST(ItemMatcher, GoesByHandleWhateverTheNameIs) {
    const ItemMatcher matcher({{"a", ""}, {"b", ""}});

    EXPECT_THAT(matcher.find(create_item("2", "/other")), Optional(Eq(1U)));
    EXPECT_EQ(matcher.find(create_item("3", "a")), std::nullopt);
}

TEST(ItemMatcher, GoesByNameWithoutAHandle) {
    const ItemMatcher matcher({{"a", ""}, {"b", ""}});

    EXPECT_THAT(matcher.find(create_item(std::nullopt, "b")), Optional(Eq(1U)));
    EXPECT_THAT(matcher.find(create_item("", "a")), Optional(Eq(0U)));
    EXPECT_EQ(matcher.find(create_item(std::nullopt, std::nullopt)), std::nullopt);
}

TEST(ItemMatcher, SortsAndLeavesMissingOnesOut) {
    const ItemMatcher matcher({{"a", ""}, {"b", ""}, {"c", ""}});
    const auto sorted = matcher.sort(
        {create_item("3", {}, "third"), create_item("1", {}, "first"), create_item("1", {}, "first again")});

    ASSERT_EQ(sorted.size(), 3U);
    EXPECT_EQ(sorted[0]->diagnostic, "first");
    EXPECT_FALSE(sorted[1].has_value());
    EXPECT_EQ(sorted[2]->diagnostic, "third");
}

TEST(ItemMatcher, GoesByPositionWhereNothingIsNamed) {
    const ItemMatcher matcher({{"a", ""}, {"b", ""}});
    const auto sorted = matcher.sort({create_item({}, {}, "first"), create_item({}, {}, "second")});

    EXPECT_EQ(sorted[0]->diagnostic, "first");
    EXPECT_EQ(sorted[1]->diagnostic, "second");
    EXPECT_FALSE(matcher.sort({create_item({}, {}, "only one")})[0].has_value());
}

}  // namespace
}  // namespace xmlda::testing
