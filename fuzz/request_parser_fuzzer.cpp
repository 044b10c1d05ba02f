// The parser of requests beside POCO's: what both accept becomes the same DOM, and what POCO accepts is
// refused for a limit only.

#include "require.h"
#include "server/RequestParser.h"

#include <Poco/DOM/Attr.h>
#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/DOMParser.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>
#include <Poco/DOM/NamedNodeMap.h>
#include <Poco/Exception.h>
#include <Poco/SAX/XMLReader.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <sstream>
#include <string>

namespace kx::fuzz {

namespace {

using namespace information_model::opc;
using Poco::XML::Node;
using Document = Poco::AutoPtr<Poco::XML::Document>;

Document parse_with_poco(const std::string& xml) {
    Poco::XML::DOMParser parser;
    parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACES, true);
    parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACE_PREFIXES, true);
    return parser.parseMemory(xml.data(), xml.size());
}

void describe(const Node& node, std::ostream& out) {
    out << node.nodeType() << '|' << node.nodeName() << '|' << node.namespaceURI() << '|' << node.prefix()
        << '|' << node.localName() << '|' << node.getNodeValue() << '{';
    if (node.nodeType() == Node::ELEMENT_NODE) {
        const Poco::AutoPtr<Poco::XML::NamedNodeMap> attributes = node.attributes();
        for (const Node* attribute = attributes->item(0); attribute != nullptr;
             attribute = attribute->nextSibling()) {
            describe(*attribute, out);
            out << static_cast<const Poco::XML::Attr&>(*attribute).specified();
        }
    }
    if (node.nodeType() != Node::ATTRIBUTE_NODE) {
        for (const Node* child = node.firstChild(); child != nullptr; child = child->nextSibling()) {
            describe(*child, out);
        }
    }
    out << '}';
}

std::string describe(const Document& document) {
    std::ostringstream out;
    describe(*document, out);
    return out.str();
}

struct Outcome {
    std::optional<std::string> description = std::nullopt;  ///< of the DOM, if there is one
    std::string failure = {};
    bool is_limit = false;
};

Outcome parse(const std::function<Document(const std::string&)>& parser, const std::string& xml) {
    try {
        return {.description = describe(parser(xml))};
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

}  // namespace

}  // namespace kx::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kx::fuzz;
    const std::string xml(reinterpret_cast<const char*>(data), size);
    const Outcome ours = parse(parse_request, xml);
    if (ours.is_limit) {
        return 0;  // and POCO might die of it
    }
    const Outcome poco = parse(parse_with_poco, xml);
    require(ours.description.has_value() == poco.description.has_value(), "both parsers accept, or none",
            ours.failure + " / " + poco.failure);
    require(ours.description == poco.description, "both parsers make the same DOM",
            ours.description.value_or("") + "\n" + poco.description.value_or(""));
    return 0;
}
