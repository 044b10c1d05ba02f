// How cost grows with a request: whatever may be many or long in one is sent small and eight times as large.
// A cost that grows with the square takes 64 times as much then, and linear ones 8 times.

#include "hardening/HardeningHost.h"
#include "support/replies.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace kx::information_model::opc::testing {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

constexpr std::size_t MIB = std::size_t{1} << 20U;
/// Of the smallest request of a shape, roughly.
constexpr std::size_t SMALLEST = 64 * 1024;

constexpr int MOST_GROWTH = 20;
constexpr milliseconds LEAST_TIME{50};
constexpr std::size_t MOST_MEMORY_FOR_EACH_BYTE = 60;
constexpr std::size_t LEAST_MEMORY = 64 * MIB;
/// Another program may be in the way of a measurement, but not each time.
constexpr int ATTEMPTS = 2;

/// Repeats `unit` up to about `size` bytes. Each "@" in it is replaced by the number of the repetition.
std::string fill(std::size_t size, std::string_view unit) {
    std::string text;
    text.reserve(size + unit.size());
    for (std::size_t number = 0; text.size() < size; ++number) {
        for (std::size_t start = 0; start < unit.size();) {
            const std::size_t end = std::min(unit.find('@', start), unit.size());
            text.append(unit, start, end - start);
            if (end < unit.size()) {
                text += std::to_string(number);
            }
            start = end + 1;
        }
    }
    return text;
}

/// What a client sends, each on a connection of its own, in about as many bytes as the given size.
using Create = std::function<std::vector<std::string>(unsigned short port, std::size_t size)>;

struct Shape {
    std::string name;
    Create create;
};

/// Makes a shape of what depends on the size alone.
Shape one_connection(std::string name, std::function<std::string(std::size_t size)> create) {
    return {std::move(name), [create = std::move(create)](unsigned short, std::size_t size) {
                return std::vector<std::string>{create(size)};
            }};
}

void PrintTo(const Shape& shape, std::ostream* stream) {
    *stream << shape.name;
}

std::string close_behind(const std::string& body) {
    return create_post(body, "Connection: close\r\n");
}

/// A document that consists of `before`, repetitions of `unit`, and `after`.
Shape document(std::string name, std::string before, std::string unit, std::string after) {
    return one_connection(std::move(name),
                          [=](std::size_t size) { return close_behind(before + fill(size, unit) + after); });
}

/// The same inside the envelope's body.
Shape request(std::string name, std::string before, std::string unit, std::string after) {
    return one_connection(std::move(name), [=](std::size_t size) {
        return close_behind(create_request(before + fill(size, unit) + after));
    });
}

/// A text of half the size between `before` and `between`, then repetitions of `unit`, which has to do
/// with it.
Shape long_and_many(std::string name, std::string before, std::string between, std::string unit,
                    std::string after) {
    return one_connection(std::move(name), [=](std::size_t size) {
        return close_behind(
            create_request(before + fill(size / 2, "n") + between + fill(size / 2, unit) + after));
    });
}

/// Bytes that are no XML: `before`, repetitions of `unit`, and `after`.
Shape bytes(std::string name, std::string before, std::string unit, std::string after) {
    return one_connection(std::move(name),
                          [=](std::size_t size) { return before + fill(size, unit) + after; });
}

const std::string ROOT = "<GetStatus/>";
const std::string READ = "<Read><ItemList>";
const std::string READ_END = "</ItemList></Read>";
const std::string WRITE = "<Write ReturnValuesOnReply='true'><ItemList>";
const std::string WRITE_END = "</ItemList></Write>";
const std::string SUBSCRIBE = "<Subscribe ReturnValuesOnReply='true' SubscriptionPingRate='60000'><ItemList>";
const std::string SUBSCRIBE_END = "</ItemList></Subscribe>";
const std::string ITEM = "<Items ItemName='number'/>";
const std::string POLL = "<SubscriptionPolledRefresh>";
const std::string POLL_END = "</SubscriptionPolledRefresh>";

