#include "server/arena_dom.h"

#include <Poco/DOM/AutoPtr.h>

namespace kx::information_model::opc {

ArenaDocument::ArenaDocument(Poco::XML::NamePool& names) : Poco::XML::Document(&names) {
    suspendEvents();
}

ArenaDocument::~ArenaDocument() = default;

ArenaAttr::ArenaAttr(ArenaDocument& document, const std::string& namespace_uri, const std::string& local_name,
                     const std::string& name, const std::string& value, bool specified)
    : InArena(&document, nullptr, namespace_uri, local_name, name, value, specified) {}

ArenaAttr::~ArenaAttr() = default;

ArenaText::ArenaText(ArenaDocument& document, const std::string& text) : InArena(&document, text) {}

ArenaText::~ArenaText() = default;

ArenaElement::ArenaElement(ArenaDocument& document, const std::string& namespace_uri,
                           const std::string& local_name, const std::string& name)
    : InArena(&document, namespace_uri, local_name, name), document_(document), appender_(this) {}

ArenaElement::~ArenaElement() = default;

Poco::XML::Node* ArenaElement::appendChild(Poco::XML::Node* child) {
    appender_.appendChild(child);
    return child;
}

void ArenaElement::append_text_node(const std::string& text) {
    Poco::AutoPtr<ArenaText> node = new (document_) ArenaText(document_, text);
    appendChild(node);
}

void ArenaElement::append_attribute(const std::string& namespace_uri, const std::string& local_name,
                                    const std::string& name, const std::string& value, bool specified) {
    Poco::AutoPtr<ArenaAttr> attribute =
        new (document_) ArenaAttr(document_, namespace_uri, local_name, name, value, specified);
    last_attribute_ = addAttributeNodeNP(last_attribute_, attribute);
    if (first_attribute_ == nullptr) {
        first_attribute_ = last_attribute_;
    }
}

}  // namespace kx::information_model::opc
