#include "server/arena_dom.h"

#include <Poco/DOM/AutoPtr.h>

namespace kx::information_model::opc {

ArenaDocument::ArenaDocument(Poco::XML::NamePool& names) : Poco::XML::Document(&names) {
    suspendEvents();
}

ArenaDocument::~ArenaDocument() = default;

ArenaAttr::ArenaAttr(ArenaDocument& document, const std::string& namespace_uri, const std::string& local_name,
                     const std::string& name, const std::string& value)
    : InArena(&document, nullptr, namespace_uri, local_name, name, value, true) {}

ArenaAttr::~ArenaAttr() = default;

ArenaText::ArenaText(ArenaDocument& document, const std::string& text) : InArena(&document, text) {}

ArenaText::~ArenaText() = default;

ArenaElement::ArenaElement(ArenaDocument& document, const std::string& namespace_uri,
                           const std::string& local_name, const std::string& name)
    : InArena(&document, namespace_uri, local_name, name), appender_(this) {}

ArenaElement::~ArenaElement() = default;

Poco::XML::Node* ArenaElement::appendChild(Poco::XML::Node* child) {
    appender_.appendChild(child);
    ++child_count_;
    return child;
}

void ArenaElement::append_text_node(const std::string& text) {
    ArenaDocument& document = get_document();
    Poco::AutoPtr<ArenaText> node = new (document.get_memory()) ArenaText(document, text);
    appendChild(node);
}

}  // namespace kx::information_model::opc