/// Many connections, on each of which a client sends `content` `count` times.
Shape connections(std::string name, const std::string& content, std::size_t count) {
    const std::string post = create_post(create_request(content));
    const std::string sent = fill(count * post.size(), post);
    return {std::move(name), [=](unsigned short, std::size_t size) {
                return std::vector<std::string>(size / SMALLEST * 64, sent);
            }};
}

std::string get_handle(const std::string& reply) {
    const std::string start = "ServerSubHandle=\"";
    const std::size_t begin = reply.find(start) + start.size();
    return reply.substr(begin, reply.find('"', begin) - begin);
}

using Count = std::function<std::size_t(std::size_t size)>;

Count just(std::size_t count) {
    return [=](std::size_t) { return count; };
}

/// As many as there are when each takes so many bytes.
Count by_size(std::size_t bytes) {
    return [=](std::size_t size) { return size / bytes; };
}

/// A poll of `count` subscriptions with `items` items each, which have not been polled before.
Shape poll(std::string name, Count count, Count items) {
    return {std::move(name), [=](unsigned short port, std::size_t size) {
                const std::string list = fill(items(size) * ITEM.size(), ITEM);
                std::string handles;
                for (std::size_t number = 0; number < count(size); ++number) {
                    const std::string reply = testing::exchange(
                        port, close_behind(create_request(SUBSCRIBE + list + SUBSCRIBE_END)));
                    handles += "<ServerSubHandles>" + get_handle(reply) + "</ServerSubHandles>";
                }
                return std::vector{close_behind(create_request(POLL + handles + POLL_END))};
            }};
}

/// Writes a value of this type and text to an item.
Shape value(std::string name, std::string type, std::string before, std::string unit, std::string after) {
    return request(std::move(name),
                   WRITE + "<Items ItemName='number'><Value xsi:type='" + type + "'>" + before,
                   std::move(unit), after + "</Value></Items>" + WRITE_END);
}

std::vector<Shape> create_document_shapes() {
    const std::string envelope = create_request(ROOT);
    const std::string declaration = envelope.substr(0, envelope.find("?>") + 2);
    const std::string undeclared = envelope.substr(declaration.size());
    return {
        document("DeclarationOfBlanks", "<?xml version='1.0'", " ", "?>" + undeclared),
        document("LongEncoding", "<?xml version='1.0' encoding='", "x", "'?>" + undeclared),
        document("BlanksInFront", "", " ", undeclared),
        document("BlanksBehind", envelope, " \n", ""),
        document("CommentsInFront", declaration, "<!---->", undeclared),
        document("CommentsBehind", envelope, "<!---->", ""),
        document("InstructionsInFront", declaration, "<?a?>", undeclared),
        document("InstructionsBehind", envelope, "<?a?>", ""),
        document("LongCommentInFront", declaration + "<!--", "x ", "-->" + undeclared),
        document("EntitiesOfADocumentType", "<!DOCTYPE a [", "<!ENTITY e@ 'x'>", "]><a/>"),
        document("UnfinishedComment", "<a><!--", "- ", ""),
        document("UnfinishedSection", "<a><![CDATA[", "] ", ""),
        document("UnfinishedAttribute", "<a b='", "x ", ""),
        document("UnfinishedTag", "<a ", "\n", ""),
        document("NoXml", "", "&", ""),
    };
}

