#include "ManualLoop.h"
#include "PublishedSchema.h"
#include "gateway/net/HttpClient.h"
#include "gateway/services/SoapServices.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>

namespace gateway {
namespace {

using namespace std::chrono_literals;

std::string wrap_in_envelope(const std::string& content) {
    return "<e:Envelope xmlns:e=\"http://schemas.xmlsoap.org/soap/envelope/\" "
           "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" "
           "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
           "xmlns:telvix=\"urn:telvix:information-model:1.0\" xmlns:own=\"urn:somebody\" "
           "xmlns=\"http://opcfoundation.org/webservices/XMLDA/1.0/\"><e:Body>" +
           content + "</e:Body></e:Envelope>";
}

std::string create_property(const std::string& name, const std::string& value) {
    return "<Properties Name=\"" + name + "\">" + value + "</Properties>";
}

/// The gateway in front of a server that sends what is not valid by the published schema.
class OddServer : public testing::Test {
protected:
    /// Sends a request and validates the reply.
    std::string call(const std::string& content) {
        HttpRequest request;
        request.body = wrap_in_envelope(content);
        std::optional<HttpReply> reply;
        spawn(answer(std::move(request), reply));
        loop_.pass(1s);
        if (!reply) {
            ADD_FAILURE() << "not answered: " << content;
            return "";
        }
        EXPECT_TRUE(schema_.allows(reply->body)) << reply->body;
        return reply->body;
    }

    /// What a Read gives for an item with these properties.
    std::string read(const std::string& properties, const std::string& type = "") {
        reply_ = "<GetPropertiesResponse><PropertyLists ItemName=\"/a\">" + properties +
                 "</PropertyLists></GetPropertiesResponse>";
        const std::string attributes = type.empty() ? "" : "ReqType=\"" + type + "\"";
        const std::string body =
            call("<Read><Options ReturnItemTime=\"true\"/><ItemList><Items ItemName=\"/a\" " + attributes +
                 "/></ItemList></Read>");
        const auto begin = body.find("<Items");
        return body.substr(begin, body.find("</RItemList>") - begin);
    }

    std::string read_value(const std::string& value, const std::string& type = "") {
        return read(create_property("value", value) + create_property("quality", "<Value>good</Value>"),
                    type);
    }

    std::string get_all_properties(const std::string& properties) {
        reply_ = "<GetPropertiesResponse><PropertyLists ItemName=\"/a\">" + properties +
                 "</PropertyLists></GetPropertiesResponse>";
        const std::string body = call(
            "<GetProperties ReturnAllProperties=\"true\" ReturnPropertyValues=\"true\">"
            "<ItemIDs ItemName=\"/a\"/></GetProperties>");
        const auto begin = body.find("<Properties ");
        return begin == std::string::npos ? "" : body.substr(begin, body.find("</PropertyLists>") - begin);
    }

    std::string reply_;

private:
    Task<> answer(HttpRequest request, std::optional<HttpReply>& reply) {
        Task<HttpReply> task = services_.serve(std::move(request), std::make_shared<Presence>());
        reply = co_await task;
    }

