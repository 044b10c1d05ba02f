#include "server/message/AMessage.h"

#include "support/processor_time.h"
#include "support/reply_text.h"
#include "xml/ParsedRequest.h"
#include "xml/reply/reply_dom.h"
#include "xml/xml_names.h"

#include <Poco/Exception.h>
#include <Poco/NumberParser.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <regex>
#include <string>
#include <vector>

namespace kx::information_model::opc {
namespace {

using std::chrono::system_clock;
using testing::create_element_text;
using testing::measure_processor_time;
using testing::ParsedRequest;
using testing::read_attribute;
using testing::to_text;

class EchoMessage : public AMessage {
public:
    using AMessage::AMessage;
    using AMessage::get_document;
    using AMessage::get_model;
    using AMessage::get_namespaces;
    using AMessage::get_request;

    Poco::AutoPtr<Poco::XML::Element> create(const std::string& name) const {
        return create_element(get_document(), name);
    }

protected:
    Poco::AutoPtr<Poco::XML::Element> process() override {
        auto response = create("EchoResponse");
        static const std::string NAME = "EchoResult";
        static const std::optional<std::string> NO_HANDLE;
        const auto result = append_result_on_exit(response, NAME, NO_HANDLE);
        return response;
    }
};

class FailingMessage : public AMessage {
public:
    using AMessage::AMessage;

protected:
    Poco::AutoPtr<Poco::XML::Element> process() override { throw std::runtime_error("no reply"); }
};

/// The bits of what `read` returns; nothing if it finds no number.
template <class Read>
std::optional<std::uint32_t> read_bits(Read read) {
    try {
        return std::bit_cast<std::uint32_t>(read());
    } catch (const Poco::SyntaxException&) {
        return std::nullopt;
    }
}

/// An attribute's value that a parser leaves as it is.
std::string escape_white_space(const std::string& text) {
    std::string escaped;
    for (const char letter : text) {
        const bool is_space = std::string("\t\n\r").find(letter) != std::string::npos;
        escaped += is_space ? "&#" + std::to_string(int{letter}) + ";" : std::string(1, letter);
    }
    return escaped;
}

class Message : public ::testing::Test {
protected:
    EchoMessage& parse(const std::string& attributes) {
        message_.reset();
        request_ = std::make_unique<ParsedRequest>(create_element_text("Echo", attributes));
        message_ = std::make_unique<EchoMessage>(model_, request_->get_root(), request_->get_namespaces());
        return *message_;
    }

    template <class T>
    T get(const std::string& attributes, const std::optional<T>& default_value = std::nullopt) {
        EchoMessage& message = parse(attributes);
        return message.get_attribute<T>(message.get_request(), "xmlda:A", default_value);
    }