std::vector<Shape> create_name_shapes() {
    const std::string a = ROOT + "<a";
    const std::string first = ROOT + "<p:a xmlns:p='";
    return {
        request("LongElementName", a, "x", "/>"),
        request("LongAttributeName", a + " ", "x", "=''/>"),
        request("LongPrefix", ROOT + "<", "p", ":a/>"),
        request("LongPrefixThatIsDeclared", a + " xmlns:", "p", "='urn:x'/>"),
        request("LongNamespace", a + " xmlns:p='", "n", "'/>"),
        long_and_many("LongNamespaceOfAttributes", first, "'", " p:b@=''", "/>"),
        long_and_many("LongNamespaceOfElements", first, "'>", "<p:b/>", "</p:a>"),
        long_and_many("LongNamespaceOfElementsWithoutPrefix", ROOT + "<a xmlns='", "'>", "<b/>", "</a>"),
        long_and_many("LongNamespaceOfAttributesOfManyElements", first, "'>", "<a p:b=''/>", "</p:a>"),
        long_and_many("LongNameOfManyElements", ROOT + "<a b='", "'>", "<b/>", "</a>"),
        request("Attributes", a, " b@=''", "/>"),
        request("AttributesWithOneName", a, " b=''", "/>"),
        request("Namespaces", a, " xmlns:p@='urn:x'", "/>"),
        request("NamespacesOfManyElements", ROOT, "<a xmlns='urn:@'/>", ""),
        request("NamespaceDeclaredAgainAndAgain", ROOT, "<p:a xmlns:p='urn:x'/>", ""),
        request("DifferentElements", ROOT, "<a@/>", ""),
        request("Elements", ROOT, "<a/>", ""),
        request("ElementsWithAttributes", ROOT, "<a b='' c='' d=''/>", ""),
        request("Depth", ROOT, "<a>", ""),
        request("UndeclaredPrefixes", ROOT, "<p@:a/>", ""),
    };
}

std::vector<Shape> create_text_shapes() {
    const std::string item = "<Items ItemName='text'><Value xsi:type='xsd:string'>";
    const std::string item_end = "</Value></Items>" + WRITE_END;
    const auto text = [&](const std::string& name, const std::string& unit) {
        return request(name, WRITE + item, unit, item_end);
    };
    return {
        text("LongText", "x"),
        text("Lines", "\r\n"),
        text("Comments", "x<!---->"),
        text("Instructions", "x<?a?>"),
        text("Sections", "x<![CDATA[<]]>"),
        text("References", "&#65;"),
        text("Entities", "&lt;&gt;&amp;"),
        text("CharactersOfFourBytes", "\xF0\x9F\x98\x80"),
        text("CharactersThatReplyCannotCarry", "&#x85;"),
        request("LongAttribute", ROOT + "<a b='", "x", "'/>"),
        request("LinesInAnAttribute", ROOT + "<a b='", "\r\n", "'/>"),
        request("ReferencesInAnAttribute", ROOT + "<a b='", "&#10;", "'/>"),
        request("LongComment", ROOT + "<!--", "x", "-->"),
        request("LongSection", ROOT + "<![CDATA[", "]", "]]>"),
        request("BlanksBetweenElements", ROOT, " <a/>\n", ""),
    };
}

