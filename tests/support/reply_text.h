#pragma once

#include "server/ReplyWriter.h"

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/DOMParser.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>

#include <string>

/// For unit tests: replies as texts, since that is what their elements are made for.
namespace kx::information_model::opc::testing {

/// The text of an element of a reply.
inline std::string to_text(const Poco::XML::Element& element) {
    MarkupRope text;
    ReplyWriter(text).write(dynamic_cast<const ReplyElement&>(element));
    return text.to_string();
}

/// The value of an attribute as a client reads it, empty if there is none. The element may hold prefixes
/// that it does not declare.
inline std::string read_attribute(const Poco::XML::Element& element, const std::string& name) {
    Poco::XML::DOMParser parser;
    parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACES, false);
    const Poco::AutoPtr<Poco::XML::Document> document = parser.parseString(to_text(element));
    return document->documentElement()->getAttribute(name);
}

}  // namespace kx::information_model::opc::testing
