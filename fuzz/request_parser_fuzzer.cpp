// The parser of requests beside POCO's: in what both accept they find the same elements, attributes and inner
// texts, and what POCO accepts is refused for a limit only.

#include "require.h"
#include "support/dom_description.h"
#include "xml/request/RequestParser.h"

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/Document.h>
#include <Poco/Exception.h>

#include <expat.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace kx::fuzz {

namespace {

using namespace information_model::opc;
using information_model::opc::testing::describe;
using information_model::opc::testing::parse_with_dom_parser;
using Document = Poco::AutoPtr<Poco::XML::Document>;

struct Outcome {
    std::optional<std::string> description = std::nullopt;  ///< of the DOM, if there is one
    std::string failure = {};
    bool is_limit = false;
};

Outcome parse(const std::function<Document(const std::string&)>& parser, const std::string& xml) {
    try {
        return {.description = describe(*parser(xml))};
    } catch (const RequestLimitException& error) {
        return {.failure = error.what(), .is_limit = true};
    } catch (const Poco::PoolOverflowException& error) {
        return {.failure = error.displayText(), .is_limit = true};
    } catch (const Poco::Exception& error) {
        return {.failure = error.displayText()};
    } catch (const std::exception& error) {
        return {.failure = error.what()};
    }
}

/// Whether expat refuses `xml` for a reason that no handler changes. POCO's parser hands its text to expat,
/// and so must refuse it too: asking expat alone spares most inputs an exception, which takes longer than the
/// rest.
bool is_malformed(const std::string& xml) {
    struct Free {
        void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
    };
    static const std::unique_ptr<XML_ParserStruct, Free> parser(XML_ParserCreateNS(nullptr, '\t'));
    require(XML_ParserReset(parser.get(), nullptr) == XML_TRUE, "the parser can be used again", "");
    XML_SetHashSalt(parser.get(), 1);
    if (XML_Parse(parser.get(), xml.data(), static_cast<int>(xml.size()), XML_TRUE) != XML_STATUS_ERROR) {
        return false;
    }
    switch (XML_GetErrorCode(parser.get())) {
        case XML_ERROR_SYNTAX:
        case XML_ERROR_NO_ELEMENTS:
        case XML_ERROR_INVALID_TOKEN:
        case XML_ERROR_UNCLOSED_TOKEN:
        case XML_ERROR_PARTIAL_CHAR:
        case XML_ERROR_TAG_MISMATCH:
        case XML_ERROR_DUPLICATE_ATTRIBUTE:
        case XML_ERROR_JUNK_AFTER_DOC_ELEMENT:
        case XML_ERROR_UNCLOSED_CDATA_SECTION:
        case XML_ERROR_UNBOUND_PREFIX:
        case XML_ERROR_XML_DECL:
            return true;
        default:
            return false;
    }
}

}  // namespace

}  // namespace kx::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kx::fuzz;
    const std::string xml(reinterpret_cast<const char*>(data), size);
    const Outcome ours = parse([](const std::string& text) { return parse_request(text); }, xml);
    if (ours.is_limit) {
        return 0;  // and POCO might die of it
    }
    if (!ours.description && is_malformed(xml)) {
        return 0;
    }
    const Outcome poco = parse(parse_with_dom_parser, xml);
    require(ours.description.has_value() == poco.description.has_value(), "both parsers accept, or none",
            ours.failure + " / " + poco.failure);
    require(ours.description == poco.description, "both parsers find the same",
            ours.description.value_or("") + "\n" + poco.description.value_or(""));
    return 0;
}
