#include "hardening/allocation_failure.h"
#include "http/ListeningSocket.h"
#include "server/message/Error.h"
#include "support/dom_description.h"
#include "support/process_state.h"
#include "xml/reply/reply_dom.h"
#include "xml/request/RequestParser.h"

#include <Poco/Net/SocketAddress.h>
#include <Poco/Net/StreamSocket.h>
#include <Poco/XML/NamePool.h>

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <thread>
#include <tuple>

namespace kx::information_model::opc::testing {
namespace {

struct Text {
    const char* name;
    std::string xml;

    friend std::ostream& operator<<(std::ostream& stream, const Text& text) { return stream << text.name; }
};

constexpr std::size_t ENOUGH = 1000000;

/// What came of an action.
struct Outcome {
    bool is_done = false;     ///< and did not throw
    bool has_failed = false;  ///< an allocation
    long blocks = 0;          ///< of memory, left behind
};

/// Acts in a thread of its own, so that what a thread sets up once is set up each time.
template <class Action>
Outcome run(Action action, std::size_t successes, SHORTAGE shortage) {
    Outcome outcome;
    const long blocks = get_block_count();
    std::thread([&] {
        const AllocationFailure failure(successes, shortage);
        try {
            action();
            outcome.is_done = true;
        } catch (const std::exception&) {
            // is_done says it
        }
        outcome.has_failed = failure.has_happened();
    }).join();
    outcome.blocks = get_block_count() - blocks;
    return outcome;
}

/// Acts as often as it takes for no allocation to fail.
/// @return how many blocks of memory were left behind
template <class Action>
long run_to_success(Action action, SHORTAGE shortage) {
    run(action, ENOUGH, shortage);  // what is made once for the process is made now
    long blocks = 0;
    bool has_failed = true;
    for (std::size_t successes = 0; has_failed; ++successes) {
        SCOPED_TRACE(successes);
        const Outcome outcome = run(action, successes, shortage);
        has_failed = outcome.has_failed;
        EXPECT_TRUE(has_failed || outcome.is_done);
        blocks += outcome.blocks;
    }
    return blocks;
}

/// POCO's pool of names leaks its table if its constructor fails after that. A thread makes one for its first
/// request and one for its first reply.
long get_known_leaks(SHORTAGE shortage) {
    return run_to_success([] { const Poco::AutoPtr<Poco::XML::NamePool> pool(new Poco::XML::NamePool); },
                          shortage);
}

class ParserShortage : public ::testing::TestWithParam<std::tuple<Text, SHORTAGE>> {
protected:
    const std::string xml_ = std::get<Text>(GetParam()).xml;
    const SHORTAGE shortage_ = std::get<SHORTAGE>(GetParam());
    const AllocationExemption exemption_;  // of the test's own thread
};

TEST_P(ParserShortage, EndsInAnExceptionOrTheWholeDocument) {
    std::string expected;
    std::size_t attempts = 0;
    std::size_t documents = 0;
    const long blocks = run_to_success(
        [&] {
            ++attempts;
            parse_request(
                "<r xmlns:p='urn:a' p:b='1'/>");  // so that the next one gets a parser that was used
            const Poco::AutoPtr<Poco::XML::Document> document = parse_request(xml_);
            const AllocationExemption exemption;
            const std::string description = describe(*document);
            if (++documents == 1) {
                expected = description;
            }
            EXPECT_EQ(description, expected);
        },
        shortage_);
    EXPECT_NE(expected.find("Envelope"), std::string::npos);
    EXPECT_GE(documents, 2U);
    EXPECT_GT(attempts, 40U);
    EXPECT_EQ(blocks - get_known_leaks(shortage_), 0);
}

class FaultShortage : public ::testing::TestWithParam<SHORTAGE> {
protected:
    const AllocationExemption exemption_;  // of the test's own thread
};

TEST_P(FaultShortage, EndsInAnExceptionOrTheWholeText) {
    const std::string expected = get_reply_text(generate_fault(Error(Error::E_SOAP))).to_string();
    const long blocks = run_to_success(
        [&] {
            const std::string text = get_reply_text(generate_fault(Error(Error::E_SOAP))).to_string();
            const AllocationExemption exemption;
            EXPECT_EQ(text, expected);
        },
        GetParam());
    EXPECT_EQ(blocks - get_known_leaks(GetParam()), 0);
}

class AcceptShortage : public ::testing::TestWithParam<SHORTAGE> {
protected:
    const AllocationExemption exemption_;  // of the test's own thread
};

TEST_P(AcceptShortage, LeavesNoDescriptorBehind) {
    ListeningSocket listener(std::make_shared<OpenConnections>());
    listener.bind(Poco::Net::SocketAddress("127.0.0.1", 0));
    listener.listen();
    const auto files = testing::count_open_files();
    std::size_t attempts = 0;
    const long blocks = run_to_success(
        [&] {
            ++attempts;
            Poco::Net::StreamSocket client;
            Poco::Net::SocketAddress peer;
            {
                const AllocationExemption exemption;
                client.connect(listener.address());
            }
            listener.acceptConnection(peer);
        },
        GetParam());
    EXPECT_GT(attempts, 5U);
    EXPECT_EQ(testing::count_open_files(), files);
    EXPECT_EQ(blocks, 0);
}

std::string to_utf16(const std::string& ascii) {
    std::string text = "\xFE\xFF";
    for (const char character : ascii) {
        text += '\0';
        text += character;
    }
    return text;
}

/// All that a request can be made of, and texts and names that make expat's buffers grow.
std::string create_xml(const std::string& encoding, const std::string& text) {
    return "<?xml version=\"1.0\" encoding=\"" + encoding +
           "\"?><!-- before --><s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\">"
           "<?instruction with data?><s:Body><Read xmlns=\"http://opcfoundation.org/webservices/XMLDA/1.0/\" "
           "a='" +
           text + "' b='&lt;&#65;&#x42;'><ItemList xmlns:p='urn:p' xmlns:q='urn:" + std::string(1000, 'q') +
           "' p:a='1' q:b='2'><p:" + std::string(2000, 'n') + "/><!--" + std::string(5000, 'c') + text +
           "--></ItemList><![CDATA[<" + std::string(5000, 'd') + text + ">]]>&amp;&quot;" + text +
           std::string(5000, 't') +
           "\r\n\t<x:x xmlns:x='urn:x'><x:y xmlns:x='urn:y'/></x:x></Read></s:Body>" +
           "</s:Envelope><!-- behind -->";
}

const Text TEXTS[] = {
    {"Utf8", create_xml("UTF-8", "gr\xC3\xBC\xC3\x9F \xE2\x82\xAC")},
    {"Utf16", to_utf16(create_xml("UTF-16", "text"))},
    {"Latin1", create_xml("ISO-8859-1", "gr\xFC\xDF")},
    {"Windows1252", create_xml("windows-1252", "gr\xFC\xDF \x80")},
};

constexpr auto get_name = [](SHORTAGE shortage) { return shortage == SHORTAGE::ONCE ? "Once" : "Lasting"; };

INSTANTIATE_TEST_SUITE_P(Shortage, ParserShortage,
                         ::testing::Combine(::testing::ValuesIn(TEXTS),
                                            ::testing::Values(SHORTAGE::ONCE, SHORTAGE::LASTING)),
                         [](const auto& test) {
                             return std::string(std::get<Text>(test.param).name) +
                                    get_name(std::get<SHORTAGE>(test.param));
                         });

INSTANTIATE_TEST_SUITE_P(Shortage, FaultShortage, ::testing::Values(SHORTAGE::ONCE, SHORTAGE::LASTING),
                         [](const auto& test) { return get_name(test.param); });

INSTANTIATE_TEST_SUITE_P(Shortage, AcceptShortage, ::testing::Values(SHORTAGE::ONCE, SHORTAGE::LASTING),
                         [](const auto& test) { return get_name(test.param); });

}  // namespace
}  // namespace kx::information_model::opc::testing
