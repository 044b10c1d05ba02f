#pragma once

#include <Poco/DOM/Attr.h>
#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/DOMParser.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>
#include <Poco/DOM/NamedNodeMap.h>
#include <Poco/DOM/Node.h>
#include <Poco/SAX/XMLReader.h>

#include <ostream>
#include <sstream>
#include <string>

/// To compare the DOM of the request parser with that of POCO's.
namespace kx::information_model::opc::testing {

/// What the request parser stands for.
inline Poco::AutoPtr<Poco::XML::Document> parse_with_dom_parser(const std::string& xml) {
    Poco::XML::DOMParser parser;
    parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACES, true);
    parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACE_PREFIXES, true);
    return parser.parseMemory(xml.data(), xml.size());
}

inline void describe_name(const Poco::XML::Node& node, std::ostream& out) {
    out << node.nodeName() << '|' << node.namespaceURI() << '|' << node.prefix() << '|' << node.localName();
}

inline void describe(const Poco::XML::Node& element, std::ostream& out) {
    describe_name(element, out);
    const Poco::AutoPtr<Poco::XML::NamedNodeMap> attributes = element.attributes();
    for (const Poco::XML::Node* attribute = attributes->item(0); attribute != nullptr;
         attribute = attribute->nextSibling()) {
        out << '[';
        describe_name(*attribute, out);
        out << '=' << attribute->getNodeValue() << static_cast<const Poco::XML::Attr&>(*attribute).specified()
            << ']';
    }
    out << '"' << element.innerText() << "\"{";
    for (const Poco::XML::Node* child = element.firstChild(); child != nullptr;
         child = child->nextSibling()) {
        if (child->nodeType() == Poco::XML::Node::ELEMENT_NODE) {
            describe(*child, out);
        }
    }
    out << '}';
}

/// What services can see of a request: its elements in document order, with names, attributes and inner
/// texts. Recursive.
inline std::string describe(const Poco::XML::Document& document) {
    std::ostringstream out;
    describe(*document.documentElement(), out);
    return out.str();
}

}  // namespace kx::information_model::opc::testing
