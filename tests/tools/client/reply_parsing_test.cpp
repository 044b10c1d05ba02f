#include "client/ItemFacts.h"
#include "client/errors.h"
#include "client/replies.h"
#include "tools/FakeServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace xmlda::testing {
namespace {

using ::testing::ElementsAre;

/// Replies here are as servers write them that follow the published schema: results first, everything
/// qualified, codes and qualities on items.

TEST(ReplyParsing, StatusWithResultFirst) {
    const StatusReply reply = parse_status_reply(to_envelope(R"(
        <da:GetStatusResponse>
          <da:GetStatusResult RcvTime="2026-01-02T03:04:05Z" ReplyTime="2026-01-02T03:04:06Z" ServerState="test"/>
          <da:Status StartTime="2026-01-01T00:00:00+01:00" ProductVersion="3.2">
            <da:StatusInfo>warm</da:StatusInfo>
            <da:VendorInfo>Somebody</da:VendorInfo>
            <da:SupportedLocaleIDs>en</da:SupportedLocaleIDs>
            <da:SupportedLocaleIDs>de</da:SupportedLocaleIDs>
            <da:SupportedInterfaceVersions>XML_DA_Version_1_0</da:SupportedInterfaceVersions>
          </da:Status>
        </da:GetStatusResponse>)"));

    EXPECT_EQ(reply.header.server_state, "test");
    EXPECT_EQ(reply.info, "warm");
    EXPECT_EQ(reply.vendor, "Somebody");
    EXPECT_EQ(reply.version, "3.2");
    EXPECT_EQ(reply.start_time, "2026-01-01T00:00:00+01:00");
    EXPECT_EQ(reply.header.reply_time, "2026-01-02T03:04:06Z");
    EXPECT_THAT(reply.locales, ElementsAre("en", "de"));
    EXPECT_THAT(reply.interfaces, ElementsAre("XML_DA_Version_1_0"));
}

TEST(ReplyParsing, StatusWithNothingInIt) {
    const StatusReply reply = parse_status_reply(to_envelope("<da:GetStatusResponse/>"));

    EXPECT_EQ(reply.header.server_state, "");
    EXPECT_TRUE(reply.locales.empty());
}

TEST(ReplyParsing, ItemsWithQualitiesAndCodes) {
    const auto items = parse_read_reply(to_envelope(R"(
        <da:ReadResponse>
          <da:ReadResult ServerState="running"/>
          <da:RItemList Reserved="">
            <da:Items ItemPath="" ItemName="b" ClientItemHandle="2" Timestamp="2026-01-02T03:04:05.678+01:00">
              <da:DiagnosticInfo>slow line</da:DiagnosticInfo>
              <da:Value i:type="x:double">1.5E-7</da:Value>
              <da:Quality QualityField="uncertainEUExceeded" LimitField="high" VendorField="4"/>
            </da:Items>
            <da:Items ClientItemHandle="1" ResultID="da:E_UNKNOWNITEMNAME"/>
            <da:Items ClientItemHandle="3" ResultID="da:S_CLAMP">
              <da:Value i:type="x:boolean">true</da:Value><da:Quality/>
            </da:Items>
          </da:RItemList>
          <da:Errors ID="da:E_UNKNOWNITEMNAME"><da:Text>no such item</da:Text></da:Errors>
        </da:ReadResponse>)"))
                           .items;

    ASSERT_EQ(items.size(), 3U);
    EXPECT_EQ(items[0].handle, "2");
    EXPECT_EQ(items[0].name, "b");
    EXPECT_EQ(items[0].timestamp, "2026-01-02T03:04:05.678+01:00");
    EXPECT_EQ(items[0].value->type, "double");
    EXPECT_EQ(items[0].value->text, "1.5E-7");
    EXPECT_EQ(items[0].quality->to_text(), "uncertainEUExceeded, limit high, vendor 4");
    EXPECT_EQ(items[0].diagnostic, "slow line");
    EXPECT_FALSE(items[0].has_error());

    EXPECT_EQ(items[1].name, std::nullopt);
    EXPECT_TRUE(items[1].has_error());
    EXPECT_EQ(items[1].result->to_text(), "E_UNKNOWNITEMNAME: no such item");
    EXPECT_FALSE(items[1].value.has_value());

    EXPECT_FALSE(items[2].has_error());
    EXPECT_EQ(items[2].result->to_text(), "S_CLAMP");
    EXPECT_EQ(items[2].quality->to_text(), "good");
}

TEST(ReplyParsing, CodesOfVendorsAreErrors) {
    const auto items = parse_write_reply(to_envelope(R"(<da:WriteResponse xmlns:v="urn:vendor"><da:RItemList>
            <da:Items ResultID="v:LOCKED"/></da:RItemList>
            <da:Errors ID="v:LOCKED"><da:Text>by the operator</da:Text></da:Errors></da:WriteResponse>)"))
                           .items;

    ASSERT_EQ(items.size(), 1U);
    EXPECT_TRUE(items[0].has_error());
    EXPECT_EQ(items[0].result->to_text(), "LOCKED: by the operator");
}

TEST(ReplyParsing, AnEmptyResponseHasNoItems) {
    EXPECT_TRUE(parse_read_reply(to_envelope("<da:ReadResponse/>")).items.empty());
}

TEST(ReplyParsing, BrowseElementsInBothBooleanForms) {
    const BrowseReply reply = parse_browse_reply(to_envelope(R"(
        <da:BrowseResponse MoreElements="true" ContinuationPoint="next &amp; on">
          <da:BrowseResult ServerState="running"/>
          <da:Elements Name="Line" ItemName="S7.Line" ItemPath="DA" IsItem="0" HasChildren="1"/>
          <da:Elements Name="Speed" ItemName="S7.Speed" IsItem="true" HasChildren="false">
            <da:Properties Name="da:dataType" Description="Item Canonical DataType">
              <da:Value i:type="x:QName">x:short</da:Value>
            </da:Properties>
            <da:Properties Name="da:highEU" ResultID="da:E_INVALIDPID"/>
            <da:Properties xmlns:v="urn:vendor" Name="v:colour"/>
          </da:Elements>
        </da:BrowseResponse>)"));

    EXPECT_TRUE(reply.has_more);
    EXPECT_EQ(reply.continuation_point, "next & on");
    ASSERT_EQ(reply.elements.size(), 2U);
    EXPECT_EQ(reply.elements[0].item_path, "DA");
    EXPECT_FALSE(reply.elements[0].is_item);
    EXPECT_TRUE(reply.elements[0].has_children);
    EXPECT_EQ(reply.elements[1].item_name, "S7.Speed");
    EXPECT_TRUE(reply.elements[1].is_item);
    EXPECT_FALSE(reply.elements[1].has_children);
    const auto& properties = reply.elements[1].properties;
    ASSERT_EQ(properties.size(), 3U);
    EXPECT_EQ(properties[0].name, "dataType");
    EXPECT_EQ(properties[0].description, "Item Canonical DataType");
    EXPECT_EQ(properties[0].value->text, "x:short");
    EXPECT_EQ(properties[1].result->code, "E_INVALIDPID");
    EXPECT_EQ(properties[2].name, "v:colour");
}

TEST(ReplyParsing, BrowseContinuesWithAPointAloneUnlessToldOtherwise) {
    const auto has_more = [](const std::string& attributes) {
        return parse_browse_reply(to_envelope("<da:BrowseResponse " + attributes + "/>")).has_more;
    };

    EXPECT_FALSE(has_more(""));
    EXPECT_FALSE(has_more("ContinuationPoint=''"));
    EXPECT_TRUE(has_more("ContinuationPoint='p'"));
    EXPECT_FALSE(has_more("ContinuationPoint='p' MoreElements='false'"));
    EXPECT_TRUE(has_more("MoreElements='1'"));
}

TEST(ReplyParsing, PropertiesOfAnUnknownItem) {
    const PropertiesReply reply = parse_properties_reply(to_envelope(R"(
        <da:GetPropertiesResponse>
          <da:GetPropertiesResult/>
          <da:PropertyLists ItemName="x" ResultID="da:E_UNKNOWNITEMNAME"/>
          <da:Errors ID="da:E_UNKNOWNITEMNAME"><da:Text>gone</da:Text></da:Errors>
        </da:GetPropertiesResponse>)"));

    ASSERT_EQ(reply.items.size(), 1U);
    EXPECT_EQ(reply.items[0].item_name, "x");
    EXPECT_EQ(reply.items[0].result->to_text(), "E_UNKNOWNITEMNAME: gone");
    EXPECT_TRUE(reply.items[0].properties.empty());
}

TEST(ReplyParsing, PropertiesOfSeveralItems) {
    const PropertiesReply reply = parse_properties_reply(to_envelope(R"(
        <da:GetPropertiesResponse>
          <da:GetPropertiesResult ServerState="running"/>
          <da:PropertyLists ItemPath="DA" ItemName="x">
            <da:Properties Name="da:engineeringUnits"><da:Value i:type="x:string">m</da:Value></da:Properties>
            <da:Properties Name="da:quality"/>
          </da:PropertyLists>
          <da:PropertyLists ItemName="y"/>
        </da:GetPropertiesResponse>)"));

    EXPECT_EQ(reply.header.server_state, "running");
    ASSERT_EQ(reply.items.size(), 2U);
    EXPECT_EQ(reply.items[0].item_path, "DA");
    EXPECT_EQ(reply.items[0].get_text("engineeringUnits"), "m");
    EXPECT_EQ(reply.items[0].find("quality"), nullptr);
    EXPECT_EQ(reply.items[0].get_text("quality"), "");
    EXPECT_EQ(reply.items[1].item_name, "y");
}

TEST(ReplyParsing, QualitiesInAttributes) {
    const PropertiesReply reply = parse_properties_reply(to_envelope(R"(
        <da:GetPropertiesResponse><da:PropertyLists ItemName="x">
          <da:Properties Name="da:quality">
            <da:Value i:type="da:OPCQuality" QualityField="badSensorFailure" LimitField="low" VendorField="3"/>
          </da:Properties>
        </da:PropertyLists></da:GetPropertiesResponse>)"));

    ASSERT_EQ(reply.items.size(), 1U);
    EXPECT_EQ(reply.items[0].get_text("quality"), "badSensorFailure, limit low, vendor 3");
    const Quality quality = to_facts(reply.items[0]).quality.value();
    EXPECT_EQ(quality, (Quality{"badSensorFailure", "low", "3"}));
    EXPECT_TRUE(quality.is_bad());
    EXPECT_EQ(to_quality("good"), Quality());
    EXPECT_EQ(to_quality("good, vendor 7"), (Quality{"good", "none", "7"}));
}

TEST(ReplyParsing, Facts) {
    const PropertiesReply reply = parse_properties_reply(to_envelope(R"(
        <da:GetPropertiesResponse xmlns:telvix="urn:t"><da:PropertyLists ItemName="/x">
          <da:Properties Name="da:dataType"><da:Value i:type="x:QName">x:int</da:Value></da:Properties>
          <da:Properties Name="da:euInfo"><da:Value i:type="da:ArrayOfString">
            <da:string>off</da:string><da:string>on</da:string></da:Value></da:Properties>
          <da:Properties Name="telvix:fractionalDigits"><da:Value i:type="x:int">2</da:Value></da:Properties>
          <da:Properties Name="da:highEU"><da:Value i:type="x:int">7</da:Value></da:Properties>
        </da:PropertyLists></da:GetPropertiesResponse>)"));
    const ItemFacts facts = to_facts(reply.items.at(0));

    EXPECT_EQ(facts.type, "int");
    EXPECT_EQ(*facts.find_symbol("1"), "on");
    EXPECT_EQ(facts.find_symbol("2"), nullptr);
    EXPECT_EQ(facts.find_symbol("-1"), nullptr);
    EXPECT_EQ(facts.fractional_digits, 2);
    EXPECT_EQ(facts.high, "7");
    EXPECT_EQ(facts.low, "");
    EXPECT_EQ(facts.quality, std::nullopt);
}

TEST(ReplyParsing, PropertiesAreSortedByNamesOrInOrder) {
    const ItemProperties b{.item_name = "/b", .item_path = "", .result = {}, .properties = {}};
    const ItemProperties nameless;
    const std::vector<ItemProperties> named = {b};
    const std::vector<ItemProperties> two = {nameless, nameless};

    EXPECT_THAT(sort_properties({{"a", ""}, {"b", ""}, {"/b", ""}}, named),
                ElementsAre(nullptr, &named[0], &named[0]));
    EXPECT_THAT(sort_properties({{"a", ""}, {"b", ""}}, two), ElementsAre(&two[0], &two[1]));
}

TEST(ReplyParsing, CancelSaysNothing) {
    EXPECT_NO_THROW(parse_cancel_reply(to_envelope("<da:SubscriptionCancelResponse/>")));
    EXPECT_THROW(parse_cancel_reply(to_envelope("<da:ReadResponse/>")), UnexpectedMessage);
}

TEST(ReplyParsing, SubscribeItemsAreOneElementDeeper) {
    const SubscribeReply reply = parse_subscribe_reply(to_envelope(R"(
        <da:SubscribeResponse ServerSubHandle="h 1">
          <da:SubscribeResult/>
          <da:RItemList RevisedSamplingRate="500">
            <da:Items RevisedSamplingRate="500">
              <da:ItemValue ClientItemHandle="1"><da:Value i:type="x:int">7</da:Value></da:ItemValue>
            </da:Items>
          </da:RItemList>
        </da:SubscribeResponse>)"));

    EXPECT_EQ(reply.handle, "h 1");
    ASSERT_EQ(reply.items.size(), 1U);
    EXPECT_EQ(reply.items[0].handle, "1");
    EXPECT_EQ(reply.items[0].value->text, "7");
}

TEST(ReplyParsing, RefreshWithSeveralListsAndAnOverflow) {
    const RefreshReply reply = parse_refresh_reply(to_envelope(R"(
        <da:SubscriptionPolledRefreshResponse DataBufferOverflow="1">
          <da:SubscriptionPolledRefreshResult/>
          <da:RItemList SubscriptionHandle="h"><da:Items ClientItemHandle="1"/></da:RItemList>
          <da:RItemList SubscriptionHandle="h"><da:Items ClientItemHandle="2"/></da:RItemList>
        </da:SubscriptionPolledRefreshResponse>)"));

    EXPECT_TRUE(reply.has_overflowed);
    EXPECT_FALSE(reply.is_subscription_lost);
    EXPECT_EQ(reply.items.size(), 2U);
}

TEST(ReplyParsing, RefreshOfALostSubscription) {
    const RefreshReply reply = parse_refresh_reply(to_envelope(
        "<da:SubscriptionPolledRefreshResponse><da:InvalidServerSubHandles>h</da:InvalidServerSubHandles>"
        "</da:SubscriptionPolledRefreshResponse>"));

    EXPECT_TRUE(reply.is_subscription_lost);
    EXPECT_FALSE(reply.has_overflowed);
}

TEST(ReplyParsing, AnEnvelopeWithoutPrefixes) {
    const std::string reply =
        "<Envelope xmlns='http://schemas.xmlsoap.org/soap/envelope/'><Body>"
        "<ReadResponse xmlns='http://opcfoundation.org/webservices/XMLDA/1.0/'><RItemList>"
        "<Items ClientItemHandle='1'><Value t:type='s:int' "
        "xmlns:t='http://www.w3.org/2001/XMLSchema-instance' "
        "xmlns:s='http://www.w3.org/2001/XMLSchema'>3</Value></Items></RItemList></ReadResponse></Body></"
        "Envelope>";
    const auto items = parse_read_reply(reply).items;

    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items[0].value->type, "int");
}

template <class Exception>
void expect_failure(const std::string& envelope, const std::string& message) {
    try {
        parse_read_reply(envelope);
        FAIL() << "no failure";
    } catch (const Exception& error) {
        EXPECT_EQ(std::string(error.what()), message);
    }
}

TEST(Unwrap, FaultWithAQualifiedCode) {
    expect_failure<Fault>(to_envelope("<E:Fault><faultcode>da:E_ACCESS_DENIED</faultcode>"
                                      "<faultstring>not you</faultstring><detail/></E:Fault>"),
                          "the server refused the request: E_ACCESS_DENIED: not you");
}

TEST(Unwrap, FaultWithoutAnything) {
    expect_failure<Fault>(to_envelope("<E:Fault/>"),
                          "the server refused the request: a fault without a code");
}

TEST(Unwrap, AnotherResponse) {
    expect_failure<UnexpectedMessage>(to_envelope("<da:WriteResponse/>"),
                                      "the reply holds 'WriteResponse' instead of 'ReadResponse'");
    expect_failure<UnexpectedMessage>(to_envelope(""), "the reply holds nothing instead of 'ReadResponse'");
}

TEST(Unwrap, FaultsOfTheNewerSoap) {
    expect_failure<Fault>(
        "<e:Envelope xmlns:e='http://www.w3.org/2003/05/soap-envelope'><e:Body><e:Fault>"
        "<e:Code><e:Value>e:Sender</e:Value><e:Subcode><e:Value "
        "xmlns:v='urn:v'>v:E_FAIL</e:Value></e:Subcode>"
        "</e:Code><e:Reason><e:Text xml:lang='en'>no luck</e:Text><e:Text "
        "xml:lang='de'>Pech</e:Text></e:Reason>"
        "</e:Fault></e:Body></e:Envelope>",
        "the server refused the request: E_FAIL: no luck");
    expect_failure<Fault>(to_envelope("<E:Fault><E:Code><E:Value>E:Receiver</E:Value></E:Code></E:Fault>"),
                          "the server refused the request: Receiver");
}

TEST(Unwrap, NoXml) {
    expect_failure<UnexpectedMessage>("hello", "the reply is malformed XML: syntax error in line 1");
}

TEST(Unwrap, NoEnvelope) {
    expect_failure<UnexpectedMessage>("<html><body/></html>", "the reply is not a SOAP envelope with a body");
}

}  // namespace
}  // namespace xmlda::testing