    std::shared_ptr<InformationModel> model_ = std::make_shared<InformationModel>("plant");
    std::unique_ptr<ParsedRequest> request_;
    std::unique_ptr<EchoMessage> message_;
};

TEST_F(Message, KeepsWhatItIsMadeFrom) {
    const EchoMessage& message = parse("");
    EXPECT_EQ(message.get_request(), request_->get_root());
    EXPECT_EQ(&message.get_namespaces(), &request_->get_namespaces());
    EXPECT_EQ(&message.get_model(), model_.get());
    EXPECT_EQ(message.get_document().firstChild(), nullptr);
}

TEST_F(Message, ReadsBools) {
    for (const std::string text : {"1", "true", "TRUE", "True", "yes", "Yes", "on", "ON", "2"}) {
        EXPECT_TRUE(get<bool>("A='" + text + "'")) << text;
    }
    for (const std::string text : {"0", "false", "FALSE", "no", "No", "off", "OFF"}) {
        EXPECT_FALSE(get<bool>("A='" + text + "'")) << text;
    }
    for (const std::string text : {"maybe", "", "tru", "1x"}) {
        EXPECT_THROW(get<bool>("A='" + text + "'"), Poco::SyntaxException) << text;
    }
}

TEST_F(Message, ReadsInts) {
    EXPECT_EQ(get<int>("A='42'"), 42);
    EXPECT_EQ(get<int>("A='-7'"), -7);
    EXPECT_EQ(get<int>("A='1,234,567'"), 1234567);
    EXPECT_EQ(get<int>("A='2147483647'"), std::numeric_limits<int>::max());
    EXPECT_EQ(get<int>("A='-2147483648'"), std::numeric_limits<int>::min());
    for (const std::string text : {"", "x", "1.5", "2147483648", "4 2"}) {
        EXPECT_THROW(get<int>("A='" + text + "'"), Poco::SyntaxException) << text;
    }
}

TEST_F(Message, ReadsFloats) {
    EXPECT_EQ(get<float>("A='1.5'"), 1.5F);
    EXPECT_EQ(get<float>("A='-0.25'"), -0.25F);
    EXPECT_EQ(get<float>("A='1,000.5'"), 1000.5F);
    EXPECT_EQ(get<float>("A='1e3'"), 1000.0F);
    EXPECT_EQ(get<float>("A='0.1'"), static_cast<float>(0.1));
    for (const std::string text : {"", "x", "1.5x"}) {
        EXPECT_THROW(get<float>("A='" + text + "'"), Poco::SyntaxException) << text;
    }
}

// Bit for bit what POCO reads: thousands are grouped by ",", an "f" is left out wherever it is, and a text of
// nothing else is 0.
TEST_F(Message, ReadsFloatsAsPocoDoes) {
    std::vector<std::string> texts{"",    ",",     "f",   ",,f",  " ",    " , ",   ", 1",
                                   "1 ,", " ,1, ", "-,1", "1e,3", "f.5f", "inf",   "nan",
                                   "1.f", ",-0",   "- 1", "+1",   "0x10", "1e400", "-1e-400"};
    std::mt19937 random(1);
    const std::string letters = "0123456789....,,,,fffeE+- \t\n\rinax";
    for (int text = 0; text < 5000; ++text) {
        texts.emplace_back();
        for (std::size_t length = random() % 9; length > 0; --length) {
            texts.back() += letters[random() % letters.size()];
        }
    }
    std::size_t numbers = 0;
    for (const std::string& text : texts) {
        const auto bits = read_bits([&] { return get<float>("A='" + escape_white_space(text) + "'"); });
        EXPECT_EQ(bits, read_bits([&] {
                      return static_cast<float>(Poco::NumberParser::parseFloat(text, '.', ','));
                  }))
            << text;
        numbers += bits ? 1 : 0;
    }
    EXPECT_GT(numbers, 1000U);
}

TEST_F(Message, ReadsAFloatOfManyCommasInLinearTime) {
    for (const std::string letter : {",", "f"}) {
        const auto measure = [&](std::size_t count) {
            std::string text = "1";
            for (std::size_t number = 0; number < count; ++number) {
                text += letter;
            }
            parse("A='" + text + "'");
            return measure_processor_time(
                [&] { EXPECT_EQ(message_->get_attribute<float>(request_->get_root(), "A", 0.0F), 1.0F); });
        };
        const double few = measure(32'768);
        EXPECT_LE(measure(8 * 32'768), std::max(20 * few, 0.05)) << letter;
    }
}

TEST_F(Message, ReadsTimes) {
    EXPECT_EQ(get<TimePoint>("A='1970-01-01T00:00:01.5Z'"), TimePoint(std::chrono::milliseconds(1500)));
    for (const std::string text : {"", "yesterday", "2026-11-21"}) {
        EXPECT_THROW(get<TimePoint>("A='" + text + "'"), std::invalid_argument) << text;
    }
}

TEST_F(Message, ReadsTextsAsTheyStand) {
    EXPECT_EQ(get<std::string>("A=' a  b&#10;&lt; '"), " a  b\n< ");
    EXPECT_EQ(get<std::string>("A=''"), "");
}

TEST_F(Message, ReadsTheQualifiedAttributeFirst) {
    EXPECT_EQ(get<int>("A='1' da:A='2'"), 2);
    EXPECT_EQ(get<int>("da:A='2' A='1'"), 2);
    EXPECT_EQ(get<int>("A='1' x:A='3'"), 1);
}

template <class T>
class MissingAttribute : public Message {};

using AttributeTypes = ::testing::Types<bool, int, float, TimePoint, std::string>;
TYPED_TEST_SUITE(MissingAttribute, AttributeTypes);

TYPED_TEST(MissingAttribute, IsTheDefaultOrAnError) {
    EXPECT_EQ(this->template get<TypeParam>("B='1' x:A='1'", TypeParam{}), TypeParam{});
    try {
        this->template get<TypeParam>("B='1' x:A='1'");
        FAIL() << "no exception";
    } catch (const std::logic_error& error) {
        EXPECT_STREQ(error.what(), "Attribute not found.");
    }
}

TYPED_TEST(MissingAttribute, IsNotTheDefaultWhenItIsThereAndWrong) {
    if constexpr (!std::is_same_v<TypeParam, std::string>) {
        EXPECT_ANY_THROW(this->template get<TypeParam>("A='?'", TypeParam{}));
    } else {
        EXPECT_EQ(this->template get<TypeParam>("A='?'", TypeParam{}), "?");
    }
}

TEST_F(Message, FindsTheAttributeNode) {
    const EchoMessage& message = parse("A='1' B=''");
    EXPECT_EQ(message.get_attribute(message.get_request(), "xmlda:A")->getNodeValue(), "1");
    EXPECT_EQ(message.get_attribute(message.get_request(), "A")->getNodeValue(), "1");
    EXPECT_EQ(message.get_attribute(message.get_request(), "xmlda:C"), nullptr);
    EXPECT_EQ(message.get_optional_attribute(message.get_request(), request_names::in_xmlda("B")), "");
    EXPECT_EQ(message.get_optional_attribute(message.get_request(), request_names::in_xmlda("C")),
              std::nullopt);
}

std::string mask_times(const std::string& text) {
    return std::regex_replace(text, std::regex("(RcvTime|ReplyTime)=\"[-0-9T:.]+Z\""), "$1=\"*\"");
}

TEST_F(Message, SetsTheResultAttributes) {
    EchoMessage& message = parse("");
    auto result = message.create("Result");
    message.set_result(result, "handle");
    EXPECT_EQ(mask_times(to_text(*result)),
              R"(<Result ClientRequestHandle="handle" RcvTime="*" ReplyTime="*" RevisedLocaleID="en-US")"
              R"( ServerState="running"/>)");
}

TEST_F(Message, LeavesOutAnAbsentHandleOnly) {
    EchoMessage& message = parse("");
    auto result = message.create("Result");
    message.set_result(result, std::nullopt);
    EXPECT_EQ(mask_times(to_text(*result)),
              R"(<Result RcvTime="*" ReplyTime="*" RevisedLocaleID="en-US" ServerState="running"/>)");
    auto with_empty_handle = message.create("Result");
    message.set_result(with_empty_handle, "");
    EXPECT_EQ(mask_times(to_text(*with_empty_handle)),
              R"(<Result ClientRequestHandle="" RcvTime="*" ReplyTime="*" RevisedLocaleID="en-US")"
              R"( ServerState="running"/>)");
}

TEST_F(Message, StampsReceiveTimeAtConstructionAndReplyTimeAtTheResult) {
    const TimePoint before = system_clock::now();
    EchoMessage& message = parse("");
    const TimePoint constructed = system_clock::now();
    auto result = message.create("Result");
    message.set_result(result, std::nullopt);
    const TimePoint after = system_clock::now();
    const std::string text = to_text(*result);
    const TimePoint received = date_time_from_iso8601_string(read_attribute(text, "RcvTime"));
    const TimePoint replied = date_time_from_iso8601_string(read_attribute(text, "ReplyTime"));
    EXPECT_LE(before, received);
    EXPECT_LE(received, constructed);
    EXPECT_LE(constructed, replied);
    EXPECT_LE(replied, after);
}

TEST_F(Message, RefusesANullResult) {
    EXPECT_THROW(parse("").set_result(nullptr, std::nullopt), Poco::NullPointerException);
}

TEST_F(Message, GeneratesTheEnvelopeAroundTheResponse) {
    auto document = parse("").generate();
    EXPECT_EQ(mask_times(get_reply_text(document).to_string()),
              R"(<?xml version="1.0" encoding="utf-8"?>)"
              R"(<soap:Envelope xmlns="http://opcfoundation.org/webservices/XMLDA/1.0/")"
              R"( xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/")"
              R"( xmlns:telvix="urn:telvix:information-model:1.0")"
              R"( xmlns:xsd="http://www.w3.org/2001/XMLSchema")"
              R"( xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"><soap:Body><EchoResponse>)"
              R"(<EchoResult RcvTime="*" ReplyTime="*" RevisedLocaleID="en-US" ServerState="running"/>)"
              R"(</EchoResponse></soap:Body></soap:Envelope>)");
}

TEST_F(Message, DocumentOutlivesTheMessage) {
    auto document = parse("").generate();
    message_.reset();
    EXPECT_EQ(document->documentElement()->tagName(), "soap:Envelope");
}

TEST_F(Message, LetsExceptionsOfTheServiceOut) {
    parse("");
    FailingMessage failing(model_, request_->get_root(), request_->get_namespaces());
    EXPECT_THROW(failing.generate(), std::runtime_error);
}

TEST_F(Message, CreatesAValueWithItsType) {
    const EchoMessage& message = parse("");
    auto value = message.create_value(Value(std::vector<unsigned char>{200, 7}));
    EXPECT_EQ(to_text(*value), R"(<Value xsi:type="ArrayOfByte"><byte>-56</byte><byte>7</byte></Value>)");
    EXPECT_EQ(value->parentNode(), nullptr);
    EXPECT_EQ(value->ownerDocument(), &message.get_document());
}

TEST_F(Message, CreatesAnEmptyValueForAnEmptyArray) {
    auto value = parse("").create_value(Value(std::vector<double>{}));
    EXPECT_EQ(to_text(*value), R"(<Value xsi:type="ArrayOfDouble"/>)");
}

TEST_F(Message, CreatesNoValueOfATypeWithoutForm) {
    const EchoMessage& message = parse("");
    EXPECT_THROW(message.create_value(Value(1, ValueTypeInfo(VALUE_TYPE::DECIMAL, false))),
                 std::invalid_argument);
    EXPECT_THROW(message.create_value(Value(1, ValueTypeInfo(VALUE_TYPE::ATTACHMENT, true))),
                 std::invalid_argument);
    EXPECT_THROW(message.create_value(Value("1", ValueTypeInfo(VALUE_TYPE::INT, false))),
                 BadValueTypeException);
}

}  // namespace
}  // namespace kx::information_model::opc
