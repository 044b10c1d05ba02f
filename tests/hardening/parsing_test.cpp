// Requests that bring down a server that parses them as they come: by recursion, by expansion, by time or by
// memory.

#include "hardening/HardeningHost.h"
#include "support/HttpClient.h"
#include "support/replies.h"

#include <Poco/Exception.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace kx::information_model::opc::testing {
namespace {

constexpr std::size_t MIB = std::size_t{1} << 20U;

std::string repeat(const std::string& text, std::size_t count) {
    std::string texts;
    for (std::size_t index = 0; index < count; ++index) {
        texts += text;
    }
    return texts;
}

/// Each test has a host of its own, since it measures its memory. A client fails after 30 s of silence.
class Parsing : public ::testing::Test {
protected:
    Reply post(const std::string& body) const { return HttpClient(host_.get_port()).post(body); }

    void expect_peak_memory_below(std::size_t mebibytes) const {
        EXPECT_LT(host_.get_peak_memory() / MIB, mebibytes * MEMORY_FACTOR);
    }

    void TearDown() override { host_.expect_well(); }

    HardeningHost host_;
};

TEST_F(Parsing, DeepElementsOverflowNoStack) {
    for (const std::size_t depth : {129U, 1000U, 88000U, 1000000U}) {
        SCOPED_TRACE(depth);
        expect_bad_request(post(repeat("<element>", depth)));
        expect_bad_request(post(repeat("<a>", depth) + repeat("</a>", depth)));
    }
    const std::string deepest = repeat("<a>", 126) + repeat("</a>", 126);  // in Envelope and Body
    EXPECT_EQ(post(create_request("<GetStatus/>" + deepest)).status, 200);
    expect_peak_memory_below(100);
}

// 620 KB of entities, each of which is the next one.
TEST_F(Parsing, ChainOfEntitiesOverflowsNoStack) {
    std::string entities;
    for (int number = 0; number < 23800; ++number) {
        entities += "<!ENTITY e" + std::to_string(number) + " '&e" + std::to_string(number + 1) + ";'>";
    }
    expect_bad_request(post("<!DOCTYPE a [" + entities + "<!ENTITY e23800 'x'>]><a>&e0;</a>"));
    expect_bad_request(post("<!DOCTYPE a [" + entities + "<!ENTITY e23800 'x'>]><a b='&e0;'/>"));
    expect_peak_memory_below(100);
}

TEST_F(Parsing, EntitiesInEntitiesTakeNoTime) {
    std::string entities = "<!ENTITY e0 'xxxxxxxxxx'>";
    for (int number = 1; number < 30; ++number) {
        entities += "<!ENTITY e" + std::to_string(number) + " '" +
                    repeat("&e" + std::to_string(number - 1) + ";", 30) + "'>";
    }
    expect_bad_request(post("<!DOCTYPE a [" + entities + "]><a>&e29;</a>"));
    expect_bad_request(
        post("<!DOCTYPE a [<!ENTITY % p '" + repeat("x", 10000) + "'>" + repeat("%p;", 3000) + "]><a/>"));
    expect_peak_memory_below(100);
}

TEST_F(Parsing, RefusalsLeaveNoMemoryBehind) {
    std::string names;
    for (int number = 0; number < 1000; ++number) {
        names += "<n" + std::to_string(number) + " xmlns='urn:" + std::to_string(number) + "'/>";
    }
    const std::string many_names = create_request(names);
    const std::string deep = "<a xmlns:p='urn:p'>" + repeat("<p:a xmlns='urn:q'>", 200);
    const auto refuse = [&](int rounds) {
        for (int round = 0; round < rounds; ++round) {
            expect_bad_request(post(many_names));
            expect_bad_request(post(deep));
        }
    };
    refuse(50);
    const std::size_t before = host_.get_memory();
    refuse(200);  // they left 277 KB each
    EXPECT_LT(host_.get_memory(), before + 20 * MIB * MEMORY_FACTOR);
}

// What is quadratic takes minutes for these.
TEST_F(Parsing, LargeTokensTakeNoTime) {
    const std::string text(24 * MIB, 'x');
    EXPECT_EQ(post("<!--" + text + "-->" + create_request("<GetStatus/>").substr(38)).status, 200);
    EXPECT_EQ(post(create_request("<GetStatus other='" + text + "'/>")).status, 200);
    EXPECT_EQ(post(create_request("<GetStatus/><![CDATA[" + text + "]]>")).status, 200);
    expect_bad_request(post("<" + text));
    expect_peak_memory_below(400);
}

/// Sends chunks until the server has enough of it. @return how many bytes it took
std::size_t send_without_end(HttpClient& client, const std::string& start, const std::string& repeated) {
    client.send("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n" + start);
    std::size_t sent = 0;
    try {
        while (sent < 1024 * MIB && !client.get_socket().poll(0, Poco::Net::Socket::SELECT_READ)) {
            client.send(repeated);
            sent += repeated.size();
        }
    } catch (const Poco::Exception&) {  // the server has closed the connection
    }
    return sent;
}

TEST_F(Parsing, BodyWithoutEndTakesNoMemoryWithoutEnd) {
    const std::string chunk = "100000\r\n" + std::string(MIB, ' ') + "\r\n";
    HttpClient client(host_.get_port());
    EXPECT_LT(send_without_end(client, "", chunk), 256 * MIB);
    expect_peak_memory_below(500);
}

// Each element takes twenty times its size in memory.
TEST_F(Parsing, ManySmallElementsTakeBoundedMemory) {
    EXPECT_EQ(post(create_request("<GetStatus/>" + repeat("<a/>", MIB / 2))).status, 200);
    expect_peak_memory_below(300);
    expect_bad_request(post(create_request("<GetStatus/>" + repeat("<a/>", 12 * MIB))));
    expect_peak_memory_below(1600);
}

// Expat copies the name of a namespace for each attribute that has its prefix.
TEST_F(Parsing, LongNamesOfNamespacesTakeNeitherMemoryNorTime) {
    std::string attributes;
    for (int number = 0; number < 15'000; ++number) {
        attributes += " p:a" + std::to_string(number) + "=''";
    }
    const std::string declaration = "<GetStatus xmlns:p='" + std::string(150'000, 'n') + "'";
    expect_bad_request(post(create_request(declaration + attributes + "/>")));
    expect_bad_request(post(create_request(declaration + ">" + repeat("<p:b/>", 150'000) + "</GetStatus>")));
    expect_bad_request(
        post(create_request(declaration + ">" + repeat("<b p:c=''/>", 80'000) + "</GetStatus>")));
    expect_peak_memory_below(60);
}

// As nodes, each would be appended behind all before it.
TEST_F(Parsing, WhatIsBesideTheRootElementTakesNoTime) {
    const std::string request = create_request("<GetStatus/>").substr(38);
    for (const std::string beside : {"<!---->", "<?p?>", "\n"}) {
        EXPECT_EQ(post(repeat(beside, 1'000'000) + request).status, 200) << beside;
        EXPECT_EQ(post(request + repeat(beside, 1'000'000)).status, 200) << beside;
    }
}

// Names take the time of their number squared where they are compared with each other.
TEST_F(Parsing, ManyAttributesAndNamespacesTakeNoTime) {
    std::string attributes;
    std::string namespaces;
    for (int number = 0; number < 100000; ++number) {
        attributes += " a" + std::to_string(number) + "=''";
        namespaces += " xmlns:a" + std::to_string(number) + "='urn:x'";
    }
    expect_bad_request(post("<a" + attributes + "/>"));
    EXPECT_EQ(post("<a" + namespaces + "/>").status, 400);
    expect_bad_request(post(create_request("<GetStatus" + attributes + "/>")));
    expect_peak_memory_below(200);
}

}  // namespace
}  // namespace kx::information_model::opc::testing
