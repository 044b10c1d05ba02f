#include "server/reply_dom.h"

#include "server/xml_text.h"

#include <Poco/DOM/Text.h>

namespace kx::information_model::opc {

namespace {

// A reply has some fifty different names at most; the default pool of 509 entries costs more to set up than
// a small reply costs to build.
constexpr unsigned long NAME_POOL_SIZE = 127;

}  // namespace

Poco::AutoPtr<Poco::XML::Document> create_reply_document() {
    Poco::AutoPtr<Poco::XML::Document> document = new Poco::XML::Document(NAME_POOL_SIZE);
    document->suspendEvents();
    return document;
}

Poco::AutoPtr<Poco::XML::Element> create_element(const Poco::XML::Document& document, const std::string& name) {
    return document.createElement(name);
}

Poco::AutoPtr<Poco::XML::Element> create_list_element(Poco::XML::Document& document, const std::string& name) {
    return new ListElement(document, name);
}

Poco::AutoPtr<Poco::XML::Element> append_element(Poco::XML::Element& parent, const std::string& name) {
    auto element = create_element(*parent.ownerDocument(), name);
    parent.appendChild(element);
    return element;
}

void set_attribute(Poco::XML::Element& element, const std::string& name, const std::string& value) {
    if (is_valid_xml_text(value)) {
        element.setAttribute(name, value);
    } else {
        element.setAttribute(name, to_valid_xml_text(value));
    }
}

void append_text(Poco::XML::Element& element, const std::string& text) {
    const Poco::XML::Document& document = *element.ownerDocument();
    Poco::AutoPtr<Poco::XML::Text> node =
        document.createTextNode(is_valid_xml_text(text) ? text : to_valid_xml_text(text));
    element.appendChild(node);
}

}  // namespace kx::information_model::opc
