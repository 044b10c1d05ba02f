#pragma once

#include "base/Rope.h"
#include "xml/reply/ReplyElement.h"
#include "xml/reply/reply_dom.h"

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/DOMParser.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>

#include <string>

/// For unit tests: replies as texts, since that is what they are.
namespace kx::information_model::opc::testing {

/// The text of a complete reply.
inline std::string to_text(const Poco::AutoPtr<Poco::XML::Document>& document) {
    return get_reply_text(document).to_string();
}

/// The text of an element of a reply, which is closed.
inline std::string to_text(Poco::XML::Element& element) {
    Rope text;
    dynamic_cast<ReplyElement&>(element).write(text);
    return text.to_string();
}

/// The value of an attribute as a client reads it, empty if there is none.
/// @param text  of an element, which may hold prefixes that it does not declare
inline std::string read_attribute(const std::string& text, const std::string& name) {
    Poco::XML::DOMParser parser;
    parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACES, false);
    const Poco::AutoPtr<Poco::XML::Document> document = parser.parseString(text);
    return document->documentElement()->getAttribute(name);
}

}  // namespace kx::information_model::opc::testing