    PublishedSchema schema_{KX_ENVELOPE_SCHEMA, KX_PUBLISHED_SCHEMA};
    ManualLoop loop_;
    ServerClient client_{[this](const std::string&, bool) {
        const Completion<HttpOutcome> completion;
        loop_.post([this, completion] {
            HttpOutcome outcome;
            outcome.status = 200;
            outcome.body = wrap_in_envelope(reply_);
            completion.set(outcome);
        });
        return completion;
    }};
    ItemTable table_;
    Sampler sampler_{loop_, client_, table_, 250ms};
    SubscriptionTable subscriptions_{loop_, {.most_items = 100, .most_of_an_address = 4}};
    MemoryBudget memory_{1U << 20U};
    SoapServices services_{{loop_, client_, table_, sampler_, subscriptions_, memory_, false}};
};

constexpr char GOOD[] = "<Quality QualityField=\"good\"/></Items>";

TEST_F(OddServer, ValuesOfUnknownTypesAreTexts) {
    for (const std::string type : {"own:thing", "thing", "xsd:thing", "OPCQuality", "xsd:anyType", "xsd:ID",
                                   "xsd:QName", "xsd:NOTATION", "xsd:unsignedInteger", "a b", ":", ""}) {
        EXPECT_EQ(read_value("<Value xsi:type=\"" + type + "\">own:x</Value>"),
                  R"(<Items><Value xsi:type="xsd:string">own:x</Value>)" + std::string(GOOD));
    }
}

TEST_F(OddServer, WhatIsNoValueOfItsTypeIsAText) {
    for (const std::string type : {"double", "int", "boolean", "dateTime", "duration", "date", "time",
                                   "base64Binary", "unsignedByte", "decimal"}) {
        EXPECT_EQ(read_value("<Value xsi:type=\"xsd:" + type + "\">n:1 %</Value>"),
                  R"(<Items><Value xsi:type="xsd:string">n:1 %</Value>)" + std::string(GOOD));
    }
}

TEST_F(OddServer, ArraysOfWhatIsNotOfTheirTypeAreArraysOfAnything) {
    EXPECT_EQ(
        read_value("<Value xsi:type=\"ArrayOfInt\"><int>1</int><int>x</int><int xsi:nil=\"1\"/>"
                   "<int><int>2</int></int></Value>"),
        R"(<Items><Value xsi:type="da:ArrayOfAnyType"><anyType xsi:type="xsd:int">1</anyType>)"
        R"(<anyType xsi:type="xsd:string">x</anyType><anyType xsi:nil="true"/><anyType xsi:nil="true"/></Value>)" +
            std::string(GOOD));
    EXPECT_EQ(
        read_value("<Value xsi:type=\"xsd:int\"><a>1</a></Value>"),
        R"(<Items><Value xsi:type="da:ArrayOfAnyType"><anyType xsi:type="xsd:string">1</anyType></Value>)" +
            std::string(GOOD));
    EXPECT_EQ(
        read_value("<Value xsi:type=\"ArrayOfString\"><string>a</string><string xsi:nil=\"1\"/></Value>"),
        R"(<Items><Value xsi:type="da:ArrayOfString"><string>a</string><string xsi:nil="true"/></Value>)" +
            std::string(GOOD));
    EXPECT_EQ(
        read_value("<Value xsi:type=\"ArrayOfThing\"><thing>a</thing></Value>"),
        R"(<Items><Value xsi:type="da:ArrayOfAnyType"><anyType xsi:type="xsd:string">a</anyType></Value>)" +
            std::string(GOOD));
}

TEST_F(OddServer, NoValueIsLeftOut) {
    EXPECT_EQ(read_value("<Value xsi:nil=\"true\"/>"), "<Items>" + std::string(GOOD));
}

TEST_F(OddServer, QualitiesAreThoseOfTheSchema) {
    const auto read_quality = [this](const std::string& text) {
        const std::string items = read(create_property("quality", "<Value>" + text + "</Value>"));
        const auto begin = items.find("QualityField=\"") + 14;
        return items.substr(begin, items.find('"', begin) - begin);
    };
    EXPECT_EQ(read_quality("uncertainEUExceeded"), "uncertainEUExceeded");
    EXPECT_EQ(read_quality("goodEnough"), "good");
    EXPECT_EQ(read_quality("good, limit high, vendor 4"), "good");
    EXPECT_EQ(read_quality("badLuck"), "bad");
    EXPECT_EQ(read_quality("uncertain "), "uncertain");
    EXPECT_EQ(read_quality("unknown"), "bad");
    EXPECT_EQ(read_quality(""), "bad");
}

TEST_F(OddServer, WhatIsNoTimeIsLeftOut) {
    const auto read_time = [this](const std::string& text) {
        return read(create_property("timestamp", "<Value>" + text + "</Value>") +
                    create_property("quality", "<Value>good</Value>"));
    };
    EXPECT_EQ(read_time("yesterday").find("Timestamp"), std::string::npos);
    EXPECT_EQ(read_time("2026-02-30T00:00:00Z").find("Timestamp"), std::string::npos);
    EXPECT_NE(read_time("2026-02-28T00:00:00.5Z").find("Timestamp=\"2026-02-28T00:00:00.5Z\""),
              std::string::npos);
}

TEST_F(OddServer, PropertiesThatCannotBeNamedAreLeftOut) {
    const std::string value = R"(<Value xsi:type="xsd:int">1</Value>)";
    EXPECT_EQ(get_all_properties(create_property("my prop", value) + create_property("own:a", value) +
                                 create_property("telvix:a b", value) + create_property("", value) +
                                 create_property("undeclared:a", value) + create_property("a", value) +
                                 create_property("telvix:a", value)),
              R"(<Properties Name="da:a"><Value xsi:type="xsd:int">1</Value></Properties>)"
              R"(<Properties Name="telvix:a"><Value xsi:type="xsd:int">1</Value></Properties>)");
}

TEST_F(OddServer, ValuesOfPropertiesAreValid) {
    EXPECT_EQ(
        get_all_properties(create_property("quality", "<Value>strange</Value>")),
        R"(<Properties Name="da:quality"><Value xsi:type="da:OPCQuality" QualityField="bad"/></Properties>)");
    EXPECT_EQ(
        get_all_properties(create_property("dataType", "<Value>own:a b</Value>")),
        R"(<Properties Name="da:dataType"><Value xsi:type="xsd:QName">xsd:string</Value></Properties>)");
    EXPECT_EQ(
        get_all_properties(create_property("a", R"(<Value xsi:type="OPCQuality" QualityField="good"/>)")),
        R"(<Properties Name="da:a"><Value xsi:type="xsd:string">good</Value></Properties>)");
    EXPECT_EQ(get_all_properties(create_property("a", R"(<Value xsi:nil="1"/>)")),
              R"(<Properties Name="da:a"/>)");
}

TEST_F(OddServer, TypesThatAreAskedForAreValid) {
    const auto convert = [this](const std::string& value, const std::string& type) {
        return read_value("<Value xsi:type=\"" + value + "</Value>", type);
    };
    const std::string refused = R"(<Items ResultID="da:E_BADTYPE"><Quality QualityField="bad"/></Items>)";
    EXPECT_EQ(convert("xsd:double\">1e-05", "decimal"),
              R"(<Items><Value xsi:type="xsd:decimal">0.00001</Value>)" + std::string(GOOD));
    EXPECT_EQ(convert("xsd:double\">nan", "decimal"), refused);
    EXPECT_EQ(convert("xsd:double\">inf", "decimal"),
              R"(<Items ResultID="da:E_RANGE"><Quality QualityField="bad"/></Items>)");
    EXPECT_EQ(convert("xsd:string\">nan(1)", "double"), refused);
    EXPECT_EQ(convert("xsd:string\">2026-99-99T00:00:00", "dateTime"), refused);
    EXPECT_EQ(convert("xsd:double\">1.5", "thing"), refused);
}

TEST_F(OddServer, CodesOfFaultsAreNames) {
    const auto get_code = [this](const std::string& code) {
        reply_ = "<e:Fault><faultcode>" + code + "</faultcode><faultstring>no</faultstring></e:Fault>";
        const std::string body = call("<Browse/>");
        const auto begin = body.find("<faultcode>") + 11;
        return body.substr(begin, body.find("</faultcode>") - begin);
    };
    EXPECT_EQ(get_code("E_UNKNOWNITEMNAME"), "da:E_UNKNOWNITEMNAME");
    EXPECT_EQ(get_code("a b"), "da:E_FAIL");
    EXPECT_EQ(get_code("x:y:z"), "da:E_FAIL");
    EXPECT_EQ(get_code(""), "da:E_FAIL");
}

}  // namespace
}  // namespace gateway
