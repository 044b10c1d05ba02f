#include "xml/request/RequestElement.h"

#include "ParsedRequest.h"
#include "xml/ThreadCache.h"
#include "xml/request/request_dom.h"

#include <Poco/DOM/Attr.h>
#include <Poco/DOM/Element.h>
#include <Poco/Exception.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace kx::information_model::opc {
namespace {

using testing::create_element_text;
using testing::ParsedRequest;

TEST(SplitExpatName, TakesApartWhatExpatJoins) {
    const XmlName plain = split_expat_name("local");
    EXPECT_EQ(plain.uri, "");
    EXPECT_EQ(plain.local_name, "local");
    EXPECT_EQ(plain.qualified_name, "local");
    EXPECT_EQ(plain.get_prefix(), "");

    const XmlName by_default = split_expat_name("urn:a\tlocal");
    EXPECT_EQ(by_default.uri, "urn:a");
    EXPECT_EQ(by_default.local_name, "local");
    EXPECT_EQ(by_default.qualified_name, "local");
    EXPECT_FALSE(by_default.has_prefix());

    const XmlName prefixed = split_expat_name("urn:a\tlocal\tp");
    EXPECT_EQ(prefixed.uri, "urn:a");
    EXPECT_EQ(prefixed.local_name, "local");
    EXPECT_EQ(prefixed.qualified_name, "p:local");
    EXPECT_EQ(prefixed.get_prefix(), "p");
}

TEST(XmlName, IsResolvedWithTheDeclarationsOfTheDispatcher) {
    const ParsedRequest request(create_element_text("E", ""));
    const XmlName known = XmlName::resolve("xsi:type", request.get_namespaces());
    EXPECT_EQ(known.uri, "http://www.w3.org/2001/XMLSchema-instance");
    EXPECT_EQ(known.local_name, "type");
    EXPECT_TRUE(known.has_prefix());
    const XmlName unknown = XmlName::resolve("other:type", request.get_namespaces());
    EXPECT_EQ(unknown.uri, "");
    EXPECT_TRUE(unknown.has_prefix());
    const XmlName plain = XmlName::resolve("type", request.get_namespaces());
    EXPECT_EQ(plain.uri, "");
    EXPECT_FALSE(plain.has_prefix());
}

TEST(NameTable, GivesTheSameObjectForTheSameName) {
    NameTable table;
    const XmlName& name = table.get("urn:a\tlocal");
    for (int number = 0; number < 100; ++number) {
        table.get("other" + std::to_string(number));
    }
    EXPECT_EQ(&table.get("urn:a\tlocal"), &name);
    EXPECT_NE(&table.get("urn:a\tlocal\tp"), &name);
}

TEST(NameTable, IsKeptForTheThread) {
    const auto table = ThreadCache::get().get_request_names();
    table->get("kept");
    EXPECT_EQ(ThreadCache::get().get_request_names(), table);
}

TEST(NameTable, HasRoomForARequestWhenItIsKept) {
    auto table = ThreadCache::get().get_request_names();
    for (int number = 0; number < 44; ++number) {
        table->get("kept" + std::to_string(number));
    }
    table = ThreadCache::get().get_request_names();
    for (std::size_t number = 0; number < NameTable::MAXIMUM_REQUEST_NAMES; ++number) {
        EXPECT_NO_THROW(table->get("new" + std::to_string(number)));
    }
}

TEST(NameTable, IsNotKeptWithManyNames) {
    const auto table = ThreadCache::get().get_request_names();
    for (int number = 0; number < 45; ++number) {
        table->get("many" + std::to_string(number));
    }
    EXPECT_NE(ThreadCache::get().get_request_names(), table);
}

TEST(NameTable, IsNotKeptWithLongNames) {
    const auto table = ThreadCache::get().get_request_names();
    table->get(std::string(100'000, 'n'));
    EXPECT_NE(ThreadCache::get().get_request_names(), table);
}

// Where a thread is idle, nobody asks for its table for a long time.
TEST(NameTable, IsGivenBackWithItsDocument) {
    const std::weak_ptr<NameTable> table = ThreadCache::get().get_request_names();
    parse_request("<r/>");
    EXPECT_FALSE(table.expired());
    parse_request("<r><" + std::string(100'000, 'n') + "/></r>");
    EXPECT_TRUE(table.expired());
}

// Each would be compared with all others, whenever it occurs.
TEST(NameTable, RefusesManyNamesThatEndAlike) {
    NameTable table;
    const auto add_many = [&] {
        for (int number = 100; number < 200; ++number) {
            table.get("urn:" + std::to_string(number) + "alike\tlocal");
        }
    };
    EXPECT_THROW(add_many(), Poco::PoolOverflowException);
    EXPECT_EQ(table.get("urn:100alike\tlocal").local_name, "local");
}

TEST(NameTable, RefusesEndlessNames) {
    NameTable table;
    const auto add_thousand = [&] {
        for (int number = 0; number < 1000; ++number) {
            table.get("n" + std::to_string(number));
        }
    };
    EXPECT_THROW(add_thousand(), Poco::PoolOverflowException);
    EXPECT_EQ(table.get("n0").qualified_name, "n0");
}

TEST(RequestElement, ShowsItsAttributesToPocoOnceTheyWereAskedFor) {
    const ParsedRequest request(create_element_text("E", "A='1' x:B='2'"));
    const Poco::XML::Element& element = *request.get_root();
    EXPECT_TRUE(element.hasAttributes());
    for (int times = 0; times < 2; ++times) {
        const Poco::AutoPtr<Poco::XML::NamedNodeMap> attributes = element.attributes();
        EXPECT_EQ(attributes->length(), 2U);
        EXPECT_EQ(element.getAttribute("A"), "1");
        EXPECT_EQ(element.getAttributeNS("urn:foreign", "B"), "2");
        EXPECT_EQ(element.getAttributeNode("A")->ownerElement(), &element);
    }
}

TEST(RequestElement, HasRoomForNamesOfElementsThatAreNamesOfAttributesToo) {
    std::string content;
    for (std::size_t number = 0; number < NameTable::MAXIMUM_REQUEST_NAMES - 10; ++number) {
        const std::string name = "n" + std::to_string(number);
        content.append("<").append(name).append(" xmlns='' ").append(name).append("=''/>");
    }
    const ParsedRequest request("<r>" + content + "</r>");
    for (const auto* child = request.get_root()->firstChild(); child != nullptr;
         child = child->nextSibling()) {
        const Poco::AutoPtr<Poco::XML::NamedNodeMap> attributes = child->attributes();
        EXPECT_EQ(attributes->item(0)->nodeName(), child->nodeName());
    }
}

TEST(RequestElement, FindsTextsByNamespaceAndLocalName) {
    const ParsedRequest request(create_element_text("E", "A='1' x:B='2'"));
    const auto& element = dynamic_cast<const RequestElement&>(*request.get_root());
    EXPECT_EQ(element.find_attribute_text("", "A"), "1");
    EXPECT_EQ(element.find_attribute_text("urn:foreign", "B"), "2");
    EXPECT_EQ(element.find_attribute_text("", "B"), std::nullopt);
    EXPECT_EQ(element.find_attribute_text("urn:foreign", "A"), std::nullopt);
}

TEST(RequestElement, KnowsTheTextOfAllBelowIt) {
    const ParsedRequest request("<a>1<b>2<c/><c>3</c></b>4<d/><e>5</e></a>");
    const Poco::XML::Node* const b = request.get_root()->firstChild();
    EXPECT_EQ(request.get_root()->innerText(), "12345");
    EXPECT_EQ(b->innerText(), "23");
    EXPECT_EQ(b->firstChild()->innerText(), "");
    EXPECT_EQ(b->nextSibling()->innerText(), "");
    EXPECT_EQ(b->nextSibling()->nextSibling()->innerText(), "5");
}

}  // namespace
}  // namespace kx::information_model::opc