std::vector<Shape> create_service_shapes() {
    const std::string write =
        WRITE + "<Items ItemName='number'><Value xsi:type='xsd:double'>1</Value></Items>";
    return {
        request("ItemsOfRead", READ, "<Items ItemName='number'/>", READ_END),
        request("MissingItemsOfRead", READ, "<Items ItemName='none'/>", READ_END),
        request("ItemListsOfRead", "<Read>", "<ItemList/>", "</Read>"),
        request("LongItemName", READ + "<Items ItemName='", "x", "'/>" + READ_END),
        request("SegmentsOfAnItemName", READ + "<Items ItemName='", "a/", "a'/>" + READ_END),
        request("SegmentsThatStay", READ + "<Items ItemName='", "./", "number'/>" + READ_END),
        request("SlashesOfAnItemName", READ + "<Items ItemName='", "/", "'/>" + READ_END),
        request("LongItemHandle", READ + "<Items ItemName='number' ClientItemHandle='", "x",
                "'/>" + READ_END),
        request("LongEscapedItemHandle", READ + "<Items ItemName='number' ClientItemHandle='", "&lt;",
                "'/>" + READ_END),
        request("LongRequestHandle", "<GetStatus ClientRequestHandle='", "&quot;", "'/>"),
        request("LongLocale", "<GetStatus LocaleID='", "x", "'/>"),
        request("Options", "<Read>", "<Options ReturnItemTime='true'/>", "</Read>"),
        request("ItemsOfWrite", WRITE,
                "<Items ItemName='number'><Value xsi:type='xsd:double'>1</Value></Items>", WRITE_END),
        request("MissingItemsOfWrite", WRITE,
                "<Items ItemName='none'><Value xsi:type='xsd:double'>1</Value></Items>", WRITE_END),
        request("ValuesOfOneItem", WRITE + "<Items ItemName='number'>",
                "<Value xsi:type='xsd:double'>1</Value>", "</Items>" + WRITE_END),
        request("ItemsOfGetProperties",
                "<GetProperties ReturnAllProperties='true' ReturnPropertyValues='true'>",
                "<ItemIDs ItemName='number'/>", "</GetProperties>"),
        request("MissingItemsOfGetProperties", "<GetProperties ReturnAllProperties='true'>",
                "<ItemIDs ItemName='none'/>", "</GetProperties>"),
        request("PropertyNames", "<GetProperties><ItemIDs ItemName='number'/>",
                "<PropertyNames>value</PropertyNames>", "</GetProperties>"),
        request("UnknownPropertyNames", "<GetProperties><ItemIDs ItemName='number'/>",
                "<PropertyNames>@</PropertyNames>", "</GetProperties>"),
        request("PropertyNamesOfBrowse", "<Browse>", "<PropertyNames>dataType</PropertyNames>", "</Browse>"),
        request("LongPropertyName", "<Browse><PropertyNames>", "x", "</PropertyNames></Browse>"),
        request("LongBrowseFilter", "<Browse BrowseFilter='", "x", "'/>"),
        request("LongElementNameFilter", "<Browse ElementNameFilter='", "*a", "'/>"),
        request("Services", "", "<GetStatus/>", ""),
        request("UnknownServices", "", "<GetNothing/>", ""),
        document("HeadersOfTheEnvelope", "<e:Envelope xmlns:e='http://schemas.xmlsoap.org/soap/envelope/'>",
                 "<e:Header/>", "<e:Body/></e:Envelope>"),
        document("BodiesOfTheEnvelope", "<e:Envelope xmlns:e='http://schemas.xmlsoap.org/soap/envelope/'>",
                 "<e:Body/>", "</e:Envelope>"),
    };
}

std::vector<Shape> create_value_shapes() {
    const auto array = [](const std::string& name, const std::string& type, const std::string& member) {
        return request(name, WRITE + "<Items ItemName='numbers'><Value xsi:type='ArrayOf" + type + "'>",
                       "<" + member, "</Value></Items>" + WRITE_END);
    };
    return {
        value("DigitsOfADouble", "xsd:double", "", "1", ""),
        value("DigitsOfAFraction", "xsd:double", "0.", "0", "1"),
        value("DigitsOfAnExponent", "xsd:double", "1e", "1", ""),
        value("CommasOfAFloat", "xsd:float", "", ",", "1"),
        value("DigitsOfAnInt", "xsd:int", "", "0", "1"),
        value("CommasOfAnInt", "xsd:int", "", ",", "1"),
        value("BlanksOfAnInt", "xsd:int", "", " ", "1"),
        value("DigitsOfATime", "xsd:dateTime", "2001-01-01T00:00:00.", "1", "Z"),
        value("DigitsOfAYear", "xsd:dateTime", "", "2", "-01-01T00:00:00Z"),
        value("DigitsOfADuration", "xsd:duration", "P", "1", "D"),
        value("FractionOfADuration", "xsd:duration", "PT0.", "1", "S"),
        value("LongBoolean", "xsd:boolean", "", "true ", ""),
        value("LongType", "", "", "x", ""),
        array("MembersOfADoubleArray", "Double", "double>1.5</double>"),
        array("MembersOfAStringArray", "String", "string>x</string>"),
        array("MembersOfATimeArray", "DateTime", "dateTime>2001-01-01T00:00:00Z</dateTime>"),
        array("MembersOfAnyArray", "AnyType", "anyType xsi:type='xsd:int'>1</anyType>"),
        array("MembersThatAreWrong", "Int", "int>x</int>"),
        request("LongTypeName", WRITE + "<Items ItemName='number'><Value xsi:type='", "x",
                "'>1</Value></Items>" + WRITE_END),
    };
}

