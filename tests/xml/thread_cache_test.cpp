#include "xml/ThreadCache.h"

#include "support/allocation_count.h"
#include "xml/reply/reply_dom.h"
#include "xml/request/RequestParser.h"
#include "xml/xml_names.h"

#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <exception>
#include <string>
#include <thread>
#include <vector>

namespace kx::information_model::opc::testing {
namespace {

constexpr std::size_t MOST_KEPT = std::size_t{64} * 1024;

/// As many names as replies have, and longer ones.
void make_reply() {
    auto reply = create_reply_document();
    auto root = create_element(*reply, "root");
    for (int number = 0; number < 48; ++number) {
        root->appendChild(create_element(
            *reply, reply_names::SUBSCRIPTION_POLLED_REFRESH_RESPONSE + std::to_string(number)));
    }
    reply->appendChild(root);
}

/// From the text of a request to its answer, which is thrown away.
void serve(const std::string& text) {
    try {
        const auto request = parse_request(text);
        make_reply();
    } catch (const std::exception&) {  // refused, which leaves no less behind
    }
}

/// How much a thread keeps that has answered these requests and now waits for the next one.
std::size_t measure_kept(const std::vector<std::string>& requests) {
    serve("<r/>");  // makes what all threads share
    std::size_t kept = 0;
    std::thread([&] {
        const std::size_t before = get_allocated_size();
        for (const std::string& request : requests) {
            serve(request);
        }
        kept = get_allocated_size() - before;
        const ExpatParser* const parser = ThreadCache::get().get_kept_parser();
        EXPECT_TRUE(parser == nullptr || !parser->get_memory().uses_system());
    }).join();
    return kept;
}

/// An element with the given attributes, and one child for each of `names`.
std::string create_document(const std::string& attributes, const std::vector<std::string>& names) {
    std::string text = "<r " + attributes + ">";
    for (const std::string& name : names) {
        text += "<" + name + "/>";
    }
    return text + "</r>";
}

std::vector<std::string> create_names(std::size_t count, std::size_t size) {
    std::vector<std::string> names;
    for (std::size_t number = 0; number < count; ++number) {
        const std::string digits = std::to_string(number);
        names.push_back("n" + std::string(size - 1 - digits.size(), '_') + digits);
    }
    return names;
}

struct Hostile {
    std::string name;
    std::vector<std::string> requests;
};

std::vector<Hostile> create_hostile() {
    std::string attributes;
    for (int number = 0; number < 15'000; ++number) {
        attributes += " p:a" + std::to_string(number) + "=''";
    }
    std::string namespaces;
    std::vector<std::string> qualified;
    for (int number = 0; number < 120; ++number) {
        const std::string prefix = "p" + std::to_string(number);
        namespaces += " xmlns:" + prefix + "='" + std::string(1'000, 'u') + std::to_string(number) + "'";
        qualified.push_back(prefix + ":e");
    }
    return {
        {"LongNamespace", {"<r xmlns:p='" + std::string(150'000, 'n') + "'" + attributes + "/>"}},
        {"ManyAttributes", {"<r xmlns:p='u'" + attributes + "/>"}},
        {"ManyNamespaces", {create_document(namespaces, qualified)}},
        {"ManyLongNames", {create_document("", create_names(126, 2'000))}},
        {"OneLongName", {create_document("", {std::string(1'000'000, 'n')})}},
        {"LargestNamesThatAreKept", {create_document("", create_names(43, 47))}},
        {"LargestNameThatIsKept", {create_document("", {std::string(2'000, 'n')})}},
        {"ManyLongNamesBehindThoseThatAreKept",
         {create_document("", create_names(43, 47)), create_document("", create_names(120, 1'000))}},
        {"LongText", {"<r>" + std::string(1'000'000, 't') + "</r>"}},
        {"LongAttribute", {"<r a='" + std::string(1'000'000, 't') + "'/>"}},
        {"Malformed", {"<r><a></r>"}},
    };
}

TEST(ThreadCache, IsSmallAfterHostileRequests) {
    for (const Hostile& hostile : create_hostile()) {
        EXPECT_LE(measure_kept(hostile.requests), MOST_KEPT) << hostile.name;
    }
}

TEST(ThreadCache, KeepsTheNamesOfOrdinaryRequests) {
    const std::string prefixes =
        "xmlns:s='" + xml_namespaces::SOAP + "' xmlns:d='" + xml_namespaces::XMLDA + "'";
    const std::string request = "<s:Envelope " + prefixes +
                                "><s:Body><d:Read><d:Options ReturnItemTime='true'/><d:ItemList>"
                                "<d:Items ItemName='a' ClientItemHandle='b'/></d:ItemList></d:Read></s:Body>"
                                "</s:Envelope>";
    const std::size_t once = measure_kept({request});
    EXPECT_GT(once, MOST_KEPT / 2);
    EXPECT_LE(once, MOST_KEPT);
    EXPECT_EQ(measure_kept(std::vector<std::string>(100, request)), once);
}

const ExpatParser* get_parser_after(const std::string& text) {
    try {
        parse_request(text);
    } catch (const std::exception&) {
    }
    return ThreadCache::get().get_kept_parser();
}

TEST(ThreadCache, KeepsAParserUnlessItIsLargeOrRefusedAText) {
    const ExpatParser* const first = get_parser_after("<r xmlns='urn:a'><e a='1'/></r>");
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(get_parser_after("<r xmlns:p='urn:b'><p:e p:a='1'/>text</r>"), first);
    EXPECT_EQ(get_parser_after("<r><e></r>"), nullptr);
    EXPECT_NE(get_parser_after("<r/>"), nullptr);
    EXPECT_EQ(get_parser_after("<!DOCTYPE r><r/>"), nullptr);
    EXPECT_EQ(get_parser_after("<r a='" + std::string(1'000'000, 't') + "'/>"), nullptr);
}

TEST(ThreadCache, KeepsAParserThatRemembersNothing) {
    get_parser_after("<?xml version='1.0' encoding='ISO-8859-2'?><r xmlns:p='urn:a'/>");
    EXPECT_THROW(parse_request("<p:r/>"), std::exception);
    get_parser_after("<r/>");
    EXPECT_EQ(parse_request("<r>\xC3\xA4</r>")->documentElement()->innerText(), "\xC3\xA4");
}

}  // namespace
}  // namespace kx::information_model::opc::testing
