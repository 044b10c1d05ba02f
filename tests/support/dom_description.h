#pragma once

#include <Poco/DOM/Attr.h>
#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/DOMParser.h>
#include <Poco/DOM/Document.h>
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

inline void describe(const Poco::XML::Node& node, std::ostream& out) {
    out << node.nodeType() << '|' << node.nodeName() << '|' << node.namespaceURI() << '|' << node.prefix()
        << '|' << node.localName() << '|' << node.getNodeValue() << '{';
    if (node.nodeType() == Poco::XML::Node::ELEMENT_NODE) {
        const Poco::AutoPtr<Poco::XML::NamedNodeMap> attributes = node.attributes();
        for (const Poco::XML::Node* attribute = attributes->item(0); attribute != nullptr;
             attribute = attribute->nextSibling()) {
            describe(*attribute, out);
            out << static_cast<const Poco::XML::Attr&>(*attribute).specified();
        }
    }
    if (node.nodeType() != Poco::XML::Node::ATTRIBUTE_NODE) {
        for (const Poco::XML::Node* child = node.firstChild(); child != nullptr;
             child = child->nextSibling()) {
            describe(*child, out);
        }
    }
    out << '}';
}

/// All that a node and those below it say, in document order. Recursive.
inline std::string describe(const Poco::XML::Node& node) {
    std::ostringstream out;
    describe(node, out);
    return out.str();
}

}  // namespace kx::information_model::opc::testing