std::vector<Shape> create_subscription_shapes() {
    return {
        request("ItemsOfSubscribe", SUBSCRIBE, "<Items ItemName='number' ClientItemHandle='@'/>",
                SUBSCRIBE_END),
        request("MissingItemsOfSubscribe", SUBSCRIBE, "<Items ItemName='none'/>", SUBSCRIBE_END),
        request("CommasOfADeadband", "<Subscribe ReturnValuesOnReply='true'><ItemList Deadband='", ",",
                "1'/></Subscribe>"),
        request("CommasOfAnItemSDeadband", SUBSCRIBE + "<Items ItemName='number' Deadband='", ",",
                "1'/>" + SUBSCRIBE_END),
        request("DigitsOfADeadband", "<Subscribe ReturnValuesOnReply='true'><ItemList Deadband='", "1",
                "'/></Subscribe>"),
        request("DigitsOfAPingRate", "<Subscribe ReturnValuesOnReply='true' SubscriptionPingRate='", "0",
                "1'><ItemList/></Subscribe>"),
        request("DigitsOfASamplingRate",
                "<Subscribe ReturnValuesOnReply='true'><ItemList RequestedSamplingRate='", "0",
                "1'/></Subscribe>"),
        request("UnknownHandles", POLL, "<ServerSubHandles>@</ServerSubHandles>", POLL_END),
        request("OneUnknownHandle", POLL, "<ServerSubHandles>1</ServerSubHandles>", POLL_END),
        request("LongHandle", POLL + "<ServerSubHandles>", "1", "</ServerSubHandles>" + POLL_END),
        request("DigitsOfAHoldTime", "<SubscriptionPolledRefresh HoldTime='2001-01-01T00:00:00.", "1",
                "Z'/>"),
        request("DigitsOfAWaitTime", "<SubscriptionPolledRefresh WaitTime='", "0", "1'/>"),
        request("LongHandleThatIsCancelled", "<SubscriptionCancel ServerSubHandle='", "1", "'/>"),
        poll("SubscriptionsOfAPoll", by_size(64), just(1)),
        poll("ItemsOfAPoll", just(1), by_size(26)),
        connections(
            "Subscriptions",
            "<Subscribe ReturnValuesOnReply='true' SubscriptionPingRate='2000000000'><ItemList/></Subscribe>",
            16),
        connections("SubscriptionsThatEndAtOnce",
                    "<Subscribe ReturnValuesOnReply='true'><ItemList/></Subscribe>", 16),
    };
}

std::vector<Shape> create_http_shapes() {
    const std::string start = "POST / HTTP/1.1\r\n";
    const std::string chunked = start + "Transfer-Encoding: chunked\r\n\r\n";
    return {
        bytes("LongMethod", "", "X", " / HTTP/1.1\r\n\r\n"),
        bytes("LongPath", "POST /", "x", " HTTP/1.1\r\nContent-Length: 0\r\n\r\n"),
        bytes("LongVersion", "POST / HTTP/1.", "1", "\r\n\r\n"),
        bytes("LinesInFront", "", "\r\n", start + "Content-Length: 0\r\n\r\n"),
        bytes("HeaderLines", start, "X-@: y\r\n", "Content-Length: 0\r\n\r\n"),
        bytes("HeaderLinesWithOneName", start, "X: y\r\n", "Content-Length: 0\r\n\r\n"),
        bytes("LongHeaderLine", start + "X: ", "y", "\r\nContent-Length: 0\r\n\r\n"),
        bytes("FoldedHeaderLine", start + "X: ", "y\r\n ", "\r\nContent-Length: 0\r\n\r\n"),
        bytes("DigitsOfALength", start + "Content-Length: ", "0", "\r\n\r\n"),
        bytes("Chunks", chunked, "1\r\n \r\n", "0\r\n\r\n"),
        bytes("LongChunkSize", chunked, "0", "1\r\n \r\n0\r\n\r\n"),
        bytes("LongChunkExtension", chunked + "1;", "x", "\r\n \r\n0\r\n\r\n"),
        bytes("Trailers", chunked + "0\r\n", "X-@: y\r\n", "\r\n"),
        connections("Requests", ROOT, 16),
        connections("Connections", ROOT, 1),
    };
}

