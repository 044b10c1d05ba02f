#include "gateway/soap/requests.h"
#include "gateway/soap/SoapFault.h"

#include <string>

#include <gtest/gtest.h>

namespace gateway {
namespace {

SoapRequest parse(const std::string& content) {
    return SoapRequest(
        "<e:Envelope xmlns:e=\"http://schemas.xmlsoap.org/soap/envelope/\" "
        "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
        "xmlns:s=\"http://www.w3.org/2001/XMLSchema\" "
        "xmlns=\"http://opcfoundation.org/webservices/XMLDA/1.0/\"><e:Body>" +
        content + "</e:Body></e:Envelope>");
}

/// Whether a request is served that has this header.
bool is_served_with(const std::string& header) {
    try {
        const SoapRequest request(
            "<e:Envelope xmlns:e=\"http://schemas.xmlsoap.org/soap/envelope/\"><e:Header>" + header +
            "</e:Header><e:Body><GetStatus/></e:Body></e:Envelope>");
        return request.get_service() == "GetStatus";
    } catch (const SoapFault& fault) {
        EXPECT_EQ(fault.get_code(), SoapFault::MUST_UNDERSTAND);
        EXPECT_STREQ(fault.what(), "the header 'Security' is not understood");
        return false;
    }
}

TEST(Request, HeadersThatMustBeUnderstoodAreRefused) {
    EXPECT_TRUE(is_served_with("<Action/><Security e:mustUnderstand=\"0\"/><To mustUnderstand=\"1\"/>"));
    EXPECT_FALSE(is_served_with("<Action/><Security e:mustUnderstand=\"1\"/>"));
    const std::string actor = "e:actor=\"http://schemas.xmlsoap.org/soap/actor/next\"";
    EXPECT_FALSE(is_served_with("<Security e:mustUnderstand=\"1\" " + actor + "/>"));
    EXPECT_TRUE(is_served_with("<Security e:mustUnderstand=\"1\" e:actor=\"urn:somebody-else\"/>"));
}

TEST(Request, OptionsHaveTheDefaultsOfTheSchema) {
    const RequestOptions without = parse("<Read/>").read_read().options;
    EXPECT_TRUE(without.error_text);
    EXPECT_FALSE(without.item_time || without.item_path || without.item_name);
    const RequestOptions empty = parse("<Read><Options/></Read>").read_read().options;
    EXPECT_TRUE(empty.error_text);
    EXPECT_FALSE(empty.item_time);
    EXPECT_FALSE(empty.request_handle);
}

TEST(Request, WhatItemsInheritIsBounded) {
    std::string items;
    for (int i = 0; i < 1000; ++i) {
        items += "<Items/>";
    }
    const auto read = [&items](std::size_t length) {
        return parse("<Read><ItemList ItemPath=\"" + std::string(length, 'a') + "\">" + items +
                     "</ItemList></Read>")
            .read_read();
    };
    EXPECT_EQ(read(1000).items.size(), 1000U);
    EXPECT_THROW(read(100'000), SoapFault);
}

TEST(Request, ItemsInheritFromTheirList) {
    const ReadRequest read =
        parse(
            "<Read><ItemList ItemPath=\"/a\" ReqType=\"s:int\"><Items ItemName=\"b\"/>"
            "<Items ItemPath=\"/c\" ItemName=\"d\" ReqType=\"s:string\" ClientItemHandle=\"\"/>"
            "</ItemList></Read>")
            .read_read();
    ASSERT_EQ(read.items.size(), 2U);
    EXPECT_EQ(read.items[0].path, "/a");
    EXPECT_EQ(read.items[0].type, "int");
    EXPECT_FALSE(read.items[0].handle);
    EXPECT_EQ(read.items[1].path, "/c");
    EXPECT_EQ(read.items[1].type, "string");
    EXPECT_EQ(read.items[1].handle, "");
}

TEST(Request, EmptyAttributesAreAbsent) {
    const RefreshRequest refresh =
        parse("<SubscriptionPolledRefresh HoldTime=\"\" WaitTime=\"\" ReturnAllItems=\"\"/>").read_refresh();
    EXPECT_FALSE(refresh.hold_until);
    EXPECT_EQ(refresh.wait.count(), 0);
    EXPECT_FALSE(refresh.return_all);
}

TEST(Request, ValueMayBeInNoNamespace) {
    const WriteRequest write =
        parse(
            "<Write><ItemList><Items ItemName=\"a\"><Value xmlns=\"\" xsi:type=\"s:int\">7"
            "</Value></Items><Items ItemName=\"b\"/></ItemList></Write>")
            .read_write();
    ASSERT_EQ(write.items.size(), 2U);
    EXPECT_EQ(write.items[0].value.type, "int");
    EXPECT_EQ(write.items[0].value.text, "7");
    EXPECT_EQ(write.items[1].value.kind, xmlda::Value::Kind::NIL);
}

TEST(Request, NamesOfPropertiesAreResolved) {
    const BrowseRequest browse = parse(
                                     "<Browse><PropertyNames>value</PropertyNames>"
                                     "<PropertyNames xmlns:v=\"urn:telvix:information-model:1.0\"> v:delta "
                                     "</PropertyNames></Browse>")
                                     .read_browse();
    EXPECT_EQ(browse.properties.names, (std::vector<std::string>{"value", "telvix:delta"}));
}

TEST(Request, WhatIsNoNameOfAPropertyIsRefused) {
    for (const std::string text :
         {"", " ", "val=e", "a b", "a:b:c", ":x", "x:", "7", "-a", "&lt;", "a\xC2\xA0", "a/b", "."}) {
        const std::string names = "<PropertyNames>" + text + "</PropertyNames>";
        EXPECT_THROW(parse("<Browse>" + names + "</Browse>").read_browse(), SoapFault) << text;
        EXPECT_THROW(parse("<GetProperties>" + names + "</GetProperties>").read_get_properties(), SoapFault)
            << text;
    }
    try {
        parse("<Browse><PropertyNames>value</PropertyNames><PropertyNames> val=e </PropertyNames></Browse>")
            .read_browse();
        FAIL() << "not refused";
    } catch (const SoapFault& fault) {
        EXPECT_EQ(fault.get_code(), "");
        EXPECT_STREQ(fault.what(), "PropertyNames: 'val=e' is not a name");
    }
}

TEST(Request, NamesOfPropertiesMayBeOfAnyScript) {
    const std::string name = "Temp\xC3\xA9rature.a-b_c";
    const auto request =
        parse("<GetProperties><PropertyNames>\n" + name + "\n</PropertyNames></GetProperties>");
    EXPECT_EQ(request.read_get_properties().properties.names, std::vector<std::string>{name});
}

TEST(Request, WhatCannotBeUnderstoodIsQuoted) {
    for (const std::string content :
         {"<Read><Options ReturnItemTime=\"maybe\"/></Read>", "<Subscribe SubscriptionPingRate=\"soon\"/>",
          "<SubscriptionPolledRefresh HoldTime=\"later\"/>", "<Browse MaxElementsReturned=\"99999999999\"/>",
          "<Subscribe><ItemList Deadband=\"101\"/></Subscribe>",
          "<Subscribe><ItemList Deadband=\"nan\"/></Subscribe>"}) {
        const SoapRequest request = parse(content);
        EXPECT_THROW(
            {
                if (request.get_service() == "Read") {
                    request.read_read();
                } else if (request.get_service() == "Subscribe") {
                    request.read_subscribe();
                } else if (request.get_service() == "Browse") {
                    request.read_browse();
                } else {
                    request.read_refresh();
                }
            },
            SoapFault)
            << content;
    }
}

TEST(Request, MustBeAnEnvelope) {
    for (const std::string document :
         {"", "text", "<a/>", "<Envelope><Body><Read/></Body></Envelope>",
          "<e:Envelope xmlns:e=\"http://schemas.xmlsoap.org/soap/envelope/\"/>",
          "<e:Envelope "
          "xmlns:e=\"http://schemas.xmlsoap.org/soap/envelope/\"><e:Body>text</e:Body></e:Envelope>",
          "<!DOCTYPE a [<!ENTITY b \"c\">]><a>&b;</a>"}) {
        EXPECT_THROW(SoapRequest{document}, SoapFault) << document;
    }
}

/// An element with attributes, each of another name.
std::string create_element(int attributes, const std::string& equals) {
    std::string element = "<Read";
    for (int i = 0; i < attributes; ++i) {
        element += " a" + std::to_string(i) + equals + "'>'";
    }
    return element + "/>";
}

TEST(Request, HasABoundOfAttributesOfAnElement) {
    EXPECT_EQ(parse(create_element(3900, "=")).get_service(), "Read");
    for (const char* const equals : {"=", " =\n "}) {
        try {
            parse(create_element(4001, equals));
            FAIL() << "with '" << equals << "'";
        } catch (const SoapFault& fault) {
            EXPECT_EQ(fault.get_code(), "E_OUTOFMEMORY");
        }
    }
    std::string texts;
    for (int i = 0; i < 3000; ++i) {
        texts += "<a b='1'>c=\"d\"</a>";
    }
    EXPECT_EQ(parse("<Read>" + texts + "</Read>").get_service(), "Read");
}

TEST(Request, HasABoundOfElements) {
    std::string content;
    for (int i = 0; i < 1'000'001; ++i) {
        content += "<a/>";
    }
    EXPECT_THROW(parse(content), SoapFault);
}

}  // namespace
}  // namespace gateway