/// What one request cost its host.
struct Cost {
    nanoseconds time;
    std::size_t bytes;   ///< that went to and fro
    std::size_t memory;  ///< beyond what the host occupied when it was idle
};

class Growth : public ::testing::TestWithParam<Shape> {
protected:
    /// The server closes the connection when it has freed what the requests took.
    static Cost measure(const HardeningHost& host, std::size_t idle_memory, std::size_t size) {
        const std::vector<std::string> sent = GetParam().create(host.get_port(), size);
        std::size_t count = 0;
        const nanoseconds before = host.get_processor_time();
        for (const std::string& bytes : sent) {
            const std::string received = testing::exchange(host.get_port(), bytes);
            RecordProperty("answer", received.substr(0, received.find('\r')));
            count += bytes.size() + received.size();
        }
        const nanoseconds after = host.get_processor_time();
        const std::size_t peak = host.get_peak_memory();
        return {after - before, count, peak - std::min(peak, idle_memory)};
    }

    static ::testing::AssertionResult is_linear() {
        HardeningHost host({"quiet=yes"});
        host.expect_served();
        const std::size_t idle_memory = host.get_memory();
        measure(host, idle_memory, SMALLEST);
        const Cost once = measure(host, idle_memory, SMALLEST);
        const Cost twice = measure(host, idle_memory, 2 * SMALLEST);
        const Cost eightfold = measure(host, idle_memory, 8 * SMALLEST);
        host.expect_well();

        const bool takes_long = eightfold.time > LEAST_TIME && eightfold.time > MOST_GROWTH * once.time;
        const bool takes_much =
            eightfold.memory > LEAST_MEMORY && eightfold.memory > MOST_MEMORY_FOR_EACH_BYTE * eightfold.bytes;
        return (takes_long || takes_much ? ::testing::AssertionFailure() : ::testing::AssertionSuccess())
               << describe(once) << ", " << describe(twice) << ", " << describe(eightfold);
    }

    static std::string describe(const Cost& cost) {
        return std::to_string(cost.bytes / 1024) + " KiB: " + std::to_string(cost.time.count() / 1000) +
               " us, " + std::to_string(cost.memory / MIB) + " MiB";
    }
};

TEST_P(Growth, IsLinear) {
    ::testing::AssertionResult result = ::testing::AssertionFailure();
    for (int attempt = 0; attempt < ATTEMPTS && !result; ++attempt) {
        result = is_linear();
        RecordProperty("cost", result.message());
    }
    EXPECT_TRUE(result);
}

std::string get_name(const ::testing::TestParamInfo<Shape>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Documents, Growth, ::testing::ValuesIn(create_document_shapes()), get_name);
INSTANTIATE_TEST_SUITE_P(Names, Growth, ::testing::ValuesIn(create_name_shapes()), get_name);
INSTANTIATE_TEST_SUITE_P(Texts, Growth, ::testing::ValuesIn(create_text_shapes()), get_name);
INSTANTIATE_TEST_SUITE_P(Services, Growth, ::testing::ValuesIn(create_service_shapes()), get_name);
INSTANTIATE_TEST_SUITE_P(Values, Growth, ::testing::ValuesIn(create_value_shapes()), get_name);
INSTANTIATE_TEST_SUITE_P(Subscriptions, Growth, ::testing::ValuesIn(create_subscription_shapes()), get_name);
INSTANTIATE_TEST_SUITE_P(Http, Growth, ::testing::ValuesIn(create_http_shapes()), get_name);

}  // namespace
}  // namespace kx::information_model::opc::testing
